#pragma once
// Antialiased fills of small shapes in one colour, written straight into a premultiplied 32-bit
// image. A drawing of thousands of thin strokes, dots, arrow heads and label boxes spends most of
// its paint in the general scan converter's per-shape set-up and per-segment bookkeeping. Here a
// shape's outline is flattened and placed exactly as the raster paint engine would (curves to a
// quarter of a device pixel, points on a 1/64 pixel grid), its signed coverage accumulated in a
// dense buffer, and each row resolved from the cells its edges touched, with whole runs between
// them filled at once; pixels are blended with the engine's own arithmetic, so they come out the
// same within a level or two. Anything else goes back to QPainter.

#include <QPainterPath>
#include <QPolygonF>
#include <QRectF>
#include <QRgb>
#include <QTransform>

#include <utility>
#include <vector>

class QColor;
class QImage;
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
    // shape is not for it (too large, reaching outside the image, not a number): the caller then
    // draws it with the painter.
    // A path of lines and curves, each subpath closed.
    bool fillPath(const QPainter &painter, const QPainterPath &path, const QColor &color);
    bool fillPolygon(const QPainter &painter, const QPolygonF &polygon, Qt::FillRule rule, const QColor &color);
    bool fillEllipse(const QPainter &painter, const QRectF &rect, const QColor &color);

private:
    void begin(const QTransform &toDevice);
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

    QTransform m_toDevice;
    bool m_affine = true; // then the coefficients below map a point
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
