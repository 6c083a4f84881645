#pragma once
// The board's interaction widgets: a tile that posts a press when tapped (`Clickable`), one that
// can also be dragged (`Draggable`), a row that takes a dropped tile and posts the merged body
// (`DropRow`), and the small action button that board rows carry.

#include "render/actions.h"

#include <QJsonObject>
#include <QPoint>
#include <QWidget>

#include <functional>

class QDrag;
class QPushButton;

namespace board {

// The MIME type a dragged tile's payload travels as (compact JSON).
inline constexpr auto kDragMime = "application/x-kestro-drag";
// A move shorter than this (|dx| + |dy|) is still a tap.
inline constexpr int kDragThreshold = 12;

class Clickable : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Clickable)

public:
    using PressFn = std::function<void(const QString &path, const QJsonObject &body)>;
    using SoundFn = std::function<void(const QString &sound)>;

    explicit Clickable(QWidget *parent = nullptr);

    void setPress(const QString &path, const QJsonObject &body);
    void setSoundName(const QString &sound) { m_sound = sound; }
    void setTraceLabel(const QString &label) { m_traceLabel = label; }
    void setCallbacks(PressFn press, SoundFn sound);
    // The press and sound callbacks of the session's actions (absent where the actions lack them).
    void setActions(const render::Actions &actions);

    QString path() const { return m_path; }
    QJsonObject body() const { return m_body; }

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    QString traceLabel() const { return m_traceLabel; }

private:
    QString m_path;
    QJsonObject m_body;
    QString m_sound;
    QString m_traceLabel;
    PressFn m_press;
    SoundFn m_playSound;
};

class Draggable : public Clickable
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Draggable)

public:
    explicit Draggable(QWidget *parent = nullptr);

    // An empty payload keeps the tile a plain tap target.
    // The viewport reads the "draggable" property to leave the press to the tile.
    void setDragPayload(const QJsonObject &payload);
    QJsonObject dragPayload() const { return m_payload; }

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    // A release that ends a drag (where the platform delivers one) is not a tap.
    void mouseReleaseEvent(QMouseEvent *event) override;
    // Runs the drag until it is dropped; tests replace it to look at the drag without a drop loop.
    virtual void runDrag(QDrag *drag);

private:
    QJsonObject m_payload;
    QPoint m_pressAt;
    bool m_armed = false;
    bool m_dragged = false; // since the last press
};

class DropRow : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(DropRow)

public:
    explicit DropRow(QWidget *parent = nullptr);

    // The row's own element: "path", "body" and "sound". A row without a path takes no drops.
    void setElement(const QJsonObject &element);
    void setCallbacks(Clickable::PressFn press, Clickable::SoundFn sound);
    void setActions(const render::Actions &actions);

    // The row's body with every key of the dropped object laid over it.
    static QJsonObject mergedBody(const QJsonObject &own, const QByteArray &dropped);

protected:
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragMoveEvent(QDragMoveEvent *event) override;
    void dropEvent(QDropEvent *event) override;

private:
    QJsonObject m_element;
    Clickable::PressFn m_press;
    Clickable::SoundFn m_playSound;
};

// The small square button a board row carries: its "label", "tone", "tip"; a click posts "path"
// with "body" once the "confirm" object (if any) is answered.
QPushButton *rowActionButton(const QJsonObject &element, const render::Actions &actions, QWidget *parent);

} // namespace board
