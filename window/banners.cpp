// The banner above the screen: what went wrong with this unit and what the technician can do,
// the session's mark on the unit's sidebar pill, and the stale mark: once a poll fails, the
// screen still drawn is dimmed and says when the unit last confirmed it, so that no value on it
// is taken for a live one.

#include "window/window.h"

#include "app/base/theme.h"
#include "board/viewport.h"
#include "window/sidebar.h"

#include <QEvent>
#include <QLabel>
#include <QPushButton>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace window {

void Window::showBanner(const QString &title, const QString &text, const QString &tone, BannerKind kind)
{
    m_bannerTitle->setText(title);
    m_bannerText->setText(text);
    const QString colour = theme::toneColor(tone).name();
    m_banner->setProperty("tone", tone);
    m_banner->setStyleSheet(
        u"QWidget#banner { background:%1; border:1px solid %2; border-left:4px solid %2; border-radius:6px; }"
        u"QWidget#banner QLabel { background:transparent; }QLabel#bannerTitle { color:%2; }QLabel#bannerText { color:%3; }"_s
            .arg(theme::toneSoft(tone).name(), colour, theme::palette().ink.name()));
    const bool certificate = kind == BannerKind::Certificate;
    m_bannerRetry->setVisible(!certificate);
    m_bannerTrust->setVisible(certificate);
    m_bannerLeave->setVisible(certificate);
    m_banner->show();
    setStatusLine(QString(), QString()); // the banner says it
    // Whatever the banner is about, the next answer is drawn afresh.
    m_force = true;
}

void Window::hideBanner()
{
    m_banner->hide();
}

void Window::markUnit(const QString &text, const QString &tone)
{
    if (!m_selected.isEmpty())
        m_sidebar->setStatus(m_selected, text, tone);
}

bool Window::isStale() const
{
    return m_staleTicker.isActive();
}

void Window::markStale()
{
    if (!m_viewport->screen() || !m_lastSeen.isValid() || m_staleTicker.isActive())
        return;
    if (!m_staleVeil) {
        // A veil in the page colour, so the screen stays readable but cannot pass for live;
        // the technician can still scroll and read it through.
        m_staleVeil = new QWidget(m_viewport);
        m_staleVeil->setObjectName(u"staleVeil"_s);
        m_staleVeil->setAttribute(Qt::WA_TransparentForMouseEvents);
        m_staleVeil->setAttribute(Qt::WA_StyledBackground);
        m_viewport->installEventFilter(this);
    }
    QColor veil = theme::palette().bg;
    veil.setAlpha(150);
    m_staleVeil->setStyleSheet(u"QWidget#staleVeil { background:%1; }"_s.arg(veil.name(QColor::HexArgb)));
    m_staleVeil->setGeometry(m_viewport->rect());
    m_staleVeil->raise();
    m_staleVeil->show();
    const QString tone = u"warn"_s;
    m_staleMark->setStyleSheet(
        u"color:%1; background:%2; border:1px solid %1; border-radius:9px; padding:2px 10px;"_s.arg(
            theme::toneColor(tone).name(), theme::toneSoft(tone).name()));
    m_staleTicker.start();
    updateStaleMark();
    m_staleMark->show();
}

bool Window::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_viewport && event->type() == QEvent::Resize && m_staleVeil)
        m_staleVeil->setGeometry(m_viewport->rect());
    return QWidget::eventFilter(watched, event);
}

void Window::updateStaleMark()
{
    const qint64 age = std::max<qint64>(0, m_lastSeen.secsTo(QDateTime::currentDateTime()));
    const QString ago = age < 120 ? u"%1 s ago"_s.arg(age) : u"%1 min ago"_s.arg(age / 60);
    m_staleMark->setText(u"NOT LIVE - last seen %1 (%2)"_s.arg(m_lastSeen.toString(u"HH:mm:ss"_s), ago));
}

void Window::clearStale()
{
    m_staleTicker.stop();
    m_staleMark->hide();
    if (m_staleVeil)
        m_staleVeil->hide();
}

} // namespace window
