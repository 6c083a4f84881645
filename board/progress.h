#pragma once
// The progress card of a running step: its headline, a `Rail` filled by how far the step got, and
// the step's current label.

#include <QColor>
#include <QJsonObject>
#include <QWidget>

namespace panels {

// A 14-pixel track filled from the left by a fraction (0..1).
class Rail final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Rail)

public:
    explicit Rail(QWidget *parent = nullptr);

    void setFill(double fraction, const QColor &color);
    double fill() const { return m_fill; }
    QColor fillColor() const { return m_color; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    double m_fill = 0;
    QColor m_color;
};

// The card of a "progress" payload; none when "total" is below 1.
QWidget *progressCard(const QJsonObject &payload, QWidget *parent);

} // namespace panels
