#include "sim/flow.h"

#include <QtMath>

using namespace Qt::StringLiterals;

namespace sim {

namespace {
constexpr int kLogCap = 200;
constexpr int kSpeedCap = 24;
constexpr double kRailMm = 48000;
} // namespace

Outcome Outcome::accepted(const QString &toast, const QString &sound)
{
    Outcome o;
    o.toast = toast;
    o.sound = sound;
    return o;
}

Outcome Outcome::refused(const QString &why, int status)
{
    Outcome o;
    o.status = status;
    o.error = why;
    o.toast = why;
    o.tone = u"error"_s;
    return o;
}

Flow::Flow(int paceMs, bool autorun, QObject *parent)
    : QObject(parent)
    , m_autorun(autorun)
{
    m_steps = {
        {u"identity"_s, u"Identity and site"_s, 0, -1, false, {}},
        {u"drive"_s, u"Drive calibration"_s, 20, -1, false, {}},
        {u"io"_s, u"IO check"_s, 16, 9, false, {}},
        {u"load"_s, u"Load test"_s, 12, -1, false, {}},
        {u"handover"_s, u"Safety and handover"_s, 0, -1, false, {}},
    };
    m_identity = {{u"unit_name"_s, QString()}, {u"aisle"_s, u"A"_s}, {u"max_speed"_s, 3.0}};
    m_timer.setInterval(qMax(10, paceMs));
    connect(&m_timer, &QTimer::timeout, this, &Flow::tick);
}

int Flow::completedCount() const
{
    return int(std::count_if(m_steps.begin(), m_steps.end(), [](const Step &s) { return s.completed; }));
}

QStringList Flow::warnings() const
{
    QStringList out;
    if (m_faultSeen && current().id == u"io"_s)
        out << u"Brake feedback dropped out once during the IO check - look at connector X4."_s;
    if (m_identity.value(u"max_speed"_s).toDouble() > 4.0)
        out << u"Maximum speed above 4 m/s needs the aisle end buffers rated for it."_s;
    return out;
}

QString Flow::activityText() const
{
    if (m_commissioned)
        return {};
    if (!m_fault.isEmpty())
        return u"Stopped: %1"_s.arg(m_fault);
    if (m_running)
        return u"%1 - %2 of %3"_s.arg(current().label).arg(m_progress).arg(current().ticks);
    return {};
}

Outcome Flow::start()
{
    if (m_commissioned)
        return Outcome::refused(u"This unit is already commissioned."_s);
    if (!m_fault.isEmpty())
        return Outcome::refused(u"Clear the fault first: %1"_s.arg(m_fault));
    if (m_running)
        return Outcome::refused(u"%1 is already running."_s.arg(current().label));
    if (current().ticks == 0)
        return Outcome::refused(u"%1 does not run by itself - fill it in and press its button."_s.arg(current().label));
    m_running = true;
    addLog(u"%1 started"_s.arg(current().label));
    m_timer.start();
    settle();
    return Outcome::accepted(u"%1 started"_s.arg(current().label), u"motion"_s);
}

Outcome Flow::stop()
{
    if (!m_running)
        return Outcome::refused(u"Nothing is running."_s);
    m_running = false;
    m_timer.stop();
    addLog(u"%1 stopped by the technician at %2 of %3"_s.arg(current().label).arg(m_progress).arg(current().ticks));
    settle();
    return Outcome::accepted(u"Stopped"_s, u"power_off"_s);
}

Outcome Flow::clearFault()
{
    if (m_fault.isEmpty())
        return Outcome::refused(u"There is no fault to clear."_s);
    addLog(u"fault %1 cleared by the technician"_s.arg(m_faultCode));
    m_fault.clear();
    m_faultCode.clear();
    settle();
    return Outcome::accepted(u"Fault cleared - press Start to carry on"_s);
}

Outcome Flow::saveIdentity(const QJsonObject &fields)
{
    const QString name = fields.value(u"unit_name"_s).toString().trimmed();
    if (name.isEmpty())
        return Outcome::refused(u"Give the unit a name first."_s, 422);
    if (name.size() > 40)
        return Outcome::refused(u"Unit names are at most 40 characters."_s, 422);
    for (auto it = fields.begin(); it != fields.end(); ++it)
        m_identity.insert(it.key(), it.value());
    m_identity.insert(u"unit_name"_s, name);
    addLog(u"identity saved: %1"_s.arg(name));
    if (current().id == u"identity"_s)
        complete();
    settle();
    return Outcome::accepted(u"Saved %1"_s.arg(name), u"save"_s);
}

Outcome Flow::saveSetting(const QJsonObject &fields)
{
    if (fields.isEmpty())
        return Outcome::refused(u"Nothing to save."_s, 422);
    for (auto it = fields.begin(); it != fields.end(); ++it)
        m_identity.insert(it.key(), it.value());
    addLog(u"saved %1"_s.arg(fields.keys().join(u", "_s)));
    settle();
    return Outcome::accepted(u"Saved"_s, u"save"_s);
}

Outcome Flow::finish()
{
    if (m_commissioned)
        return Outcome::refused(u"This unit is already commissioned."_s);
    if (current().id != u"handover"_s)
        return Outcome::refused(u"Finish the earlier steps first (now at: %1)."_s.arg(current().label));
    complete();
    m_commissioned = true;
    addLog(u"commissioning finished"_s);
    settle();
    return Outcome::accepted(u"Unit commissioned"_s, u"submit"_s);
}

Outcome Flow::reset()
{
    m_timer.stop();
    m_running = false;
    m_commissioned = false;
    m_faultSeen = false;
    m_fault.clear();
    m_faultCode.clear();
    m_progress = 0;
    m_current = 0;
    for (Step &s : m_steps) {
        s.completed = false;
        s.completedAt.clear();
    }
    m_speeds.clear();
    addLog(u"calibration erased - commissioning starts over"_s);
    moveTo(0);
    settle();
    return Outcome::accepted(u"Calibration erased"_s);
}

Outcome Flow::setBeacon(bool on)
{
    m_beacon = on;
    addLog(on ? u"beacon on"_s : u"beacon off"_s);
    settle();
    return Outcome::accepted(on ? u"Beacon on"_s : u"Beacon off"_s, on ? u"power_on"_s : u"power_off"_s);
}

Outcome Flow::jog(int deltaMm)
{
    if (m_running)
        return Outcome::refused(u"Cannot jog while %1 runs."_s.arg(current().label));
    if (deltaMm == 0 || qAbs(deltaMm) > 5000)
        return Outcome::refused(u"A jog moves 1 to 5000 mm."_s, 422);
    moveTo(m_positionMm + deltaMm);
    addLog(u"jogged %1 mm to %2 mm"_s.arg(deltaMm).arg(m_positionMm));
    settle();
    return Outcome::accepted(u"Moved to %1 mm"_s.arg(m_positionMm), u"motion"_s);
}

bool Flow::startAt(const QString &id)
{
    if (id == u"commissioned"_s)
        return startAt(u"handover"_s) && finish().status == 200;
    for (int i = 0; i < m_steps.size(); ++i) {
        if (m_steps[i].id != id)
            continue;
        reset();
        const QString now = QDateTime::currentDateTime().toString(Qt::ISODate);
        for (int j = 0; j < i; ++j) {
            m_steps[j].completed = true;
            m_steps[j].completedAt = now;
        }
        m_current = i;
        if (i > 0 && m_identity.value(u"unit_name"_s).toString().isEmpty())
            m_identity.insert(u"unit_name"_s, u"Aisle A shuttle"_s);
        settle();
        return true;
    }
    return false;
}

void Flow::backdate(int count)
{
    if (count <= 0)
        return;
    for (Step &s : m_steps) {
        if (count == 0)
            break;
        if (!s.completed)
            continue;
        const QDateTime at = QDateTime::fromString(s.completedAt, Qt::ISODate);
        s.completedAt = at.addDays(-1).toString(Qt::ISODate);
        --count;
    }
    settle();
}

void Flow::tick()
{
    if (!m_running)
        return;
    Step &step = m_steps[m_current];
    ++m_progress;
    if (step.id == u"drive"_s) {
        // A calibration run sweeps the rail end to end and back.
        const double f = double(m_progress) / step.ticks;
        moveTo(kRailMm * (f < 0.5 ? 2 * f : 2 * (1 - f)));
    }
    const double speed = 1.5 + 1.2 * qSin(m_progress * 0.7) + 0.1 * (m_progress % 3);
    m_speeds.append(qRound(speed * 100) / 100.0);
    while (m_speeds.size() > kSpeedCap)
        m_speeds.removeFirst();
    addLog(u"%1: %2 of %3  (%4 m/s)"_s.arg(step.label).arg(m_progress).arg(step.ticks).arg(m_speeds.last()));
    if (m_progress == step.faultAt && !m_faultSeen) {
        m_faultSeen = true;
        m_running = false;
        m_timer.stop();
        m_faultCode = u"F-231"_s;
        m_fault = u"F-231 Brake feedback missing on X4"_s;
        addLog(u"FAULT %1"_s.arg(m_fault));
        settle();
        return;
    }
    if (m_progress >= step.ticks) {
        complete();
        if (m_autorun && current().ticks > 0 && !m_commissioned) {
            m_running = true;
            addLog(u"%1 started"_s.arg(current().label));
            settle();
            return;
        }
        m_timer.stop();
        settle();
        return;
    }
    emit changed(); // a tick moves only the panel sources
}

void Flow::complete()
{
    Step &step = m_steps[m_current];
    step.completed = true;
    step.completedAt = QDateTime::currentDateTime().toString(Qt::ISODate);
    m_running = false;
    addLog(u"%1 done"_s.arg(step.label));
    const QString id = step.id;
    if (m_current + 1 < m_steps.size()) {
        ++m_current;
        m_progress = 0;
    }
    emit stepCompleted(id);
}

void Flow::addLog(const QString &line)
{
    m_log.append(QDateTime::currentDateTime().toString(u"HH:mm:ss"_s) + u"  "_s + line);
    while (m_log.size() > kLogCap)
        m_log.removeFirst();
}

void Flow::settle()
{
    m_held = {m_positionMm, m_speeds, m_progress, m_log, activityText()};
    emit changed();
}

void Flow::moveTo(double mm)
{
    m_positionMm = qBound(0.0, std::round(mm * 10) / 10, kRailMm);
}

} // namespace sim
