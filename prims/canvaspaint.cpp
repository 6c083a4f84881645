// Painting the canvas's display list: each node's prepared pen, brush and geometry go straight to
// QPainter, recording the clickable regions as it goes. Reading the items is in canvascompile.cpp.
#include "app/base/theme.h"
#include "prims/canvas.h"
#include "prims/canvasnode.h"
#include "prims/solidfill.h"

#include <QPaintEvent>
#include <QPainter>

#include <cmath>

namespace prims {

// Paints one frame of a canvas; a friend so that it can fill the canvas's hit regions. Small solid
// shapes go to `fill` when there is one (it writes into the image the painter draws on), the rest
// to the painter.
class CanvasPainter
{
public:
    CanvasPainter(Canvas &canvas, const CanvasList &list, QPainter &painter, SolidFill *fill)
        : m_canvas(canvas)
        , m_list(list)
        , m_p(painter)
        , m_fill(fill)
    {}

    void paintNodes(const std::vector<CanvasNode> &nodes)
    {
        for (const CanvasNode &node : nodes)
            paintNode(node);
    }

private:
    void paintNode(const CanvasNode &node)
    {
        using Kind = CanvasNode::Kind;
        if (node.kind == Kind::Skip)
            return;
        // Every kind sets the pen, brush and font it uses, so only the transform and the opacity
        // need putting back afterwards; a full save and restore per item costs more than the drawing.
        const bool moves = node.transformed || node.rotated;
        QTransform savedTransform;
        if (moves)
            savedTransform = m_p.worldTransform();
        const double savedOpacity = m_p.opacity();
        if (node.transformed)
            m_p.setWorldTransform(node.transform, true);
        if (node.opacity < 1)
            m_p.setOpacity(savedOpacity * node.opacity);
        // Recorded before children paint, so a group's own items are tested first.
        if (node.clickable)
            m_canvas.m_regions.append(
                {m_p.worldTransform(), node.bounds, node.clickPath, node.clickBody, node.clickTip});

        switch (node.kind) {
        case Kind::Skip:
        case Kind::Nothing:
            break;
        case Kind::Line:
            paintLine(node);
            break;
        case Kind::Rect:
            useStyle(node);
            m_p.drawRect(node.rect);
            break;
        case Kind::RoundedRect:
            useStyle(node);
            m_p.drawRoundedRect(node.rect, node.radius, node.radius);
            break;
        case Kind::Ellipse:
            if (plainFill(node) && m_fill->fillEllipse(m_p, node.rect, node.brush.color()))
                break;
            useStyle(node);
            m_p.drawEllipse(node.rect);
            break;
        case Kind::Arc:
            m_p.setBrush(Qt::NoBrush);
            m_p.setPen(node.pen);
            m_p.drawArc(node.rect, node.start, node.span);
            break;
        case Kind::Pie:
            useStyle(node);
            m_p.drawPie(node.rect, node.start, node.span);
            break;
        case Kind::Chord:
            useStyle(node);
            m_p.drawChord(node.rect, node.start, node.span);
            break;
        case Kind::Polygon:
            if (plainFill(node) && m_fill->fillPolygon(m_p, node.points, Qt::OddEvenFill, node.brush.color()))
                break;
            useStyle(node);
            m_p.drawPolygon(node.points);
            break;
        case Kind::Polyline:
            m_p.setBrush(Qt::NoBrush);
            m_p.setPen(node.pen);
            m_p.drawPolyline(node.points);
            break;
        case Kind::Path:
            paintPath(node);
            break;
        case Kind::Text:
            paintText(node);
            break;
        case Kind::Image:
            if (node.imageFit == 2)
                m_p.drawImage(node.rect, node.image, node.source);
            else
                m_p.drawImage(node.rect, node.image);
            break;
        case Kind::Grid:
            m_p.setPen(node.pen);
            m_p.setBrush(Qt::NoBrush);
            m_p.drawLines(node.lines);
            break;
        case Kind::Group:
            paintNodes(node.children);
            break;
        }

        if (moves)
            m_p.setWorldTransform(savedTransform);
        if (m_p.opacity() != savedOpacity)
            m_p.setOpacity(savedOpacity);
    }

    void paintLine(const CanvasNode &node)
    {
        m_p.setPen(node.pen);
        m_p.drawLine(node.line);
        paintMarker(node, node.markerEnd);
        paintMarker(node, node.markerStart);
    }

    void paintMarker(const CanvasNode &node, const CanvasMarker &marker)
    {
        switch (marker.shape) {
        case CanvasMarker::Shape::None:
            return;
        case CanvasMarker::Shape::Arrow:
            if (solid(node.brush) && m_fill->fillPolygon(m_p, marker.triangle, Qt::OddEvenFill, node.brush.color()))
                break;
            m_p.setPen(Qt::NoPen);
            m_p.setBrush(node.brush);
            m_p.drawPolygon(marker.triangle);
            break;
        case CanvasMarker::Shape::Dot: {
            const QPointF r(marker.radius, marker.radius);
            if (solid(node.brush) &&
                m_fill->fillEllipse(m_p, QRectF(marker.centre - r, marker.centre + r), node.brush.color()))
                break;
            m_p.setPen(Qt::NoPen);
            m_p.setBrush(node.brush);
            m_p.drawEllipse(marker.centre, marker.radius, marker.radius);
            break;
        }
        case CanvasMarker::Shape::Bar: {
            QPen bar = node.pen;
            bar.setStyle(Qt::SolidLine);
            m_p.setPen(bar);
            m_p.drawLine(marker.bar);
            break;
        }
        }
    }

    void paintPath(const CanvasNode &node)
    {
        bool noShear = true;
        const double scale = node.stroked ? deviceScale(m_p.deviceTransform(), &noShear) : 0;
        // Pens at most a pixel wide on the device take the painter's one-pixel stroker.
        if (!node.stroked || scale <= 0 || (noShear && node.pen.widthF() * scale <= 1)) {
            if (plainFill(node) && m_fill->fillPath(m_p, node.path, node.brush.color()))
                return;
            useStyle(node);
            m_p.drawPath(node.path);
            return;
        }
        if (std::abs(node.outlineScale - scale) > 1e-9 * scale) {
            node.outline = strokeOutline(node.path, node.pen, scale);
            node.outlineScale = scale;
        }
        // The interior first, then the outline made when the drawing was read: what the painter
        // would do with the pen, without stroking again.
        if (node.brush.style() != Qt::NoBrush &&
            !(solid(node.brush) && m_fill->fillPath(m_p, node.path, node.brush.color()))) {
            m_p.setPen(Qt::NoPen);
            m_p.setBrush(node.brush);
            m_p.drawPath(node.path);
        }
        const QBrush &ink = node.pen.brush();
        if (!(solid(ink) && m_fill->fillPath(m_p, node.outline, ink.color())))
            m_p.fillPath(node.outline, ink);
    }

    void paintText(const CanvasNode &node)
    {
        if (node.rotated)
            m_p.setWorldTransform(node.rotation, true);
        if (node.label) {
            m_p.setPen(Qt::NoPen);
            m_p.setBrush(node.brush);
            m_p.drawRoundedRect(node.rect, node.radius, node.radius);
        }
        // Text items in a row mostly share their font; setting it costs a font resolve.
        if (node.fontIndex != m_font) {
            m_p.setFont(m_list.fonts[size_t(node.fontIndex)].font);
            m_font = node.fontIndex;
        }
        m_p.setPen(node.pen);
        if (node.staticLine)
            m_p.drawStaticText(node.textAt, node.staticText);
        else
            m_p.drawText(node.textRect, node.textFlags, node.text);
    }

    // Whether `fill` can take a shape painted with `brush`; a shape's own pen still needs the painter.
    bool solid(const QBrush &brush) const { return m_fill && brush.style() == Qt::SolidPattern; }
    bool plainFill(const CanvasNode &node) const { return node.pen.style() == Qt::NoPen && solid(node.brush); }
    // The node's own brush and pen on the painter, for a closed shape the painter draws.
    void useStyle(const CanvasNode &node)
    {
        m_p.setBrush(node.brush);
        m_p.setPen(node.pen);
    }

    Canvas &m_canvas;
    const CanvasList &m_list;
    QPainter &m_p;
    SolidFill *m_fill;
    int m_font = -1;
};

const QStaticText &Canvas::staticText(const QString &fontKey, const QString &text, const QFont &font)
{
    const QString key = fontKey + QChar(0x1f) + text;
    auto found = m_texts.find(key);
    if (found == m_texts.end()) {
        if (m_texts.size() >= 8000)
            m_texts.clear();
        QStaticText line(text);
        line.setTextFormat(Qt::PlainText);
        line.setPerformanceHint(QStaticText::AggressiveCaching);
        line.prepare(QTransform(), font);
        found = m_texts.insert(key, line);
    }
    return *found;
}

void Canvas::drawFrame(QPainter &p, SolidFill *fill)
{
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    p.setRenderHint(QPainter::SmoothPixmapTransform);
    if (!m_background.isEmpty())
        p.fillRect(rect(), theme::toneColor(m_background));
    const double scale = scaleFor(width());
    p.scale(scale, scale);
    p.translate(-m_origin);
    m_regions.clear();
    // Text boxes are measured for a device's resolution; another resolution reads them again.
    if (!m_list || m_list->dpi != p.device()->logicalDpiY())
        compile(p.device());
    CanvasPainter painter(*this, *m_list, p, fill);
    const double t = tweenProgress();
    if (t < 1)
        painter.paintNodes(tweenFrame(t, p.device()));
    else
        painter.paintNodes(m_list->items);
}

void Canvas::paintEvent(QPaintEvent *event)
{
    // A still drawing is drawn once per drawing and size; exposures and scrolling only copy it.
    // Every frame of a tween is drawn afresh.
    const double dpr = devicePixelRatioF();
    const QSize pixels = (QSizeF(size()) * dpr).toSize();
    const bool still = tweenProgress() >= 1;
    if (!still || !m_frameValid || m_frame.size() != pixels || m_frame.devicePixelRatio() != dpr) {
        // The same size reuses the image's memory rather than mapping it afresh.
        if (m_frame.size() != pixels)
            m_frame = QImage(pixels, QImage::Format_ARGB32_Premultiplied);
        m_frame.setDevicePixelRatio(dpr);
        m_frame.fill(Qt::transparent);
        SolidFill fill(m_frame); // before the painter: it takes the pixels' address
        QPainter p(&m_frame);
        drawFrame(p, &fill);
        m_frameValid = still;
    }
    QPainter out(this);
    const QRect area = event->rect();
    out.drawImage(area, m_frame, QRectF(QPointF(area.topLeft()) * dpr, QSizeF(area.size()) * dpr));
}

} // namespace prims
