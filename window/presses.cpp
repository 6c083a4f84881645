// What a drawn screen may ask of the session: presses and their replies, the step strip's "view
// step", field values collected by id, the technician's unsent edits, and field carry in
// settings.json.

#include "window/window.h"

#include "app/base/logging.h"
#include "app/base/modal.h"
#include "app/base/settings.h"
#include "app/base/sounds.h"
#include "board/viewport.h"
#include "prims/json.h"
#include "render/fields.h"
#include "render/steps.h"
#include "render/toast.h"
#include "units/diaglog.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPointer>

#include <memory>

using namespace Qt::StringLiterals;

namespace window {

namespace {

constexpr auto kCarryKey = "field_carry"_L1;

// The log line of a press's reply.
QString replyLine(const QString &key, const render::Press &press, qint64 elapsedMs, const units::Api::Reply &reply)
{
    QString line = u"reply  %1  %2 %3 -> %4  %5 ms"_s.arg(
        key, press.method, press.path, reply.status == 0 ? u"no reply"_s : QString::number(reply.status),
        QString::number(elapsedMs));
    if (reply.certChanged)
        line += u"  CERTIFICATE CHANGED"_s;
    if (!reply.ok)
        line += u"  error: "_s + units::shorten(reply.error.isEmpty() ? u"(no text)"_s : reply.error);
    if (reply.json.contains("toast"_L1))
        line += u"  +toast"_s;
    return line;
}

// Two presses are the same press when their compact JSON forms are equal.
QString signatureOf(const render::Press &p)
{
    const QJsonObject o{{u"path"_s, p.path},
                        {u"body"_s, p.body},
                        {u"confirm"_s, p.confirm},
                        {u"send_fields"_s, QJsonArray::fromStringList(p.sendFields)},
                        {u"clear_fields"_s, QJsonArray::fromStringList(p.clearFields)},
                        {u"method"_s, p.method},
                        {u"then"_s, p.then},
                        {u"label"_s, p.label}};
    return QString::fromUtf8(QJsonDocument(o).toJson(QJsonDocument::Compact));
}

// Empties a field input the way a technician would (a press's "clear_fields").
void clearInput(QWidget *root, const QString &id)
{
    if (!root)
        return;
    QWidget *w = root->findChild<QWidget *>(u"field:"_s + id);
    if (!w)
        return;
    if (auto *e = qobject_cast<QLineEdit *>(w))
        e->clear();
    else if (auto *t = qobject_cast<QPlainTextEdit *>(w))
        t->clear();
}

} // namespace

bool carriable(const QString &fieldId)
{
    const QString name = fieldId.toLower();
    for (const auto word : {"pass"_L1, "psk"_L1, "secret"_L1, "token"_L1})
        if (name.contains(word))
            return false;
    return !fieldId.isEmpty();
}

PressOutcome pressOutcome(const units::Api::Reply &reply)
{
    PressOutcome out;
    out.sound = prims::readName(reply.json, "sound"_L1);
    const QJsonValue toast = reply.json.value("toast"_L1);
    if (toast.isObject()) {
        out.toast = prims::readText(toast.toObject(), "text"_L1);
        out.tone = prims::readName(toast.toObject(), "tone"_L1);
    } else if (toast.isString()) {
        out.toast = toast.toString();
    }
    out.refused = prims::readTrue(reply.json, "refused"_L1);
    if (!reply.ok && out.toast.trimmed().isEmpty()) {
        out.toast = reply.error;
        out.tone = u"error"_s;
    }
    return out;
}

render::Actions Window::actions()
{
    render::Actions a;
    a.press = [this](const render::Press &press) { sendPress(press); };
    a.playSound = [](const QString &name) { app::playSoundNamed(name); };
    a.collectFields = [this](const QStringList &ids) { return render::collectFieldValues(m_viewport->screen(), ids); };
    a.fetch = [this](const QString &path) { return m_sourceCache.value(path).toObject(); };
    a.stateValue = [this](const QString &id) { return m_edits.value(id); };
    a.save = [this](const QString &path, const QJsonObject &body) {
        render::Press p;
        p.path = path;
        p.body = body;
        send(u"save"_s, p, kViewTimeoutMs);
    };
    a.warnBox = [this](const QString &title, const QString &text) {
        QMessageBox box(QMessageBox::Warning, title, text, QMessageBox::Ok, this);
        box.setTextFormat(Qt::PlainText);
        app::execModal(&box);
    };
    a.covered = [this](const QString &label) {
        for (const QJsonValue &v : std::as_const(m_sourceCache)) {
            const QJsonValue covers = v.toObject().value("covers"_L1);
            if (covers.isString() ? covers.toString() == label : covers.toArray().contains(label))
                return true;
        }
        return false;
    };
    a.setFlag = [this](bool on) {
        if (on)
            m_noPause = true;
    };
    a.viewedStep = m_viewedStep;
    a.openStage = [this](const QString &stage) {
        render::Press p;
        p.path = u"/api/view"_s;
        p.body = {{u"stage"_s, stage}};
        send(u"press"_s, p, kViewTimeoutMs);
    };
    a.carried = [](const QString &id) {
        if (!carriable(id))
            return QString();
        return app::loadSettings().value(kCarryKey).toObject().value(id).toString();
    };
    a.carry = [](const QString &id, const QString &value) {
        if (!carriable(id))
            return;
        QJsonObject settings = app::loadSettings();
        QJsonObject carry = settings.value(kCarryKey).toObject();
        carry.insert(id, value);
        settings.insert(kCarryKey, carry);
        app::saveSettings(settings);
    };
    a.logLine = [this](const QString &text) { units::logLine(u"confirm cancelled  %1  %2"_s.arg(m_selected, text)); };
    return a;
}

void Window::sendPress(const render::Press &press, int timeoutMs)
{
    // Another step of the strip is only shown here; the unit never hears of it.
    if (render::isViewStepPress(press)) {
        viewStep(press.body.value("step"_L1).toString());
        return;
    }
    send(u"press"_s, press, timeoutMs);
}

void Window::viewStep(const QString &stepId)
{
    if (stepId == m_viewedStep)
        return;
    m_viewedStep = stepId;
    qCDebug(lcWindow, "view step %s", qPrintable(stepId.isEmpty() ? u"(current)"_s : stepId));
    if (!m_lastAnswer.isEmpty())
        rebuild(m_lastAnswer);
}

void Window::send(const QString &what, const render::Press &press, int timeoutMs)
{
    if (m_selected.isEmpty())
        return;
    const QString key = m_selected;
    const QString signature = signatureOf(press);
    if (m_inFlight.contains(signature)) {
        units::logLine(u"press  %1  %2 %3  IGNORED - the same press is still waiting for the unit"_s.arg(
            key, press.method, press.path));
        return;
    }
    m_inFlight.insert(signature);
    m_lastPress = QDateTime::currentDateTime();

    QJsonObject body = press.body;
    if (!press.sendFields.isEmpty()) {
        const QJsonObject fields = render::collectFieldValues(m_viewport->screen(), press.sendFields);
        for (auto it = fields.begin(); it != fields.end(); ++it)
            body.insert(it.key(), it.value());
    }
    units::logLine(u"%1  %2  %3 %4  keys[%5]"_s.arg(what, key, press.method, press.path, units::keysOf(body)));

    const int generation = m_generation;
    auto timer = std::make_shared<QElapsedTimer>();
    timer->start();
    QPointer<Window> self(this);
    QStringList sent = press.sendFields;
    if (what == "save"_L1) { // a field's own save sends that field's pending edit
        for (auto it = press.body.begin(); it != press.body.end(); ++it)
            if (m_edits.contains(it.key()))
                sent << it.key();
    }
    auto done = [self, key, what, press, signature, sent, generation, timer](const units::Api::Reply &reply) {
        if (!self || self->m_closing)
            return;
        // The set is cleaned whatever is selected now, so a press can be sent again.
        self->m_inFlight.remove(signature);
        if (generation != self->m_generation) {
            // Another unit is shown now: the reply is only logged.
            units::logLine(replyLine(key, press, timer->elapsed(), reply));
            return;
        }
        self->onPressReply(what, press, signature, sent, timer->elapsed(), reply);
    };
    if (press.method == "GET"_L1)
        m_api->get(press.path, done, timeoutMs);
    else
        m_api->post(press.path, body, done, timeoutMs);
}

void Window::onPressReply(const QString &what, const render::Press &press, const QString &signature,
                          const QStringList &sentFields, qint64 elapsedMs, const units::Api::Reply &reply)
{
    Q_UNUSED(what);
    Q_UNUSED(signature);
    units::logLine(replyLine(m_selected, press, elapsedMs, reply));

    if (reply.ok) {
        for (const QString &id : sentFields)
            m_edits.remove(id);
        for (const QString &id : press.clearFields) {
            m_edits.remove(id);
            clearInput(m_viewport->screen(), id);
            m_edits.remove(id); // the clear itself is not an edit
        }
    }
    if (reply.certChanged) {
        m_certChanged.insert(m_selected);
        m_force = true;
    }

    const PressOutcome outcome = pressOutcome(reply);
    if (!outcome.sound.isEmpty())
        app::playSoundNamed(outcome.sound);
    else
        app::playSound(reply.ok ? app::Sound::Ok : app::Sound::Error);
    if (!outcome.toast.trimmed().isEmpty()) {
        m_toasts->showToast({outcome.toast, outcome.tone, kDefaultToastMs});
        if (outcome.refused) {
            QMessageBox box(QMessageBox::Warning, u"The unit refused"_s, reply.error, QMessageBox::Ok, this);
            box.setTextFormat(Qt::PlainText);
            app::execModal(&box);
        }
    }
    if (press.then != "none"_L1) {
        m_lastPress = QDateTime();
        refresh();
    }
}

void Window::fieldEdited(const QString &id, const QJsonValue &value)
{
    if (!id.isEmpty())
        m_edits.insert(id, value.toVariant());
}

} // namespace window
