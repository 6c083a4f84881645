// The banner above the screen: what went wrong with this unit and what the technician can do,
// and the session's mark on the unit's sidebar pill.

#include "window/window.h"

#include "app/base/theme.h"
#include "window/sidebar.h"

#include <QLabel>
#include <QPushButton>

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

} // namespace window
