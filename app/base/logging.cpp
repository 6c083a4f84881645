#include "app/base/logging.h"

#include <QCoreApplication>
#include <QString>

using namespace Qt::StringLiterals;

Q_LOGGING_CATEGORY(lcFrame, "kestro.frame", QtInfoMsg)
Q_LOGGING_CATEGORY(lcPan, "kestro.pan", QtInfoMsg)
Q_LOGGING_CATEGORY(lcInput, "kestro.input", QtInfoMsg)

Q_LOGGING_CATEGORY(lcApp, "kestro.app", QtInfoMsg)
Q_LOGGING_CATEGORY(lcPrims, "kestro.prims", QtInfoMsg)
Q_LOGGING_CATEGORY(lcRender, "kestro.render", QtInfoMsg)
Q_LOGGING_CATEGORY(lcUnits, "kestro.units", QtInfoMsg)
Q_LOGGING_CATEGORY(lcBoard, "kestro.board", QtInfoMsg)
Q_LOGGING_CATEGORY(lcTools, "kestro.tools", QtInfoMsg)
Q_LOGGING_CATEGORY(lcPhone, "kestro.phone", QtInfoMsg)
Q_LOGGING_CATEGORY(lcTemplates, "kestro.iotemplates", QtInfoMsg)
Q_LOGGING_CATEGORY(lcUpdater, "kestro.updater", QtInfoMsg)
Q_LOGGING_CATEGORY(lcWindow, "kestro.window", QtInfoMsg)

namespace app {

void applyDebugSwitches()
{
    static constexpr struct
    {
        const char *variable;
        const char *category;
    } switches[] = {
        {"KESTRO_FRAME_DEBUG", "kestro.frame"},
        {"KESTRO_PAN_DEBUG", "kestro.pan"},
        {"KESTRO_INPUT_DEBUG", "kestro.input"},
    };
    QString rules;
    for (const auto &s : switches)
        rules += u"%1.debug=%2\n"_s.arg(QLatin1StringView(s.category),
                                        qEnvironmentVariableIsSet(s.variable) ? "true"_L1 : "false"_L1);
    // These rules sit below QT_LOGGING_RULES, which therefore still has the last word.
    QLoggingCategory::setFilterRules(rules);
}

} // namespace app

static void applyDebugSwitchesAtStart()
{
    app::applyDebugSwitches();
}
Q_COREAPP_STARTUP_FUNCTION(applyDebugSwitchesAtStart)
