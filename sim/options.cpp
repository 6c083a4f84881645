#include "sim/options.h"

#include <QCommandLineParser>

using namespace Qt::StringLiterals;

namespace sim {

QHostAddress Options::unitAddress(int i) const
{
    return QHostAddress(address.toIPv4Address() + quint32(i));
}

namespace {

// Reads an integer option within bounds; sets `error` when it is not one.
int intOption(const QCommandLineParser &p, const QString &name, int def, int lo, int hi, QString &error)
{
    if (!p.isSet(name) || !error.isEmpty())
        return def;
    bool ok = false;
    const int v = p.value(name).toInt(&ok);
    if (!ok || v < lo || v > hi)
        error = u"--%1 takes a whole number from %2 to %3, not \"%4\""_s.arg(name).arg(lo).arg(hi).arg(p.value(name));
    return ok ? v : def;
}

const auto kQuirkWords = "no-schema, churn, restless, no-retry-after, no-iotemplates, hang, delay=MS, down"_L1;

// "no-schema,delay=2000" into the control's form; the first word it does not know, else empty.
QString readQuirks(const QString &list, QJsonObject &out)
{
    for (const QString &word : list.split(u',', Qt::SkipEmptyParts)) {
        const QString w = word.trimmed();
        bool ok = true;
        if (w == u"no-schema"_s)
            out.insert(u"schema"_s, false);
        else if (w == u"churn"_s)
            out.insert(u"churn"_s, true);
        else if (w == u"restless"_s)
            out.insert(u"restless"_s, true);
        else if (w == u"no-retry-after"_s)
            out.insert(u"retry_after"_s, false);
        else if (w == u"no-iotemplates"_s)
            out.insert(u"iotemplates"_s, false);
        else if (w == u"hang"_s)
            out.insert(u"hang"_s, true);
        else if (w == u"down"_s)
            out.insert(u"down"_s, true);
        else if (w.startsWith(u"delay="_s))
            out.insert(u"delay_ms"_s, w.mid(6).toInt(&ok));
        else
            ok = false;
        if (!ok)
            return w;
    }
    return {};
}

// Reads and checks the values of a parsed command line into `o`; the first problem, or empty.
QString readValues(const QCommandLineParser &p, Options &o)
{
    QString error;
    o.units = intOption(p, u"units"_s, o.units, 1, 50, error);
    o.port = intOption(p, u"port"_s, o.port, 1, 65535, error);
    o.discoveryPort = intOption(p, u"discovery-port"_s, o.discoveryPort, 1, 65535, error);
    if (p.value(u"poll-ms"_s) == u"none"_s)
        o.pollMs = -1;
    else
        o.pollMs = intOption(p, u"poll-ms"_s, o.pollMs, 0, 1000000, error);
    o.controlPort = intOption(p, u"control"_s, o.controlPort, 1, 65535, error);
    o.paceMs = intOption(p, u"pace"_s, o.paceMs, 10, 60000, error);
    o.tokenTtlSec = intOption(p, u"token-ttl"_s, o.tokenTtlSec, 1, 7 * 24 * 3600, error);
    o.lockoutAfter = intOption(p, u"lockout-after"_s, o.lockoutAfter, 1, 1000, error);
    o.lockoutSec = intOption(p, u"lockout-seconds"_s, o.lockoutSec, 1, 24 * 3600, error);
    o.doneYesterday = intOption(p, u"done-yesterday"_s, o.doneYesterday, 0, 5, error);
    if (!error.isEmpty())
        return error;
    if (p.isSet(u"passcode"_s)) {
        o.passcode = p.value(u"passcode"_s);
        if (o.passcode.isEmpty())
            return u"--passcode must not be empty"_s;
    }
    if (p.isSet(u"address"_s)) {
        o.address = QHostAddress(p.value(u"address"_s));
        if (o.address.protocol() != QAbstractSocket::IPv4Protocol)
            return u"--address takes an IPv4 address, not \"%1\""_s.arg(p.value(u"address"_s));
    }
    if ((o.address.toIPv4Address() & 0xFF) + quint32(o.units) - 1 > 254)
        return u"%1 units starting at %2 run past the end of its /24 network"_s.arg(o.units).arg(o.address.toString());
    if (p.isSet(u"product"_s)) {
        o.products = p.value(u"product"_s).split(u',', Qt::SkipEmptyParts);
        for (QString &s : o.products)
            s = s.trimmed();
        o.products.removeAll(QString());
        if (o.products.isEmpty())
            return u"--product needs at least one name"_s;
    }
    o.tls = !p.isSet(u"http"_s);
    o.certDir = p.value(u"cert-dir"_s);
    o.certFile = p.value(u"cert"_s);
    o.keyFile = p.value(u"key"_s);
    if (o.certFile.isEmpty() != o.keyFile.isEmpty())
        return u"--cert and --key go together"_s;
    if (p.isSet(u"other-cert"_s))
        o.quirks.insert(u"other_cert"_s, true);
    if (const QString bad = readQuirks(p.value(u"quirks"_s), o.quirks); !bad.isEmpty())
        return u"--quirks takes a comma list of %1, not \"%2\""_s.arg(kQuirkWords, bad);
    if (!o.tls && (o.quirks.contains(u"other_cert"_s) || !o.certFile.isEmpty()))
        return u"--http units present no certificate; drop --cert, --key and --other-cert"_s;
    o.autorun = p.isSet(u"autorun"_s);
    o.startAt = p.value(u"start-at"_s).split(u',', Qt::SkipEmptyParts);
    static const QStringList steps{u"identity"_s, u"drive"_s, u"io"_s, u"load"_s, u"handover"_s, u"commissioned"_s};
    for (const QString &step : std::as_const(o.startAt))
        if (!steps.contains(step))
            return u"--start-at takes one of %1, not \"%2\""_s.arg(steps.join(u", "_s), step);
    for (const QString &n : p.value(u"fixed-passcode"_s).split(u',', Qt::SkipEmptyParts)) {
        bool ok = false;
        const int unit = n.trimmed().toInt(&ok);
        if (!ok || unit < 1 || unit > o.units)
            return u"--fixed-passcode takes unit numbers from 1 to %1, not \"%2\""_s.arg(o.units).arg(n);
        o.fixedPasscode.append(unit);
    }
    o.summaryNewline = p.isSet(u"summary-newline"_s);
    o.discovery = !p.isSet(u"no-discovery"_s);
    if (p.isSet(u"no-iotemplates"_s))
        o.quirks.insert(u"iotemplates"_s, false);
    o.dumpBundle = p.value(u"dump-bundle"_s);
    return {};
}

} // namespace

ParsedOptions parseOptions(const QStringList &arguments)
{
    ParsedOptions out;
    Options &o = out.options;
    QCommandLineParser p;
    p.setApplicationDescription(u"kestro-unit-sim - simulated units on a site network, for demos and tests."_s);
    const QCommandLineOption help({u"h"_s, u"help"_s}, u"Show this help."_s);
    p.addOption(help);
    p.addOptions({
        {u"units"_s, u"How many units to simulate (1 to 50, default 1)."_s, u"n"_s},
        {u"passcode"_s, u"The site passcode (default kestro-site)."_s, u"text"_s},
        {u"address"_s, u"Address of the first unit; the others count up from it (default 10.77.0.21)."_s, u"ip"_s},
        {u"port"_s, u"API port of every unit (default 8090)."_s, u"port"_s},
        {u"discovery-port"_s, u"UDP port that hears discovery probes (default 8091)."_s, u"port"_s},
        {u"product"_s, u"Product of the units; a comma list is dealt out in turn (default shuttle)."_s, u"names"_s},
        {u"http"_s, u"Plain HTTP instead of HTTPS."_s},
        {u"cert-dir"_s, u"Folder for the generated certificates (default: a cache folder)."_s, u"dir"_s},
        {u"cert"_s, u"Present this PEM certificate (needs --key)."_s, u"file"_s},
        {u"key"_s, u"The PEM private key of --cert."_s, u"file"_s},
        {u"other-cert"_s, u"Present a different certificate than usual (the client then sees it changed)."_s},
        {u"poll-ms"_s, u"\"poll_ms\" the units send, in range or not, or \"none\" to send none (default 1000)."_s,
         u"ms"_s},
        {u"quirks"_s,
         u"Misbehave from the start: a comma list of no-schema, churn, restless, no-retry-after, "_s
         u"no-iotemplates, hang, delay=MS, down."_s,
         u"list"_s},
        {u"control"_s, u"Listen on 127.0.0.1:PORT for control requests that change the units while they run."_s,
         u"port"_s},
        {u"pace"_s, u"Time of one tick of a running step (default 700)."_s, u"ms"_s},
        {u"autorun"_s, u"Start each step by itself once the one before is done."_s},
        {u"start-at"_s,
         u"Begin at this step, the earlier ones done (identity, drive, io, load, handover, commissioned); a "
         u"comma list is dealt out to the units in turn."_s,
         u"step"_s},
        {u"done-yesterday"_s,
         u"Of the steps that --start-at finishes, the first n were finished yesterday (0 to 5, default 0)."_s, u"n"_s},
        {u"summary-newline"_s, u"End the text of the day summary with a line feed."_s},
        {u"token-ttl"_s, u"Lifetime of a sign-in token (default 3600)."_s, u"seconds"_s},
        {u"lockout-after"_s, u"Wrong passcodes in a row before a lock-out (default 5)."_s, u"n"_s},
        {u"lockout-seconds"_s, u"Length of a lock-out (default 60)."_s, u"seconds"_s},
        {u"no-discovery"_s, u"Do not answer discovery probes."_s},
        {u"fixed-passcode"_s, u"Units (numbered from 1, a comma list) that refuse every passcode change."_s,
         u"units"_s},
        {u"no-iotemplates"_s, u"Answer /api/iotemplates with 404, as units without template support do."_s},
        {u"dump-bundle"_s, u"Write the first unit's screen and its sources as a render bundle, then exit."_s,
         u"file"_s},
    });
    out.helpText = p.helpText();
    if (!p.parse(arguments)) {
        out.error = p.errorText();
        return out;
    }
    if (p.isSet(help)) {
        out.help = true;
        return out;
    }
    if (!p.positionalArguments().isEmpty()) {
        out.error = u"unexpected argument \"%1\""_s.arg(p.positionalArguments().first());
        return out;
    }
    out.error = readValues(p, o);
    return out;
}

} // namespace sim
