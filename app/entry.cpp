#include "app/entry.h"

#include "app/base/settings.h"
#include "app/base/theme.h"
#include "app/base/version.h"
#include "app/compare.h"
#include "app/offline.h"
#include "app/presssound.h"
#include "app/splash.h"
#include "board/panels.h"
#include "prims/registry.h"
#include "units/discovery.h"
#include "window/window.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QEventLoop>
#include <QIcon>
#include <QJsonObject>
#include <QTextStream>
#include <QTimer>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace app {

namespace {

QStringList rawArguments(int argc, char **argv)
{
    QStringList args;
    for (int i = 0; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);
    return args;
}

// The offline modes need no screen: without a chosen platform they draw off-screen instead of
// aborting for want of a display.
void preferOffscreen(const QStringList &args)
{
    if (qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        return;
    for (const QString &arg : args) {
        if (arg == "--render"_L1 || arg.startsWith("--render="_L1) || arg == "--primitives"_L1) {
            qputenv("QT_QPA_PLATFORM", "offscreen");
            return;
        }
    }
}

void applyLook(QApplication &app)
{
    const QJsonObject settings = app::loadSettings();
    double scale = settings.value("textScale"_L1).toDouble(1.0);
    if (scale <= 0)
        scale = 1.0;
    theme::setTextScale(scale);
    const QString themeName = qEnvironmentVariableIsSet("KESTRO_THEME") ? qEnvironmentVariable("KESTRO_THEME")
                                                                        : settings.value("theme"_L1).toString();
    const QString accentName = qEnvironmentVariableIsSet("KESTRO_ACCENT") ? qEnvironmentVariable("KESTRO_ACCENT")
                                                                          : settings.value("accent"_L1).toString();
    theme::setTheme(themeName);
    theme::setAccent(accentName);
    QApplication::setFont(theme::uiFont(10, false));
    app.installEventFilter(new PressSound(&app));
    app.setStyleSheet(theme::styleSheet());
    QApplication::setWindowIcon(QIcon(u":/kestro.png"_s));
}

void addOptions(QCommandLineParser &parser)
{
    parser.setApplicationDescription(QLatin1String(kDescription));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOption({u"compare"_s,
                      u"Compare two PNGs; print the differing-pixel percentage and exit non-zero past TOLERANCE."_s,
                      u"a.png,b.png"_s});
    parser.addOption({u"tolerance"_s, u"Percent of pixels allowed to differ (default 0.2)."_s, u"percent"_s, u"0.2"_s});
    parser.addOption({u"primitives"_s, u"List every primitive this build draws, and exit."_s});
    parser.addOption({u"render"_s, u"Draw a screen description (or a bundle) from FILE."_s, u"file"_s});
    parser.addOption({u"out"_s, u"Write the PNG to FILE."_s, u"file"_s});
    parser.addOption({u"size"_s, u"Render at WxH (default 1240x900)."_s, u"WxH"_s, u"1240x900"_s});
    parser.addOption({u"chrome"_s, u"Include the sidebar and pane header in the shot."_s});
}

// The splash shows while the window is built and the first sweeps listen; the wait ends when a
// sweep finds units, when a second sweep in a row finds none, or after 6 s.
int interactive(QApplication &app)
{
    SplashCard splash;
    splash.setStatus(u"Starting..."_s, 5);
    splash.show();
    QCoreApplication::processEvents();

    window::Window window;
    splash.setStatus(u"Building the window..."_s, 45);

    QEventLoop wait;
    int sweeps = 0;
    units::Discovery *discovery = window.discovery();
    const auto replied = QObject::connect(discovery, &units::Discovery::replied, &splash, [&splash](int count) {
        splash.setStatus(repliedText(count), repliedProgress(count));
    });
    const auto swept =
        QObject::connect(discovery, &units::Discovery::swept, &splash, [&](const units::Discovery::Found &found) {
            ++sweeps;
            if (!found.isEmpty()) {
                splash.setStatus(foundText(int(found.size())), 100);
                wait.quit();
            } else if (sweeps == 1) {
                splash.setStatus(u"No answer yet - knocking again..."_s, 70);
            } else {
                splash.setStatus(u"No units found on this network"_s, 100);
                wait.quit();
            }
        });
    splash.setStatus(u"Looking for units on the network..."_s, 60);
    QTimer::singleShot(6000, &wait, &QEventLoop::quit);
    wait.exec();
    QObject::disconnect(replied);
    QObject::disconnect(swept);

    window.show();
    splash.close();
    return app.exec();
}

} // namespace

int run(int argc, char **argv)
{
    const QStringList args = rawArguments(argc, argv);
    if (const auto pair = earlyScan(args, u"compare"_s)) {
        const double percent = toleranceFrom(earlyScan(args, u"tolerance"_s));
        QTextStream out(stdout);
        QTextStream err(stderr);
        return compareImages(*pair, percent, out, err);
    }

    preferOffscreen(args);
    QApplication app(argc, argv);
    QApplication::setApplicationName(QLatin1String(kAppName));
    board::install(); // the offline render draws panels too
    QApplication::setApplicationVersion(QLatin1String(kVersion));
    QApplication::setStyle(u"Fusion"_s);
    applyLook(app);

    QCommandLineParser parser;
    addOptions(parser);
    parser.process(app);

    if (parser.isSet(u"primitives"_s)) {
        QTextStream out(stdout);
        for (const QString &name : prims::primitiveNames())
            out << name << "\n";
        return 0;
    }
    if (parser.isSet(u"render"_s)) {
        if (!parser.isSet(u"out"_s)) {
            QTextStream(stderr) << "render: --out is required\n";
            return 2;
        }
        return renderOnce(parser.value(u"render"_s), parser.value(u"out"_s), parseSize(parser.value(u"size"_s)),
                          parser.isSet(u"chrome"_s));
    }
    return interactive(app);
}

} // namespace app
