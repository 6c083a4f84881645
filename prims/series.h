#pragma once
// Number series for the plotting primitives ("chart", "sparkline"): reading them from JSON under a
// cap, their value range, and decimation to the pixel columns they cover, so that a series of any
// length costs what its width costs to draw and no peak is lost.

#include <QJsonArray>
#include <QList>
#include <QPolygonF>
#include <QRectF>

#include <vector>

namespace prims {

// The most samples one series keeps; longer arrays are cut from the end like every capped array.
inline constexpr int kMaxSamples = 100000;

// The numbers of `values`; an entry that is no number becomes NaN and breaks the line there.
std::vector<double> readSamples(const QJsonArray &values);

struct ValueRange
{
    double lo = 0;
    double hi = 0;
    bool valid() const { return hi >= lo && lo == lo; }
};

// The smallest and largest finite sample; invalid when there is none.
ValueRange sampleRange(const std::vector<double> &samples);

// Maps sample i (of `positions` positions, NaNs kept as breaks) into `plot`, where x runs over the
// slot centres when `centred` (bars share the axis) or edge to edge, and y runs from `range.lo`
// at the bottom to `range.hi` at the top. When there are more samples than pixel columns, each
// column keeps only its lowest and highest sample, in the order they came, so a one-sample spike
// still reaches its height. Each run of finite samples is one polyline.
QList<QPolygonF> plotLines(const std::vector<double> &samples, int positions, const QRectF &plot, ValueRange range,
                           bool centred);

// For each pixel column of `plot` that a sample falls in: the lowest and highest sample there.
struct Column
{
    double x;
    double lo;
    double hi;
};
std::vector<Column> plotColumns(const std::vector<double> &samples, int positions, const QRectF &plot, bool centred);

// Round tick values covering `range` with about `count` steps (1, 2 or 5 times a power of ten).
struct Ticks
{
    double first = 0;
    double step = 1;
    int count = 0;
    int decimals = 0;
};
Ticks niceTicks(ValueRange range, int count);

} // namespace prims
