#include "prims/gauge.h"

#include "app/base/theme.h"
#include "prims/json.h"
#include "prims/painted.h"

#include <QPainter>

#include <algorithm>
#include <cmath>
#include <numbers>

using namespace Qt::StringLiterals;

namespace prims {

namespace {

constexpr int kGaugeMinWidth = 120;

} // namespace

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

    // The value stands inside the arc: above the base line within its inner edge, below it
    // between its feet; the label goes under the base line, within the widget.
    const QPointF c = g.arc.center();
    const double inner = g.arc.width() / 2 - g.thickness / 2.0 - 1;
    const QRectF within = QRectF(r).adjusted(1, 0, -1, 0);
    auto insideArc = [c, inner, within](const QRectF &ink) {
        const double half = std::max(std::abs(ink.left() - c.x()), std::abs(ink.right() - c.x()));
        const double rise = std::max(0.0, c.y() - ink.top());
        return half * half + rise * rise <= inner * inner && within.contains(ink);
    };
    p.setPen(tone);
    drawFitted(p, QRectF(r.x(), c.y() - 22, r.width(), 24), Qt::AlignHCenter | Qt::AlignBottom, valueWithUnit(el),
               theme::uiFont(15, true), insideArc);

    const QString label = readText(el, "label"_L1);
    if (!label.isEmpty()) {
        p.setPen(pal.muted);
        drawFitted(p, QRectF(r.x(), c.y(), r.width(), 16), Qt::AlignHCenter | Qt::AlignTop, label, theme::uiFont(9),
                   [within](const QRectF &ink) { return within.contains(ink); });
    }
}

QWidget *buildGauge(const QJsonObject &el, QWidget *parent)
{
    auto *painted = new Painted(el, &paintGauge, 104, parent);
    // Narrower, the scale would leave its value no room.
    painted->setMinimumWidth(kGaugeMinWidth);
    return captioned(painted, readText(el, "caption"_L1), parent);
}

} // namespace prims
