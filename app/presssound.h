#pragma once
// The application-wide click: every enabled button released under the pointer plays the sound
// named by its "pressSound" property. Installed once on the application object.

#include <QObject>

namespace app {

class PressSound final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(PressSound)

public:
    explicit PressSound(QObject *parent = nullptr);

    bool eventFilter(QObject *watched, QEvent *event) override;
};

} // namespace app
