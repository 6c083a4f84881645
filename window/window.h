#pragma once
// The main window: one session with the selected unit. It signs in with the passcode typed in
// the sidebar, polls the unit's screen at the pace the unit asks for, applies each answer (a
// screen that did not change is left alone, one that did is rebuilt in the viewport), and shows
// the state of the connection in a status line, the sidebar's pills and a banner. Everything the
// session says goes to the connection log (units/diaglog.h).
//
// The sources are split by topic: window.cpp (building, selection), session.cpp (refresh and the
// poll), signin.cpp, banners.cpp (and the stale mark), discoveryhook.cpp, presses.cpp (the
// actions a drawn screen gets, presses and field carry), keepinput.cpp (what the technician is
// typing survives a rebuild) and tools.cpp (the tool menu).

#include "render/actions.h"
#include "units/api.h"
#include "units/discovery.h"
#include "units/store.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QHash>
#include <QJsonObject>
#include <QSet>
#include <QTimer>
#include <QWidget>

#include <optional>

class QLabel;
class QPushButton;
class QStackedWidget;

namespace phone {
class Phone;
}
namespace updater {
class Updater;
}

namespace board {
class Viewport;
}
namespace render {
class ToastStrip;
}

namespace window {

class Sidebar;

inline constexpr int kDefaultPollMs = 3000;
inline constexpr int kMinPollMs = 250;
inline constexpr int kMaxPollMs = 30000;
inline constexpr int kDiscoveryMs = 10000;
inline constexpr int kPressPauseMs = 6000;
inline constexpr int kDefaultRetryAfterS = 300;
inline constexpr int kMostRetryAfterS = 7 * 24 * 3600; // a longer lock-out reads as a week
inline constexpr int kMostToastMs = 600000;            // a toast shown longer reads as ten minutes
inline constexpr int kPressTimeoutMs = 30000;
inline constexpr int kViewTimeoutMs = 15000; // a stage change and a field's own save
inline constexpr int kDayRollTimeoutMs = 8000;
inline constexpr int kDefaultToastMs = 4000;

// Whether a field id may be carried in "field_carry": never one whose name holds "pass", "psk",
// "secret" or "token", in any letter case.
bool carriable(const QString &fieldId);

// What the unit's answer to a press asks the window to do.
struct PressOutcome
{
    QString sound; // a sound name, empty for the plain success or failure sound
    QString toast;
    QString tone;
    bool refused = false;
};
// Reads an answer: "sound", "toast" (an object with "text" and "tone", or a text) and "refused";
// a failure that brought no toast shows its error as one.
PressOutcome pressOutcome(const units::Api::Reply &reply);

// The poll interval an answer asks for: "poll_ms" clamped to 250..30000 when above 0, else 3000.
int pollIntervalFor(const QJsonObject &answer);
// An answer without the members that change on every poll ("hb_age", "_panels", "toast",
// "announce"), the form in which two answers are compared.
QJsonObject withoutVolatile(QJsonObject answer);

class Window final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Window)

public:
    explicit Window(QWidget *parent = nullptr);
    ~Window() override;

    // One step of the session: called by the poll timer, after sign-in, after a press and by the
    // banner buttons. See session.cpp for its order.
    void refresh();

    bool eventFilter(QObject *watched, QEvent *event) override;

    // What a drawn screen may ask of the session.
    render::Actions actions();

    // Runs a tool by its menu name; unknown names do nothing.
    void runTool(const QString &name);
    // The tools that exist in this build, in menu order.
    QStringList toolNames() const;

    // Shares the IO module templates with the unit just signed in to.
    void syncIoTemplates();

    // Sends a press to the selected unit (the screen's presses and the window's own); a press
    // equal to one still waiting is ignored.
    void sendPress(const render::Press &press, int timeoutMs = kPressTimeoutMs);
    // Whether the drawn screen is marked as last seen at an earlier time.
    bool isStale() const;

    void selectUnit(const QString &key);
    void deselect();
    // A unit added by hand at an address: kept when discovery does not hear it.
    void addUnit(const QString &ip, int port);
    void removeUnit(const QString &key);

    // Applies one screen answer (already carrying nothing from the sources): SAME is left alone,
    // CHANGED is rebuilt. Public for the benchmark.
    void applyAnswer(QJsonObject answer);

    units::Discovery *discovery() const { return m_discovery; }
    units::Api *api() const { return m_api; }
    Sidebar *sidebar() const { return m_sidebar; }
    board::Viewport *viewport() const { return m_viewport; }
    const QList<units::Unit> &unitList() const { return m_units; }
    QString selectedKey() const { return m_selected; }
    int pollInterval() const { return m_pollTimer.interval(); }
    // How many times a screen was built, for tests that an unchanged answer rebuilds nothing.
    int rebuildCount() const { return m_rebuilds; }

private:
    void forgetScreen();
    // window.cpp
    void buildChrome();
    void updateHeading(const QJsonObject &answer);
    void updateTitleBar();
    void setStatusLine(const QString &text, const QString &tone);
    void rebuild(const QJsonObject &answer);
    units::Unit *unit(const QString &key);

    // session.cpp
    void poll();
    void onPollReply(const QString &key, qint64 elapsedMs, const units::Api::Reply &reply);
    void fetchSources(const QString &key, const QJsonObject &answer);
    void countFailure(const QString &key, const QString &path, int status, qint64 elapsedMs, const QString &why);
    void pollSucceeded(const QString &key);
    // The panel sources patched in place, or none when the screen must be rebuilt.
    std::optional<QStringList> patchPanels(const QJsonObject &answer, const QStringList &changed);

    // signin.cpp
    void signIn(const QString &key, const QString &passcode);
    void onSignInReply(const QString &key, const QString &passcode, qint64 elapsedMs, const units::Api::Reply &reply);
    void trustNewCertificate();
    int lockSecondsLeft(const QString &key) const;
    void lockTick();

    // banners.cpp
    enum class BannerKind { Retry, Certificate };
    void showBanner(const QString &title, const QString &text, const QString &tone,
                    BannerKind kind = BannerKind::Retry);
    void hideBanner();
    void markUnit(const QString &text, const QString &tone);

    void markStale();
    void clearStale();
    void updateStaleMark();

    // discoveryhook.cpp
    void onSwept(const units::Discovery::Found &found);

    // presses.cpp
    void send(const QString &what, const render::Press &press, int timeoutMs);
    void onPressReply(const QString &what, const render::Press &press, const QString &signature,
                      const QStringList &sentFields, qint64 elapsedMs, const units::Api::Reply &reply);
    void viewStep(const QString &stepId);
    void fieldEdited(const QString &id, const QJsonValue &value);

    // tools.cpp
    void startTools();
    void unitsChanged();
    void lookChanged();

    units::Api *m_api;
    units::Discovery *m_discovery;
    QList<units::Unit> m_units;
    QStringList m_online; // sorted keys of the units that answered the last sweep
    bool m_sweptOnce = false;

    // The session, per unit key.
    QString m_selected;
    QSet<QString> m_certChanged;
    QHash<QString, QDateTime> m_lockedUntil;
    QHash<QString, QString> m_refused;
    QHash<QString, QString> m_accepted;
    QHash<QString, int> m_failures;
    QHash<QString, QDateTime> m_firstFailure;
    QDateTime m_lastPress;
    bool m_force = true;
    bool m_patchLogged = false; // connect.log has said the drawn screen is patched in place
    bool m_noPause = false;
    QString m_signingIn; // key of the sign-in in flight
    bool m_pollInFlight = false;
    int m_generation = 0; // raised on every selection: replies of an older one are dropped
    bool m_closing = false;
    QString m_viewedStep;
    QSet<QString> m_inFlight;         // signatures of the presses sent and not yet answered
    QHash<QString, QVariant> m_edits; // per field id, what the technician changed and did not send

    QTimer m_pollTimer;
    QTimer m_discoveryTimer;
    QTimer m_lockTicker;
    QHash<QString, QJsonValue> m_sourceCache;
    QJsonObject m_lastApplied; // without its volatile members
    QJsonObject m_lastAnswer;  // whole, as applied
    int m_rebuilds = 0;
    QDateTime m_lastSeen; // when the drawn screen was last confirmed by the unit
    QTimer m_staleTicker;

    phone::Phone *m_phone = nullptr;
    updater::Updater *m_updater = nullptr;

    // Chrome.
    Sidebar *m_sidebar = nullptr;
    QLabel *m_heading = nullptr;
    QLabel *m_badge = nullptr;
    QLabel *m_status = nullptr;
    QLabel *m_info = nullptr;
    QWidget *m_banner = nullptr;
    QLabel *m_bannerTitle = nullptr;
    QLabel *m_bannerText = nullptr;
    QPushButton *m_bannerRetry = nullptr;
    QPushButton *m_bannerTrust = nullptr;
    QPushButton *m_bannerLeave = nullptr;
    render::ToastStrip *m_toasts = nullptr;
    QStackedWidget *m_stack = nullptr;
    QWidget *m_placeholder = nullptr;
    QLabel *m_placeholderTitle = nullptr;
    QLabel *m_placeholderText = nullptr;
    board::Viewport *m_viewport = nullptr;
    QLabel *m_staleMark = nullptr;
    QWidget *m_staleVeil = nullptr; // over the viewport while the screen is stale
};

} // namespace window
