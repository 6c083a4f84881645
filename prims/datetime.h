#pragma once
// "datetime": an input for a date, a time or both, read by the window through its field identity.

#include <QDateTime>
#include <QJsonObject>

class QWidget;

namespace prims {

QWidget *buildDateTime(const QJsonObject &element, QWidget *parent);

// An ISO 8601 date-time; a bare date counts as its midnight and a bare time as that time today.
// Invalid when the text is none of these.
QDateTime parseIsoDateTime(const QString &text);

} // namespace prims
