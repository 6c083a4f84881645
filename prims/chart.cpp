#include "prims/chart.h"

#include "app/base/theme.h"
#include "prims/json.h"
#include "prims/painted.h"
#include "prims/text.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace prims {

namespace {

constexpr double kUnset = std::numeric_limits<double>::quiet_NaN();
constexpr int kMaxSeries = 8;
constexpr int kMaxXLabels = 1000;

// Series without a "tone" take the next colour of the palette's own sequence.
QColor seriesColor(int index)
{
    const theme::Palette &pal = theme::palette();
    const QColor cycle[] = {pal.accent, pal.ok, pal.warn, pal.violet, pal.sky, pal.error, pal.yellow, pal.busy};
    return cycle[index % int(std::size(cycle))];
}

QColor withAlpha(QColor c, int alpha)
{
    c.setAlpha(alpha);
    return c;
}

QString tickText(double v, int decimals, const QString &unit)
{
    if (std::abs(v) < 1e-12)
        v = 0; // never "-0"
    return QString::number(v, 'f', decimals) + unit;
}

// Either bound given by the element, the other from the data; whole ticks round out the ones
// taken from the data.
ValueRange framedRange(ValueRange data, double min, double max, bool fromZero)
{
    ValueRange r = data;
    if (!r.valid())
        r = {0, 1};
    if (fromZero) {
        r.lo = std::min(r.lo, 0.0);
        r.hi = std::max(r.hi, 0.0);
    }
    if (std::isfinite(min))
        r.lo = min;
    if (std::isfinite(max))
        r.hi = max;
    if (!(r.hi > r.lo)) {
        // A flat series sits in the middle of the band, not on its edge.
        const double pad = std::max(std::abs(r.hi) * 0.1, 1.0);
        if (std::isfinite(min) == std::isfinite(max)) {
            r.lo -= pad;
            r.hi = r.lo + 2 * pad;
        } else if (std::isfinite(min)) {
            r.hi = r.lo + pad;
        } else {
            r.lo = r.hi - pad;
        }
    }
    return r;
}

} // namespace

Chart::Chart(const QJsonObject &el, QWidget *parent)
    : QWidget(parent)
    , m_title(readText(el, "title"_L1))
    , m_min(readNumber(el, "min"_L1, kUnset))
    , m_max(readNumber(el, "max"_L1, kUnset))
    , m_xFrom(readNumber(el, "x_from"_L1, kUnset))
    , m_xTo(readNumber(el, "x_to"_L1, kUnset))
    , m_unit(readText(el, "unit"_L1))
    , m_xUnit(readText(el, "x_unit"_L1))
    , m_legend(readFlag(el, "legend"_L1, true))
    , m_grid(readFlag(el, "grid"_L1, true))
    , m_axes(readFlag(el, "axes"_L1, true))
{
    int index = 0;
    for (const QJsonValue &v : readArray(el, "series"_L1, kMaxSeries)) {
        const QJsonObject o = v.toObject();
        Series s;
        s.label = readText(o, "label"_L1);
        const QString tone = readText(o, "tone"_L1);
        s.color = tone.isEmpty() ? seriesColor(index) : theme::toneColor(tone);
        const QString kind = readText(o, "kind"_L1);
        s.style = kind == "bar"_L1 ? Style::Bar : kind == "area"_L1 ? Style::Area : Style::Line;
        s.samples = readSamples(readArray(o, "values"_L1, kMaxSamples));
        m_series.append(std::move(s));
        ++index;
    }
    for (const QJsonValue &v : readArray(el, "x_labels"_L1, kMaxXLabels))
        m_xLabels.append(valueText(v));
    setMinimumHeight(readInt(el, "height"_L1, 200, 80, 1200));
    setMaximumHeight(minimumHeight());
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setFont(theme::uiFont(8));
}

bool Chart::hasData() const
{
    return std::any_of(m_series.cbegin(), m_series.cend(),
                       [](const Series &s) { return sampleRange(s.samples).valid(); });
}

QSize Chart::sizeHint() const
{
    return {480, minimumHeight()};
}

QSize Chart::minimumSizeHint() const
{
    return {160, minimumHeight()};
}

ValueRange Chart::yRange(const QRectF &plot) const
{
    ValueRange data{kUnset, kUnset};
    bool fromZero = false;
    for (const Series &s : m_series) {
        const ValueRange r = sampleRange(s.samples);
        fromZero = fromZero || s.style != Style::Line;
        if (!r.valid())
            continue;
        data.lo = data.valid() ? std::min(data.lo, r.lo) : r.lo;
        data.hi = data.valid() ? std::max(data.hi, r.hi) : r.hi;
    }
    ValueRange r = framedRange(data, m_min, m_max, fromZero);
    const Ticks t = niceTicks(r, std::max(2, int(plot.height() / 40)));
    if (!std::isfinite(m_min))
        r.lo = std::floor(r.lo / t.step + 1e-9) * t.step;
    if (!std::isfinite(m_max))
        r.hi = std::ceil(r.hi / t.step - 1e-9) * t.step;
    return r;
}

QRectF Chart::plotRect(const QRect &rect) const
{
    const QFontMetrics fm(font());
    const bool header = !m_title.isEmpty() || m_legend;
    const int top = rect.top() + (header ? QFontMetrics(theme::uiFont(10, true)).height() + 8 : 6);
    const bool xAxis = !m_xLabels.isEmpty() || (std::isfinite(m_xFrom) && std::isfinite(m_xTo));
    const int bottom = rect.bottom() - (xAxis ? fm.height() + 6 : 2);
    // Room for the widest tick label at the left: the range's ends and the ticks have the same digits.
    QRectF guess(rect.left(), top, rect.width(), bottom - top);
    const ValueRange r = yRange(guess);
    const Ticks t = niceTicks(r, std::max(2, int(guess.height() / 40)));
    int labelWidth = 0;
    for (int i = 0; i < t.count; ++i)
        labelWidth = std::max(labelWidth, fm.horizontalAdvance(tickText(t.first + i * t.step, t.decimals, m_unit)));
    const int left = rect.left() + (m_axes ? labelWidth + 8 : 2);
    return QRectF(left, top, std::max(1, rect.right() - 6 - left), std::max(1, bottom - top));
}

void Chart::paint(QPainter &p, const QRect &rect) const
{
    const theme::Palette &pal = theme::palette();
    p.save();
    p.setFont(font());
    const QFontMetrics fm(font());
    const QRectF plot = plotRect(rect);
    const ValueRange range = yRange(plot);
    const double span = range.hi - range.lo;
    const auto yOf = [&](double v) { return plot.bottom() - (v - range.lo) / span * plot.height(); };

    // Header: the title at the left, the legend at the right.
    const QRect header(rect.left(), rect.top(), rect.width(), int(plot.top()) - rect.top() - 4);
    if (!m_title.isEmpty()) {
        p.setFont(theme::uiFont(10, true));
        p.setPen(pal.ink);
        p.drawText(header.adjusted(2, 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter, m_title);
        p.setFont(font());
    }
    if (m_legend)
        paintLegend(p, header);

    // Grid and y axis labels at whole ticks; axes along the left and the bottom.
    const Ticks ticks = niceTicks(range, std::max(2, int(plot.height() / 40)));
    p.setRenderHint(QPainter::Antialiasing, false);
    for (int i = 0; i < ticks.count; ++i) {
        const double v = ticks.first + i * ticks.step;
        const double y = std::round(yOf(v));
        if (m_grid && y > plot.top() - 0.5 && y < plot.bottom() - 0.5) {
            p.setPen(QPen(pal.edge, 1));
            p.drawLine(QPointF(plot.left(), y), QPointF(plot.right(), y));
        }
        if (m_axes) {
            p.setPen(pal.muted);
            p.drawText(QRectF(rect.left(), y - fm.height() / 2.0, plot.left() - rect.left() - 6, fm.height()),
                       Qt::AlignRight | Qt::AlignVCenter, tickText(v, ticks.decimals, m_unit));
        }
    }
    if (range.lo < 0 && range.hi > 0) {
        p.setPen(QPen(pal.dim, 1));
        p.drawLine(QPointF(plot.left(), std::round(yOf(0))), QPointF(plot.right(), std::round(yOf(0))));
    }
    if (m_axes) {
        p.setPen(QPen(pal.controlEdge, 1));
        p.drawLine(QPointF(plot.left(), plot.top()), QPointF(plot.left(), plot.bottom()));
        p.drawLine(QPointF(plot.left(), plot.bottom()), QPointF(plot.right(), plot.bottom()));
    }

    int positions = 1;
    int bars = 0;
    for (const Series &s : m_series) {
        positions = std::max(positions, int(s.samples.size()));
        bars += s.style == Style::Bar ? 1 : 0;
    }
    const bool centred = bars > 0;
    const double baseline = yOf(std::clamp(0.0, range.lo, range.hi));
    p.setClipRect(plot.adjusted(0, -2, 2, 0));

    // Bars first, so lines and areas stay readable on top of them.
    const double slotWidth = plot.width() / positions;
    int barIndex = 0;
    for (const Series &s : m_series) {
        if (s.style != Style::Bar)
            continue;
        const std::vector<Column> columns = plotColumns(s.samples, positions, plot, true);
        if (slotWidth >= 3) {
            const double width = std::max(1.0, slotWidth * 0.78 / bars);
            const double offset = -slotWidth * 0.39 + barIndex * width;
            for (const Column &c : columns) {
                const double y = yOf(c.hi);
                p.fillRect(
                    QRectF(c.x + offset, std::min(y, baseline), width - (bars > 1 ? 1 : 0), std::abs(baseline - y)),
                    s.color);
            }
        } else {
            // Thinner than a pixel each: one line per column from the baseline out to its extremes.
            p.setPen(QPen(s.color, 1));
            for (const Column &c : columns)
                p.drawLine(QPointF(c.x, yOf(std::max(c.hi, std::clamp(0.0, range.lo, range.hi)))),
                           QPointF(c.x, yOf(std::min(c.lo, std::clamp(0.0, range.lo, range.hi)))));
        }
        ++barIndex;
    }
    p.setRenderHint(QPainter::Antialiasing, true);
    for (const Series &s : m_series) {
        if (s.style == Style::Bar)
            continue;
        const QList<QPolygonF> lines = plotLines(s.samples, positions, plot, range, centred);
        if (s.style == Style::Area) {
            for (const QPolygonF &line : lines) {
                QPolygonF shape = line;
                shape.append({line.last().x(), baseline});
                shape.append({line.first().x(), baseline});
                p.setPen(Qt::NoPen);
                p.setBrush(withAlpha(s.color, 70));
                p.drawPolygon(shape);
            }
        }
        // A series denser than its pixels is a band of vertical strokes: a one-pixel line shows it
        // as well and takes the painter's fast line path instead of the general stroker.
        const bool dense = s.samples.size() > size_t(plot.width());
        p.setPen(QPen(s.color, dense ? 1.0 : 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        p.setBrush(Qt::NoBrush);
        for (const QPolygonF &line : lines) {
            if (line.size() == 1)
                p.drawEllipse(line.first(), 2.0, 2.0);
            else
                p.drawPolyline(line);
        }
    }
    p.setClipping(false);
    paintXAxis(p, plot, positions, centred);
    p.restore();
}

void Chart::paintLegend(QPainter &p, const QRect &header) const
{
    const theme::Palette &pal = theme::palette();
    const QFontMetrics fm(font());
    int x = header.right() - 2;
    for (qsizetype i = m_series.size() - 1; i >= 0; --i) {
        const Series &s = m_series[i];
        if (s.label.isEmpty())
            continue;
        const int w = fm.horizontalAdvance(s.label);
        const int textLeft = x - w;
        const int swatchLeft = textLeft - 18;
        if (swatchLeft <
            header.left() +
                (m_title.isEmpty() ? 0 : QFontMetrics(theme::uiFont(10, true)).horizontalAdvance(m_title) + 16))
            break; // no room left beside the title
        p.setPen(pal.muted);
        p.drawText(QRect(textLeft, header.top(), w + 1, header.height()), Qt::AlignLeft | Qt::AlignVCenter, s.label);
        const int cy = header.center().y();
        if (s.style == Style::Line) {
            p.setPen(QPen(s.color, 2, Qt::SolidLine, Qt::RoundCap));
            p.drawLine(swatchLeft, cy, swatchLeft + 12, cy);
        } else {
            p.fillRect(QRect(swatchLeft + 1, cy - 5, 10, 10), s.color);
        }
        x = swatchLeft - 14;
    }
}

void Chart::paintXAxis(QPainter &p, const QRectF &plot, int positions, bool centred) const
{
    const theme::Palette &pal = theme::palette();
    const QFontMetrics fm(font());
    p.setPen(pal.muted);
    const double y = plot.bottom() + 3;
    if (!m_xLabels.isEmpty()) {
        const int n = std::max(positions, int(m_xLabels.size()));
        const double slot = centred ? plot.width() / n : plot.width() / std::max(1, n - 1);
        int widest = 0;
        for (const QString &l : m_xLabels)
            widest = std::max(widest, fm.horizontalAdvance(l));
        const int every = std::max(1, int(std::ceil((widest + 10) / std::max(slot, 1e-6))));
        for (int i = 0; i < int(m_xLabels.size()); i += every) {
            const double x = centred ? plot.left() + (i + 0.5) * slot : plot.left() + i * slot;
            const int w = fm.horizontalAdvance(m_xLabels[i]);
            const double left = std::clamp(x - w / 2.0, plot.left() - 4, plot.right() - w);
            p.drawText(QRectF(left, y, w + 1, fm.height()), Qt::AlignLeft | Qt::AlignTop, m_xLabels[i]);
        }
        return;
    }
    if (!std::isfinite(m_xFrom) || !std::isfinite(m_xTo) || m_xFrom == m_xTo)
        return;
    const ValueRange r{std::min(m_xFrom, m_xTo), std::max(m_xFrom, m_xTo)};
    const Ticks t = niceTicks(r, std::max(2, int(plot.width() / 90)));
    for (int i = 0; i < t.count; ++i) {
        const double v = t.first + i * t.step;
        const double x = plot.left() + (v - m_xFrom) / (m_xTo - m_xFrom) * plot.width();
        const QString label = tickText(v, t.decimals, m_xUnit);
        const int w = fm.horizontalAdvance(label);
        const double left = std::clamp(x - w / 2.0, plot.left() - 4, plot.right() - w);
        p.setPen(QPen(pal.controlEdge, 1));
        p.drawLine(QPointF(x, plot.bottom()), QPointF(x, plot.bottom() + 3));
        p.setPen(pal.muted);
        p.drawText(QRectF(left, y, w + 1, fm.height()), Qt::AlignLeft | Qt::AlignTop, label);
    }
}

void Chart::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::TextAntialiasing);
    paint(p, rect());
}

Sparkline::Sparkline(const QJsonObject &el, QWidget *parent)
    : QWidget(parent)
    , m_samples(readSamples(readArray(el, "values"_L1, kMaxSamples)))
    , m_color(theme::toneColor(readText(el, "tone"_L1, u"accent"_s)))
    , m_min(readNumber(el, "min"_L1, kUnset))
    , m_max(readNumber(el, "max"_L1, kUnset))
    , m_fill(readFlag(el, "fill"_L1, true))
{
    if (readFlag(el, "show_value"_L1, true)) {
        const auto last =
            std::find_if(m_samples.crbegin(), m_samples.crend(), [](double v) { return std::isfinite(v); });
        if (last != m_samples.crend()) {
            const int decimals = readInt(el, "decimals"_L1, -1, -1, 6);
            m_valueText = (decimals < 0 ? prims::valueText(QJsonValue(*last)) : QString::number(*last, 'f', decimals)) +
                          readText(el, "unit"_L1);
        }
    }
    setFont(theme::uiFont(9, true));
    setMinimumHeight(readInt(el, "height"_L1, 36, 16, 200));
    setMaximumHeight(minimumHeight());
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

bool Sparkline::hasData() const
{
    return sampleRange(m_samples).valid();
}

QSize Sparkline::sizeHint() const
{
    return {200, minimumHeight()};
}

void Sparkline::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const int textWidth = m_valueText.isEmpty() ? 0 : fontMetrics().horizontalAdvance(m_valueText) + 8;
    const QRectF plot = QRectF(rect()).adjusted(3, 4, -3 - textWidth, -4);
    const ValueRange range = framedRange(sampleRange(m_samples), m_min, m_max, false);
    const QList<QPolygonF> lines = plotLines(m_samples, int(m_samples.size()), plot, range, false);
    p.setClipRect(QRectF(rect()).adjusted(0, 0, -textWidth, 0));
    for (const QPolygonF &line : lines) {
        if (m_fill && line.size() > 1) {
            QPolygonF shape = line;
            shape.append({line.last().x(), plot.bottom() + 4});
            shape.append({line.first().x(), plot.bottom() + 4});
            p.setPen(Qt::NoPen);
            p.setBrush(withAlpha(m_color, 45));
            p.drawPolygon(shape);
        }
        p.setPen(QPen(m_color, 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        p.setBrush(Qt::NoBrush);
        p.drawPolyline(line);
    }
    if (!lines.isEmpty()) {
        p.setPen(Qt::NoPen);
        p.setBrush(m_color);
        p.drawEllipse(lines.last().last(), 2.5, 2.5);
    }
    p.setClipping(false);
    if (!m_valueText.isEmpty()) {
        p.setPen(m_color);
        p.drawText(QRect(width() - textWidth, 0, textWidth, height()), Qt::AlignRight | Qt::AlignVCenter, m_valueText);
    }
}

QWidget *buildChart(const QJsonObject &el, QWidget *parent)
{
    auto *chart = new Chart(el, parent);
    if (chart->hasData())
        return chart;
    delete chart;
    return nullptr;
}

QWidget *buildSparkline(const QJsonObject &el, QWidget *parent)
{
    auto *spark = new Sparkline(el, parent);
    if (!spark->hasData()) {
        delete spark;
        return nullptr;
    }
    return captioned(spark, readText(el, "label"_L1), parent);
}

} // namespace prims
