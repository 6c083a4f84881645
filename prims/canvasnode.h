#pragma once
// The canvas's display list: each shape item read once from its JSON into what QPainter needs
// (pens, brushes, painter paths, laid-out text, marker geometry), so that a paint only walks it.

#include "prims/json.h"

#include <QBrush>
#include <QFont>
#include <QFontMetricsF>
#include <QImage>
#include <QJsonObject>
#include <QLineF>
#include <QList>
#include <QPainterPath>
#include <QPen>
#include <QPolygonF>
#include <QRectF>
#include <QStaticText>
#include <QString>
#include <QTransform>

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>
#include <vector>

namespace prims {

// What every reader of a drawing keeps to: items per array, nesting, coordinate size.
inline constexpr int kCanvasMaxItems = 4000;
// Groups (and chains of "use") are followed this deep: past anything a drawing needs, it only
// keeps a hostile one from exhausting the stack.
inline constexpr int kCanvasMaxNesting = 64;
// A tween pairs items with their previous versions through groups this deep; deeper items are
// drawn all the same, as they are.
inline constexpr int kCanvasTweenDepth = 8;
inline constexpr double kCanvasLimit = 1e6;

// A number limited to plus or minus kCanvasLimit; NaN and infinities read as -kCanvasLimit.
inline double canvasLimited(double v)
{
    return std::isfinite(v) ? std::clamp(v, -kCanvasLimit, kCanvasLimit) : -kCanvasLimit;
}

// A tone name: only a string names one. Anything else takes the default, a bool included, which
// the text reader would spell out as "true" or "false".
inline QString canvasTone(const QJsonObject &o, QLatin1StringView key, const QString &def = {})
{
    return o.value(key).isString() ? readText(o, key, def) : def;
}

struct CanvasMarker
{
    enum class Shape : quint8 { None, Arrow, Dot, Bar };
    Shape shape = Shape::None;
    QPolygonF triangle;
    QPointF centre;
    double radius = 0;
    QLineF bar;
};

struct CanvasNode
{
    enum class Kind : quint8 {
        Skip,    // hidden, invisible or a reference to nothing: no drawing, no region
        Nothing, // an item that draws nothing but may still be a region
        Line,
        Rect,
        RoundedRect,
        Ellipse,
        Arc,
        Pie,
        Chord,
        Polygon,
        Polyline,
        Path,
        Text,
        Image,
        Grid,
        Group,
    };
    Kind kind = Kind::Skip;
    bool transformed = false; // the item names a transform
    bool clickable = false;
    bool label = false;      // text on a rounded box
    bool staticLine = false; // text laid out once (no wrapping)
    bool stroked = false;    // `path` is stroked by filling `outline`
    quint8 imageFit = 0;     // 0 contain, 1 stretch, 2 cover
    double opacity = 1;
    QTransform transform;
    // The item's rectangle in its own coordinates: its hit region, and its share of a group's.
    QRectF bounds;

    QPen pen;
    QBrush brush;
    QRectF rect;
    double radius = 0;
    int start = 0;
    int span = 0;
    QLineF line;
    CanvasMarker markerEnd;
    CanvasMarker markerStart;
    QPolygonF points;
    QPainterPath path;
    // The stroke of `path` as straight segments, made for a device scale; a paint at another scale
    // makes it again.
    mutable QPainterPath outline;
    mutable double outlineScale = 0;
    QList<QLineF> lines;

    // Text: the box, where the laid-out line goes, and a rotation around the box's corner.
    int fontIndex = -1;
    int textFlags = 0;
    QString text;
    QStaticText staticText;
    QPointF textAt;
    QRectF textRect;
    bool rotated = false;
    QTransform rotation;

    QImage image;
    QRectF source;

    QString clickPath;
    QJsonObject clickBody;
    QString clickTip;

    std::vector<CanvasNode> children;
};

// A text style of the drawing: its font, measured for the list's device, and the key of its
// laid-out lines in the canvas's cache.
struct CanvasFont
{
    QFont font;
    QFontMetricsF metrics;
    QString key;
};

// The scale a transform gives pen widths and curve tolerances on the device, as the raster engine
// reckons it, and whether it keeps circles round (no shear, no uneven scale).
double deviceScale(const QTransform &m, bool *noShear);
// The stroke of `path` with `pen`, flattened as the painter would stroke and fill it at `scale`.
QPainterPath strokeOutline(const QPainterPath &path, const QPen &pen, double scale);

struct CanvasList
{
    std::vector<CanvasNode> items;
    std::vector<CanvasFont> fonts;
    // Size, mono, bold, italic and family to the index in `fonts`.
    std::map<std::tuple<int, bool, bool, bool, QString>, int> fontIndex;
    // The logical DPI the text boxes were measured for.
    int dpi = 0;
};

} // namespace prims
