#pragma once
// A simulated unit's IO module templates: the built-in ones every unit ships with, the site's own
// ones (dealt out so that units of one site start with different sets), and the merge a unit does
// when a client sends it a library.

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QMap>

namespace sim {

// Built-in templates (marked "builtin"): on every unit, never replaced by a client's copy.
QList<QJsonObject> builtinTemplates();

// The site's own templates that unit `index` (0-based) starts with; neighbours differ.
QList<QJsonObject> siteTemplates(int index);

struct TemplateMerge
{
    int added = 0;
    int updated = 0;
    QJsonArray rejected; // ids, "?" for a template without one
};

// Merges a client's templates into a unit's set (by id): built-in ones are skipped, invalid ones
// rejected, new ids added, and a known one replaced only when its "updated" is a later time.
TemplateMerge mergeTemplates(QMap<QString, QJsonObject> &set, const QJsonArray &incoming);

} // namespace sim
