// Drawing of the canvas shape kinds: strokes, fills and gradients, paths, markers, text, images,
// groups and "use" references, recording the clickable regions as it goes.
#include "app/theme.h"
#include "prims/canvas.h"
#include "prims/json.h"

#include <QFontMetricsF>
#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>
#include <QStaticText>

#include <algorithm>
#include <cmath>
#include <numbers>

using namespace Qt::StringLiterals;

namespace prims {

namespace {

constexpr int kMaxItems = 4000;
constexpr int kMaxGroupDepth = 8;
constexpr double kLimit = 1e6;

double coord(const QJsonValue &v, double def = 0)
{
    const double n = readNumber(v, def);
    return std::isfinite(n) ? std::clamp(n, -kLimit, kLimit) : -kLimit;
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
    QPen pen(tone(readText(item, "tone"_L1), fallbackTone), 1);
    pen.setCosmetic(false);
    if (stroke.isString()) {
        pen.setColor(tone(stroke.toString(), fallbackTone));
    } else if (stroke.isObject()) {
        const QJsonObject s = stroke.toObject();
        pen.setColor(tone(readText(s, "tone"_L1), u"edge"_s));
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
    if (item.contains("tone"_L1))
        return tone(readText(item, "tone"_L1), u"ink"_s);
    return {};
}

// Outline of a closed shape: only when "stroke" is given, or when nothing else would show it.
QPen outlinePen(const QJsonObject &item, const QBrush &brush)
{
    if (item.contains("stroke"_L1))
        return strokePen(item, u"edge"_s);
    return brush.style() == Qt::NoBrush ? QPen(theme::toneColor(u"edge"_s), 1) : QPen(Qt::NoPen);
}

void drawMarker(QPainter &p, const QString &kind, QPointF tip, QPointF from, double head, const QPen &pen)
{
    if (kind.isEmpty() || kind == "none"_L1)
        return;
    const QLineF line(from, tip);
    const double angle = std::atan2(line.dy(), line.dx());
    const QPointF dir(std::cos(angle), std::sin(angle));
    const QPointF normal(-dir.y(), dir.x());
    p.save();
    if (kind == "arrow"_L1) {
        const QPointF back = tip - dir * head;
        const QPolygonF triangle{tip, back + normal * (head / 2), back - normal * (head / 2)};
        p.setPen(Qt::NoPen);
        p.setBrush(pen.color());
        p.drawPolygon(triangle);
    } else if (kind == "dot"_L1) {
        p.setPen(Qt::NoPen);
        p.setBrush(pen.color());
        p.drawEllipse(tip, head / 2, head / 2);
    } else if (kind == "bar"_L1) {
        QPen bar = pen;
        bar.setStyle(Qt::SolidLine);
        p.setPen(bar);
        p.drawLine(tip + normal * (head / 2), tip - normal * (head / 2));
    }
    p.restore();
}

QFont textFont(const QJsonObject &item)
{
    const int size = readInt(item, "size"_L1, 10, 4, 200);
    QFont font = readFlag(item, "mono"_L1, false) ? theme::monoFont(size) : theme::uiFont(size);
    const QString family = readText(item, "font"_L1);
    if (!family.isEmpty())
        font.setFamilies({family});
    font.setBold(readFlag(item, "bold"_L1, false));
    font.setItalic(readFlag(item, "italic"_L1, false));
    return font;
}

} // namespace

// Paints one frame of a canvas; a friend so that it can fill the canvas's hit regions.
class CanvasPainter
{
public:
    CanvasPainter(Canvas &canvas, QPainter &painter)
        : m_canvas(canvas)
        , m_p(painter)
    {}

    void paintItems(const QJsonArray &items, int depth)
    {
        for (const QJsonValue &value : items) {
            if (value.isObject())
                paintItem(value.toObject(), depth);
        }
    }

    // Paints one item; gives its rectangle in the coordinates of the item's parent.
    QRectF paintItem(const QJsonObject &raw, int depth)
    {
        const QJsonObject item = m_canvas.resolveUse(raw, 0);
        if (item.isEmpty() || readFlag(item, "hidden"_L1, false) || !readFlag(item, "visible"_L1, true))
            return {};
        // Every kind sets the pen, brush and font it uses, so only the transform and the opacity
        // need putting back afterwards; a full save and restore per item costs more than the drawing.
        const QTransform savedTransform = m_p.worldTransform();
        const double savedOpacity = m_p.opacity();
        const QJsonObject transform = readObject(item, "transform"_L1);
        if (!transform.isEmpty())
            m_p.setWorldTransform(itemTransform(transform), true);
        const double opacity = clamped(item, "opacity"_L1, 1, 0, 1);
        if (opacity < 1)
            m_p.setOpacity(savedOpacity * opacity);

        const QJsonObject click = readObject(item, "click"_L1);
        qsizetype slot = -1;
        if (!click.isEmpty()) {
            // Reserve the region before children paint, so a group's own items are tested first.
            slot = m_canvas.m_regions.size();
            m_canvas.m_regions.append({m_p.worldTransform(),
                                       {},
                                       readText(click, "path"_L1),
                                       readObject(click, "body"_L1),
                                       readText(click, "tip"_L1)});
        }
        const QRectF rect = drawKind(item, depth);
        if (slot >= 0)
            m_canvas.m_regions[slot].rect = rect;
        if (m_p.worldTransform() != savedTransform)
            m_p.setWorldTransform(savedTransform);
        if (m_p.opacity() != savedOpacity)
            m_p.setOpacity(savedOpacity);

        return transform.isEmpty() ? rect : itemTransform(transform).mapRect(rect);
    }

private:
    QRectF drawKind(const QJsonObject &item, int depth)
    {
        const QString kind = readText(item, "kind"_L1);
        if (kind == "line"_L1 || kind == "arrow"_L1)
            return drawLine(item, kind == "arrow"_L1);
        if (kind == "rect"_L1 || kind == "ellipse"_L1) {
            const QRectF r = boxOf(item);
            const QBrush brush = fillBrush(item, r);
            m_p.setBrush(brush);
            m_p.setPen(outlinePen(item, brush));
            if (kind == "ellipse"_L1) {
                m_p.drawEllipse(r);
            } else {
                const double radius = clamped(item, "radius"_L1, 0, 0, 400);
                if (radius > 0)
                    m_p.drawRoundedRect(r, radius, radius);
                else
                    m_p.drawRect(r);
            }
            return r;
        }
        if (kind == "arc"_L1)
            return drawArc(item);
        if (kind == "poly"_L1 || kind == "polyline"_L1)
            return drawPoly(item, kind == "poly"_L1);
        if (kind == "path"_L1)
            return drawPath(item);
        if (kind == "text"_L1 || kind == "label"_L1)
            return drawText(item, kind == "label"_L1);
        if (kind == "image"_L1)
            return drawImage(item);
        if (kind == "grid"_L1)
            return drawGrid(item);
        if (kind == "hit"_L1)
            return boxOf(item);
        if (kind == "group"_L1) {
            QRectF bounds;
            if (depth < kMaxGroupDepth) {
                for (const QJsonValue &child : readArray(item, "items"_L1, kMaxItems)) {
                    if (child.isObject())
                        bounds = bounds.united(paintItem(child.toObject(), depth + 1));
                }
            }
            return bounds;
        }
        return {};
    }

    QRectF drawLine(const QJsonObject &item, bool arrow)
    {
        const QPointF a(coord(item, "x1"_L1), coord(item, "y1"_L1));
        const QPointF b(coord(item, "x2"_L1), coord(item, "y2"_L1));
        const QPen pen = strokePen(item, u"edge"_s);
        m_p.setPen(pen);
        m_p.drawLine(a, b);
        const double head = clamped(item, "head"_L1, 9, 1, 200);
        if (QLineF(a, b).length() >= 0.001 && pen.style() != Qt::NoPen) {
            drawMarker(m_p, readText(item, "marker"_L1, arrow ? u"arrow"_s : u"none"_s), b, a, head, pen);
            drawMarker(m_p, readText(item, "marker_start"_L1), a, b, head, pen);
        }
        // A thin line still gets a region wide enough to hit.
        const double grow = std::max(head, pen.widthF()) / 2;
        return QRectF(a, b).normalized().adjusted(-grow, -grow, grow, grow);
    }

    QRectF drawArc(const QJsonObject &item)
    {
        const QRectF r = boxOf(item);
        const int start = int(std::lround(clamped(item, "start"_L1, 0, -360000, 360000) * 16));
        const int span = int(std::lround(clamped(item, "span"_L1, 90, -360000, 360000) * 16));
        const QString mode = readText(item, "mode"_L1, u"open"_s);
        if (mode == "pie"_L1 || mode == "chord"_L1) {
            const QBrush brush = fillBrush(item, r);
            m_p.setBrush(brush);
            m_p.setPen(outlinePen(item, brush));
            if (mode == "pie"_L1)
                m_p.drawPie(r, start, span);
            else
                m_p.drawChord(r, start, span);
        } else {
            m_p.setBrush(Qt::NoBrush);
            m_p.setPen(strokePen(item, u"edge"_s));
            m_p.drawArc(r, start, span);
        }
        return r;
    }

    QRectF drawPoly(const QJsonObject &item, bool poly)
    {
        QPolygonF points;
        for (const QJsonValue &value : readArray(item, "points"_L1, kMaxItems)) {
            const QJsonArray pair = value.toArray();
            if (pair.size() >= 2)
                points.append(QPointF(coord(pair.at(0)), coord(pair.at(1))));
        }
        if (points.isEmpty())
            return {};
        // A "poly" is closed unless it says otherwise; a "polyline" is open unless it says so.
        if (readFlag(item, "closed"_L1, poly)) {
            const QBrush brush = fillBrush(item, points.boundingRect());
            m_p.setBrush(brush);
            m_p.setPen(outlinePen(item, brush));
            m_p.drawPolygon(points);
        } else {
            m_p.setBrush(Qt::NoBrush);
            m_p.setPen(strokePen(item, u"edge"_s));
            m_p.drawPolyline(points);
        }
        return points.boundingRect();
    }

    QRectF drawPath(const QJsonObject &item)
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
            return {};
        const QRectF bounds = path.boundingRect();
        const QBrush brush = fillBrush(item, bounds);
        m_p.setBrush(brush);
        m_p.setPen(brush.style() == Qt::NoBrush || item.contains("stroke"_L1) ? strokePen(item, u"edge"_s)
                                                                              : QPen(Qt::NoPen));
        m_p.drawPath(path);
        return bounds;
    }

    QRectF drawText(const QJsonObject &item, bool label)
    {
        const QString text = readText(item, "text"_L1);
        const FontEntry &entry = fontFor(item);
        const QFont &font = entry.font;
        const QFontMetricsF &metrics = entry.metrics;
        const double wrap = clamped(item, "wrap"_L1, 0, 0, 1e6);
        const double pad = label ? clamped(item, "pad"_L1, 5, 0, 200) : 0;
        const QString align = readText(item, "align"_L1);
        const int hAlign = align == "center"_L1  ? Qt::AlignHCenter
                           : align == "right"_L1 ? Qt::AlignRight
                                                 : Qt::AlignLeft;
        const int flags = hAlign | Qt::AlignTop | (wrap > 0 ? Qt::TextWordWrap : 0);
        const QStaticText *line = wrap > 0 ? nullptr : &m_canvas.staticText(entry.key, text, font);
        const QRectF measured = line ? QRectF(QPointF(0, 0), QSizeF(line->size().width(), metrics.height()))
                                     : metrics.boundingRect(QRectF(0, 0, wrap, 1e6), flags, text);
        const double w = (wrap > 0 ? wrap : measured.width()) + 2 * pad;
        const double h = measured.height() + 2 * pad;
        // "x" is the left edge, the centre or the right edge by "align"; "y" is the top.
        double x = coord(item, "x"_L1);
        if (hAlign == Qt::AlignHCenter)
            x -= w / 2;
        else if (hAlign == Qt::AlignRight)
            x -= w;
        const QRectF box(x, coord(item, "y"_L1), w, h);

        const double angle = clamped(item, "rotate"_L1, 0, -36000, 36000);
        if (angle != 0) {
            m_p.translate(box.topLeft());
            m_p.rotate(angle);
            m_p.translate(-box.topLeft());
        }
        if (label) {
            m_p.setPen(Qt::NoPen);
            m_p.setBrush(theme::toneColor(u"surface"_s));
            const double radius = clamped(item, "radius"_L1, h / 2, 0, 400);
            m_p.drawRoundedRect(box, radius, radius);
        }
        m_p.setFont(font);
        m_p.setPen(tone(readText(item, "tone"_L1), label ? u"body"_s : u"ink"_s));
        if (line) // laid out once, drawn many times
            m_p.drawStaticText(QPointF(box.left() + pad, box.top() + pad), *line);
        else
            m_p.drawText(box.adjusted(pad, pad, -pad, -pad), flags, text);
        if (angle == 0)
            return box;
        QTransform t;
        t.translate(box.left(), box.top());
        t.rotate(angle);
        t.translate(-box.left(), -box.top());
        return t.mapRect(box);
    }

    QRectF drawImage(const QJsonObject &item)
    {
        const QRectF r = boxOf(item);
        const QImage img = m_canvas.image(readText(item, "data"_L1));
        if (img.isNull() || r.isEmpty())
            return r;
        const QString fit = readText(item, "fit"_L1, u"contain"_s);
        const QSizeF size = img.size();
        if (fit == "stretch"_L1) {
            m_p.drawImage(r, img);
        } else if (fit == "cover"_L1) {
            const QSizeF scaled = size.scaled(r.size(), Qt::KeepAspectRatioByExpanding);
            const QSizeF source(size.width() * r.width() / scaled.width(),
                                size.height() * r.height() / scaled.height());
            const QRectF from(QPointF((size.width() - source.width()) / 2, (size.height() - source.height()) / 2),
                              source);
            m_p.drawImage(r, img, from);
        } else {
            const QSizeF scaled = size.scaled(r.size(), Qt::KeepAspectRatio);
            const QRectF to(r.center() - QPointF(scaled.width() / 2, scaled.height() / 2), scaled);
            m_p.drawImage(to, img);
        }
        return r;
    }

    QRectF drawGrid(const QJsonObject &item)
    {
        const QRectF r = boxOf(item);
        const double stepX = clamped(item, "step_x"_L1, 20, 1, 10000);
        const double stepY = clamped(item, "step_y"_L1, 20, 1, 10000);
        m_p.setPen(strokePen(item, u"edge"_s));
        m_p.setBrush(Qt::NoBrush);
        QList<QLineF> lines;
        // At most a few thousand lines, whatever the steps say.
        for (double x = r.left(); x <= r.right() + 1e-9 && lines.size() < 4000; x += stepX)
            lines.append(QLineF(x, r.top(), x, r.bottom()));
        for (double y = r.top(); y <= r.bottom() + 1e-9 && lines.size() < 8000; y += stepY)
            lines.append(QLineF(r.left(), y, r.right(), y));
        m_p.drawLines(lines);
        return r;
    }

    struct FontEntry
    {
        QString key;
        QFont font;
        QFontMetricsF metrics;
    };

    // Fonts and their metrics are made once per paint for each distinct text style.
    const FontEntry &fontFor(const QJsonObject &item)
    {
        const QString key =
            u"%1|%2|%3|%4|%5"_s.arg(QString::number(readInt(item, "size"_L1, 10, 4, 200)), readText(item, "mono"_L1),
                                    readText(item, "bold"_L1), readText(item, "italic"_L1), readText(item, "font"_L1));
        auto found = m_fonts.find(key);
        if (found == m_fonts.end()) {
            const QFont font = textFont(item);
            found = m_fonts.insert(key, FontEntry{key, font, QFontMetricsF(font, m_p.device())});
        }
        return *found;
    }

    Canvas &m_canvas;
    QPainter &m_p;
    QHash<QString, FontEntry> m_fonts;
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

void Canvas::drawFrame(QPainter &p)
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
    CanvasPainter painter(*this, p);
    painter.paintItems(itemsAt(tweenProgress()), 0);
}

void Canvas::paintEvent(QPaintEvent *event)
{
    QPainter out(this);
    if (tweenProgress() < 1) {
        // Every frame of a tween differs: draw it straight onto the widget.
        drawFrame(out);
        return;
    }
    // A still drawing is drawn once per spec and size; exposures and scrolling only copy it.
    const double dpr = devicePixelRatioF();
    const QSize pixels = (QSizeF(size()) * dpr).toSize();
    if (!m_frameValid || m_frame.size() != pixels) {
        m_frame = QImage(pixels, QImage::Format_ARGB32_Premultiplied);
        m_frame.setDevicePixelRatio(dpr);
        m_frame.fill(Qt::transparent);
        QPainter p(&m_frame);
        drawFrame(p);
        m_frameValid = true;
    }
    const QRect area = event->rect();
    out.drawImage(area, m_frame, QRectF(QPointF(area.topLeft()) * dpr, QSizeF(area.size()) * dpr));
}

} // namespace prims
