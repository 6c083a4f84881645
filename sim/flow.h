#pragma once
// The scripted commissioning sequence one simulated unit walks through: steps that run for a
// number of ticks, live values that move while they run, a fault on the way, and the finished
// "commissioned" state. Presses come in as calls and go out as outcomes; the screen is built
// from this state elsewhere (sim/screens.h).

#include <QDateTime>
#include <QJsonObject>
#include <QObject>
#include <QStringList>
#include <QTimer>

namespace sim {

struct Step
{
    QString id;
    QString label;
    int ticks = 0;    // ticks of running to finish; 0 = finished by a press, not by running
    int faultAt = -1; // the tick at which the step stops with a fault (the first time only)
    bool completed = false;
    QString completedAt; // ISO date-time
};

// The live figures as they stood when the running step last started, ended or faulted (or the
// shuttle was jogged): what the screen itself shows. While a step runs only the panel sources
// move, so a client patches its panels instead of rebuilding the screen on every tick.
struct Figures
{
    double positionMm = 0;
    QList<double> speeds;
    int progress = 0;
    QStringList log;
    QString activity;
};

// What a press did, turned into an HTTP answer by the unit.
struct Outcome
{
    int status = 200; // 200 accepted; 409 refused; 422 bad input
    QString toast;
    QString tone = QStringLiteral("ok");
    QString error; // set for a refusal
    QString sound; // a sound the client may play, empty for its own choice

    static Outcome accepted(const QString &toast, const QString &sound = {});
    static Outcome refused(const QString &why, int status = 409);
};

class Flow final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Flow)
public:
    // `paceMs` is the time of one tick while a step runs; `autorun` starts each step by itself.
    explicit Flow(int paceMs, bool autorun, QObject *parent = nullptr);

    // Presses.
    Outcome start();
    Outcome stop();
    Outcome clearFault();
    Outcome saveIdentity(const QJsonObject &fields);
    // A single setting that a field saves by itself ("save_path"): every key of the body is kept.
    Outcome saveSetting(const QJsonObject &fields);
    Outcome finish();
    Outcome reset();
    Outcome setBeacon(bool on);
    Outcome jog(int deltaMm);
    // Jumps straight to a step, with the earlier ones done (for demos and shots); "commissioned"
    // jumps past the last one. False when the id names no step.
    bool startAt(const QString &id);
    // Moves the finish of the first `count` finished steps back by one day, as if they had been
    // done yesterday (for the day summary's "today only").
    void backdate(int count);

    // One tick of the running step; public so tests can step the script without waiting.
    void tick();

    const QList<Step> &steps() const { return m_steps; }
    int currentIndex() const { return m_current; }
    const Step &current() const { return m_steps[m_current]; }
    bool running() const { return m_running; }
    bool commissioned() const { return m_commissioned; }
    int progress() const { return m_progress; }
    int completedCount() const;
    QString fault() const { return m_fault; }
    QString faultCode() const { return m_faultCode; }
    const QStringList &log() const { return m_log; }
    QStringList warnings() const;
    double positionMm() const { return m_positionMm; }
    QList<double> speedHistory() const { return m_speeds; }
    QJsonObject identity() const { return m_identity; }
    bool beacon() const { return m_beacon; }
    const Figures &held() const { return m_held; }
    // Free text the technician can read back in the day summary and report.
    QString activityText() const;

signals:
    void changed();
    void stepCompleted(const QString &id);

private:
    void complete();
    void addLog(const QString &line);
    void moveTo(double mm);
    // Takes the screen's figures anew and says the state changed.
    void settle();

    QList<Step> m_steps;
    int m_current = 0;
    int m_progress = 0;
    bool m_running = false;
    bool m_commissioned = false;
    bool m_faultSeen = false;
    bool m_autorun = false;
    bool m_beacon = false;
    QString m_fault;
    QString m_faultCode;
    QStringList m_log;
    double m_positionMm = 0;
    QList<double> m_speeds;
    QJsonObject m_identity;
    Figures m_held;
    QTimer m_timer;
};

} // namespace sim
