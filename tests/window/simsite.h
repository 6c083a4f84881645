#pragma once
// What the window's end-to-end tests share: starting kestro-unit-sim and waiting for "ready",
// changing its units through the loopback control, and reading connect.log.

#include "units/diaglog.h"

#include <QEventLoop>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QStringList>

#include <algorithm>
#include <csignal>
#include <sys/prctl.h>

namespace simsite {

// The simulated units' keys on the site network, and a wait generous enough for a shared machine
// (nothing here is timed).
inline const QString kUnit1 = QStringLiteral("10.77.0.21:8090");
inline const QString kUnit2 = QStringLiteral("10.77.0.22:8090");
inline const QString kUnit3 = QStringLiteral("10.77.0.23:8090");
inline constexpr int kWait = 20000;

// Starts the simulator with `arguments` and waits for its "ready" line; empty when it is up,
// else what it printed.
inline QByteArray start(QProcess &sim, const QStringList &arguments)
{
    sim.setProgram(QStringLiteral(KESTRO_UNIT_SIM));
    // A test that dies (an abort, a sanitizer) takes its simulator with it.
    sim.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    sim.setArguments(arguments);
    sim.start();
    if (!sim.waitForStarted(10000))
        return "the simulator did not start";
    QByteArray out;
    for (int i = 0; i < 300 && !out.contains("ready\n"); ++i) {
        if (sim.state() != QProcess::Running)
            return out.isEmpty() ? QByteArray("the simulator stopped") : out;
        sim.waitForReadyRead(100);
        out += sim.readAllStandardOutput();
    }
    return out.contains("ready\n") ? QByteArray() : out;
}

// POSTs `changes` to the control for one unit (numbered from 1) or, for 0, all of them.
inline bool control(QNetworkAccessManager &net, int port, int unit, const QJsonObject &changes)
{
    QNetworkRequest req(QUrl(QStringLiteral("http://127.0.0.1:%1/units/%2")
                                 .arg(port)
                                 .arg(unit == 0 ? QStringLiteral("all") : QString::number(unit))));
    req.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    QNetworkReply *reply = net.post(req, QJsonDocument(changes).toJson(QJsonDocument::Compact));
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    if (!reply->isFinished())
        loop.exec();
    reply->deleteLater();
    return reply->error() == QNetworkReply::NoError;
}

inline QStringList logLines()
{
    QFile f(units::connectLogPath());
    if (!f.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    return QString::fromUtf8(f.readAll()).split(u'\n', Qt::SkipEmptyParts);
}

inline qsizetype countLog(const QString &piece)
{
    const QStringList lines = logLines();
    return std::count_if(lines.begin(), lines.end(), [&piece](const QString &l) { return l.contains(piece); });
}

} // namespace simsite
