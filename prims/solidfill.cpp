// Dense coverage accumulation for small shapes: each edge adds its signed area to the cells it
// crosses and marks them, a running sum along each row gives every pixel's coverage, and the runs
// between marked cells, whose coverage cannot change, are filled whole.
#include "prims/solidfill.h"

#include "prims/canvasnode.h"

#include <QColor>
#include <QImage>
#include <QPainter>
#include <QRgba64>

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <cmath>
#include <tuple>

namespace prims {

namespace {

// The control point distance of a quarter ellipse as cubic curves, as the painter uses it.
constexpr double kKappa = 0.5522847498;

// Areas are kept in 1/65536 of a pixel, in integers: a row's running sum is then exact (every
// edge's share of a row adds up to its whole height, a multiple of 1/64), and an integer add does
// not hold up the loop the way a floating point add does. The sums wrap rather than overflow on
// absurd windings.
constexpr float kOne = 65536.f;

// x * a / 255 per channel, rounded, with the raster engine's own arithmetic.
inline quint32 byteMul(quint32 x, quint32 a)
{
    quint32 t = (x & 0xff00ff) * a;
    t = (t + ((t >> 8) & 0xff00ff) + 0x800080) >> 8;
    t &= 0xff00ff;
    x = ((x >> 8) & 0xff00ff) * a;
    x = x + ((x >> 8) & 0xff00ff) + 0x800080;
    x &= 0xff00ff00;
    return x | t;
}

// Coverage 0..255 from an accumulated signed area, by the fill rule, rounded.
inline int coverage(quint32 sum, bool evenOdd)
{
    const quint32 area = qint32(sum) < 0 ? 0u - sum : sum;
    if (!evenOdd)
        return std::min(255, int((std::min(area, 65536u) + 128) >> 8));
    int c = int((area + 128) >> 8) & 511;
    if (c > 256)
        c = 512 - c;
    return std::min(c, 255);
}

// Floor and ceiling of the non-negative coordinates inside a fill's box, without a library call.
inline int floorOf(float v)
{
    return int(v);
}

inline int ceilOf(float v)
{
    const int i = int(v);
    return i + (float(i) < v);
}

// The colour as the painter blends a solid brush at `opacity`.
QRgb premultiplied(const QColor &color, double opacity)
{
    // The painter's opacity is applied in 256ths to the colour's 16 bit alpha.
    QRgba64 c = color.rgba64();
    const int alpha256 = int(std::lround(std::clamp(opacity, 0.0, 1.0) * 256));
    if (alpha256 < 256)
        c.setAlpha(quint16((quint32(c.alpha()) * quint32(alpha256)) >> 8));
    return c.premultiplied().toArgb32();
}

struct Bezier
{
    QPointF start, c1, c2, end;
};

// De Casteljau at one half.
std::pair<Bezier, Bezier> halves(const Bezier &b)
{
    const QPointF a = (b.start + b.c1) / 2;
    const QPointF m = (b.c1 + b.c2) / 2;
    const QPointF c = (b.c2 + b.end) / 2;
    const QPointF am = (a + m) / 2;
    const QPointF mc = (m + c) / 2;
    const QPointF mid = (am + mc) / 2;
    return {{b.start, a, am, mid}, {mid, mc, c, b.end}};
}

} // namespace

SolidFill::SolidFill(QImage &image)
{
    if (image.format() != QImage::Format_ARGB32_Premultiplied || image.isNull())
        return; // every fill declines
    m_bits = image.bits();
    m_device = &image;
    m_bytesPerLine = image.bytesPerLine();
    m_width = image.width();
    m_height = image.height();
}

QPointF SolidFill::map(QPointF p) const
{
    return {m_m11 * p.x() + m_m21 * p.y() + m_dx, m_m12 * p.x() + m_m22 * p.y() + m_dy};
}

bool SolidFill::begin(const QPainter &painter)
{
    // A clip, another composition mode or aliased edges change what the engine writes; under a
    // perspective the engine maps the whole path its own way rather than point by point.
    if (!m_bits || !painter.isActive() || painter.device() != m_device || painter.hasClipping() ||
        painter.compositionMode() != QPainter::CompositionMode_SourceOver ||
        !painter.testRenderHint(QPainter::Antialiasing))
        return false;
    const QTransform toDevice = painter.deviceTransform();
    if (toDevice.type() == QTransform::TxProject)
        return false;
    m_m11 = toDevice.m11();
    m_m12 = toDevice.m12();
    m_m21 = toDevice.m21();
    m_m22 = toDevice.m22();
    m_dx = toDevice.dx();
    m_dy = toDevice.dy();
    bool noShear = true;
    const double scale = deviceScale(toDevice, &noShear);
    m_curveTolerance = scale > 0 ? 0.25 / scale : 0.25;
    m_points.clear();
    m_starts.clear();
    return true;
}

void SolidFill::moveTo(QPointF p)
{
    m_starts.push_back(int(m_points.size()));
    m_points.push_back(map(p));
    m_last = p;
}

void SolidFill::lineTo(QPointF p)
{
    m_points.push_back(map(p));
    m_last = p;
}

void SolidFill::cubicTo(QPointF c1, QPointF c2, QPointF end)
{
    // Halved until flat enough, nine times at most, in item coordinates: the painter's own test,
    // so that both draw the same polygon.
    std::array<Bezier, 10> stack;
    std::array<int, 10> levels;
    stack[0] = {m_last, c1, c2, end};
    levels[0] = 9;
    size_t top = 0;
    while (true) {
        const Bezier &b = stack[top];
        const QPointF chord = b.end - b.start;
        const QPointF d1 = b.start - b.c1;
        const QPointF d2 = b.start - b.c2;
        double length = std::abs(chord.x()) + std::abs(chord.y());
        double distance;
        if (length > 1) {
            distance =
                std::abs(chord.x() * d1.y() - chord.y() * d1.x()) + std::abs(chord.x() * d2.y() - chord.y() * d2.x());
        } else {
            distance = std::abs(d1.x()) + std::abs(d1.y()) + std::abs(d2.x()) + std::abs(d2.y());
            length = 1;
        }
        if (distance < m_curveTolerance * length || levels[top] == 0) {
            m_points.push_back(map(b.end));
            if (top == 0)
                break;
            --top;
        } else {
            // The first half is drawn first: it goes on top.
            std::tie(stack[top + 1], stack[top]) = halves(b);
            levels[top + 1] = --levels[top];
            ++top;
        }
    }
    m_last = end;
}

bool SolidFill::fillPath(const QPainter &painter, const QPainterPath &path, const QColor &color)
{
    if (!begin(painter))
        return false;
    const int count = path.elementCount();
    for (int i = 0; i < count; ++i) {
        const QPainterPath::Element e = path.elementAt(i);
        switch (e.type) {
        case QPainterPath::MoveToElement:
            moveTo(e);
            break;
        case QPainterPath::LineToElement:
            lineTo(e);
            break;
        case QPainterPath::CurveToElement:
            if (i + 2 >= count)
                return false;
            cubicTo(e, path.elementAt(i + 1), path.elementAt(i + 2));
            i += 2;
            break;
        case QPainterPath::CurveToDataElement:
            return false;
        }
    }
    return finish(path.fillRule(), premultiplied(color, painter.opacity()));
}

bool SolidFill::fillPolygon(const QPainter &painter, const QPolygonF &polygon, Qt::FillRule rule, const QColor &color)
{
    if (!begin(painter))
        return false;
    for (qsizetype i = 0; i < polygon.size(); ++i)
        i == 0 ? moveTo(polygon[i]) : lineTo(polygon[i]);
    return finish(rule, premultiplied(color, painter.opacity()));
}

bool SolidFill::fillEllipse(const QPainter &painter, const QRectF &r, const QColor &color)
{
    if (!begin(painter))
        return false;
    const QRectF rect = r.normalized();
    const double x = rect.x(), y = rect.y(), w = rect.width(), h = rect.height();
    const double w2 = w / 2, h2 = h / 2, w2k = w2 * kKappa, h2k = h2 * kKappa;
    // Four quarters from the right end, the way the painter lays out a full ellipse.
    moveTo({x + w, y + h2});
    cubicTo({x + w, y + h2 + h2k}, {x + w2 + w2k, y + h}, {x + w2, y + h});
    cubicTo({x + w2 - w2k, y + h}, {x, y + h2 + h2k}, {x, y + h2});
    cubicTo({x, y + h2 - h2k}, {x + w2 - w2k, y}, {x + w2, y});
    cubicTo({x + w2 + w2k, y}, {x + w, y + h2 - h2k}, {x + w, y + h2});
    return finish(Qt::WindingFill, premultiplied(color, painter.opacity()));
}

bool SolidFill::finish(Qt::FillRule rule, QRgb color)
{
    if (m_points.empty())
        return true;
    // Points go onto the engine's 1/64 pixel grid, rounded, before anything is measured. A point
    // outside the image (or NaN, which fails every comparison) sends the shape to the painter.
    m_grid.resize(m_points.size());
    int minX = INT_MAX, minY = INT_MAX, maxX = 0, maxY = 0;
    for (size_t i = 0; i < m_points.size(); ++i) {
        const QPointF p = m_points[i];
        if (!(p.x() >= 0 && p.x() <= m_width && p.y() >= 0 && p.y() <= m_height))
            return false;
        const int x = int(p.x() * 64 + 0.5);
        const int y = int(p.y() * 64 + 0.5);
        m_grid[i] = {x, y};
        minX = std::min(minX, x);
        maxX = std::max(maxX, x);
        minY = std::min(minY, y);
        maxY = std::max(maxY, y);
    }
    const int left = minX >> 6;
    const int top = minY >> 6;
    const int width = ((maxX + 63) >> 6) - left;
    const int height = ((maxY + 63) >> 6) - top;
    if (qint64(width) * height > kMaxArea)
        return false;
    if (width <= 0 || height <= 0)
        return true; // no area: the painter draws nothing either
    // An edge at the box's right side writes up to two cells past it.
    m_stride = width + 2;
    m_words = (m_stride + 63) / 64;
    if (m_cover.size() < size_t(m_stride) * size_t(height))
        m_cover.resize(size_t(m_stride) * size_t(height), 0);
    if (m_touched.size() < size_t(m_words) * size_t(height))
        m_touched.resize(size_t(m_words) * size_t(height), 0);

    m_starts.push_back(int(m_points.size()));
    for (size_t s = 0; s + 1 < m_starts.size(); ++s) {
        const int first = m_starts[s];
        const int end = m_starts[s + 1];
        if (end - first < 2)
            continue;
        // Each subpath closes on its first point.
        const auto local = [&](size_t i) {
            return std::pair(float(m_grid[i].first - left * 64) / 64, float(m_grid[i].second - top * 64) / 64);
        };
        auto from = local(size_t(end - 1));
        for (int i = first; i < end; ++i) {
            const auto to = local(size_t(i));
            accumulate(from.first, from.second, to.first, to.second);
            from = to;
        }
    }

    const bool evenOdd = rule == Qt::OddEvenFill;
    const bool opaque = qAlpha(color) == 255;
    // Pixels [from, to) at one coverage: filled outright when whole and opaque, else blended.
    const auto run = [color, opaque](quint32 *out, int from, int to, int c) {
        if (c == 0 || from >= to)
            return;
        if (c == 255 && opaque) {
            std::fill(out + from, out + to, color);
            return;
        }
        const quint32 src = c == 255 ? color : byteMul(color, quint32(c));
        const quint32 keep = 255 - qAlpha(src);
        for (int x = from; x < to; ++x)
            out[x] = src + byteMul(out[x], keep);
    };
    for (int y = 0; y < height; ++y) {
        quint32 *row = m_cover.data() + size_t(y) * size_t(m_stride);
        quint64 *touched = m_touched.data() + size_t(y) * size_t(m_words);
        auto *out = reinterpret_cast<quint32 *>(m_bits + qsizetype(top + y) * m_bytesPerLine) + left;
        // Between touched cells the running sum, and so the coverage, stays as it is; after the
        // last one the edges have cancelled out.
        quint32 area = 0;
        int next = 0; // the first pixel not yet drawn
        for (int w = 0; w < m_words; ++w) {
            quint64 bits = touched[w];
            touched[w] = 0;
            while (bits) {
                const int cell = w * 64 + std::countr_zero(bits);
                bits &= bits - 1;
                run(out, next, std::min(cell, width), coverage(area, evenOdd));
                area += row[cell];
                row[cell] = 0;
                if (cell < width)
                    run(out, cell, cell + 1, coverage(area, evenOdd));
                next = cell + 1;
            }
        }
    }
    return true;
}

void SolidFill::accumulate(float ax, float ay, float bx, float by)
{
    if (ay == by)
        return;
    float dir = 1;
    if (ay > by) {
        std::swap(ax, bx);
        std::swap(ay, by);
        dir = -1;
    }
    const int yStart = int(ay);
    const int yEnd = ceilOf(by);
    // Most segments of a flattened curve stay within one row: no slope needed for those.
    const float dxdy = yEnd - yStart > 1 ? (bx - ax) / (by - ay) : 0;
    // Kept inside the box: rounding along a long edge must not reach past its cells.
    const float right = float(m_stride - 2);
    float x = ax;
    for (int y = yStart; y < yEnd; ++y) {
        quint32 *row = m_cover.data() + size_t(y) * size_t(m_stride);
        quint64 *touched = m_touched.data() + size_t(y) * size_t(m_words);
        const auto touch = [touched](int cell) { touched[cell >> 6] |= quint64(1) << (cell & 63); };
        const float dy = std::min(float(y + 1), by) - std::max(float(y), ay);
        const float xNext = y + 1 == yEnd ? bx : std::clamp(x + dxdy * dy, 0.f, right);
        const float d = dy * dir;
        // The row's whole share, exact; the last cell takes what the others leave, so that the
        // cells add up to it whatever the rounding.
        const qint32 whole = qint32(d * kOne);
        qint32 given = 0;
        const auto add = [&](int i, float share) {
            const qint32 v = qint32(share * kOne);
            row[i] += quint32(v);
            given += v;
        };
        const float lo = std::min(x, xNext);
        const float hi = std::max(x, xNext);
        const int l = floorOf(lo);
        const float loFloor = float(l);
        const int r = ceilOf(hi);
        const float hiCeil = float(r);
        if (r <= l + 1) {
            touch(l);
            touch(l + 1);
            // Within one column: the part right of the edge's mean x is covered.
            const float mean = 0.5f * (x + xNext) - loFloor;
            add(l, d - d * mean);
            row[l + 1] += quint32(whole - given);
        } else {
            // Across columns: the trapezoid's area split among them.
            for (int i = l; i <= r; ++i)
                touch(i);
            const float s = 1 / (hi - lo);
            const float loFrac = lo - loFloor;
            const float a0 = 0.5f * s * (1 - loFrac) * (1 - loFrac);
            const float hiFrac = hi - hiCeil + 1;
            const float am = 0.5f * s * hiFrac * hiFrac;
            add(l, d * a0);
            if (r == l + 2) {
                add(l + 1, d * (1 - a0 - am));
            } else {
                const float a1 = s * (1.5f - loFrac);
                add(l + 1, d * (a1 - a0));
                const qint32 step = qint32(d * s * kOne);
                for (int i = l + 2; i < r - 1; ++i)
                    row[i] += quint32(step);
                given += step * (r - l - 3);
                const float a2 = a1 + float(r - l - 3) * s;
                add(r - 1, d * (1 - a2 - am));
            }
            row[r] += quint32(whole - given);
        }
        x = xNext;
    }
}

} // namespace prims
