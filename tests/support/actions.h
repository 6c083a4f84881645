#pragma once
// Render actions that record what a drawn screen asks of the session (presses, saves, carries,
// warnings, log lines) and answer carried and pending field values from tables.

#include "render/actions.h"

#include <QHash>
#include <QList>

namespace testsupport {

struct RecordedActions
{
    QList<render::Press> presses;
    QList<std::pair<QString, QJsonObject>> saves;
    QList<std::pair<QString, QString>> carries;
    QStringList warnings; // "title|text"
    QStringList logLines;
    QHash<QString, QString> carriedValues;
    QHash<QString, QVariant> pending;

    render::Actions actions(const QString &viewedStep = {})
    {
        render::Actions a;
        a.press = [this](const render::Press &p) { presses << p; };
        a.save = [this](const QString &path, const QJsonObject &body) { saves.append({path, body}); };
        a.carry = [this](const QString &id, const QString &text) { carries.append({id, text}); };
        a.warnBox = [this](const QString &title, const QString &text) { warnings << title + u'|' + text; };
        a.logLine = [this](const QString &line) { logLines << line; };
        a.carried = [this](const QString &id) { return carriedValues.value(id); };
        a.stateValue = [this](const QString &id) { return pending.value(id); };
        a.viewedStep = viewedStep;
        return a;
    }
};

} // namespace testsupport
