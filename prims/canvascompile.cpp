// Reading the canvas shape items into the display list: strokes, fills and gradients, paths,
// markers, text boxes, images, groups and "use" references. Runs once per drawing and, during a
// tween, for the items that move, between their two versions; painting is in canvaspaint.cpp.
#include "app/base/theme.h"
#include "prims/canvas.h"
#include "prims/canvasnode.h"
#include "prims/json.h"

#include <QFontMetricsF>
#include <QPaintDevice>
#include <QPainterPathStroker>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <tuple>

using namespace Qt::StringLiterals;

namespace prims {

namespace {

constexpr int kMaxItems = kCanvasMaxItems;

double coord(const QJsonValue &v, double def = 0)
{
    return canvasLimited(readNumber(v, def));
}

double coord(const QJsonObject &o, QLatin1StringView key, double def = 0)
{
    return coord(o.value(key), def);
}

double clamped(const QJsonObject &o, QLatin1StringView key, double def, double lo, double hi)
{
    const double n = readNumber(o, key, def);
    return std::isfinite(n) ? std::clamp(n, lo, hi) : lo;
}

QRectF boxOf(const QJsonObject &item)
{
    return QRectF(coord(item, "x"_L1), coord(item, "y"_L1), coord(item, "w"_L1), coord(item, "h"_L1)).normalized();
}

QColor tone(const QString &name, const QString &fallback)
{
    return theme::toneColor(name.isEmpty() ? fallback : name);
}

// Translation, then rotation and scale around the origin ("ox", "oy").
QTransform itemTransform(const QJsonObject &t)
{
    QTransform m;
    if (t.isEmpty())
        return m;
    const double ox = coord(t, "ox"_L1);
    const double oy = coord(t, "oy"_L1);
    const double scale = clamped(t, "scale"_L1, 1, 0.001, 1000);
    m.translate(coord(t, "tx"_L1), coord(t, "ty"_L1));
    m.translate(ox, oy);
    m.rotate(clamped(t, "rotate"_L1, 0, -36000, 36000));
    m.scale(clamped(t, "sx"_L1, scale, 0.001, 1000), clamped(t, "sy"_L1, scale, 0.001, 1000));
    m.translate(-ox, -oy);
    return m;
}

QPen strokePen(const QJsonObject &item, const QString &fallbackTone)
{
    const QJsonValue stroke = item.value("stroke"_L1);
    QPen pen(tone(canvasTone(item, "tone"_L1), fallbackTone), 1);
    pen.setCosmetic(false);
    if (stroke.isString()) {
        pen.setColor(tone(stroke.toString(), fallbackTone));
    } else if (stroke.isObject()) {
        const QJsonObject s = stroke.toObject();
        pen.setColor(tone(canvasTone(s, "tone"_L1), u"edge"_s));
        pen.setWidthF(clamped(s, "weight"_L1, 1, 0, 64));
        const QString dash = readText(s, "dash"_L1);
        if (dash == "dash"_L1)
            pen.setStyle(Qt::DashLine);
        else if (dash == "dot"_L1)
            pen.setStyle(Qt::DotLine);
        else if (dash == "dashdot"_L1)
            pen.setStyle(Qt::DashDotLine);
        if (pen.style() != Qt::SolidLine)
            pen.setDashOffset(clamped(s, "dash_offset"_L1, 0, -1e6, 1e6));
        const QString cap = readText(s, "cap"_L1);
        pen.setCapStyle(cap == "round"_L1 ? Qt::RoundCap : cap == "square"_L1 ? Qt::SquareCap : Qt::FlatCap);
        const QString join = readText(s, "join"_L1);
        pen.setJoinStyle(join == "round"_L1 ? Qt::RoundJoin : join == "bevel"_L1 ? Qt::BevelJoin : Qt::MiterJoin);
        if (pen.widthF() <= 0)
            pen = Qt::NoPen;
    }
    return pen;
}

QBrush gradientBrush(const QJsonObject &g, const QRectF &rect)
{
    const QJsonArray stops = readArray(g, "stops"_L1, 32);
    QGradientStops gradientStops;
    for (const QJsonValue &value : stops) {
        const QJsonArray stop = value.toArray();
        if (stop.size() < 2)
            continue;
        const double offset = std::clamp(coord(stop.at(0)), 0.0, 1.0);
        const QString name = stop.at(1).isString() ? stop.at(1).toString() : QString();
        gradientStops.append({offset, tone(name, u"surface"_s)});
    }
    if (gradientStops.isEmpty())
        return theme::toneColor(u"surface"_s);
    if (gradientStops.size() == 1)
        return gradientStops.first().second;
    std::stable_sort(gradientStops.begin(), gradientStops.end(),
                     [](const QGradientStop &a, const QGradientStop &b) { return a.first < b.first; });

    const bool box = readFlag(g, "box"_L1, false);
    QGradient gradient;
    if (readText(g, "gradient"_L1) == "radial"_L1) {
        const double cx = coord(g, "cx"_L1, box ? 0.5 : rect.center().x());
        const double cy = coord(g, "cy"_L1, box ? 0.5 : rect.center().y());
        const double r = clamped(g, "r"_L1, box ? 0.5 : rect.width() / 2, 0, 1e6);
        gradient = QRadialGradient(cx, cy, r);
    } else {
        // Top to bottom unless the ends say otherwise.
        const double x1 = coord(g, "x1"_L1, box ? 0 : rect.left());
        const double y1 = coord(g, "y1"_L1, box ? 0 : rect.top());
        const double x2 = coord(g, "x2"_L1, box ? 0 : rect.left());
        const double y2 = coord(g, "y2"_L1, box ? 1 : rect.bottom());
        gradient = QLinearGradient(x1, y1, x2, y2);
    }
    gradient.setStops(gradientStops);
    if (box)
        gradient.setCoordinateMode(QGradient::ObjectMode);
    return gradient;
}

// The interior: "fill" (tone or gradient), else "tone"; none when neither is given.
QBrush fillBrush(const QJsonObject &item, const QRectF &rect)
{
    const QJsonValue fill = item.value("fill"_L1);
    if (fill.isObject())
        return gradientBrush(fill.toObject(), rect);
    if (fill.isString())
        return fill.toString().isEmpty() || fill.toString() == "none"_L1 ? QBrush() : tone(fill.toString(), {});
    if (item.value("tone"_L1).isString())
        return tone(canvasTone(item, "tone"_L1), u"ink"_s);
    return {};
}

// A gradient in box coordinates placed on the shape's box once, as the painter would place it on
// every fill; a brush in box coordinates also makes the painter switch engines on every change.
QBrush placedOn(const QBrush &brush, const QRectF &box)
{
    const QGradient *gradient = brush.gradient();
    if (!gradient || gradient->coordinateMode() != QGradient::ObjectMode)
        return brush;
    QGradient logical = *gradient;
    logical.setCoordinateMode(QGradient::LogicalMode);
    QBrush placed(logical);
    placed.setTransform(QTransform(box.width(), 0, 0, box.height(), box.x(), box.y()) * brush.transform());
    return placed;
}

// Outline of a closed shape: only when "stroke" is given, or when nothing else would show it.
QPen outlinePen(const QJsonObject &item, const QBrush &brush)
{
    if (item.contains("stroke"_L1))
        return strokePen(item, u"edge"_s);
    return brush.style() == Qt::NoBrush ? QPen(theme::toneColor(u"edge"_s), 1) : QPen(Qt::NoPen);
}

CanvasMarker marker(const QString &kind, QPointF tip, QPointF from, double head)
{
    CanvasMarker m;
    if (kind.isEmpty() || kind == "none"_L1)
        return m;
    const QLineF line(from, tip);
    const double angle = std::atan2(line.dy(), line.dx());
    const QPointF dir(std::cos(angle), std::sin(angle));
    const QPointF normal(-dir.y(), dir.x());
    if (kind == "arrow"_L1) {
        const QPointF back = tip - dir * head;
        m.shape = CanvasMarker::Shape::Arrow;
        m.triangle = QPolygonF{tip, back + normal * (head / 2), back - normal * (head / 2)};
    } else if (kind == "dot"_L1) {
        m.shape = CanvasMarker::Shape::Dot;
        m.centre = tip;
        m.radius = head / 2;
    } else if (kind == "bar"_L1) {
        m.shape = CanvasMarker::Shape::Bar;
        m.bar = QLineF(tip + normal * (head / 2), tip - normal * (head / 2));
    }
    return m;
}

QFont textFont(int size, bool mono, bool bold, bool italic, const QString &family)
{
    QFont font = mono ? theme::monoFont(size) : theme::uiFont(size);
    if (!family.isEmpty())
        font.setFamilies({family});
    font.setBold(bold);
    font.setItalic(italic);
    return font;
}

} // namespace

double deviceScale(const QTransform &m, bool *noShear)
{
    *noShear = true;
    const QTransform::TransformationType type = m.type();
    if (type <= QTransform::TxTranslate)
        return 1;
    if (type == QTransform::TxScale) {
        const double sx = std::abs(m.m11());
        const double sy = std::abs(m.m22());
        *noShear = qFuzzyCompare(sx, sy);
        return std::max(sx, sy);
    }
    // Rotation then scale compares the columns, scale then rotation the rows; the larger
    // difference tells which.
    const double x1 = m.m11() * m.m11() + m.m21() * m.m21();
    const double y1 = m.m12() * m.m12() + m.m22() * m.m22();
    const double x2 = m.m11() * m.m11() + m.m12() * m.m12();
    const double y2 = m.m21() * m.m21() + m.m22() * m.m22();
    const bool columns = std::abs(x1 - y1) > std::abs(x2 - y2);
    const double a = columns ? x1 : x2;
    const double b = columns ? y1 : y2;
    *noShear = type == QTransform::TxRotate && qFuzzyCompare(a, b);
    return std::sqrt(std::max(a, b));
}

QPainterPath strokeOutline(const QPainterPath &path, const QPen &pen, double scale)
{
    // The painter strokes and flattens curves to a quarter of a device pixel. The stroker here
    // works to a quarter of a unit, so the path is stroked at device size and brought back.
    const QTransform up = QTransform::fromScale(scale, scale);
    QPen devicePen = pen;
    devicePen.setWidthF(pen.widthF() * scale);
    const QPainterPath stroke = QPainterPathStroker(devicePen).createStroke(up.map(path));
    // Polygons come at half a unit of the coordinates they are mapped to: map to twice the size.
    QList<QPolygonF> polygons = stroke.toSubpathPolygons(QTransform::fromScale(2, 2));
    const double down = 1 / (2 * scale);
    QPainterPath flat;
    flat.setFillRule(stroke.fillRule());
    for (QPolygonF &polygon : polygons) {
        if (polygon.isEmpty())
            continue;
        for (QPointF &point : polygon)
            point *= down;
        flat.addPolygon(polygon);
    }
    return flat;
}

// Reads items into display-list nodes; a friend of the canvas for its definitions, its decoded
// images and its laid-out text lines.
class CanvasCompiler
{
public:
    // `toDevice` is the canvas's own scale on the device, which path outlines are made for; without
    // `outlines` they are left to the first paint (a tween frame is drawn only once).
    CanvasCompiler(Canvas &canvas, CanvasList &list, const QPaintDevice *device, const QTransform &toDevice,
                   bool outlines)
        : m_canvas(canvas)
        , m_list(list)
        , m_device(device)
        , m_toDevice(toDevice)
        , m_outlines(outlines)
    {}

    // One node per array element, whatever it holds, so that a tween can pair them up again.
    std::vector<CanvasNode> compileArray(const QJsonArray &items, int depth)
    {
        std::vector<CanvasNode> out;
        out.reserve(size_t(items.size()));
        for (const QJsonValue &value : items)
            out.push_back(value.isObject() ? compileItem(value.toObject(), depth) : CanvasNode());
        return out;
    }

    CanvasNode compileItem(const QJsonObject &raw, int depth, const QJsonArray *groupItems = nullptr)
    {
        CanvasNode node;
        const QJsonObject item = m_canvas.resolveUse(raw, 0);
        if (item.isEmpty() || readFlag(item, "hidden"_L1, false) || !readFlag(item, "visible"_L1, true))
            return node;
        node.kind = CanvasNode::Kind::Nothing;
        const QJsonObject transform = readObject(item, "transform"_L1);
        if (!transform.isEmpty()) {
            node.transformed = true;
            node.transform = itemTransform(transform);
        }
        node.opacity = clamped(item, "opacity"_L1, 1, 0, 1);
        const QTransform parentToDevice = m_toDevice;
        if (node.transformed)
            m_toDevice = node.transform * m_toDevice;
        const QJsonObject click = readObject(item, "click"_L1);
        if (!click.isEmpty()) {
            node.clickable = true;
            node.clickPath = readText(click, "path"_L1);
            node.clickBody = readObject(click, "body"_L1);
            node.clickTip = readText(click, "tip"_L1);
        }
        compileKind(node, item, depth, groupItems);
        m_toDevice = parentToDevice;
        return node;
    }

    // A group's rectangle: its painted children's, each in the group's coordinates.
    static QRectF groupBounds(const std::vector<CanvasNode> &children)
    {
        QRectF bounds;
        for (const CanvasNode &child : children) {
            if (child.kind == CanvasNode::Kind::Skip)
                continue;
            bounds = bounds.united(child.transformed ? child.transform.mapRect(child.bounds) : child.bounds);
        }
        return bounds;
    }

private:
    void compileKind(CanvasNode &node, const QJsonObject &item, int depth, const QJsonArray *groupItems)
    {
        using Kind = CanvasNode::Kind;
        const QString kind = readText(item, "kind"_L1);
        if (kind == "line"_L1 || kind == "arrow"_L1) {
            compileLine(node, item, kind == "arrow"_L1);
        } else if (kind == "rect"_L1 || kind == "ellipse"_L1) {
            node.rect = boxOf(item);
            node.bounds = node.rect;
            node.brush = fillBrush(item, node.rect);
            node.pen = outlinePen(item, node.brush);
            // The painter's box is that of the shape's control points: the rectangle for these.
            node.brush = placedOn(node.brush, node.rect);
            node.radius = kind == "rect"_L1 ? clamped(item, "radius"_L1, 0, 0, 400) : 0;
            node.kind = kind == "ellipse"_L1 ? Kind::Ellipse : node.radius > 0 ? Kind::RoundedRect : Kind::Rect;
        } else if (kind == "arc"_L1) {
            compileArc(node, item);
        } else if (kind == "poly"_L1 || kind == "polyline"_L1) {
            compilePoly(node, item, kind == "poly"_L1);
        } else if (kind == "path"_L1) {
            compilePath(node, item);
        } else if (kind == "text"_L1 || kind == "label"_L1) {
            compileText(node, item, kind == "label"_L1);
        } else if (kind == "image"_L1) {
            compileImage(node, item);
        } else if (kind == "grid"_L1) {
            compileGrid(node, item);
        } else if (kind == "hit"_L1) {
            node.bounds = boxOf(item);
        } else if (kind == "group"_L1) {
            node.kind = Kind::Group;
            if (depth < kCanvasMaxNesting) {
                if (groupItems) // a tween brings its own children
                    return;
                node.children = compileArray(readArray(item, "items"_L1, kMaxItems), depth + 1);
                node.bounds = groupBounds(node.children);
            }
        }
    }

    void compileLine(CanvasNode &node, const QJsonObject &item, bool arrow)
    {
        const QPointF a(coord(item, "x1"_L1), coord(item, "y1"_L1));
        const QPointF b(coord(item, "x2"_L1), coord(item, "y2"_L1));
        node.kind = CanvasNode::Kind::Line;
        node.line = QLineF(a, b);
        node.pen = strokePen(item, u"edge"_s);
        const double head = clamped(item, "head"_L1, 9, 1, 200);
        if (node.line.length() >= 0.001 && node.pen.style() != Qt::NoPen) {
            node.markerEnd = marker(readText(item, "marker"_L1, arrow ? u"arrow"_s : u"none"_s), b, a, head);
            node.markerStart = marker(readText(item, "marker_start"_L1), a, b, head);
            if (node.markerEnd.shape != CanvasMarker::Shape::None ||
                node.markerStart.shape != CanvasMarker::Shape::None)
                node.brush = QBrush(node.pen.color());
        }
        // A thin line still gets a region wide enough to hit.
        const double grow = std::max(head, node.pen.widthF()) / 2;
        node.bounds = QRectF(a, b).normalized().adjusted(-grow, -grow, grow, grow);
    }

    void compileArc(CanvasNode &node, const QJsonObject &item)
    {
        node.rect = boxOf(item);
        node.bounds = node.rect;
        node.start = int(std::lround(clamped(item, "start"_L1, 0, -360000, 360000) * 16));
        node.span = int(std::lround(clamped(item, "span"_L1, 90, -360000, 360000) * 16));
        const QString mode = readText(item, "mode"_L1, u"open"_s);
        if (mode == "pie"_L1 || mode == "chord"_L1) {
            node.kind = mode == "pie"_L1 ? CanvasNode::Kind::Pie : CanvasNode::Kind::Chord;
            node.brush = fillBrush(item, node.rect);
            node.pen = outlinePen(item, node.brush);
        } else {
            node.kind = CanvasNode::Kind::Arc;
            node.pen = strokePen(item, u"edge"_s);
        }
    }

    void compilePoly(CanvasNode &node, const QJsonObject &item, bool poly)
    {
        for (const QJsonValue &value : readArray(item, "points"_L1, kMaxItems)) {
            const QJsonArray pair = value.toArray();
            if (pair.size() >= 2)
                node.points.append(QPointF(coord(pair.at(0)), coord(pair.at(1))));
        }
        if (node.points.isEmpty())
            return;
        node.bounds = node.points.boundingRect();
        // A "poly" is closed unless it says otherwise; a "polyline" is open unless it says so.
        if (readFlag(item, "closed"_L1, poly)) {
            node.kind = CanvasNode::Kind::Polygon;
            node.brush = fillBrush(item, node.bounds);
            node.pen = outlinePen(item, node.brush);
        } else {
            node.kind = CanvasNode::Kind::Polyline;
            node.pen = strokePen(item, u"edge"_s);
        }
    }

    void compilePath(CanvasNode &node, const QJsonObject &item)
    {
        QPainterPath path;
        for (const QJsonValue &value : readArray(item, "d"_L1, kMaxItems)) {
            const QJsonArray seg = value.toArray();
            if (seg.isEmpty() || !seg.at(0).isString())
                continue;
            // One command letter, either case; anything longer is no command.
            const QString letter = seg.at(0).toString();
            const char16_t cmd = letter.size() == 1 ? letter.at(0).toUpper().unicode() : u'\0';
            const qsizetype numbers = seg.size() - 1;
            auto n = [&seg](int i) { return coord(seg.at(i)); };
            if (cmd == u'M' && numbers >= 2)
                path.moveTo(n(1), n(2));
            else if (cmd == u'L' && numbers >= 2)
                path.lineTo(n(1), n(2));
            else if (cmd == u'Q' && numbers >= 4)
                path.quadTo(n(1), n(2), n(3), n(4));
            else if (cmd == u'C' && numbers >= 6)
                path.cubicTo(n(1), n(2), n(3), n(4), n(5), n(6));
            else if (cmd == u'Z')
                path.closeSubpath();
        }
        if (path.isEmpty())
            return;
        node.kind = CanvasNode::Kind::Path;
        node.bounds = path.boundingRect();
        node.brush = fillBrush(item, node.bounds);
        node.pen = node.brush.style() == Qt::NoBrush || item.contains("stroke"_L1) ? strokePen(item, u"edge"_s)
                                                                                   : QPen(Qt::NoPen);
        // Wider than a pixel, a pen goes through the general stroker on every paint; its outline
        // is the same for every paint, so it is made here and filled then.
        if (node.pen.style() == Qt::SolidLine && !node.pen.isCosmetic()) {
            node.stroked = true;
            bool noShear = true;
            const double scale = deviceScale(m_toDevice, &noShear);
            if (m_outlines && scale > 0 && !(noShear && node.pen.widthF() * scale <= 1)) {
                node.outline = strokeOutline(path, node.pen, scale);
                node.outlineScale = scale;
            }
        }
        node.path = path;
    }

    void compileText(CanvasNode &node, const QJsonObject &item, bool label)
    {
        node.kind = CanvasNode::Kind::Text;
        node.label = label;
        node.text = readText(item, "text"_L1);
        const int size = readInt(item, "size"_L1, 10, 4, 200);
        const CanvasFont &entry =
            fontFor(size, readFlag(item, "mono"_L1, false), readFlag(item, "bold"_L1, false),
                    readFlag(item, "italic"_L1, false), readText(item, "font"_L1), &node.fontIndex);
        const QFont &font = entry.font;
        const QFontMetricsF &metrics = entry.metrics;
        const double wrap = clamped(item, "wrap"_L1, 0, 0, 1e6);
        const double pad = label ? clamped(item, "pad"_L1, 5, 0, 200) : 0;
        const QString align = readText(item, "align"_L1);
        const int hAlign = align == "center"_L1  ? Qt::AlignHCenter
                           : align == "right"_L1 ? Qt::AlignRight
                                                 : Qt::AlignLeft;
        node.textFlags = hAlign | Qt::AlignTop | (wrap > 0 ? Qt::TextWordWrap : 0);
        node.staticLine = wrap <= 0;
        if (node.staticLine) // laid out once, drawn many times
            node.staticText = m_canvas.staticText(entry.key, node.text, font);
        const QRectF measured = node.staticLine
                                    ? QRectF(QPointF(0, 0), QSizeF(node.staticText.size().width(), metrics.height()))
                                    : metrics.boundingRect(QRectF(0, 0, wrap, 1e6), node.textFlags, node.text);
        const double w = (wrap > 0 ? wrap : measured.width()) + 2 * pad;
        const double h = measured.height() + 2 * pad;
        // "x" is the left edge, the centre or the right edge by "align"; "y" is the top.
        double x = coord(item, "x"_L1);
        if (hAlign == Qt::AlignHCenter)
            x -= w / 2;
        else if (hAlign == Qt::AlignRight)
            x -= w;
        const QRectF box(x, coord(item, "y"_L1), w, h);
        node.rect = box;
        node.textAt = QPointF(box.left() + pad, box.top() + pad);
        node.textRect = box.adjusted(pad, pad, -pad, -pad);
        if (label) {
            node.brush = theme::toneColor(u"surface"_s);
            node.radius = clamped(item, "radius"_L1, h / 2, 0, 400);
        }
        node.pen = QPen(tone(canvasTone(item, "tone"_L1), label ? u"body"_s : u"ink"_s));

        const double angle = clamped(item, "rotate"_L1, 0, -36000, 36000);
        node.bounds = box;
        if (angle != 0) {
            QTransform t;
            t.translate(box.left(), box.top());
            t.rotate(angle);
            t.translate(-box.left(), -box.top());
            node.rotated = true;
            node.rotation = t;
            node.bounds = t.mapRect(box);
        }
    }

    void compileImage(CanvasNode &node, const QJsonObject &item)
    {
        const QRectF r = boxOf(item);
        node.bounds = r;
        const QImage img = m_canvas.image(readText(item, "data"_L1));
        if (img.isNull() || r.isEmpty())
            return;
        node.kind = CanvasNode::Kind::Image;
        node.image = img;
        const QString fit = readText(item, "fit"_L1, u"contain"_s);
        const QSizeF size = img.size();
        if (fit == "stretch"_L1) {
            node.imageFit = 1;
            node.rect = r;
        } else if (fit == "cover"_L1) {
            node.imageFit = 2;
            const QSizeF scaled = size.scaled(r.size(), Qt::KeepAspectRatioByExpanding);
            const QSizeF source(size.width() * r.width() / scaled.width(),
                                size.height() * r.height() / scaled.height());
            node.rect = r;
            node.source =
                QRectF(QPointF((size.width() - source.width()) / 2, (size.height() - source.height()) / 2), source);
        } else {
            const QSizeF scaled = size.scaled(r.size(), Qt::KeepAspectRatio);
            node.rect = QRectF(r.center() - QPointF(scaled.width() / 2, scaled.height() / 2), scaled);
        }
    }

    void compileGrid(CanvasNode &node, const QJsonObject &item)
    {
        const QRectF r = boxOf(item);
        node.kind = CanvasNode::Kind::Grid;
        node.bounds = r;
        const double stepX = clamped(item, "step_x"_L1, 20, 1, 10000);
        const double stepY = clamped(item, "step_y"_L1, 20, 1, 10000);
        node.pen = strokePen(item, u"edge"_s);
        // At most a few thousand lines, whatever the steps say.
        for (double x = r.left(); x <= r.right() + 1e-9 && node.lines.size() < 4000; x += stepX)
            node.lines.append(QLineF(x, r.top(), x, r.bottom()));
        for (double y = r.top(); y <= r.bottom() + 1e-9 && node.lines.size() < 8000; y += stepY)
            node.lines.append(QLineF(r.left(), y, r.right(), y));
    }

    // One font and its metrics per text style in the drawing.
    const CanvasFont &fontFor(int size, bool mono, bool bold, bool italic, const QString &family, int *index)
    {
        const auto key = std::make_tuple(size, mono, bold, italic, family);
        auto found = m_list.fontIndex.find(key);
        if (found == m_list.fontIndex.end()) {
            const QFont font = textFont(size, mono, bold, italic, family);
            const QString text = QString::number(size) + u'|' + QChar(mono ? u'm' : u'-') + QChar(bold ? u'b' : u'-') +
                                 QChar(italic ? u'i' : u'-') + u'|' + family;
            m_list.fonts.push_back(
                CanvasFont{font, m_device ? QFontMetricsF(font, m_device) : QFontMetricsF(font), text});
            found = m_list.fontIndex.emplace(key, int(m_list.fonts.size() - 1)).first;
        }
        *index = found->second;
        return m_list.fonts[size_t(found->second)];
    }

    Canvas &m_canvas;
    CanvasList &m_list;
    const QPaintDevice *m_device;
    QTransform m_toDevice;
    bool m_outlines;
};

void Canvas::compile(const QPaintDevice *device)
{
    auto list = std::make_unique<CanvasList>();
    list->dpi = device ? device->logicalDpiY() : 0;
    const double scale = scaleFor(width()) * devicePixelRatioF();
    // Before the canvas has a size, its scale is a guess: outlines wait for the first paint.
    CanvasCompiler compiler(*this, *list, device, QTransform::fromScale(scale, scale), testAttribute(Qt::WA_Resized));
    list->items = compiler.compileArray(m_items, 0);
    m_list = std::move(list);
}

namespace {

// The keys a tween moves, with the value a side that lacks them starts from.
struct TweenKey
{
    QLatin1StringView key;
    double missing;
};
constexpr std::array<TweenKey, 9> kTweenKeys = {{{"x"_L1, 0},
                                                 {"y"_L1, 0},
                                                 {"w"_L1, 0},
                                                 {"h"_L1, 0},
                                                 {"x1"_L1, 0},
                                                 {"y1"_L1, 0},
                                                 {"x2"_L1, 0},
                                                 {"y2"_L1, 0},
                                                 {"opacity"_L1, 1}}};
constexpr std::array<QLatin1StringView, 3> kTweenTransformKeys = {"rotate"_L1, "tx"_L1, "ty"_L1};

void tweenKeys(const QJsonObject &previous, QJsonObject &out, QLatin1StringView key, double missing, double t)
{
    if (!previous.contains(key) && !out.contains(key))
        return;
    const double from = canvasLimited(readNumber(previous, key, missing));
    const double to = canvasLimited(readNumber(out, key, missing));
    out.insert(key, from + (to - from) * t);
}

// One item between its previous and its new version at progress `t` (0..1).
QJsonObject tweenItem(const QJsonObject &previous, const QJsonObject &next, double t)
{
    t = std::isfinite(t) ? std::clamp(t, 0.0, 1.0) : 1.0;
    QJsonObject out = next;
    for (const TweenKey &k : kTweenKeys)
        tweenKeys(previous, out, k.key, k.missing, t);
    const QJsonObject before = readObject(previous, "transform"_L1);
    QJsonObject after = readObject(next, "transform"_L1);
    if (!before.isEmpty() || !after.isEmpty()) {
        for (QLatin1StringView key : kTweenTransformKeys)
            tweenKeys(before, after, key, 0, t);
        out.insert("transform"_L1, after);
    }
    return out;
}

struct TweenFrame
{
    const QHash<QString, QJsonObject> &previous;
    CanvasCompiler &compiler;
    double t;
};

CanvasNode tweenNode(const TweenFrame &frame, const QJsonValue &raw, const CanvasNode &compiled, int depth);

std::vector<CanvasNode> tweenNodes(const TweenFrame &frame, const QJsonArray &items,
                                   const std::vector<CanvasNode> &compiled, int depth)
{
    std::vector<CanvasNode> out;
    out.reserve(compiled.size());
    for (qsizetype i = 0; i < items.size() && size_t(i) < compiled.size(); ++i)
        out.push_back(tweenNode(frame, items.at(i), compiled[size_t(i)], depth));
    return out;
}

// An item as it is drawn during the tween: moved items are read again from their interpolated
// values, the others keep their nodes.
CanvasNode tweenNode(const TweenFrame &frame, const QJsonValue &raw, const CanvasNode &compiled, int depth)
{
    if (!raw.isObject() || compiled.kind == CanvasNode::Kind::Skip)
        return compiled;
    QJsonObject item = raw.toObject();
    const QString id = readText(item, "id"_L1);
    const QString kind = readText(item, "kind"_L1);
    bool moved = false;
    if (!id.isEmpty()) {
        const auto previous = frame.previous.constFind(id);
        if (previous != frame.previous.cend() && readText(*previous, "kind"_L1) == kind) {
            item = tweenItem(*previous, item, frame.t);
            moved = true;
        }
    }
    if (kind != "group"_L1 || depth >= kCanvasTweenDepth)
        return moved ? frame.compiler.compileItem(item, depth) : compiled;
    const QJsonArray children = readArray(item, "items"_L1, kMaxItems);
    CanvasNode node;
    if (moved) {
        node = frame.compiler.compileItem(item, depth, &children);
    } else {
        node = compiled;
        node.children.clear();
    }
    node.children = tweenNodes(frame, children, compiled.children, depth + 1);
    node.bounds = CanvasCompiler::groupBounds(node.children);
    return node;
}

} // namespace

std::vector<CanvasNode> Canvas::tweenFrame(double t, const QPaintDevice *device)
{
    // Text styles that only the moved items use join the drawing's own.
    CanvasCompiler compiler(*this, *m_list, device, QTransform(), false);
    const TweenFrame frame{m_previous, compiler, t};
    return tweenNodes(frame, m_items, m_list->items, 0);
}

} // namespace prims
