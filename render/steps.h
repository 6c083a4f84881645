#pragma once
// The strip of wizard steps above a commissioning screen's sections: where the unit stands in
// its sequence, with a look back at finished steps.

#include "render/actions.h"

#include <QFrame>
#include <QJsonArray>
#include <QString>

#include <functional>

class QMouseEvent;

namespace render {

// One cell of the strip. It calls its function on a left-button release inside itself.
class StepCell final : public QFrame
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(StepCell)

public:
    StepCell(const Actions &actions, const QString &id, const QString &label, std::function<void()> onRelease,
             QWidget *parent = nullptr);

    const Actions &actions() const { return m_actions; }
    QString stepId() const { return m_id; }
    QString label() const { return m_label; }

protected:
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    Actions m_actions;
    QString m_id;
    QString m_label;
    std::function<void()> m_onRelease;
};

// Asking the window to show another step travels as a press the window keeps to itself: no
// path, "then" equal to kViewStepThen, and the step's id in the body's "step" (empty: go back
// to the unit's current step).
inline constexpr auto kViewStepThen = "view_step";
Press viewStepPress(const QString &stepId);
bool isViewStepPress(const Press &press);

// Index of the step to show: the viewed one, else the current one, else the last; -1 if none.
int shownStep(const QJsonArray &steps, const QString &viewedStep);

// The strip, the shown step's title, the banner back to the current step and the shown step's
// body; none when there are no steps.
QWidget *steps(const QJsonArray &steps, const Actions &actions, QWidget *parent);

} // namespace render
