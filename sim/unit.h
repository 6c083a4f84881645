#pragma once
// One simulated unit: its sign-in (passcode, bearer tokens, lock-out), the routes of its API,
// its commissioning sequence and what it says in answer to a discovery probe.

#include "sim/flow.h"
#include "sim/http.h"
#include "sim/screens.h"

#include <QHash>
#include <QJsonArray>
#include <QMap>
#include <QObject>
#include <optional>

namespace sim {

// Ways a unit can misbehave, so that every edge case of a client's session can be reached. Set
// at start (--quirks) or while running through the loopback-only control (sim/control.h).
struct Quirks
{
    bool schema = true;      // false: GET /api/ui answers without "schema"
    bool churn = false;      // "hb_age" and "_panels" differ in every answer
    bool restless = false;   // every /api/ui answer differs in what a client draws
    bool retryAfter = true;  // false: a lock-out's 429 carries no "retry_after"
    bool ioTemplates = true; // false: /api/iotemplates answers 404
    int delayMs = 0;         // every answer waits this long
    bool hang = false;       // requests are read and never answered
    bool down = false;       // the API port is closed (the site applies it)
    bool otherCert = false;  // presents its other certificate (the site applies it)

    // Applies the members of `changes` that name a quirk ("schema", "churn", "restless", "retry_after",
    // "iotemplates", "delay_ms", "hang", "down", "other_cert"; "poll_ms" goes to the unit).
    // Returns the first member it does not know or whose value has the wrong type, else empty.
    QString apply(const QJsonObject &changes);
    QJsonObject toJson() const;
};

struct UnitConfig
{
    UnitInfo info;
    QString passcode;
    int pollMs = 1000; // below 0: the answer carries no "poll_ms"
    int paceMs = 700;
    bool autorun = false;
    int tokenTtlSec = 3600;
    int lockoutAfter = 5; // wrong passcodes in a row before the lock-out
    int lockoutSec = 60;
    bool fixedPasscode = false;   // refuses every passcode change with 403
    bool summaryNewline = false;  // the day summary's "text" ends with a line feed
    QList<QJsonObject> templates; // the site's own IO templates it starts with (built-in ones come anyway)
};

class Unit final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Unit)
public:
    explicit Unit(UnitConfig config, QObject *parent = nullptr);

    // Starts the API server on the unit's address and port; empty on success, else why not.
    QString listen(const QSslConfiguration *tls);
    // Presents another certificate from now on; open connections are dropped so that clients
    // shake hands afresh and see it.
    void presentTls(const QSslConfiguration &tls);
    // Closes the API port (a unit switched off) or opens it again; empty, or why it cannot listen.
    QString setDown(bool down);

    // Answers one request, late or never when a quirk says so; the server calls it, and so may
    // tests.
    Response handle(const Request &req);

    // The JSON object this unit sends back to a discovery probe.
    QJsonObject discoveryAnswer() const;

    Flow &flow() { return m_flow; }
    const UnitConfig &config() const { return m_config; }
    Quirks &quirks() { return m_quirks; }
    // Applies a control request's changes (quirks and "poll_ms"); empty, or what was wrong.
    QString configure(const QJsonObject &changes);
    // The quirks and "poll_ms" as the control reports them.
    QJsonObject describeQuirks() const;

private:
    Response answer(const Request &req);
    Response login(const Request &req);
    Response lockedOut(int secondsLeft) const;
    Response press(const QString &name, const Request &req);
    Response fromOutcome(const Outcome &o) const;
    Response state() const;
    Response day(const Request &req);
    Response daySummary() const;
    Response report(const Request &req) const;
    Response faults(const Request &req) const;
    Response password(const Request &req);
    Response ioTemplates(const Request &req);
    // Empty when the request carries a live token, else the 401 answer.
    std::optional<Response> refuseUnsigned(const Request &req);

    UnitConfig m_config;
    Quirks m_quirks;
    int m_polls = 0;
    Flow m_flow;
    HttpServer m_server;
    QSslConfiguration m_tls;
    bool m_hasTls = false;
    bool m_listening = false;
    QHash<QString, qint64> m_tokens; // token -> expiry, ms since the epoch
    int m_failures = 0;
    qint64 m_lockedUntil = 0;
    QJsonObject m_pendingToast;
    QString m_announcedFault;
    QJsonObject m_day;
    int m_dayRolls = 0;
    QMap<QString, QJsonObject> m_templates; // built-in and own IO templates, by id
};

} // namespace sim
