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

struct UnitConfig
{
    UnitInfo info;
    QString passcode;
    int pollMs = 1000;
    int paceMs = 700;
    bool autorun = false;
    int tokenTtlSec = 3600;
    int lockoutAfter = 5; // wrong passcodes in a row before the lock-out
    int lockoutSec = 60;
    bool summaryNewline = false;  // the day summary's "text" ends with a line feed
    QList<QJsonObject> templates; // the site's own IO templates it starts with (built-in ones come anyway)
    bool ioTemplates = true;      // false: /api/iotemplates answers 404, as on older firmware
};

class Unit final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Unit)
public:
    explicit Unit(UnitConfig config, QObject *parent = nullptr);

    // Starts the API server on the unit's address and port; empty on success, else why not.
    QString listen(const QSslConfiguration *tls);

    // Answers one request; the server calls it, and so may tests.
    Response handle(const Request &req);

    // The JSON object this unit sends back to a discovery probe.
    QJsonObject discoveryAnswer() const;

    Flow &flow() { return m_flow; }
    const UnitConfig &config() const { return m_config; }

private:
    Response login(const Request &req);
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
    Flow m_flow;
    HttpServer m_server;
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
