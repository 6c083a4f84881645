// The session's heartbeat: refresh() in its fixed order, the poll of GET /api/ui and the data
// sources its screen names, failure accounting, and applying an answer.

#include "window/window.h"

#include "board/panels.h"
#include "board/viewport.h"
#include "prims/json.h"
#include "render/changes.h"
#include "render/toast.h"
#include "units/diaglog.h"
#include "window/polllog.h"
#include "window/sidebar.h"

#include <QApplication>
#include <QJsonArray>
#include <QPointer>

#include <memory>

using namespace Qt::StringLiterals;

namespace window {

void Window::refresh()
{
    // 1. Never change the screen under the technician's hand.
    if (QApplication::activeModalWidget() || QApplication::mouseButtons() != Qt::NoButton)
        return;
    // 2.
    if (m_selected.isEmpty())
        return;
    const QString key = m_selected;
    m_sidebar->setSignedIn(key, m_api->hasToken(key));

    // 3. A changed certificate waits for the technician.
    if (m_certChanged.contains(key)) {
        markUnit(u"CERTIFICATE CHANGED"_s, u"error"_s);
        showBanner(u"This unit's certificate has changed"_s,
                   u"Not a passcode problem. The unit at %1 is showing a different certificate from the one this "
                   u"machine trusted."_s.arg(key),
                   u"error"_s, BannerKind::Certificate);
        return;
    }

    // 4. Locked out.
    if (const int left = lockSecondsLeft(key); left > 0) {
        m_sidebar->setLockSeconds(key, left); // the pill reads "LOCKED OUT %1s" from it
        markUnit(QString(), QString());
        showBanner(u"This unit has locked this machine out"_s,
                   u"Too many failed attempts. Wait about %1 more second(s), then try again."_s.arg(left), u"error"_s);
        if (!m_lockTicker.isActive())
            m_lockTicker.start();
        return;
    }
    m_sidebar->setLockSeconds(key, 0);

    // 5. Not signed in: sign in with the passcode in the box, unless it is the one refused.
    if (!m_api->hasToken(key)) {
        const QString passcode = m_sidebar->passcode();
        const bool refused = m_refused.contains(key) && m_refused.value(key) == passcode;
        if (!passcode.isEmpty() && !refused && m_signingIn.isEmpty()) {
            signIn(key, passcode);
            return;
        }
        if (!m_signingIn.isEmpty())
            return;
        markUnit(QString(), QString()); // the sidebar shows PASSCODE NEEDED for a unit not signed in
        if (refused)
            showBanner(u"That passcode was not accepted"_s,
                       u"This unit rejected the passcode in the box on the left."_s, u"warn"_s);
        else
            showBanner(u"Enter the site passcode"_s,
                       u"Type the site passcode in the box on the left, then press Enter."_s, u"busy"_s);
        return;
    }

    // 6. Signed in: hold polling for a while after a press.
    if (!m_force && !m_noPause && m_lastPress.isValid() &&
        m_lastPress.msecsTo(QDateTime::currentDateTime()) < kPressPauseMs) {
        setStatusLine(u"● Paused while you work"_s, u"busy"_s);
        return;
    }

    // 7.
    poll();
}

void Window::poll()
{
    // One poll at a time: a unit that answers slower than it asks to be polled is not piled on.
    if (m_pollInFlight)
        return;
    m_pollInFlight = true;
    const QString key = m_selected;
    const int generation = m_generation;
    auto timer = std::make_shared<QElapsedTimer>();
    timer->start();
    QPointer<Window> self(this);
    m_api->get(
        u"/api/ui"_s,
        [self, key, generation, timer](const units::Api::Reply &reply) {
            if (!self || generation != self->m_generation)
                return;
            self->m_pollInFlight = false;
            self->onPollReply(key, timer->elapsed(), reply);
        },
        units::timeouts::kPoll);
}

void Window::onPollReply(const QString &key, qint64 elapsedMs, const units::Api::Reply &reply)
{
    if (reply.certChanged) {
        units::logLine(u"poll  %1  CERTIFICATE CHANGED"_s.arg(key));
        m_certChanged.insert(key);
        markStale(); // what is drawn is no longer live, whatever follows
        m_force = true;
        refresh();
        return;
    }
    if (reply.status == 401) {
        units::logLine(u"poll  %1  GET /api/ui -> 401, session expired; signing in again"_s.arg(key));
        m_api->forgetToken(key);
        m_sidebar->setSignedIn(key, false);
        markStale();
        m_force = true;
        return;
    }
    if (reply.ok && !reply.json.isEmpty()) {
        pollSucceeded(key);
        if (!reply.json.contains("schema"_L1)) {
            units::logLine(u"poll  %1  answered without a schema (\"needs updating\" shown)"_s.arg(key));
            showBanner(u"This unit needs updating"_s,
                       u"It answered, but it did not describe a screen this app can draw."_s, u"warn"_s);
            return;
        }
        setStatusLine(u"● Live"_s, u"ok"_s);
        markUnit(QString(), QString());
        hideBanner();
        const QJsonValue toast = reply.json.value("toast"_L1);
        if (toast.isObject()) {
            const QJsonObject t = toast.toObject();
            const int ms = prims::readInt(t, "ms"_L1, 4000, 0, kMostToastMs);
            m_toasts->showToast({prims::readText(t, "text"_L1), prims::readName(t, "tone"_L1), ms > 0 ? ms : 4000});
        } else if (toast.isString()) {
            m_toasts->showToast({toast.toString(), QString(), 4000});
        }
        if (const QString announce = prims::readText(reply.json, "announce"_L1); !announce.isEmpty())
            m_toasts->showToast({announce, u"warn"_s, 8000});
        fetchSources(key, reply.json);
        return;
    }
    const QString why = reply.error.isEmpty() ? u"empty reply"_s : reply.error;
    countFailure(key, u"/api/ui"_s, reply.status, elapsedMs, why);
    markStale();
    showBanner(u"Unit unreachable"_s, u"%1 - %2"_s.arg(key, why), u"error"_s);
    setStatusLine(u"● No answer"_s, u"error"_s);
    markUnit(u"OFFLINE"_s, u"idle"_s);
}

void Window::fetchSources(const QString &key, const QJsonObject &answer)
{
    const QStringList sources = render::sourcesIn(answer);
    if (sources.isEmpty()) {
        applyAnswer(answer);
        return;
    }
    const int generation = m_generation;
    auto left = std::make_shared<int>(int(sources.size()));
    auto failed = std::make_shared<bool>(false);
    QPointer<Window> self(this);
    for (const QString &path : sources) {
        m_api->get(
            path,
            [self, key, generation, left, failed, path, answer](const units::Api::Reply &reply) {
                if (!self || generation != self->m_generation)
                    return;
                // A source that failed keeps its last answer, so one slow panel does not blank it,
                // and the screen is marked as not live until every source answers again.
                if (reply.ok || !self->m_sourceCache.contains(path))
                    self->m_sourceCache.insert(path, reply.json);
                *failed = *failed || !reply.ok;
                if (--*left != 0 || key != self->m_selected)
                    return;
                self->applyAnswer(answer);
                if (*failed) {
                    self->markStale();
                    self->m_force = true;
                }
            },
            units::timeouts::kDataSource);
    }
}

void Window::countFailure(const QString &key, const QString &path, int status, qint64 elapsedMs, const QString &why)
{
    const int count = ++m_failures[key];
    if (count == 1)
        m_firstFailure.insert(key, QDateTime::currentDateTime());
    units::logLine(u"poll FAIL  %1  GET %2 -> %3  %4 ms  (#%5 in a row)  %6"_s.arg(
        key, path, status == 0 ? u"no reply"_s : QString::number(status), QString::number(elapsedMs),
        QString::number(count), units::shorten(why)));
}

void Window::pollSucceeded(const QString &key)
{
    const int count = m_failures.value(key);
    if (count == 0)
        return;
    const qint64 seconds = m_firstFailure.value(key).secsTo(QDateTime::currentDateTime());
    units::logLine(u"poll OK again  %1  after %2 failed poll(s) over %3 s"_s.arg(key).arg(count).arg(seconds));
    m_failures.remove(key);
    m_firstFailure.remove(key);
}

std::optional<QStringList> Window::patchPanels(const QJsonObject &answer, const QStringList &changed)
{
    return panels::patchChanged(m_viewport->screen(), changed, answer.value("endpoints"_L1).toObject(), actions());
}

void Window::applyAnswer(QJsonObject answer)
{
    QJsonObject endpoints;
    for (auto it = m_sourceCache.cbegin(); it != m_sourceCache.cend(); ++it)
        endpoints.insert(it.key(), it.value());
    answer.insert("endpoints"_L1, endpoints);
    QJsonObject compared = withoutVolatile(answer);
    const bool same = !m_lastApplied.isEmpty() && compared == m_lastApplied;
    pollTrace(u"poll: payload %1  force=%2"_s.arg(same ? u"SAME"_s : u"CHANGED"_s, m_force ? u"1"_s : u"0"_s));
    units::saveLastScreen(answer, m_selected);
    m_lastSeen = QDateTime::currentDateTime();
    // The no-pause flag lasts until the next screen is applied (patched or rebuilt).
    if (!same || m_force)
        m_noPause = false;

    QStringList changed;
    if (!same)
        changed = render::changedLeaves(m_lastApplied, compared);
    if (!m_force) {
        if (same)
            return;
        if (const std::optional<QStringList> patched = patchPanels(answer, changed)) {
            pollTrace(u"  PATCHED in place: %1  (%2 leaf/leaves: %3)"_s.arg(patched->join(u", "_s))
                          .arg(changed.size())
                          .arg(changed.join(u", "_s)));
            // The diagnostics log hears of it once per drawn screen, not on every poll.
            if (!m_patchLogged) {
                units::logLine(u"poll  %1  PATCHED in place: %2"_s.arg(m_selected, patched->join(u", "_s)));
                m_patchLogged = true;
            }
            m_lastApplied = compared;
            m_lastAnswer = answer;
            return;
        }
    }
    if (!same)
        pollTrace(u"  rebuilding, changed: "_s + changed.mid(0, 6).join(u", "_s));
    m_lastApplied = compared;
    m_lastAnswer = answer;
    m_force = false;
    m_patchLogged = false;
    rebuild(answer);
    clearStale(); // only once the fresh screen is drawn
}

} // namespace window
