#pragma once
// The one-line strip that shows the unit's answer to a press. Ordinary toasts hide after their
// duration; error toasts stay until clicked.

#include <QString>
#include <QWidget>

class QLabel;
class QMouseEvent;

namespace render {

struct Toast
{
    QString text;
    QString tone; // a tone name; empty means "accent"
    int durationMs = 4000;
};

class ToastStrip final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ToastStrip)

public:
    explicit ToastStrip(QWidget *parent = nullptr);

    // Shows or updates the strip; a blank text leaves it as it is.
    void showToast(const Toast &toast);

    QString text() const;
    // Hide timers started and not yet fired.
    int pendingTimers() const { return m_pendingTimers; }

signals:
    // A toast's timer fired (whether or not it still hid the strip).
    void expired(int generation);

protected:
    void mousePressEvent(QMouseEvent *event) override;

private:
    QLabel *m_label = nullptr;
    int m_generation = 0;
    int m_pendingTimers = 0;
};

} // namespace render
