#include "app/base/modal.h"

#include <QDialog>
#include <QPointer>
#include <QTimer>

namespace app {

namespace {

Answer &pendingAnswer()
{
    static Answer answer;
    return answer;
}

} // namespace

void setNextAnswer(Answer answer)
{
    pendingAnswer() = std::move(answer);
}

int execModal(QDialog *box)
{
    if (Answer answer = std::exchange(pendingAnswer(), Answer()); answer) {
        QPointer<QDialog> guard(box);
        QTimer::singleShot(0, box, [guard, answer] {
            answer(guard);
            // An answer that left the box open would hang the caller: close it as a refusal.
            if (guard && guard->isVisible())
                guard->reject();
        });
    }
    return box->exec();
}

} // namespace app
