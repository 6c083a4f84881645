#pragma once
// The simulator's command line, parsed into a plain value so that it can be checked without
// starting anything.

#include <QHostAddress>
#include <QJsonObject>
#include <QStringList>

namespace sim {

struct Options
{
    int units = 1;
    QString passcode = QStringLiteral("kestro-site");
    QHostAddress address = QHostAddress(QStringLiteral("10.77.0.21")); // first unit; the next ones count up
    int port = 8090;
    int discoveryPort = 8091;
    QStringList products = {QStringLiteral("shuttle")};
    bool tls = true;
    QString certDir;  // empty: the default cache folder
    QString certFile; // a given certificate for every unit (with keyFile)
    QString keyFile;
    int pollMs = 1000;   // any whole number; below 0 ("none") the answers carry no "poll_ms"
    QJsonObject quirks;  // --quirks, in the control's form (see sim/unit.h, Quirks)
    int controlPort = 0; // 0: no control
    int paceMs = 700;
    bool autorun = false;
    QStringList startAt;         // a step per unit, dealt out in turn like the products
    int doneYesterday = 0;       // of the steps --start-at finishes, how many (from the first) finished yesterday
    bool summaryNewline = false; // the day summary's "text" ends with a line feed
    int tokenTtlSec = 3600;
    int lockoutAfter = 5;
    int lockoutSec = 60;
    bool discovery = true;
    QList<int> fixedPasscode; // unit numbers (from 1) that refuse a passcode change
    QString dumpBundle;

    // The address of unit `i` (0-based): the first address counted up by i.
    QHostAddress unitAddress(int i) const;
};

struct ParsedOptions
{
    Options options;
    QString error; // non-empty: a bad command line, said in these words
    bool help = false;
    QString helpText;
};

ParsedOptions parseOptions(const QStringList &arguments);

} // namespace sim
