// kestro-unit-sim: simulated units on a site network, for demos and end-to-end tests.

#include "sim/control.h"
#include "sim/options.h"
#include "sim/screens.h"
#include "sim/site.h"
#include "sim/unit.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QSaveFile>
#include <QSocketNotifier>
#include <csignal>
#include <cstdio>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

int signalPipe[2] = {-1, -1};

void onSignal(int)
{
    const char c = 1;
    [[maybe_unused]] const auto n = ::write(signalPipe[1], &c, 1);
}

void say(const QString &line)
{
    std::fprintf(stdout, "%s\n", qPrintable(line));
    std::fflush(stdout);
}

void complain(const QString &line)
{
    std::fprintf(stderr, "kestro-unit-sim: %s\n", qPrintable(line));
}

// Ends the event loop on SIGINT or SIGTERM, from the loop itself rather than from the handler.
void quitOnSignals(QCoreApplication &app)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0)
        return;
    auto *notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, [&app] {
        char c = 0;
        [[maybe_unused]] const auto n = ::read(signalPipe[0], &c, 1);
        say(u"stopping"_s);
        app.quit();
    });
    struct sigaction sa = {};
    sa.sa_handler = onSignal;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SA_RESTART;
    sigaction(SIGINT, &sa, nullptr);
    sigaction(SIGTERM, &sa, nullptr);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(u"kestro-unit-sim"_s);

    const sim::ParsedOptions parsed = sim::parseOptions(QCoreApplication::arguments());
    if (parsed.help) {
        say(parsed.helpText);
        return 0;
    }
    if (!parsed.error.isEmpty()) {
        complain(parsed.error);
        complain(u"try --help"_s);
        return 2;
    }
    const sim::Options &o = parsed.options;
    sim::Site site(o);
    site.build();

    if (!o.dumpBundle.isEmpty()) {
        sim::Unit *unit = site.units().first();
        QSaveFile file(o.dumpBundle);
        const QJsonObject bundle = sim::renderBundle(unit->flow(), unit->config().info);
        if (!file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(bundle).toJson()) < 0 || !file.commit()) {
            complain(u"cannot write %1: %2"_s.arg(o.dumpBundle, file.errorString()));
            return 1;
        }
        say(u"bundle written to %1"_s.arg(o.dumpBundle));
        return 0;
    }

    if (!site.start()) {
        complain(site.error());
        return 1;
    }
    sim::Control control(&site);
    if (o.controlPort > 0) {
        if (const QString why = control.listen(quint16(o.controlPort)); !why.isEmpty()) {
            complain(u"cannot listen on 127.0.0.1:%1 for control - %2"_s.arg(o.controlPort).arg(why));
            return 1;
        }
    }
    quitOnSignals(app);
    for (const QString &line : site.describe())
        say(line);
    say(u"passcode  %1"_s.arg(o.passcode));
    say(o.discovery ? u"discovery  udp %1"_s.arg(o.discoveryPort) : u"discovery  off"_s);
    if (o.controlPort > 0)
        say(u"control  http://127.0.0.1:%1/units"_s.arg(o.controlPort));
    say(u"ready"_s);
    return app.exec();
}
