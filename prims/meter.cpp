#include "prims/meter.h"

#include "app/base/theme.h"
#include "prims/json.h"
#include "prims/painted.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace prims {

namespace {

bool hasHeader(const QJsonObject &el)
{
    return !readText(el, "label"_L1).isEmpty() || readFlag(el, "show_value"_L1, true);
}

} // namespace

std::optional<double> meterTarget(const QJsonObject &el)
{
    constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
    double target = readNumber(el, "target"_L1, kNone);
    if (std::isnan(target)) {
        bool ok = false;
        const double parsed = readText(el, "target"_L1).trimmed().toDouble(&ok);
        if (!ok)
            return std::nullopt;
        target = parsed;
    }
    if (!std::isfinite(target))
        return std::nullopt;
    return rangeFraction(target, readNumber(el, "min"_L1, 0.0), readNumber(el, "max"_L1, 100.0));
}

void paintMeter(QPainter &p, const QRect &r, const QJsonObject &el)
{
    const theme::Palette &pal = theme::palette();
    const QColor tone = theme::toneColor(readName(el, "tone"_L1, u"accent"_s));
    QRectF area = r;

    if (hasHeader(el)) {
        const QRectF band(r.x(), r.y(), r.width(), 15);
        p.setPen(pal.muted);
        p.setFont(theme::uiFont(9));
        p.drawText(band, Qt::AlignLeft | Qt::AlignVCenter, readText(el, "label"_L1));
        if (readFlag(el, "show_value"_L1, true)) {
            p.setPen(tone);
            p.setFont(theme::uiFont(9, true));
            p.drawText(band, Qt::AlignRight | Qt::AlignVCenter, valueWithUnit(el));
        }
        area.setTop(r.y() + 17);
    }

    const QRectF bar(area.x() + 0.5, area.y() + 0.5, area.width() - 1, area.height() - 1);
    if (bar.width() <= 0 || bar.height() <= 0)
        return;
    const double radius = std::min(bar.height() / 2.0, 5.0);
    QPainterPath outline;
    outline.addRoundedRect(bar, radius, radius);
    p.setPen(Qt::NoPen);
    p.setBrush(pal.grey);
    p.drawPath(outline);

    p.save();
    p.setClipPath(outline);
    const double min = readNumber(el, "min"_L1, 0.0);
    const double max = readNumber(el, "max"_L1, 100.0);
    for (const QJsonValue &entry : readArray(el, "segments"_L1, 32)) {
        const QJsonObject seg = entry.toObject();
        const double from = rangeFraction(readNumber(seg, "from"_L1, min), min, max);
        const double to = rangeFraction(readNumber(seg, "to"_L1, min), min, max);
        QColor c = theme::toneColor(readName(seg, "tone"_L1, u"idle"_s));
        c.setAlpha(90);
        p.fillRect(QRectF(bar.x() + from * bar.width(), bar.y(), (to - from) * bar.width(), bar.height()), c);
    }
    const double fraction = valueFraction(el);
    if (fraction > 0)
        p.fillRect(QRectF(bar.x(), bar.y(), fraction * bar.width(), bar.height()), tone);
    p.restore();

    if (const auto target = meterTarget(el)) {
        // A two-pixel ink line with a thin outline in the bar colour, so it stays visible over
        // the value fill and over an empty bar alike.
        const double x = std::clamp(bar.x() + *target * bar.width(), bar.left() + 1.5, bar.right() - 1.5);
        p.fillRect(QRectF(x - 2, area.y(), 4, area.height()), pal.grey);
        p.fillRect(QRectF(x - 1, area.y(), 2, area.height()), pal.ink);
    }
}

QWidget *buildMeter(const QJsonObject &el, QWidget *parent)
{
    const int height = readInt(el, "height"_L1, 10, 4, 60);
    return new Painted(el, &paintMeter, height + (hasHeader(el) ? 20 : 4), parent);
}

} // namespace prims
