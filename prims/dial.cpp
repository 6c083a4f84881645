#include "prims/dial.h"

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

constexpr double kStart = 225.0;
constexpr double kSpan = 270.0;

int dialSize(const QJsonObject &el)
{
    return readInt(el, "size"_L1, 120, 60, 600);
}

QPointF polar(const QPointF &centre, double degrees, double radius)
{
    const double a = degrees * std::numbers::pi / 180.0;
    return centre + QPointF(std::cos(a), -std::sin(a)) * radius;
}

} // namespace

double dialAngle(double fraction)
{
    return kStart - std::clamp(fraction, 0.0, 1.0) * kSpan;
}

void paintDial(QPainter &p, const QRect &r, const QJsonObject &el)
{
    const theme::Palette &pal = theme::palette();
    const int size = dialSize(el);
    const double faceDiameter = size - 14;
    const double faceRadius = faceDiameter / 2;
    const QPointF centre(r.x() + r.width() / 2.0, r.y() + r.height() / 2.0);
    const QRectF face(centre.x() - faceRadius, centre.y() - faceRadius, faceDiameter, faceDiameter);
    const QColor tone = theme::toneColor(readName(el, "tone"_L1, u"accent"_s));

    // The face sits on the bg colour with a thin bezel so it reads as a separate instrument on any
    // surface, dark or light.
    p.setPen(QPen(pal.edge, 1.5));
    p.setBrush(pal.bg);
    p.drawEllipse(face);
    p.setPen(QPen(theme::blend(pal.edge, pal.bg, 0.5), 1.0));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(face.adjusted(3.5, 3.5, -3.5, -3.5));

    const int band = std::max(5, size / 16);
    const double min = readNumber(el, "min"_L1, 0.0);
    const double max = readNumber(el, "max"_L1, 100.0);
    const QRectF zoneArc = face.adjusted(band / 2.0, band / 2.0, -band / 2.0, -band / 2.0);
    for (const QJsonValue &entry : readArray(el, "zones"_L1, 32)) {
        const QJsonObject zone = entry.toObject();
        const double from = rangeFraction(readNumber(zone, "from"_L1, min), min, max);
        const double to = rangeFraction(readNumber(zone, "to"_L1, min), min, max);
        p.setPen(QPen(theme::toneColor(readName(zone, "tone"_L1, u"idle"_s)), band, Qt::SolidLine, Qt::FlatCap));
        p.drawArc(zoneArc, sixteenths(kStart - from * kSpan), -sixteenths((to - from) * kSpan));
    }

    const int ticks = readInt(el, "ticks"_L1, 9, 0, 60);
    p.setPen(QPen(pal.muted, 1.2, Qt::SolidLine, Qt::FlatCap));
    for (int i = 0; i <= ticks; ++i) {
        const double angle = ticks > 0 ? kStart - kSpan * i / ticks : kStart;
        p.drawLine(polar(centre, angle, faceRadius - band - 2), polar(centre, angle, faceRadius - band - 8));
    }

    const double needleAngle = dialAngle(valueFraction(el));
    const int needleWidth = std::max(2, size / 40);
    p.setPen(QPen(tone, needleWidth, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(centre, polar(centre, needleAngle, faceRadius - band - 10));

    // Hub: a tone disc with a bg-coloured pin so the needle looks mounted, not drawn on.
    const double hub = std::max(4.0, size / 20.0);
    p.setPen(Qt::NoPen);
    p.setBrush(tone);
    p.drawEllipse(centre, hub, hub);
    p.setBrush(pal.bg);
    p.drawEllipse(centre, hub * 0.4, hub * 0.4);

    // The value stays on the face, clear of the ticks and zones: inside them, or in the open
    // quarter at the bottom of the scale.
    const double clear = faceRadius - band - 9;
    auto onFace = [centre, clear, faceRadius](const QRectF &ink) {
        // The ink's outline, point by point along its four sides.
        for (int i = 0; i <= 8; ++i) {
            const double x = ink.left() + ink.width() * i / 8;
            const double y = ink.top() + ink.height() * i / 8;
            for (const QPointF &at :
                 {QPointF(ink.left(), y), QPointF(ink.right(), y), QPointF(x, ink.top()), QPointF(x, ink.bottom())}) {
                const QPointF d = at - centre;
                const double distance = std::hypot(d.x(), d.y());
                const bool openQuarter = d.y() > 0 && std::abs(d.x()) < d.y() - 3;
                if (distance > faceRadius - 4 || (distance > clear && !openQuarter))
                    return false;
            }
        }
        return true;
    };
    const int points = std::max(8, size / 11);
    p.setPen(pal.ink);
    const double top = centre.y() + hub + faceRadius * 0.22;
    drawFitted(p, QRectF(face.left(), top, face.width(), face.bottom() - top), Qt::AlignHCenter | Qt::AlignTop,
               valueWithUnit(el), theme::uiFont(points, true), onFace);
}

QWidget *buildDial(const QJsonObject &el, QWidget *parent)
{
    auto *painted = new Painted(el, &paintDial, dialSize(el), parent);
    painted->setMinimumWidth(dialSize(el));
    return captioned(painted, readText(el, "label"_L1), parent);
}

} // namespace prims
