#include "board/dragdrop.h"

#include "app/base/logging.h"
#include "app/base/theme.h"
#include "prims/json.h"
#include "prims/text.h"
#include "render/buttons.h"

#include <QDrag>
#include <QJsonDocument>
#include <QMimeData>
#include <QMouseEvent>
#include <QPushButton>

using namespace Qt::StringLiterals;

namespace board {

namespace {

Clickable::PressFn pressFrom(const render::Actions &actions)
{
    if (!actions.press)
        return {};
    return [press = actions.press](const QString &path, const QJsonObject &body) {
        render::Press p;
        p.path = path;
        p.body = body;
        press(p);
    };
}

} // namespace

Clickable::Clickable(QWidget *parent)
    : QWidget(parent)
{
    setCursor(Qt::PointingHandCursor);
}

void Clickable::setPress(const QString &path, const QJsonObject &body)
{
    m_path = path;
    m_body = body;
}

void Clickable::setCallbacks(PressFn press, SoundFn sound)
{
    m_press = std::move(press);
    m_playSound = std::move(sound);
}

void Clickable::setActions(const render::Actions &actions)
{
    setCallbacks(pressFrom(actions), actions.playSound);
}

void Clickable::mousePressEvent(QMouseEvent *event)
{
    const QPoint at = event->position().toPoint();
    qCDebug(lcInput, "    TILE press %s at %d,%d", qPrintable(m_traceLabel), at.x(), at.y());
    if (event->button() == Qt::LeftButton) {
        event->accept();
        return;
    }
    QWidget::mousePressEvent(event);
}

void Clickable::mouseReleaseEvent(QMouseEvent *event)
{
    const QPoint at = event->position().toPoint();
    const bool inside = rect().contains(at);
    qCDebug(lcInput, "    TILE release %s at %d,%d inside=%d post=%d", qPrintable(m_traceLabel), at.x(), at.y(),
            int(inside), int(bool(m_press)));
    event->accept();
    if (event->button() != Qt::LeftButton || !inside || !m_press)
        return;
    qCDebug(lcInput, "    TILE POSTS %s", qPrintable(m_traceLabel));
    if (m_playSound)
        m_playSound(m_sound.isEmpty() ? u"select"_s : m_sound);
    m_press(m_path, m_body);
}

Draggable::Draggable(QWidget *parent)
    : Clickable(parent)
{}

void Draggable::setDragPayload(const QJsonObject &payload)
{
    m_payload = payload;
    setProperty("draggable", !payload.isEmpty());
}

void Draggable::mousePressEvent(QMouseEvent *event)
{
    m_armed = event->button() == Qt::LeftButton;
    m_dragged = false;
    m_pressAt = event->position().toPoint();
    Clickable::mousePressEvent(event);
}

void Draggable::mouseMoveEvent(QMouseEvent *event)
{
    if (!m_armed || !(event->buttons() & Qt::LeftButton) || m_payload.isEmpty()) {
        QWidget::mouseMoveEvent(event);
        return;
    }
    if ((event->position().toPoint() - m_pressAt).manhattanLength() < kDragThreshold)
        return; // a tap stays a tap
    m_armed = false;
    m_dragged = true;
    auto *mime = new QMimeData;
    mime->setData(QLatin1StringView(kDragMime), QJsonDocument(m_payload).toJson(QJsonDocument::Compact));
    auto *drag = new QDrag(this);
    drag->setMimeData(mime);
    drag->setPixmap(grab());
    drag->setHotSpot(m_pressAt);
    runDrag(drag);
}

void Draggable::mouseReleaseEvent(QMouseEvent *event)
{
    if (m_dragged) {
        m_dragged = false;
        event->accept();
        return;
    }
    Clickable::mouseReleaseEvent(event);
}

void Draggable::runDrag(QDrag *drag)
{
    drag->exec(Qt::CopyAction);
}

DropRow::DropRow(QWidget *parent)
    : QWidget(parent)
{}

void DropRow::setElement(const QJsonObject &element)
{
    m_element = element;
    setAcceptDrops(!prims::readText(element, "path"_L1).isEmpty());
}

void DropRow::setCallbacks(Clickable::PressFn press, Clickable::SoundFn sound)
{
    m_press = std::move(press);
    m_playSound = std::move(sound);
}

void DropRow::setActions(const render::Actions &actions)
{
    setCallbacks(pressFrom(actions), actions.playSound);
}

QJsonObject DropRow::mergedBody(const QJsonObject &own, const QByteArray &dropped)
{
    QJsonObject body = prims::readObject(own, "body"_L1);
    const QJsonObject over = QJsonDocument::fromJson(dropped).object(); // unreadable: empty
    for (auto it = over.begin(); it != over.end(); ++it)
        body.insert(it.key(), it.value());
    return body;
}

void DropRow::dragEnterEvent(QDragEnterEvent *event)
{
    if (event->mimeData()->hasFormat(QLatin1StringView(kDragMime)))
        event->acceptProposedAction();
}

void DropRow::dragMoveEvent(QDragMoveEvent *event)
{
    if (event->mimeData()->hasFormat(QLatin1StringView(kDragMime)))
        event->acceptProposedAction();
}

void DropRow::dropEvent(QDropEvent *event)
{
    const QJsonObject body = mergedBody(m_element, event->mimeData()->data(QLatin1StringView(kDragMime)));
    if (m_playSound) {
        const QString sound = prims::readText(m_element, "sound"_L1);
        m_playSound(sound.isEmpty() ? u"place"_s : sound);
    }
    if (m_press)
        m_press(prims::readText(m_element, "path"_L1), body);
    event->acceptProposedAction();
}

QPushButton *rowActionButton(const QJsonObject &element, const render::Actions &actions, QWidget *parent)
{
    auto *button = new QPushButton(prims::buttonText(prims::readText(element, "label"_L1)), parent);
    button->setObjectName(u"rowAction"_s);
    button->setFixedSize(22, 22);
    button->setCursor(Qt::PointingHandCursor);
    const QString tone = theme::toneColor(prims::readName(element, "tone"_L1)).name();
    button->setStyleSheet(u"color:%1; background:%2; border:1px solid %1;border-radius:3px; padding:0px;"_s.arg(
        tone, theme::palette().surface.name()));
    if (const QString tip = prims::readText(element, "tip"_L1); !tip.isEmpty())
        button->setToolTip(tip);
    render::pressOnClick(button, render::pressFor(element), QString(), actions);
    return button;
}

} // namespace board
