#include "tools/technician.h"

#include "app/base/settings.h"
#include "tools/prompts.h"

using namespace Qt::StringLiterals;

namespace tools {

namespace {

constexpr auto kFirst = "techFirst"_L1;
constexpr auto kLast = "techLast"_L1;

} // namespace

QString technicianName(QWidget *parent, bool ask)
{
    QJsonObject settings = app::loadSettings();
    const QString first = settings.value(kFirst).toString();
    const QString last = settings.value(kLast).toString();
    if (!first.isEmpty() || !last.isEmpty())
        return QString(first + u' ' + last).trimmed();
    if (!ask || !parent)
        return {};
    const std::optional<QString> typed =
        askLine(parent, u"Your name"_s,
                u"Who is doing the commissioning? This goes on the reports you produce, so a customer or the next "
                u"shift knows who to ask. Stored on this machine only."_s);
    const QString name = typed.value_or(QString()).trimmed();
    if (name.isEmpty())
        return {};
    const qsizetype blank = name.indexOf(u' ');
    settings.insert(kFirst, blank < 0 ? name : name.left(blank));
    settings.insert(kLast, blank < 0 ? QString() : name.mid(blank + 1).trimmed());
    app::saveSettings(settings);
    return *typed;
}

QString changeTechnicianName(QWidget *parent)
{
    QJsonObject settings = app::loadSettings();
    settings.remove(kFirst);
    settings.remove(kLast);
    app::saveSettings(settings);
    return technicianName(parent, true);
}

} // namespace tools
