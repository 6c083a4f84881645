#include "render/toast.h"

#include "app/base/theme.h"
#include "prims/textlabel.h"

#include <QHBoxLayout>
#include <QMouseEvent>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace render {

ToastStrip::ToastStrip(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(u"toastStrip"_s);
    // A plain widget paints its style-sheet background only when asked to.
    setAttribute(Qt::WA_StyledBackground);
    auto *box = new QHBoxLayout(this);
    box->setContentsMargins(12, 6, 12, 6);
    m_label = new prims::TextLabel(QString(), this);
    m_label->setWordWrap(true);
    m_label->setFont(theme::uiFont(10));
    box->addWidget(m_label, 1);
    hide();
}

QString ToastStrip::text() const
{
    return m_label->text();
}

void ToastStrip::showToast(const Toast &toast)
{
    if (toast.text.trimmed().isEmpty())
        return;
    const QString tone = toast.tone.isEmpty() ? u"accent"_s : toast.tone;
    const bool isError = tone == "error"_L1;
    m_label->setText(isError ? toast.text + u"   (click to dismiss)"_s : toast.text);
    setStyleSheet(u"QWidget#toastStrip { background:%1; border:1px solid %2; border-radius:5px; }"
                  u"QLabel { color:%2; background:transparent; }"_s.arg(theme::toneSoft(tone).name(),
                                                                        theme::toneColor(tone).name()));
    show();
    const int mine = ++m_generation;
    if (isError)
        return;
    ++m_pendingTimers;
    QTimer::singleShot(std::max(0, toast.durationMs), this, [this, mine] {
        --m_pendingTimers;
        // A newer toast or a click since then owns the strip now.
        if (m_generation == mine)
            hide();
        emit expired(mine);
    });
}

void ToastStrip::mousePressEvent(QMouseEvent *event)
{
    ++m_generation;
    hide();
    event->accept();
}

} // namespace render
