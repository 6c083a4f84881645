#include "render/changes.h"

#include "prims/json.h"

#include <QJsonArray>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace render {

namespace {

// Past this many paths the window rebuilds anyway, so the walk stops early.
constexpr qsizetype kPathCap = 200;

void walkChanges(const QJsonValue &a, const QJsonValue &b, const QString &path, QStringList &out)
{
    if (a == b)
        return;
    if (out.size() > kPathCap)
        return;
    if (a.isObject() && b.isObject()) {
        const QJsonObject oa = a.toObject();
        const QJsonObject ob = b.toObject();
        for (auto it = oa.begin(); it != oa.end(); ++it)
            walkChanges(it.value(), ob.value(it.key()), path + u'/' + it.key(), out);
        for (auto it = ob.begin(); it != ob.end(); ++it) {
            if (!oa.contains(it.key()))
                walkChanges(QJsonValue(QJsonValue::Undefined), it.value(), path + u'/' + it.key(), out);
        }
        return;
    }
    if (a.isArray() && b.isArray()) {
        const QJsonArray aa = a.toArray();
        const QJsonArray ab = b.toArray();
        if (aa.size() != ab.size()) {
            out << path + u"[]"_s;
            return;
        }
        for (qsizetype i = 0; i < aa.size(); ++i)
            walkChanges(aa.at(i), ab.at(i), path + u'/' + QString::number(i), out);
        return;
    }
    out << path;
}

void walkSources(const QJsonValue &v, QStringList &out)
{
    if (v.isArray()) {
        for (const QJsonValue &item : v.toArray())
            walkSources(item, out);
        return;
    }
    if (!v.isObject())
        return;
    const QJsonObject o = v.toObject();
    const QString source = prims::readText(o, "source"_L1);
    if (source.startsWith(u'/') && !out.contains(source))
        out << source;
    for (auto it = o.begin(); it != o.end(); ++it)
        walkSources(it.value(), out);
}

} // namespace

QStringList changedLeaves(const QJsonValue &before, const QJsonValue &after)
{
    QStringList paths;
    walkChanges(before, after, QString(), paths);
    return paths;
}

QStringList sourcesIn(const QJsonValue &description)
{
    QStringList sources;
    walkSources(description, sources);
    return sources;
}

} // namespace render
