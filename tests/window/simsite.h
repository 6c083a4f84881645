#pragma once
// What the window's end-to-end tests share: kestro-unit-sim with its loopback control, the real
// Window signed in to one of its units, and connect.log read back.

#include "board/viewport.h"
#include "support/simprocess.h"
#include "support/testsupport.h"
#include "units/diaglog.h"
#include "window/window.h"

#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <memory>
#include <sys/prctl.h>

namespace simsite {

// The simulated units' keys on the site network, and a wait generous enough for a shared machine
// (nothing here is timed).
inline const QString kUnit1 = QStringLiteral("10.77.0.21:8090");
inline const QString kUnit2 = QStringLiteral("10.77.0.22:8090");
inline const QString kUnit3 = QStringLiteral("10.77.0.23:8090");
inline constexpr int kWait = 20000;

struct Site
{
    testsupport::SimProcess sim{QStringLiteral(KESTRO_UNIT_SIM)};
    QNetworkAccessManager net;
    int port = 0;
    std::unique_ptr<window::Window> window;

    // Isolates the client's configuration, sends its poll trace to `dir`/poll.log and starts the
    // simulator (`units` units, `passcode`, certificates in `dir`, a poll asked every 250 ms, then
    // `more`) with its control on `controlPort`; empty when it is up, else what it printed.
    QByteArray start(int controlPort, int units, const QString &passcode, const QString &dir, QStringList more)
    {
        testsupport::isolateConfig();
        qputenv("KESTRO_POLL_LOG", (dir + QStringLiteral("/poll.log")).toLocal8Bit());
        QStringList arguments{QStringLiteral("--units"),    QString::number(units),
                              QStringLiteral("--passcode"), passcode,
                              QStringLiteral("--cert-dir"), dir,
                              QStringLiteral("--poll-ms"),  QStringLiteral("250")};
        arguments << more;
        port = controlPort;
        // A test that dies (an abort, a sanitizer) takes its simulator with it.
        sim.process().setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
        const bool up = sim.start(arguments << QStringLiteral("--control") << QString::number(port));
        return up ? QByteArray() : sim.output() + "(the simulator did not come up)";
    }

    // POSTs `changes` to the control for one unit (numbered from 1) or, for 0, all of them.
    bool control(int unit, const QJsonObject &changes)
    {
        QNetworkRequest req(QUrl(QStringLiteral("http://127.0.0.1:%1/units/%2")
                                     .arg(port)
                                     .arg(unit == 0 ? QStringLiteral("all") : QString::number(unit))));
        req.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
        QNetworkReply *reply = net.post(req, QJsonDocument(changes).toJson(QJsonDocument::Compact));
        while (!reply->isFinished())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        reply->deleteLater();
        return reply->error() == QNetworkReply::NoError;
    }

    // A new window, once discovery hears all `units` (units known from before load offline).
    void open(qsizetype units)
    {
        window = std::make_unique<window::Window>();
        window->show();
        const auto online = [this] {
            return std::ranges::count_if(window->unitList(), [](const units::Unit &u) { return u.online(); });
        };
        QTRY_COMPARE_WITH_TIMEOUT(online(), units, kWait);
    }

    void enterPasscode(const QString &passcode)
    {
        auto *box = window->findChild<QLineEdit *>(QStringLiteral("passcode"));
        box->setText(passcode);
        QTest::keyClick(box, Qt::Key_Return);
    }

    void signIn(const QString &key, const QString &passcode)
    {
        enterPasscode(passcode);
        window->selectUnit(key);
        QTRY_COMPARE_WITH_TIMEOUT(label("sessionStatus"), QStringLiteral("● Live"), kWait);
        QTRY_VERIFY_WITH_TIMEOUT(window->viewport()->screen() != nullptr, kWait);
    }

    QString label(const char *name) const { return window->findChild<QLabel *>(QLatin1StringView(name))->text(); }
};

inline QStringList logLines()
{
    return QString::fromUtf8(testsupport::readFile(units::connectLogPath())).split(u'\n', Qt::SkipEmptyParts);
}

inline qsizetype countLog(const QString &piece)
{
    return std::ranges::count_if(logLines(), [&piece](const QString &l) { return l.contains(piece); });
}

} // namespace simsite
