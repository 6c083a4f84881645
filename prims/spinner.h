#pragma once
// "spinner": a small turning arc that says the unit is busy, with an optional line beside it. Its
// timer runs only while it is shown, so a hidden tab or a scrolled-away screen costs nothing.

#include <QBasicTimer>
#include <QColor>
#include <QJsonObject>
#include <QWidget>

namespace prims {

class Spinner final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Spinner)

public:
    Spinner(int size, const QColor &color, bool running, QWidget *parent = nullptr);

    bool isRunning() const { return m_running; }
    // True while the animation timer ticks: running and shown.
    bool isTurning() const { return m_timer.isActive(); }
    int angle() const { return m_angle; }
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    void timerEvent(QTimerEvent *event) override;

private:
    QBasicTimer m_timer;
    QColor m_color;
    int m_size;
    int m_angle = 90;
    bool m_running;
};

QWidget *buildSpinner(const QJsonObject &element, QWidget *parent);

} // namespace prims
