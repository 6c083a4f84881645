#include "sim/ui.h"

using namespace Qt::StringLiterals;

namespace sim::ui {

QJsonObject el(const QString &type, Keys keys)
{
    QJsonObject o{{u"type"_s, type}};
    return with(o, keys);
}

QJsonObject with(QJsonObject o, Keys keys)
{
    for (const auto &[k, v] : keys)
        o.insert(k, v);
    return o;
}

QJsonObject heading(const QString &text, int size, const QString &tone)
{
    QJsonObject o = el(u"heading"_s, {{u"text"_s, text}, {u"size"_s, size}});
    if (!tone.isEmpty())
        o.insert(u"tone"_s, tone);
    return o;
}

QJsonObject text(const QString &t, Keys extra)
{
    return with(el(u"text"_s, {{u"text"_s, t}, {u"wrap"_s, true}}), extra);
}

QJsonObject fact(const QString &label, const QJsonValue &value, const QString &tone)
{
    QJsonObject o = el(u"fact"_s, {{u"label"_s, label}, {u"value"_s, value}});
    if (!tone.isEmpty())
        o.insert(u"tone"_s, tone);
    return o;
}

QJsonObject row(const QJsonArray &items)
{
    return el(u"row"_s, {{u"items"_s, items}});
}

QJsonObject column(const QJsonArray &items)
{
    return el(u"column"_s, {{u"items"_s, items}});
}

QJsonObject action(const QString &label, const QString &path, const QString &style, Keys extra)
{
    QJsonObject o = el(u"action"_s, {{u"label"_s, label}, {u"path"_s, path}});
    if (!style.isEmpty())
        o.insert(u"style"_s, style);
    return with(o, extra);
}

QJsonObject field(const QString &kind, const QString &id, const QString &label, Keys extra)
{
    return with(el(u"field"_s, {{u"kind"_s, kind}, {u"id"_s, id}, {u"label"_s, label}}), extra);
}

QJsonObject panel(const QString &kind, const QString &source, Keys extra)
{
    return with(el(u"panel"_s, {{u"panel"_s, kind}, {u"source"_s, source}}), extra);
}

QJsonObject section(const QString &label, const QJsonArray &elements, const QJsonObject &badge)
{
    QJsonObject o{{u"label"_s, label}, {u"elements"_s, elements}};
    if (!badge.isEmpty())
        o.insert(u"badge"_s, badge);
    return o;
}

QJsonObject badge(const QString &label, const QString &tone)
{
    return {{u"label"_s, label}, {u"tone"_s, tone}};
}

QJsonObject chip(const QString &text, const QString &tone)
{
    return {{u"text"_s, text}, {u"tone"_s, tone}};
}

QJsonObject kv(const QString &label, const QJsonValue &value, const QString &tone)
{
    QJsonObject o{{u"label"_s, label}, {u"value"_s, value}};
    if (!tone.isEmpty())
        o.insert(u"tone"_s, tone);
    return o;
}

QJsonObject confirm(const QString &title, const QString &detail, const QString &word)
{
    QJsonObject o{{u"title"_s, title}, {u"detail"_s, detail}};
    if (!word.isEmpty())
        o.insert(u"word"_s, word);
    return o;
}

} // namespace sim::ui
