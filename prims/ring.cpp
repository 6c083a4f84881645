#include "prims/ring.h"

#include "app/base/theme.h"
#include "prims/json.h"
#include "prims/painted.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace prims {

namespace {

int ringSize(const QJsonObject &el)
{
    return readInt(el, "size"_L1, 96, 40, 500);
}

} // namespace

QString ringText(const QJsonObject &el)
{
    const QString label = readText(el, "label"_L1);
    if (!label.isEmpty())
        return label;
    return QString::number(std::lround(valueFraction(el) * 100.0)) + u'%';
}

void paintRing(QPainter &p, const QRect &r, const QJsonObject &el)
{
    const theme::Palette &pal = theme::palette();
    const int size = ringSize(el);
    const int pen = std::max(2, std::min(size / 2, readInt(el, "thickness"_L1, 10, -2000000000, 2000000000)));
    const double diameter = size - pen - 4;
    const QRectF circle(r.x() + (r.width() - diameter) / 2.0, r.y() + (r.height() - diameter) / 2.0, diameter,
                        diameter);

    p.setBrush(Qt::NoBrush);
    p.setPen(QPen(pal.edge, pen));
    p.drawEllipse(circle);
    const double fraction = valueFraction(el);
    if (fraction > 0) {
        p.setPen(QPen(theme::toneColor(readName(el, "tone"_L1, u"accent"_s)), pen, Qt::SolidLine, Qt::RoundCap));
        p.drawArc(circle, 90 * 16, -sixteenths(fraction * 360.0));
    }

    // The text stays inside the ring.
    const QPointF c = circle.center();
    const double inner = diameter / 2 - pen / 2.0 - 1;
    auto insideRing = [c, inner](const QRectF &ink) {
        const double dx = std::max(std::abs(ink.left() - c.x()), std::abs(ink.right() - c.x()));
        const double dy = std::max(std::abs(ink.top() - c.y()), std::abs(ink.bottom() - c.y()));
        return dx * dx + dy * dy <= inner * inner;
    };
    const int points = size / 7 < 9 ? 8 : size / 7;
    p.setPen(pal.ink);
    drawFitted(p, circle, Qt::AlignCenter, ringText(el), theme::uiFont(points, true), insideRing);
}

QWidget *buildRing(const QJsonObject &el, QWidget *parent)
{
    auto *painted = new Painted(el, &paintRing, ringSize(el), parent);
    painted->setMinimumWidth(ringSize(el));
    return captioned(painted, readText(el, "caption"_L1), parent);
}

} // namespace prims
