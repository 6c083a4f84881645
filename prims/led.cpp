#include "prims/led.h"

#include "app/base/theme.h"
#include "prims/json.h"
#include "prims/painted.h"
#include "prims/text.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QRadialGradient>
#include <QVBoxLayout>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace prims {

int ledSize(const QJsonObject &el)
{
    const int size = readInt(el, "size"_L1, 12, -2000000000, 64);
    return size < 7 ? 6 : size;
}

QColor ledColor(const QJsonObject &el)
{
    const QString tone = readName(el, "tone"_L1);
    if (!tone.isEmpty())
        return theme::toneColor(tone);
    return theme::toneColor(readText(el, "state"_L1, u"idle"_s));
}

void paintLed(QPainter &p, const QRect &r, const QJsonObject &el)
{
    const theme::Palette &pal = theme::palette();
    const int size = ledSize(el);
    const QColor color = ledColor(el);
    const QPointF centre = QRectF(r).center();
    const double radius = size / 2.0;

    if (readFlag(el, "halo"_L1, true)) {
        // The glow fades out over the few pixels the widget leaves around the lamp.
        const double reach = radius + 4.0;
        QRadialGradient glow(centre, reach);
        QColor inner = color;
        inner.setAlpha(pal.dark ? 120 : 90);
        QColor outer = color;
        outer.setAlpha(0);
        glow.setColorAt(radius / reach * 0.9, inner);
        glow.setColorAt(1.0, outer);
        p.setPen(Qt::NoPen);
        p.setBrush(glow);
        p.drawEllipse(centre, reach, reach);
    }

    // A domed lamp: lighter towards the upper left, darker at the rim, with a thin bezel.
    QRadialGradient dome(centre - QPointF(radius * 0.35, radius * 0.35), radius * 1.3);
    dome.setColorAt(0.0, theme::blend(color, pal.dark ? pal.ink : pal.surface, 0.45));
    dome.setColorAt(0.55, color);
    dome.setColorAt(1.0, color.darker(135));
    p.setBrush(dome);
    p.setPen(QPen(theme::blend(color.darker(160), pal.bg, 0.2), 1.0));
    p.drawEllipse(centre, radius - 0.5, radius - 0.5);
}

QWidget *buildLed(const QJsonObject &el, QWidget *parent)
{
    const int size = ledSize(el);
    auto *row = new QWidget(parent);
    auto *box = new QHBoxLayout(row);
    box->setContentsMargins(0, 0, 0, 0);
    box->setSpacing(7);

    auto *lamp = new Painted(el, &paintLed, size + 6, row);
    lamp->setFixedWidth(size + 8);
    box->addWidget(lamp);

    auto *column = new QVBoxLayout;
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(textLabel(readText(el, "label"_L1), 10, theme::palette().ink, false, false, row));
    const QString note = readText(el, "note"_L1);
    if (!note.isEmpty())
        column->addWidget(textLabel(note, 8, theme::toneColor(u"muted"_s), false, false, row));
    box->addLayout(column, 1);
    return row;
}

} // namespace prims
