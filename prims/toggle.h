#pragma once
// "toggle": an on/off `Switch` that posts its new state to the unit whenever it is flipped.

#include "prims/registry.h"

#include <QAbstractButton>
#include <QColor>
#include <QJsonObject>

namespace prims {

// A sliding switch: a rounded track with a knob, and the state's text beside it. Clicking it,
// or Space while it has focus, flips it.
class Switch final : public QAbstractButton
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Switch)

public:
    Switch(const QString &onText, const QString &offText, const QColor &onColor, QWidget *parent = nullptr);

    // The text shown for the current state.
    QString stateText() const;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    bool hitButton(const QPoint &pos) const override;

private:
    QString m_onText;
    QString m_offText;
    QColor m_onColor;
};

QWidget *buildToggle(const QJsonObject &element, const Callbacks &cb, QWidget *parent);

// The click body with "value" set to the new state.
QJsonObject toggleBody(const QJsonObject &element, bool on);

} // namespace prims
