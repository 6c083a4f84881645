#include "prims/kpi.h"

#include "app/base/theme.h"
#include "prims/json.h"
#include "prims/text.h"
#include "prims/wraprow.h"

#include <QLabel>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace prims {

QString kpiValueText(const QJsonObject &el)
{
    constexpr double kNotNumber = std::numeric_limits<double>::quiet_NaN();
    const double number = readNumber(el, "value"_L1, kNotNumber);
    const QString text = std::isnan(number) ? readText(el, "value"_L1) : QString::number(number, 'g', 10);
    return text.isEmpty() ? u"-"_s : text;
}

QColor kpiDeltaColor(const QJsonObject &el)
{
    const QString explicitTone = readName(el, "delta_tone"_L1);
    if (!explicitTone.isEmpty())
        return theme::toneColor(explicitTone);
    const QString delta = readText(el, "delta"_L1);
    if (delta.startsWith(u'+'))
        return theme::toneColor(u"ok"_s);
    if (delta.startsWith(u'-'))
        return theme::toneColor(u"error"_s);
    return theme::toneColor(u"muted"_s);
}

QWidget *buildKpi(const QJsonObject &el, QWidget *parent)
{
    const int size = readInt(el, "size"_L1, 22, 10, 64);
    auto *tile = new QWidget(parent);
    auto *column = new QVBoxLayout(tile);
    column->setContentsMargins(0, 0, 0, 0);

    // The figure, its unit and its change side by side, centred on one line; when narrow, the
    // unit and the change move whole onto the next line rather than break into a tall column.
    auto *row = new WrapRow(nullptr, 0, 0, WrapRow::Fill::Pack);
    column->addLayout(row);
    row->setSpacing(std::max(0, column->spacing()));
    QLabel *value =
        textLabel(kpiValueText(el), size, theme::toneColor(readName(el, "tone"_L1, u"body"_s)), true, false, tile);
    value->setObjectName(u"kpiValue"_s);
    value->setWordWrap(false);
    row->addWidget(value);

    const QString unit = readText(el, "unit"_L1);
    if (!unit.isEmpty()) {
        const int unitSize = size / 2 < 9 ? 8 : size / 2;
        TextLabel *unitLabel = textLabel(unit, unitSize, theme::toneColor(u"muted"_s), false, false, tile);
        unitLabel->setObjectName(u"kpiUnit"_s);
        unitLabel->setPrefersOneLine(true);
        row->addWidget(unitLabel);
    }

    const QString delta = readText(el, "delta"_L1);
    if (!delta.isEmpty()) {
        QLabel *pill = pillLabel(delta, kpiDeltaColor(el), std::max(7, size / 2 - 1), true, tile);
        pill->setObjectName(u"kpiDelta"_s);
        row->addWidget(pill);
    }

    const QString label = readText(el, "label"_L1);
    if (!label.isEmpty())
        column->addWidget(textLabel(label, 9, theme::toneColor(u"muted"_s), false, false, tile));
    const QString note = readText(el, "note"_L1);
    if (!note.isEmpty())
        column->addWidget(textLabel(note, 8, theme::toneColor(u"dim"_s), false, false, tile));
    return tile;
}

} // namespace prims
