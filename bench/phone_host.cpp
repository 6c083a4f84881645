// The phone page under load, measured from inside: serves the status page of a realistic site
// from phone::Phone on the interface thread, signs itself in, runs a load command against itself
// and times a 10 ms timer on its own event loop for as long as that command runs.
//
//   bench_phone_host [--units N] [--page FILE] -- COMMAND [ARG...]
//
// In the command's arguments {PORT} and {TOKEN} stand for the listening port and the session
// token. --page writes the status page's bytes to FILE first (so another server can serve the
// same page). Prints the command's output, then
//   timer  ticks N  late median X ms  p99 Y ms  max Z ms
// and exits with the command's exit code. Listens on every address: run it in a private network
// namespace (bench/phone-bench does).

#include "phone/pages.h"
#include "phone/phone.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

// A site mid-commissioning: some units done, some running a step, one faulted, two silent.
QList<units::Unit> site(int count)
{
    const char *steps[] = {"Identity and site", "Drive calibration", "IO check", "Load test", "Safety and handover"};
    QList<units::Unit> list;
    for (int i = 0; i < count; ++i) {
        units::Unit u;
        u.name = u"shuttle-%1"_s.arg(i + 1, 2, 10, QChar(u'0'));
        u.ip = u"10.77.0.%1"_s.arg(21 + i);
        if (i % 6 != 5) {
            const int done = i % 6;
            u.state = {{u"commissioned"_s, done == 5},
                       {u"total_count"_s, 5},
                       {u"completed_count"_s, done},
                       {u"current_step"_s, QString::fromLatin1(steps[done % 5])},
                       {u"activity"_s, i % 3 ? u"drive"_s : QString()},
                       {u"activity_detail"_s, i % 3 ? u"Drive calibration - 7 of 20"_s : QString()},
                       {u"activity_current"_s, 7},
                       {u"activity_total"_s, i % 3 ? 20 : 0}};
        }
        list << u;
    }
    return list;
}

QByteArray signIn(quint16 port, const QString &password)
{
    QTcpSocket socket;
    QByteArray answer;
    QObject::connect(&socket, &QTcpSocket::readyRead, &socket, [&] { answer += socket.readAll(); });
    QElapsedTimer clock;
    clock.start();
    socket.connectToHost(u"127.0.0.1"_s, port);
    const QByteArray body = "p=" + password.toUtf8().toPercentEncoding();
    QObject::connect(&socket, &QTcpSocket::connected, &socket, [&] {
        socket.write("POST / HTTP/1.1\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body);
    });
    while (socket.state() != QAbstractSocket::UnconnectedState && clock.elapsed() < 5000)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
    static const QRegularExpression re(u"Set-Cookie: sc=([0-9a-f]{64});"_s);
    return re.match(QString::fromLatin1(answer)).captured(1).toLatin1();
}

double percentile(QList<double> v, double p)
{
    if (v.isEmpty())
        return 0;
    std::sort(v.begin(), v.end());
    return v[std::min<qsizetype>(v.size() - 1, qsizetype(p * double(v.size())))];
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    int unitCount = 12;
    QString pageFile;
    while (!args.isEmpty() && args.first() != u"--"_s) {
        const QString option = args.takeFirst();
        if (option == u"--units"_s && !args.isEmpty())
            unitCount = args.takeFirst().toInt();
        else if (option == u"--page"_s && !args.isEmpty())
            pageFile = args.takeFirst();
        else
            return std::fprintf(stderr, "usage: bench_phone_host [--units N] [--page FILE] -- COMMAND...\n"), 2;
    }
    if (args.size() < 2)
        return std::fprintf(stderr, "usage: bench_phone_host [--units N] [--page FILE] -- COMMAND...\n"), 2;
    args.removeFirst();

    const QList<units::Unit> units = site(unitCount);
    if (!pageFile.isEmpty()) {
        QFile f(pageFile);
        if (!f.open(QIODevice::WriteOnly) || f.write(phone::statusPage(units).toUtf8()) < 0)
            return std::fprintf(stderr, "cannot write %s\n", qPrintable(pageFile)), 1;
    }
    phone::Phone server;
    server.setUnits(units);
    if (!server.start(0, u"bench & load = 1"_s))
        return std::fprintf(stderr, "cannot listen\n"), 1;
    const QByteArray token = signIn(server.port(), u"bench & load = 1"_s);
    if (token.isEmpty())
        return std::fprintf(stderr, "cannot sign in\n"), 1;
    args.replaceInStrings(u"{PORT}"_s, QString::number(server.port()));
    args.replaceInStrings(u"{TOKEN}"_s, QString::fromLatin1(token));

    // Lateness of a 10 ms timer: how long past its due time each tick came.
    QList<double> late;
    QElapsedTimer clock;
    QTimer tick;
    tick.setTimerType(Qt::PreciseTimer);
    qint64 last = 0;
    QObject::connect(&tick, &QTimer::timeout, &app, [&] {
        const qint64 now = clock.nsecsElapsed();
        late << std::max(0.0, double(now - last) / 1e6 - 10.0);
        last = now;
    });

    QProcess load;
    load.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QObject::connect(&load, &QProcess::started, &app, [&] {
        clock.start();
        tick.start(10);
    });
    QObject::connect(&load, &QProcess::finished, &app, [&] {
        tick.stop();
        app.quit();
    });
    QObject::connect(&load, &QProcess::errorOccurred, &app, [&](QProcess::ProcessError e) {
        if (e == QProcess::FailedToStart)
            app.exit(127);
    });
    load.start(args.first(), args.mid(1));
    const int code = app.exec();
    const QByteArray out = load.readAllStandardOutput();
    std::fwrite(out.constData(), 1, size_t(out.size()), stdout);
    std::printf("timer  ticks %lld  late median %.2f ms  p99 %.2f ms  max %.2f ms\n", qint64(late.size()),
                percentile(late, 0.5), percentile(late, 0.99), percentile(late, 1.0));
    return code != 0 ? code : load.exitCode();
}
