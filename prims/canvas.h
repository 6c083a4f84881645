#pragma once
// A small vector drawing in a design coordinate space, scaled to the widget: shapes, strokes,
// gradients, paths, markers, reusable definitions, clickable regions that post presses, and a
// short tween between successive versions of the same drawing.

#include "prims/registry.h"

#include <QHash>
#include <QImage>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QStaticText>
#include <QTimer>
#include <QTransform>
#include <QWidget>

#include <functional>
#include <memory>
#include <vector>

class QPainter;
class QPaintDevice;

namespace prims {

struct CanvasList;
struct CanvasNode;
class SolidFill;

class Canvas final : public QWidget
{
    Q_OBJECT

public:
    using PressHandler = std::function<void(const QString &path, const QJsonObject &body)>;

    // One clickable region as the last paint left it: the painter transform of its item (widget
    // scale included) and the item's rectangle in item coordinates.
    struct HitRegion
    {
        QTransform transform;
        QRectF rect;
        QString path;
        QJsonObject body;
        QString tip;
    };

    explicit Canvas(QWidget *parent = nullptr);
    ~Canvas() override;

    // Reads the drawing from `element`; with `relayout` the canvas also fixes its height for its
    // current width and asks its parent for a new layout.
    void setSpec(const QJsonObject &element, bool relayout);
    void setPressHandler(PressHandler handler) { m_press = std::move(handler); }
    // Where design coordinate (0, 0) of the items sits, for drawings whose view box does not start
    // at the origin.
    void setOrigin(QPointF origin);
    // A cap on the drawn height in pixels (0: none); the drawing scales down to stay under it.
    void setMaxDrawHeight(int pixels);

    double designWidth() const { return m_width; }
    double designHeight() const { return m_height; }
    bool fitsWidth() const { return m_fitWidth; }
    int tweenMs() const { return m_tweenMs; }
    double scaleFor(int width) const;

    bool hasHeightForWidth() const override;
    int heightForWidth(int width) const override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

    const QList<HitRegion> &hitRegions() const { return m_regions; }
    // The region a widget position falls in, testing the last painted first; none if it misses.
    const HitRegion *regionAt(QPointF pos) const;

    // The clock a tween runs by, in milliseconds: a steady clock unless a test sets its own.
    using Clock = std::function<qint64()>;
    void setClock(Clock clock);
    // Tween progress now (1 when no tween runs).
    double tweenProgress() const;
    // Whether any item, following groups and "use" references, has a "click".
    bool anyClickable() const;

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    bool event(QEvent *event) override;

private:
    friend class CanvasPainter;
    friend class CanvasCompiler;

    QJsonObject resolveUse(const QJsonObject &item, int depth) const;
    void indexPrevious(const QJsonArray &items, int depth);
    bool clickableIn(const QJsonArray &items, int depth) const;
    QImage image(const QString &data) const;
    // Reads the items into the display list, measuring text for `device`.
    void compile(const QPaintDevice *device);
    // The display list at tween progress `t`: moved items read again, the others as they are.
    std::vector<CanvasNode> tweenFrame(double t, const QPaintDevice *device);
    // Draws the whole drawing at the widget's size, recording the hit regions; small solid shapes
    // go through `fill` when the painter draws on the image it fills.
    void drawFrame(QPainter &painter, SolidFill *fill);
    // One line of text laid out once for its font and kept across paints.
    const QStaticText &staticText(const QString &fontKey, const QString &text, const QFont &font);
    void invalidateFrame();

    QJsonObject m_element;
    double m_width = 400;
    double m_height = 200;
    bool m_fitWidth = false;
    QString m_background;
    QJsonObject m_defs;
    QJsonArray m_items;
    int m_tweenMs = 0;
    QHash<QString, QJsonObject> m_previous;
    Clock m_clock;
    qint64 m_tweenStart = 0;
    QTimer m_tweenTimer;
    QPointF m_origin;
    int m_maxDrawHeight = 0;
    QList<HitRegion> m_regions;
    PressHandler m_press;
    mutable QHash<QString, QImage> m_images;
    QHash<QString, QStaticText> m_texts;
    std::unique_ptr<CanvasList> m_list;
    QImage m_frame;
    bool m_frameValid = false;

    Q_DISABLE_COPY_MOVE(Canvas)
};

// The "shapes" primitive: a canvas whose presses go to the first primitive callback.
QWidget *buildShapes(const QJsonObject &element, const Callbacks &cb, QWidget *parent);

} // namespace prims
