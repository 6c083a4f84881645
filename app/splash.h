#pragma once
// The start-up card: one status line and a progress value from 0 to 100, shown while the window
// is built and the first discovery sweeps listen for units.

#include <QWidget>

class QLabel;
class QProgressBar;

namespace app {

class SplashCard final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SplashCard)

public:
    explicit SplashCard(QWidget *parent = nullptr);

    void setStatus(const QString &text, int progress);
    QString status() const;
    int progress() const;

private:
    QLabel *m_status;
    QProgressBar *m_bar;
};

// The status texts of the wait for the first sweeps, as pure functions of what discovery said.
QString repliedText(int count);
int repliedProgress(int count);
QString foundText(int count);

} // namespace app
