#include "tools/yourname.h"

#include "app/base/settings.h"
#include "tools/technicianname.h"

#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace tools {

QString changeTechnicianName(QWidget *parent)
{
    QJsonObject settings = app::loadSettings();
    settings.remove("techFirst"_L1);
    settings.remove("techLast"_L1);
    app::saveSettings(settings);
    return technicianName(parent, true);
}

} // namespace tools
