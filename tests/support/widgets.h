#pragma once
// Helpers for tests that build elements and primitives: JSON from QString text, the texts a
// widget tree shows, and a press callback that records what it was given.

#include "prims/registry.h"
#include "support/testsupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QStringList>

namespace testsupport {

inline QJsonObject json(const QString &text)
{
    return json(text.toUtf8().constData());
}

// Any JSON value written inline, scalars and arrays too (undefined on a syntax error).
inline QJsonValue jsonValue(const QString &text)
{
    return QJsonDocument::fromJson('[' + text.toUtf8() + ']').array().at(0);
}

// The texts of every label under `root`, and of `root` itself when it is a label.
inline QStringList labelTexts(const QWidget *root)
{
    QStringList texts;
    if (auto *self = qobject_cast<const QLabel *>(root))
        texts << self->text();
    for (const QLabel *label : root->findChildren<QLabel *>())
        texts << label->text();
    return texts;
}

// The label under `root` (or `root` itself) showing exactly `text`, or null.
inline QLabel *findLabel(QWidget *root, const QString &text)
{
    if (auto *self = qobject_cast<QLabel *>(root); self && self->text() == text)
        return self;
    for (QLabel *label : root->findChildren<QLabel *>())
        if (label->text() == text)
            return label;
    return nullptr;
}

// A screen description of one section, labelled `label`, holding `elements`.
inline QJsonObject oneSection(const QJsonArray &elements, const QString &label = QStringLiteral("Section"))
{
    return {{QLatin1StringView("sections"),
             QJsonArray{QJsonObject{{QLatin1StringView("label"), label}, {QLatin1StringView("elements"), elements}}}}};
}

// One call of a primitive's press callback.
struct Posted
{
    QString path;
    QJsonObject body;
    friend bool operator==(const Posted &, const Posted &) = default;
};

// Callbacks whose press appends to `posts` (none at all for a null list).
inline prims::Callbacks recording(QList<Posted> *posts)
{
    prims::Callbacks cb;
    if (posts)
        cb.press = [posts](const QString &path, const QJsonObject &body) { posts->append({path, body}); };
    return cb;
}

} // namespace testsupport
