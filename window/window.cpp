// The window's frame: building the chrome, the heading and title bar, selecting, adding and
// removing units, and rebuilding the screen.

#include "window/window.h"

#include "app/base/logging.h"
#include "app/base/modal.h"
#include "app/base/theme.h"
#include "app/base/version.h"
#include "board/panels.h"
#include "board/viewport.h"
#include "prims/json.h"
#include "render/fields.h"
#include "render/screen.h"
#include "render/toast.h"
#include "units/diaglog.h"
#include "window/keepinput.h"
#include "window/polllog.h"
#include "window/sidebar.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QHBoxLayout>
#include <QJsonArray>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace window {

namespace {

QLabel *plainLabel(const QString &name, const QFont &font, QWidget *parent)
{
    auto *l = new QLabel(parent);
    l->setObjectName(name);
    l->setTextFormat(Qt::PlainText);
    l->setFont(font);
    return l;
}

} // namespace

int pollIntervalFor(const QJsonObject &answer)
{
    const QJsonValue v = answer.value("poll_ms"_L1);
    const double ms = v.isDouble() ? v.toDouble() : 0;
    if (!(ms > 0))
        return kDefaultPollMs;
    return int(std::clamp(ms, double(kMinPollMs), double(kMaxPollMs)));
}

QJsonObject withoutVolatile(QJsonObject answer)
{
    for (const auto key : {"hb_age"_L1, "_panels"_L1, "toast"_L1, "announce"_L1})
        answer.remove(key);
    return answer;
}

Window::Window(QWidget *parent)
    : QWidget(parent)
    , m_api(new units::Api(this))
    , m_discovery(new units::Discovery(this))
    , m_units(units::loadUnits())
{
    setObjectName(u"window"_s);
    board::install();
    buildChrome();
    updateTitleBar();
    resize(1320, 860);

    m_pollTimer.setInterval(kDefaultPollMs);
    connect(&m_pollTimer, &QTimer::timeout, this, &Window::refresh);
    m_pollTimer.start();
    m_lockTicker.setInterval(1000);
    connect(&m_lockTicker, &QTimer::timeout, this, &Window::lockTick);

    connect(m_discovery, &units::Discovery::swept, this, &Window::onSwept);
    m_discoveryTimer.setInterval(kDiscoveryMs);
    connect(&m_discoveryTimer, &QTimer::timeout, this, [this] { m_discovery->sweep(false); });
    m_discoveryTimer.start();
    m_discovery->sweep(false);

    m_staleTicker.setInterval(1000);
    connect(&m_staleTicker, &QTimer::timeout, this, &Window::updateStaleMark);
    startTools();
}

Window::~Window()
{
    // Replies that finish while the children go (the Api among them) leave the half-destroyed
    // window alone.
    m_closing = true;
    ++m_generation;
}

void Window::buildChrome()
{
    const theme::Palette &p = theme::palette();
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);

    m_sidebar = new Sidebar(this);
    m_sidebar->setUnits(m_units);
    m_sidebar->setTools(toolNames());
    row->addWidget(m_sidebar);
    connect(m_sidebar, &Sidebar::unitChosen, this, &Window::selectUnit);
    connect(m_sidebar, &Sidebar::passcodeEntered, this, [this] {
        m_force = true;
        refresh();
    });
    connect(m_sidebar, &Sidebar::tool, this, &Window::runTool);
    connect(m_sidebar, &Sidebar::addRequested, this, &Window::addUnit);
    connect(m_sidebar, &Sidebar::removeRequested, this, &Window::removeUnit);

    auto *column = new QWidget(this);
    column->setObjectName(u"pane"_s);
    auto *box = new QVBoxLayout(column);
    box->setContentsMargins(14, 12, 14, 0);
    box->setSpacing(4);

    auto *header = new QHBoxLayout;
    header->setSpacing(10);
    m_heading = plainLabel(u"heading"_s, theme::uiFont(18, true), column);
    m_heading->setText(u"Select a unit"_s);
    m_heading->setMinimumWidth(40);
    header->addWidget(m_heading, 1);
    m_status = plainLabel(u"sessionStatus"_s, theme::uiFont(9, true), column);
    header->addWidget(m_status, 0, Qt::AlignVCenter);
    m_badge = plainLabel(u"headingBadge"_s, theme::uiFont(9, true), column);
    m_badge->hide();
    header->addWidget(m_badge, 0, Qt::AlignVCenter);
    m_staleMark = plainLabel(u"staleMark"_s, theme::uiFont(9, true), column);
    m_staleMark->hide();
    header->addWidget(m_staleMark, 0, Qt::AlignVCenter);
    box->addLayout(header);
    m_info = plainLabel(u"headingInfo"_s, theme::uiFont(10), column);
    m_info->setStyleSheet(u"color:%1;"_s.arg(p.muted.name()));
    box->addWidget(m_info);

    // The banner: what went wrong with this unit and what to do about it.
    m_banner = new QWidget(column);
    m_banner->setObjectName(u"banner"_s);
    m_banner->setAttribute(Qt::WA_StyledBackground);
    auto *bannerRow = new QHBoxLayout(m_banner);
    bannerRow->setContentsMargins(12, 8, 10, 8);
    bannerRow->setSpacing(10);
    auto *bannerTexts = new QVBoxLayout;
    bannerTexts->setSpacing(2);
    m_bannerTitle = plainLabel(u"bannerTitle"_s, theme::uiFont(11, true), m_banner);
    m_bannerText = plainLabel(u"bannerText"_s, theme::uiFont(10), m_banner);
    m_bannerText->setWordWrap(true);
    bannerTexts->addWidget(m_bannerTitle);
    bannerTexts->addWidget(m_bannerText);
    bannerRow->addLayout(bannerTexts, 1);
    m_bannerRetry = new QPushButton(u"Try again now"_s, m_banner);
    m_bannerRetry->setObjectName(u"bannerRetry"_s);
    m_bannerRetry->setProperty("kind", u"primary"_s);
    m_bannerTrust = new QPushButton(u"Trust this unit's new certificate"_s, m_banner);
    m_bannerTrust->setObjectName(u"bannerTrust"_s);
    m_bannerTrust->setProperty("kind", u"danger"_s);
    m_bannerLeave = new QPushButton(u"Leave it alone"_s, m_banner);
    m_bannerLeave->setObjectName(u"bannerLeave"_s);
    for (QPushButton *b : {m_bannerRetry, m_bannerTrust, m_bannerLeave})
        bannerRow->addWidget(b, 0, Qt::AlignVCenter);
    connect(m_bannerRetry, &QPushButton::clicked, this, [this] {
        m_force = true;
        refresh();
    });
    connect(m_bannerTrust, &QPushButton::clicked, this, &Window::trustNewCertificate);
    connect(m_bannerLeave, &QPushButton::clicked, this, &Window::deselect);
    m_banner->hide();
    box->addWidget(m_banner);

    m_toasts = new render::ToastStrip(column);
    box->addWidget(m_toasts);

    m_stack = new QStackedWidget(column);
    m_placeholder = new QWidget(m_stack);
    m_placeholder->setObjectName(u"placeholder"_s);
    auto *placeBox = new QVBoxLayout(m_placeholder);
    placeBox->setContentsMargins(0, 40, 0, 0);
    placeBox->setSpacing(6);
    m_placeholderTitle = plainLabel(u"placeholderTitle"_s, theme::uiFont(14, true), m_placeholder);
    m_placeholderTitle->setAlignment(Qt::AlignHCenter);
    m_placeholderTitle->setStyleSheet(u"color:%1;"_s.arg(p.muted.name()));
    m_placeholderText = plainLabel(u"placeholderText"_s, theme::uiFont(10), m_placeholder);
    m_placeholderText->setAlignment(Qt::AlignHCenter);
    m_placeholderText->setWordWrap(true);
    m_placeholderText->setStyleSheet(u"color:%1;"_s.arg(p.dim.name()));
    placeBox->addWidget(m_placeholderTitle);
    placeBox->addWidget(m_placeholderText);
    placeBox->addStretch(1);
    m_viewport = new board::Viewport(m_stack);
    m_stack->addWidget(m_placeholder);
    m_stack->addWidget(m_viewport);
    box->addWidget(m_stack, 1);
    row->addWidget(column, 1);
    deselect();
}

units::Unit *Window::unit(const QString &key)
{
    for (units::Unit &u : m_units)
        if (u.key() == key)
            return &u;
    return nullptr;
}

void Window::setStatusLine(const QString &text, const QString &tone)
{
    m_status->setText(text);
    m_status->setStyleSheet(u"color:%1;"_s.arg(theme::toneColor(tone).name()));
    m_status->setVisible(!text.isEmpty());
}

void Window::updateHeading(const QJsonObject &answer)
{
    const QString title = prims::readText(answer, "title"_L1);
    const QString subtitle = prims::readText(answer, "subtitle"_L1);
    m_heading->setText(!title.isEmpty() && !subtitle.isEmpty() ? u"%1 - %2"_s.arg(title, subtitle)
                                                               : (title.isEmpty() ? subtitle : title));
    const QJsonObject badge = prims::readObject(answer, "badge"_L1);
    const QString label = prims::readText(badge, "label"_L1);
    const QString tone = prims::readName(badge, "tone"_L1);
    m_badge->setText(label);
    m_badge->setStyleSheet(u"color:%1; background:%2; border-radius:%3px; padding:2px 10px;"_s.arg(
        theme::toneColor(tone).name(), theme::toneSoft(tone).name(), u"9"_s));
    m_badge->setVisible(!label.isEmpty());
    updateTitleBar();
}

void Window::updateTitleBar()
{
    QString title = QLatin1String(app::kAppName);
    QString info;
    if (const units::Unit *u = unit(m_selected)) {
        info = u->key() + (u->type.isEmpty() ? QString() : u"   ·   "_s + u->type);
        const QString who = prims::readText(m_lastAnswer, "signed_in_as"_L1);
        if (m_api->hasToken(m_selected) && !who.isEmpty()) {
            title += u"   |   signed in as "_s + who;
            info += u"   |   signed in as "_s + who;
        }
        if (!u->tls) {
            title += u"   |   NOT ENCRYPTED - http, no certificate to check"_s;
            info += u"   |   NOT ENCRYPTED - http, no certificate to check"_s;
        }
    }
    setWindowTitle(title);
    m_info->setText(info);
    m_info->setVisible(!info.isEmpty());
}

void Window::selectUnit(const QString &key)
{
    const units::Unit *u = unit(key);
    if (!u) {
        units::logLine(u"select  %1  (not in the list)"_s.arg(key));
        return;
    }
    ++m_generation;
    m_selected = key;
    m_pollInFlight = false;
    m_api->setUnit(u->ip, u->port, u->tls);
    units::logLine(u"select  %1  name=%2 type=%3 %4 %5"_s.arg(key, u->name, u->type,
                                                              u->online() ? u"online"_s : u"not-seen-by-discovery"_s,
                                                              u->tls ? u"https"_s : u"http"_s));
    m_sidebar->setCurrent(key);
    forgetScreen();
    m_placeholderTitle->setText(u->name.isEmpty() ? u->ip : u->name);
    m_placeholderText->setText(u"Its screen shows here once this machine is signed in and the unit answers."_s);
    m_stack->setCurrentWidget(m_placeholder);
    m_heading->setText(u->name.isEmpty() ? u->ip : u->name);
    m_badge->hide();
    setStatusLine(QString(), QString());
    hideBanner();
    updateTitleBar();
    m_force = true;
    refresh();
}

// What belongs to the screen of the unit left: its sources, edits, viewed step, stale mark and the
// drawn screen itself.
void Window::forgetScreen()
{
    m_sourceCache.clear();
    // Edits, the viewed step and the stale mark belong to the screen of the unit left.
    m_edits.clear();
    m_viewedStep.clear();
    clearStale();
    m_lastApplied = {};
    m_lastAnswer = {};
    m_viewport->setScreen(nullptr);
}

void Window::deselect()
{
    ++m_generation;
    m_selected.clear();
    m_pollInFlight = false;
    m_api->setUnit(QString(), 8090, true);
    m_sidebar->setCurrent(QString());
    forgetScreen();
    m_heading->setText(u"Select a unit"_s);
    m_badge->hide();
    m_placeholderTitle->setText(QString());
    m_placeholderText->setText(u"Choose a unit on the left to see its screen. Units appear there as they answer "
                               u"on this network; type the site passcode below the list to unlock them."_s);
    m_stack->setCurrentWidget(m_placeholder);
    setStatusLine(QString(), QString());
    hideBanner();
    updateTitleBar();
}

void Window::addUnit(const QString &ip, int port)
{
    const QString key = units::unitKey(ip, port);
    if (!unit(key)) {
        units::Unit u;
        u.ip = ip;
        u.port = port;
        u.manual = true;
        m_units.append(u);
        units::saveUnits(m_units);
        units::logLine(u"unit  %1  added by hand"_s.arg(key));
        unitsChanged();
    }
    selectUnit(key);
}

void Window::removeUnit(const QString &key)
{
    const auto it =
        std::find_if(m_units.begin(), m_units.end(), [&key](const units::Unit &u) { return u.key() == key; });
    if (it == m_units.end())
        return;
    m_units.erase(it);
    units::saveUnits(m_units);
    units::logLine(u"unit  %1  removed from the list"_s.arg(key));
    if (key == m_selected)
        deselect();
    unitsChanged();
}

void Window::rebuild(const QJsonObject &answer)
{
    QElapsedTimer timer;
    timer.start();
    const bool hadScreen = m_viewport->screen() != nullptr;
    const int before = hadScreen ? m_viewport->scrollY() : 0;
    const KeptInput kept = keepInput(m_viewport->screen());
    if (hadScreen) {
        m_viewport->remember();
        quietFields(m_viewport->screen());
    }
    QWidget *screen = render::screen(answer.value("screen"_L1).toObject(), actions(), m_viewport->screenHost());
    if (screen)
        render::watchFields(screen, [this](const QString &id, const QJsonValue &value) { fieldEdited(id, value); });
    m_viewport->setScreen(screen);
    m_stack->setCurrentWidget(m_viewport);
    ++m_rebuilds;
    updateHeading(answer);
    const int interval = pollIntervalFor(answer);
    if (m_pollTimer.interval() != interval)
        m_pollTimer.setInterval(interval);
    m_viewport->settleNow();
    restoreInput(screen, kept);
    pollTrace(u"  REBUILD %1 ms  scroll %2 -> %3"_s.arg(timer.elapsed()).arg(before).arg(m_viewport->scrollY()));
}

} // namespace window
