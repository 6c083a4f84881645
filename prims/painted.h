#pragma once
// The base of the single-value instruments: a fixed-height widget that keeps its element and
// paints it with a plain function, the caption wrapper that puts a muted line under it, and the
// value rules that gauge, dial, ring and meter share.

#include <QJsonObject>
#include <QWidget>

#include <functional>

class QFont;
class QFontMetricsF;
class QPainter;

namespace prims {

class Painted final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Painted)

public:
    using Painter = std::function<void(QPainter &painter, const QRect &rect, const QJsonObject &element)>;

    Painted(const QJsonObject &element, Painter painter, int height, QWidget *parent = nullptr);

    const QJsonObject &element() const { return m_element; }
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QJsonObject m_element;
    Painter m_painter;
};

// `widget` itself when the caption is empty; otherwise a column of the widget and the caption
// centred under it, at least as wide as the widget must be.
QWidget *captioned(QWidget *widget, const QString &caption, QWidget *parent);

// Where the ink of one line of `text` falls when drawn in `box` with `flags`.
QRectF inkRect(const QFontMetricsF &metrics, const QRectF &box, int flags, const QString &text);

// Draws one line of `text` in `box` as QPainter::drawText does, in `font` when its ink `fits`, else
// in the largest smaller size (down to 6 points) that fits; only a text that fits at no size is cut,
// with an ellipsis. So an instrument's words never run over its scale or out of its widget.
void drawFitted(QPainter &painter, const QRectF &box, int flags, const QString &text, QFont font,
                const std::function<bool(const QRectF &ink)> &fits);

// (value - min) / (max - min) clamped to 0..1; 0 when max is not above min.
double rangeFraction(double value, double min, double max);
// The fraction of the element's "value" within its "min" (0) and "max" (100).
double valueFraction(const QJsonObject &element);
// "value" in fixed notation with "decimals" (0..6) decimals, followed directly by "unit".
QString valueWithUnit(const QJsonObject &element);
// An angle in degrees as the sixteenths QPainter wants, rounded half away from zero.
int sixteenths(double degrees);

} // namespace prims
