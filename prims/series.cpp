#include "prims/series.h"

#include "prims/json.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace prims {

namespace {

constexpr double kGap = std::numeric_limits<double>::quiet_NaN();

// Where sample i of `positions` sits across the plot.
struct XMap
{
    double left;
    double width;
    int positions;
    bool centred;

    double operator()(qsizetype i) const
    {
        if (centred)
            return left + (double(i) + 0.5) * width / positions;
        return positions > 1 ? left + double(i) * width / (positions - 1) : left + width / 2;
    }
};

// Walks the samples column by column, handing each pixel column's lowest and highest finite sample
// (with their positions) to `column`, and `gap` wherever a non-number breaks the series.
template<typename Column, typename Gap>
void eachColumn(const std::vector<double> &samples, const XMap &xOf, Column column, Gap gap)
{
    qsizetype lo = -1, hi = -1;
    long current = std::numeric_limits<long>::min();
    const auto flush = [&] {
        if (lo >= 0)
            column(current, lo, hi);
        lo = hi = -1;
    };
    for (qsizetype i = 0; i < qsizetype(samples.size()); ++i) {
        const double v = samples[size_t(i)];
        if (!std::isfinite(v)) {
            flush();
            gap();
            continue;
        }
        const long c = long(std::floor(xOf(i) - xOf.left));
        if (c != current) {
            flush();
            current = c;
        }
        if (lo < 0 || v < samples[size_t(lo)])
            lo = i;
        if (hi < 0 || v > samples[size_t(hi)])
            hi = i;
    }
    flush();
}

} // namespace

std::vector<double> readSamples(const QJsonArray &values)
{
    std::vector<double> out;
    const qsizetype n = std::min<qsizetype>(values.size(), kMaxSamples);
    out.reserve(size_t(n));
    for (qsizetype i = 0; i < n; ++i)
        out.push_back(readNumber(values.at(i), kGap));
    return out;
}

ValueRange sampleRange(const std::vector<double> &samples)
{
    ValueRange r{kGap, kGap};
    for (const double v : samples) {
        if (!std::isfinite(v))
            continue;
        if (!(v >= r.lo))
            r.lo = v;
        if (!(v <= r.hi))
            r.hi = v;
    }
    return r;
}

QList<QPolygonF> plotLines(const std::vector<double> &samples, int positions, const QRectF &plot, ValueRange range,
                           bool centred)
{
    QList<QPolygonF> lines;
    const int n = int(samples.size());
    if (n == 0 || plot.width() <= 0 || !range.valid())
        return lines;
    const XMap xOf{plot.left(), plot.width(), std::max(positions, n), centred};
    const double span = range.hi > range.lo ? range.hi - range.lo : 1.0;
    const auto yOf = [&](double v) { return plot.bottom() - (v - range.lo) / span * plot.height(); };

    QPolygonF line;
    const auto endLine = [&] {
        if (!line.isEmpty())
            lines.append(std::exchange(line, {}));
    };
    if (n <= 2 * int(std::ceil(plot.width()))) {
        line.reserve(n);
        for (int i = 0; i < n; ++i) {
            const double v = samples[size_t(i)];
            if (std::isfinite(v))
                line.append({xOf(i), yOf(v)});
            else
                endLine();
        }
        endLine();
        return lines;
    }
    // Two points a column at most: the low and the high one, in the order they came.
    line.reserve(2 * int(std::ceil(plot.width())) + 2);
    eachColumn(
        samples, xOf,
        [&](long c, qsizetype lo, qsizetype hi) {
            const double x = plot.left() + double(c) + 0.5;
            const qsizetype first = std::min(lo, hi), second = std::max(lo, hi);
            line.append({x, yOf(samples[size_t(first)])});
            if (second != first)
                line.append({x, yOf(samples[size_t(second)])});
        },
        endLine);
    endLine();
    return lines;
}

std::vector<Column> plotColumns(const std::vector<double> &samples, int positions, const QRectF &plot, bool centred)
{
    std::vector<Column> out;
    const int n = int(samples.size());
    if (n == 0 || plot.width() <= 0)
        return out;
    const XMap xOf{plot.left(), plot.width(), std::max(positions, n), centred};
    if (n <= int(std::ceil(plot.width()))) {
        for (int i = 0; i < n; ++i) {
            const double v = samples[size_t(i)];
            if (std::isfinite(v))
                out.push_back({xOf(i), v, v});
        }
        return out;
    }
    eachColumn(
        samples, xOf,
        [&](long c, qsizetype lo, qsizetype hi) {
            out.push_back({plot.left() + double(c) + 0.5, samples[size_t(lo)], samples[size_t(hi)]});
        },
        [] {});
    return out;
}

Ticks niceTicks(ValueRange range, int count)
{
    Ticks t;
    if (!range.valid() || count < 1)
        return t;
    double span = range.hi - range.lo;
    if (!(span > 0))
        span = std::max(std::abs(range.hi), 1.0);
    const double rough = span / count;
    const double magnitude = std::pow(10.0, std::floor(std::log10(rough)));
    const double norm = rough / magnitude;
    t.step = (norm < 1.5 ? 1 : norm < 3 ? 2 : norm < 7 ? 5 : 10) * magnitude;
    t.first = std::ceil(range.lo / t.step - 1e-9) * t.step;
    t.count = int(std::floor((range.hi - t.first) / t.step + 1e-9)) + 1;
    t.count = std::clamp(t.count, 0, 50);
    t.decimals = t.step >= 1 ? 0 : std::min(6, int(std::ceil(-std::log10(t.step) - 1e-9)));
    return t;
}

} // namespace prims
