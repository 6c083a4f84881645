// Signing in: the login request, what its answer means (accepted, refused, locked out, a changed
// certificate, no answer at all), and trusting a unit's new certificate.

#include "window/window.h"

#include "app/base/modal.h"
#include "prims/json.h"
#include "units/diaglog.h"
#include "window/sidebar.h"

#include <QMessageBox>
#include <QPointer>

#include <cmath>
#include <memory>

using namespace Qt::StringLiterals;

namespace window {

int Window::lockSecondsLeft(const QString &key) const
{
    const QDateTime until = m_lockedUntil.value(key);
    if (!until.isValid())
        return 0;
    const qint64 ms = QDateTime::currentDateTime().msecsTo(until);
    return ms > 0 ? int((ms + 999) / 1000) : 0;
}

void Window::lockTick()
{
    // The countdowns move each second; only a locked selected unit is refreshed (which shows
    // its banner, or signs in once the lock is over), so others keep their own poll pace.
    bool running = false;
    for (auto it = m_lockedUntil.cbegin(); it != m_lockedUntil.cend(); ++it) {
        const int left = lockSecondsLeft(it.key());
        m_sidebar->setLockSeconds(it.key(), left);
        running = running || left > 0;
    }
    if (m_lockedUntil.contains(m_selected))
        refresh();
    if (!running) {
        m_lockTicker.stop();
        m_lockedUntil.removeIf([this](const auto &entry) { return lockSecondsLeft(entry.key()) == 0; });
    }
}

void Window::signIn(const QString &key, const QString &passcode)
{
    m_signingIn = key;
    setStatusLine(u"● Signing in..."_s, u"busy"_s);
    const int generation = m_generation;
    auto timer = std::make_shared<QElapsedTimer>();
    timer->start();
    QPointer<Window> self(this);
    m_api->login(passcode, [self, key, passcode, generation, timer](const units::Api::Reply &reply) {
        if (!self || self->m_closing)
            return;
        self->m_signingIn.clear();
        // The token is stored whatever is selected now; the rest only matters for the same unit.
        if (generation != self->m_generation) {
            self->m_sidebar->setSignedIn(key, self->m_api->hasToken(key));
            return;
        }
        self->onSignInReply(key, passcode, timer->elapsed(), reply);
    });
}

void Window::onSignInReply(const QString &key, const QString &passcode, qint64 elapsedMs,
                           const units::Api::Reply &reply)
{
    // Seconds as the unit says, a fraction rounded up and at least one, so that a unit locking us
    // out is never asked again at once; absent or of another type, the default.
    const int retryAfter = prims::clampToInt(
        std::ceil(prims::readNumber(reply.json, "retry_after"_L1, kDefaultRetryAfterS)), 1, kMostRetryAfterS);
    QString suffix;
    if (reply.certChanged)
        suffix = u"  CERTIFICATE CHANGED"_s;
    else if (reply.status == 401)
        suffix = u"  passcode refused"_s;
    else if (reply.status == 429)
        suffix = u"  locked out, retry_after %1 s"_s.arg(retryAfter);
    else if (!reply.ok)
        suffix = u"  error: "_s + units::shorten(reply.error);
    units::logLine(
        u"login  %1 -> %2  %3 ms"_s.arg(key, reply.status == 0 ? u"no reply"_s : QString::number(reply.status))
            .arg(elapsedMs) +
        suffix);
    m_sidebar->setSignedIn(key, m_api->hasToken(key));

    if (reply.certChanged) {
        m_certChanged.insert(key);
        refresh();
        return;
    }
    if (reply.status == 429) {
        m_lockedUntil.insert(key, QDateTime::currentDateTime().addSecs(retryAfter));
        refresh();
        return;
    }
    if (reply.status == 0) {
        showBanner(u"Could not reach this unit"_s, u"The passcode never got through - %1"_s.arg(reply.error),
                   u"error"_s);
        setStatusLine(u"● No answer"_s, u"error"_s);
        markUnit(u"UNREACHABLE"_s, u"error"_s);
        return;
    }
    if (reply.status == 401) {
        m_refused.insert(key, passcode);
        m_accepted.remove(key);
        refresh();
        return;
    }
    if (reply.status == 200) {
        m_refused.remove(key);
        m_accepted.insert(key, passcode);
        m_force = true;
        refresh();
        syncIoTemplates();
        return;
    }
    // Any other answer: say it, and try again on the next tick.
    showBanner(u"Could not reach this unit"_s, u"The passcode never got through - %1"_s.arg(reply.error), u"error"_s);
}

void Window::trustNewCertificate()
{
    const QString key = m_selected;
    if (key.isEmpty())
        return;
    QMessageBox ask(QMessageBox::Warning, u"Trust the new certificate?"_s,
                    u"Only if you know this unit was reflashed or replaced. If it was not, something else is "
                    u"answering at its address."_s,
                    QMessageBox::Yes | QMessageBox::No, this);
    ask.setDefaultButton(QMessageBox::No);
    if (app::execModal(&ask) != QMessageBox::Yes)
        return;
    units::forgetPin(key);
    m_certChanged.remove(key);
    units::logLine(u"certificate  %1  new certificate trusted by the user"_s.arg(key));
    markUnit(QString(), QString());
    m_force = true;
    refresh();
}

} // namespace window
