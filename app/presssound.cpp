#include "app/presssound.h"

#include "app/base/sounds.h"

#include <QAbstractButton>
#include <QMouseEvent>

namespace app {

PressSound::PressSound(QObject *parent)
    : QObject(parent)
{}

bool PressSound::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::MouseButtonRelease) {
        auto *button = qobject_cast<QAbstractButton *>(watched);
        const auto *release = static_cast<QMouseEvent *>(event);
        // A press dragged off the button and let go elsewhere is not a press: no sound.
        if (button && button->isEnabled() && button->rect().contains(release->position().toPoint()))
            playSoundNamed(button->property("pressSound").toString());
    }
    return false; // the release always goes on to the button
}

} // namespace app
