#include "app/splash.h"

#include "app/base/theme.h"
#include "app/base/version.h"

#include <QLabel>
#include <QPixmap>
#include <QProgressBar>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace app {

QString repliedText(int count)
{
    return count == 1 ? u"1 unit answered - listening for more..."_s
                      : u"%1 units answered - listening for more..."_s.arg(count);
}

int repliedProgress(int count)
{
    return std::min(60 + 8 * count, 92);
}

QString foundText(int count)
{
    return count == 1 ? u"1 unit found"_s : u"%1 units found"_s.arg(count);
}

SplashCard::SplashCard(QWidget *parent)
    : QWidget(parent, Qt::SplashScreen | Qt::FramelessWindowHint)
{
    const theme::Palette &p = theme::palette();
    setObjectName(u"splash"_s);
    setAttribute(Qt::WA_StyledBackground);
    setStyleSheet(u"QWidget#splash { background:%1; border:1px solid %2; border-radius:10px; }"
                  u"QLabel { background:transparent; }"_s.arg(p.panel.name(), p.edge.name()));
    setFixedSize(420, 210);

    auto *box = new QVBoxLayout(this);
    box->setContentsMargins(28, 24, 28, 22);
    box->setSpacing(8);
    auto *top = new QHBoxLayout;
    top->setSpacing(12);
    auto *logo = new QLabel(this);
    logo->setPixmap(QPixmap(u":/kestro.png"_s).scaled(44, 44, Qt::KeepAspectRatio, Qt::SmoothTransformation));
    top->addWidget(logo);
    auto *names = new QVBoxLayout;
    names->setSpacing(0);
    auto *title = new QLabel(QLatin1String(kAppName), this);
    title->setFont(theme::uiFont(17, true));
    title->setStyleSheet(u"color:%1;"_s.arg(p.ink.name()));
    auto *version = new QLabel(u"the commissioning client  ·  v%1"_s.arg(QLatin1String(kVersion)), this);
    version->setFont(theme::uiFont(9));
    version->setStyleSheet(u"color:%1;"_s.arg(p.muted.name()));
    names->addWidget(title);
    names->addWidget(version);
    top->addLayout(names, 1);
    box->addLayout(top);
    box->addStretch(1);

    m_status = new QLabel(this);
    m_status->setObjectName(u"splashStatus"_s);
    m_status->setTextFormat(Qt::PlainText);
    m_status->setFont(theme::uiFont(10));
    m_status->setStyleSheet(u"color:%1;"_s.arg(p.ink.name()));
    box->addWidget(m_status);
    m_bar = new QProgressBar(this);
    m_bar->setObjectName(u"splashProgress"_s);
    m_bar->setRange(0, 100);
    m_bar->setTextVisible(false);
    m_bar->setFixedHeight(6);
    m_bar->setStyleSheet(
        u"QProgressBar { background:%1; border:none; border-radius:3px; }"
        u"QProgressBar::chunk { background:%2; border-radius:3px; }"_s.arg(p.edge.name(), p.accent.name()));
    box->addWidget(m_bar);
}

void SplashCard::setStatus(const QString &text, int progress)
{
    m_status->setText(text);
    m_bar->setValue(std::clamp(progress, 0, 100));
}

QString SplashCard::status() const
{
    return m_status->text();
}

int SplashCard::progress() const
{
    return m_bar->value();
}

} // namespace app
