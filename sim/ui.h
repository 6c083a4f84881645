#pragma once
// Small builders for the JSON that the simulated unit's screens are made of, so that a screen
// reads as a short list of calls instead of one long literal.

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <initializer_list>

namespace sim::ui {

using Keys = std::initializer_list<std::pair<QString, QJsonValue>>;

// Any element: its type plus the given keys.
QJsonObject el(const QString &type, Keys keys = {});
// Adds keys to an element (later keys win).
QJsonObject with(QJsonObject o, Keys keys);

QJsonObject heading(const QString &text, int size = 14, const QString &tone = {});
QJsonObject text(const QString &text, Keys extra = {});
QJsonObject fact(const QString &label, const QJsonValue &value, const QString &tone = {});
QJsonObject row(const QJsonArray &items);
QJsonObject column(const QJsonArray &items);
QJsonObject action(const QString &label, const QString &path, const QString &style = {}, Keys extra = {});
QJsonObject field(const QString &kind, const QString &id, const QString &label, Keys extra = {});
QJsonObject panel(const QString &kind, const QString &source, Keys extra = {});
QJsonObject section(const QString &label, const QJsonArray &elements, const QJsonObject &badge = {});
QJsonObject badge(const QString &label, const QString &tone);
QJsonObject chip(const QString &text, const QString &tone);
QJsonObject kv(const QString &label, const QJsonValue &value, const QString &tone = {});
QJsonObject confirm(const QString &title, const QString &detail, const QString &word = {});

} // namespace sim::ui
