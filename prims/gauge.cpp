#include "prims/gauge.h"

#include "app/base/theme.h"
#include "prims/json.h"
#include "prims/painted.h"

#include <QPainter>

#include <algorithm>
#include <numbers>

using namespace Qt::StringLiterals;

namespace prims {

GaugeGeometry gaugeGeometry(const QRect &r)
{
    GaugeGeometry g;
    g.baseLine = r.y() + r.height() - 20;
    const int available = g.baseLine - r.top();
    const int half = r.width() / 2;
    const int outer = half - 2 < available - 2 ? half : available;
    const int r1 = outer - 2;
    g.thickness = std::max(6, std::max(r1, 12) / 7);
    const double radius = (r1 < 13 ? 6.0 : double(outer - 8)) - g.thickness / 2.0;
    const QPointF centre(r.x() + r.width() / 2.0, g.baseLine);
    g.arc = QRectF(centre.x() - radius, centre.y() - radius, 2 * radius, 2 * radius);
    return g;
}

void paintGauge(QPainter &p, const QRect &r, const QJsonObject &el)
{
    const theme::Palette &pal = theme::palette();
    const GaugeGeometry g = gaugeGeometry(r);
    const QColor tone = theme::toneColor(readName(el, "tone"_L1, u"accent"_s));

    p.setBrush(Qt::NoBrush);
    p.setPen(QPen(pal.edge, g.thickness, Qt::SolidLine, Qt::FlatCap));
    p.drawArc(g.arc, 180 * 16, -180 * 16);
    const double fraction = valueFraction(el);
    if (fraction > 0) {
        p.setPen(QPen(tone, g.thickness, Qt::SolidLine, Qt::FlatCap));
        p.drawArc(g.arc, 180 * 16, -sixteenths(fraction * 180.0));
    }

    const int ticks = readInt(el, "ticks"_L1, 5, 0, 40);
    if (ticks >= 1) {
        const QPointF c = g.arc.center();
        const double inner = g.arc.width() / 2 + g.thickness / 2 + 2;
        p.setPen(QPen(pal.dim, 1.2, Qt::SolidLine, Qt::FlatCap));
        for (int i = 0; i <= ticks; ++i) {
            const double a = (1.0 - double(i) / ticks) * std::numbers::pi;
            const QPointF dir(std::cos(a), -std::sin(a));
            p.drawLine(c + dir * inner, c + dir * (inner + 4));
        }
    }

    const double cy = g.arc.center().y();
    p.setPen(tone);
    p.setFont(theme::uiFont(15, true));
    p.drawText(QRectF(r.x(), cy - 22, r.width(), 24), Qt::AlignHCenter | Qt::AlignBottom, valueWithUnit(el));

    const QString label = readText(el, "label"_L1);
    if (!label.isEmpty()) {
        p.setPen(pal.muted);
        p.setFont(theme::uiFont(9));
        p.drawText(QRectF(r.x(), cy, r.width(), 16), Qt::AlignHCenter | Qt::AlignTop, label);
    }
}

QWidget *buildGauge(const QJsonObject &el, QWidget *parent)
{
    auto *painted = new Painted(el, &paintGauge, 104, parent);
    return captioned(painted, readText(el, "caption"_L1), parent);
}

} // namespace prims
