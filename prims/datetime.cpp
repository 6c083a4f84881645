#include "prims/datetime.h"

#include "prims/field.h"
#include "prims/json.h"

#include <QDateTimeEdit>

using namespace Qt::StringLiterals;

namespace prims {

QDateTime parseIsoDateTime(const QString &text)
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return {};
    QDateTime stamp = QDateTime::fromString(trimmed, Qt::ISODateWithMs);
    if (stamp.isValid())
        return stamp;
    if (const QDate date = QDate::fromString(trimmed, Qt::ISODate); date.isValid())
        return date.startOfDay();
    if (const QTime time = QTime::fromString(trimmed, Qt::ISODateWithMs); time.isValid())
        return QDateTime(QDate::currentDate(), time);
    return {};
}

QWidget *buildDateTime(const QJsonObject &el, QWidget *parent)
{
    const QString mode = readText(el, "mode"_L1, u"datetime"_s);
    auto *edit = new QDateTimeEdit(parent);
    if (mode == "date"_L1)
        edit->setDisplayFormat(u"yyyy-MM-dd"_s);
    else if (mode == "time"_L1)
        edit->setDisplayFormat(u"HH:mm:ss"_s);
    else
        edit->setDisplayFormat(u"yyyy-MM-dd HH:mm:ss"_s);
    edit->setCalendarPopup(mode != "time"_L1);

    const QDateTime value = parseIsoDateTime(readText(el, "value"_L1));
    edit->setDateTime(value.isValid() ? value : QDateTime::currentDateTime());

    const QDateTime min = parseIsoDateTime(readText(el, "min"_L1));
    const QDateTime max = parseIsoDateTime(readText(el, "max"_L1));
    if (min.isValid())
        edit->setMinimumDateTime(min);
    if (max.isValid() && !(min.isValid() && min > max))
        edit->setMaximumDateTime(max);

    setFieldId(edit, readText(el, "id"_L1));
    return fieldLabel(edit, readText(el, "label"_L1), parent);
}

} // namespace prims
