#pragma once
// Antialiased fills of small shapes in one colour, written straight into a premultiplied 32-bit
// image between a QPainter's own calls. A drawing of thousands of thin strokes, dots and arrow
// heads spends most of its paint in the general scan converter's per-shape set-up and per-segment
// bookkeeping; here a shape's signed coverage is accumulated in a dense buffer and each row is
// resolved from the cells its edges touched, with whole runs between them filled at once.
//
// It mirrors Qt's raster paint engine as Qt 6.4.2 (Debian 12's qt6-base) has it, and was checked
// against that version by tests/prims/tst_canvas:
// - the outline mapper: curves halved in item coordinates until within a quarter of a device
//   pixel (at most nine times), the points mapped to the device by an affine transform and
//   rounded to 26.6 fixed point (1/64 pixel);
// - the antialiased scan converter ("gray raster"): each pixel's exact area coverage, 0 to 255,
//   by the winding or the odd-even rule; it splits edges in integers at 1/256 of a pixel where the
//   fill sums float areas, which is why the two may differ by up to two levels per channel;
// - the solid span blend for ARGB32_Premultiplied in source-over: the colour's alpha scaled by
//   the painter's opacity in 256ths and premultiplied, then colour x coverage / 255 plus
//   destination x (255 - its alpha) / 255, with the engine's own rounding.
// So a fill draws only while the painter would do just that: antialiased, source-over, with no
// clip, an affine transform, on this very image. Otherwise, or for a shape too large or reaching
// outside the image, it declines and the caller paints. Another Qt version may change any of the
// above: the test compares the two on the Qt it runs with.

#include <QPainterPath>
#include <QPolygonF>
#include <QRectF>
#include <QRgb>
#include <QTransform>

#include <utility>
#include <vector>

class QColor;
class QImage;
class QPaintDevice;
class QPainter;

namespace prims {

class SolidFill final
{
public:
    // Shapes whose device box holds more pixels than this are left to the painter.
    static constexpr int kMaxArea = 256 * 256;

    // `image` must be Format_ARGB32_Premultiplied, and neither resized nor detached while this
    // fills it: the pixels are written in place, between the painter's own drawing.
    explicit SolidFill(QImage &image);

    // Each fills a shape in `color` as `painter` would fill it with a solid brush and no pen: under
    // its device transform and at its opacity. Each returns false, having drawn nothing, when the
    // painter's state or the shape is not for it (see above): the caller then draws it with the
    // painter.
    // A path of lines and curves, each subpath closed.
    bool fillPath(const QPainter &painter, const QPainterPath &path, const QColor &color);
    bool fillPolygon(const QPainter &painter, const QPolygonF &polygon, Qt::FillRule rule, const QColor &color);
    bool fillEllipse(const QPainter &painter, const QRectF &rect, const QColor &color);

private:
    // Whether `painter` would draw a solid fill as this does; then the fill takes its transform.
    bool begin(const QPainter &painter);
    QPointF map(QPointF p) const;
    void moveTo(QPointF p);
    void lineTo(QPointF p);
    void cubicTo(QPointF c1, QPointF c2, QPointF end);
    // Accumulates and blends the collected outline; false when it does not qualify.
    bool finish(Qt::FillRule rule, QRgb color);
    void accumulate(float x0, float y0, float x1, float y1);

    uchar *m_bits = nullptr;
    qsizetype m_bytesPerLine = 0;
    int m_width = 0;
    int m_height = 0;

    const QPaintDevice *m_device = nullptr;
    double m_m11 = 1, m_m12 = 0, m_m21 = 0, m_m22 = 1, m_dx = 0, m_dy = 0;
    double m_curveTolerance = 0.25;
    QPointF m_last;                          // the current point, in item coordinates
    std::vector<QPointF> m_points;           // the outline on the device, subpaths one after another
    std::vector<int> m_starts;               // where each subpath begins in m_points
    std::vector<std::pair<int, int>> m_grid; // m_points in 1/64 pixels

    // The shape's box on the device, and per row of it: signed area deltas in the cells (zero
    // between fills), and a bit per cell that an edge touched.
    int m_stride = 0;
    int m_words = 0;
    std::vector<quint32> m_cover;
    std::vector<quint64> m_touched;
};

} // namespace prims
