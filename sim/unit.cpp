#include "sim/unit.h"

#include "sim/board.h"
#include "sim/templates.h"

#include <QDateTime>
#include <QRandomGenerator>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace sim {

namespace {

qint64 nowMs()
{
    return QDateTime::currentMSecsSinceEpoch();
}

QString newToken()
{
    QByteArray bytes(24, '\0');
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32 *>(bytes.data()), bytes.size() / 4);
    return QString::fromLatin1(bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

QJsonObject toast(const QString &text, const QString &tone, int ms = 3000)
{
    return {{u"text"_s, text}, {u"tone"_s, tone}, {u"ms"_s, ms}};
}

struct FaultEntry
{
    int number;
    QString span, description, type, section, causes, checks;
};

const QList<FaultEntry> &faultTable()
{
    static const QList<FaultEntry> table = {
        {231, u"F-231"_s, u"Brake feedback missing"_s, u"stop"_s, u"Drive"_s,
         u"The brake was released but its feedback contact did not close within 200 ms."_s,
         u"Plug X4 seated and locked; 24 V at X4.1; the feedback contact closes by hand."_s},
        {112, u"F-112"_s, u"Encoder count jumped"_s, u"warning"_s, u"Position"_s,
         u"Interference on the encoder cable or a loose encoder wheel."_s,
         u"Encoder cable screen grounded at one end only; wheel set screw tight."_s},
        {305, u"F-305"_s, u"End stop reached during travel"_s, u"stop"_s, u"Safety"_s,
         u"The rail length is wrong or the end stop is set too far in."_s,
         u"Run the drive calibration again; check the end stop brackets."_s},
        {418, u"F-418"_s, u"Battery voltage low"_s, u"warning"_s, u"Power"_s,
         u"The battery fell below 44 V under load."_s, u"Charger contacts clean; battery age in the log."_s},
        // Older drive firmware reports this one by its number alone: the answer carries no "span".
        {77, QString(), u"Drive temperature high"_s, u"warning"_s, u"Drive"_s,
         u"The drive ran above 85 C for more than a minute."_s,
         u"Drive fan turning; air path behind the drive free of dust."_s},
    };
    return table;
}

// Reads one boolean or integer member into `target`; false when the member has another type.
bool readInto(const QJsonValue &v, bool &target)
{
    if (!v.isBool())
        return false;
    target = v.toBool();
    return true;
}

bool readInto(const QJsonValue &v, int &target)
{
    if (!v.isDouble())
        return false;
    target = v.toInt();
    return true;
}

} // namespace

QString Quirks::apply(const QJsonObject &changes)
{
    for (auto it = changes.begin(); it != changes.end(); ++it) {
        const QString &k = it.key();
        const bool ok = k == u"schema"_s        ? readInto(*it, schema)
                        : k == u"churn"_s       ? readInto(*it, churn)
                        : k == u"restless"_s    ? readInto(*it, restless)
                        : k == u"retry_after"_s ? readInto(*it, retryAfter)
                        : k == u"iotemplates"_s ? readInto(*it, ioTemplates)
                        : k == u"delay_ms"_s    ? readInto(*it, delayMs)
                        : k == u"hang"_s        ? readInto(*it, hang)
                        : k == u"down"_s        ? readInto(*it, down)
                        : k == u"other_cert"_s  ? readInto(*it, otherCert)
                                                : false;
        if (!ok)
            return k;
    }
    return {};
}

QJsonObject Quirks::toJson() const
{
    return {{u"schema"_s, schema},
            {u"churn"_s, churn},
            {u"restless"_s, restless},
            {u"retry_after"_s, retryAfter},
            {u"iotemplates"_s, ioTemplates},
            {u"delay_ms"_s, delayMs},
            {u"hang"_s, hang},
            {u"down"_s, down},
            {u"other_cert"_s, otherCert}};
}

Unit::Unit(UnitConfig config, QObject *parent)
    : QObject(parent)
    , m_config(std::move(config))
    , m_flow(m_config.paceMs, m_config.autorun)
    , m_server([this](const Request &r) { return handle(r); })
{
    m_day = {{u"open"_s, false}, {u"started"_s, QString()}, {u"who"_s, QString()}, {u"notes"_s, QJsonArray{}}};
    for (const QJsonObject &t : builtinTemplates() + m_config.templates)
        m_templates.insert(t.value(u"id"_s).toString(), t);
    connect(&m_flow, &Flow::stepCompleted, this, [this](const QString &id) {
        for (const Step &s : m_flow.steps())
            if (s.id == id)
                m_pendingToast = toast(u"%1 done"_s.arg(s.label), u"ok"_s);
    });
}

QString Unit::listen(const QSslConfiguration *tls)
{
    m_hasTls = tls != nullptr;
    if (tls)
        m_tls = *tls;
    const QString why = m_server.listen(QHostAddress(m_config.info.address), quint16(m_config.info.port), tls);
    m_listening = why.isEmpty();
    return why;
}

void Unit::presentTls(const QSslConfiguration &tls)
{
    m_tls = tls;
    m_server.setTls(tls);
    m_server.dropConnections();
}

QString Unit::setDown(bool down)
{
    m_quirks.down = down;
    if (down) {
        m_server.close();
        m_listening = false;
        return {};
    }
    if (m_listening)
        return {};
    return listen(m_hasTls ? &m_tls : nullptr);
}

QJsonObject Unit::discoveryAnswer() const
{
    const Flow &f = m_flow;
    const bool faulty = !f.fault().isEmpty();
    QString status;
    QString tone;
    if (faulty)
        status = u"FAULT %1"_s.arg(f.faultCode()), tone = u"error"_s;
    else if (f.running())
        status = u"RUNNING %1"_s.arg(f.current().label.toUpper()), tone = u"busy"_s;
    return {
        {u"app"_s, u"shuttle-commissioning"_s},
        {u"hostname"_s, m_config.info.hostname},
        {u"unit_id"_s, m_config.info.unitId},
        {u"port"_s, m_config.info.port},
        {u"product"_s, m_config.info.product},
        {u"tls"_s, m_config.info.tls},
        {u"commissioned"_s, f.commissioned()},
        {u"total_count"_s, int(f.steps().size())},
        {u"completed_count"_s, f.completedCount()},
        {u"status"_s, status},
        {u"status_tone"_s, tone},
        {u"activity"_s, f.running() ? f.current().id : QString()},
        {u"activity_detail"_s, f.activityText()},
        {u"activity_current"_s, f.running() ? f.progress() : 0},
        {u"activity_total"_s, f.running() ? f.current().ticks : 0},
        {u"current_step"_s, f.commissioned() ? QString() : f.current().label},
    };
}

std::optional<Response> Unit::refuseUnsigned(const Request &req)
{
    const QByteArray auth = req.header("authorization");
    if (!auth.startsWith("Bearer "))
        return Response::error(401, u"sign in first"_s);
    const QString token = QString::fromLatin1(auth.mid(7).trimmed());
    const auto it = m_tokens.constFind(token);
    if (it == m_tokens.cend())
        return Response::error(401, u"unknown token - sign in again"_s);
    // Expired tokens stay known until the next sign-in sweeps them, so the answer keeps saying why.
    if (it.value() <= nowMs())
        return Response::error(401, u"session expired - sign in again"_s);
    return std::nullopt;
}

QString Unit::configure(const QJsonObject &changes)
{
    QJsonObject rest = changes;
    // Every sign-in ends at once, as when the unit restarts: clients get 401 and sign in again.
    if (rest.take(u"drop_tokens"_s).toBool())
        m_tokens.clear();
    if (rest.contains(u"poll_ms"_s)) {
        // null takes "poll_ms" out of the answers; any number goes in as it is, in range or not.
        const QJsonValue v = rest.take(u"poll_ms"_s);
        if (!v.isNull() && !v.isDouble())
            return u"poll_ms"_s;
        m_config.pollMs = v.isNull() ? -1 : v.toInt();
    }
    Quirks next = m_quirks;
    const QString bad = next.apply(rest);
    if (bad.isEmpty())
        m_quirks = next;
    return bad;
}

QJsonObject Unit::describeQuirks() const
{
    QJsonObject out = m_quirks.toJson();
    out.insert(u"poll_ms"_s, m_config.pollMs < 0 ? QJsonValue(QJsonValue::Null) : QJsonValue(m_config.pollMs));
    return out;
}

Response Unit::handle(const Request &req)
{
    Response r = answer(req);
    r.delayMs = m_quirks.hang ? -1 : m_quirks.delayMs;
    return r;
}

Response Unit::answer(const Request &req)
{
    const QString &p = req.path;
    const bool get = req.method == u"GET"_s;
    const bool post = req.method == u"POST"_s;
    if (p == u"/api/login"_s)
        return post ? login(req) : Response::error(405, u"use POST"_s);
    if (!p.startsWith(u"/api/"_s))
        return Response::error(404, u"no such path: %1"_s.arg(p));
    if (auto refusal = refuseUnsigned(req))
        return *refusal;

    if (p == u"/api/ui"_s && get) {
        // A toast and a fault announcement are said once, in the first answer after they happen.
        QString announce;
        if (m_flow.fault() != m_announcedFault) {
            m_announcedFault = m_flow.fault();
            if (!m_announcedFault.isEmpty())
                announce = u"Fault: %1"_s.arg(m_announcedFault);
        }
        QJsonObject answer = uiAnswer(m_flow, m_config.info, m_config.pollMs, m_pendingToast, announce);
        m_pendingToast = {};
        ++m_polls;
        if (m_config.pollMs < 0)
            answer.remove(u"poll_ms"_s);
        if (!m_quirks.schema)
            answer.remove(u"schema"_s);
        if (m_quirks.churn) {
            // Members a client must ignore when it compares two answers.
            answer.insert(u"hb_age"_s, m_polls);
            answer.insert(u"_panels"_s, QJsonObject{{u"poll"_s, m_polls}});
        }
        if (m_quirks.restless) {
            // A screen that changes under the technician's hands: each answer counts itself.
            answer.insert(u"subtitle"_s, u"%1 (answer %2)"_s.arg(answer.value(u"subtitle"_s).toString()).arg(m_polls));
        }
        return Response::json(200, answer);
    }
    if (get && sourcePaths().contains(p))
        return Response::json(200, sourcePayload(m_flow, p));
    if (p.startsWith(u"/api/action/"_s))
        return post ? press(p.mid(12), req) : Response::error(405, u"use POST"_s);
    if (p == u"/api/save/identity"_s)
        return post ? fromOutcome(m_flow.saveIdentity(req.json())) : Response::error(405, u"use POST"_s);
    if (p == u"/api/save/setting"_s)
        return post ? fromOutcome(m_flow.saveSetting(req.json())) : Response::error(405, u"use POST"_s);
    if (p == u"/api/view"_s && post) {
        const QString stage = req.json().value(u"stage"_s).toString();
        for (const Step &s : m_flow.steps())
            if (s.id == stage || s.label == stage)
                return fromOutcome(Outcome::accepted(u"Showing %1"_s.arg(s.label)));
        return fromOutcome(Outcome::refused(u"No stage called \"%1\"."_s.arg(stage), 422));
    }
    if (p == u"/api/state"_s && get)
        return state();
    if (p == u"/api/day"_s && post)
        return day(req);
    if (p == u"/api/day/summary"_s && get)
        return daySummary();
    if (p == u"/api/report"_s && get)
        return report(req);
    if (p == u"/api/faults"_s && get)
        return faults(req);
    if (p == u"/api/password"_s && post)
        return password(req);
    if (p == u"/api/iotemplates"_s && (post || get) && m_quirks.ioTemplates)
        return ioTemplates(req);
    return Response::error(404, u"no such path: %1 %2"_s.arg(req.method, p));
}

Response Unit::login(const Request &req)
{
    const qint64 now = nowMs();
    if (m_lockedUntil > now) {
        return lockedOut(int((m_lockedUntil - now + 999) / 1000));
    }
    if (req.json().value(u"password"_s).toString() != m_config.passcode) {
        if (++m_failures >= m_config.lockoutAfter) {
            m_failures = 0;
            m_lockedUntil = now + qint64(m_config.lockoutSec) * 1000;
            return lockedOut(m_config.lockoutSec);
        }
        return Response::error(401, u"wrong passcode"_s);
    }
    m_failures = 0;
    // Drop expired tokens here so that a long demo does not collect them.
    for (auto it = m_tokens.begin(); it != m_tokens.end();)
        it = it.value() <= now ? m_tokens.erase(it) : std::next(it);
    const QString token = newToken();
    m_tokens.insert(token, now + qint64(m_config.tokenTtlSec) * 1000);
    return Response::json(200, {{u"token"_s, token}, {u"expires_in"_s, m_config.tokenTtlSec}});
}

Response Unit::lockedOut(int secondsLeft) const
{
    QJsonObject body{{u"error"_s, u"too many failed attempts"_s}};
    if (m_quirks.retryAfter)
        body.insert(u"retry_after"_s, secondsLeft);
    return Response::json(429, body);
}

Response Unit::press(const QString &name, const Request &req)
{
    const QJsonObject body = req.json();
    if (name == u"start"_s)
        return fromOutcome(m_flow.start());
    if (name == u"stop"_s)
        return fromOutcome(m_flow.stop());
    if (name == u"clear_fault"_s)
        return fromOutcome(m_flow.clearFault());
    if (name == u"finish"_s)
        return fromOutcome(m_flow.finish());
    if (name == u"reset"_s)
        return fromOutcome(m_flow.reset());
    if (name == u"beacon"_s)
        return fromOutcome(m_flow.setBeacon(body.value(u"value"_s).toBool(!m_flow.beacon())));
    if (name == u"board"_s)
        return fromOutcome(Outcome::accepted(boardPressText(body)));
    if (name == u"jog"_s)
        return fromOutcome(m_flow.jog(body.value(u"mm"_s).toInt()));
    if (name == u"lookup"_s) {
        // The search box posts its text under its field id; an answer comes back as a toast.
        const QString text = body.value(u"fault_query"_s).toString(body.value(u"query"_s).toString()).trimmed();
        for (const FaultEntry &f : faultTable())
            if ((!text.isEmpty() && text.contains(QString::number(f.number))) ||
                (!text.isEmpty() && f.description.contains(text, Qt::CaseInsensitive)))
                return fromOutcome(Outcome::accepted(
                    u"%1: %2"_s.arg(f.span.isEmpty() ? QString::number(f.number) : f.span, f.description)));
        return fromOutcome(Outcome::refused(u"No fault matches \"%1\"."_s.arg(text), 422));
    }
    return Response::error(404, u"no such action: %1"_s.arg(name));
}

Response Unit::fromOutcome(const Outcome &o) const
{
    QJsonObject body{{u"ok"_s, o.status == 200}, {u"toast"_s, toast(o.toast, o.tone, o.status == 200 ? 3000 : 6000)}};
    if (!o.sound.isEmpty())
        body.insert(u"sound"_s, o.sound);
    if (o.status != 200) {
        body.insert(u"error"_s, o.error);
        body.insert(u"refused"_s, true);
    }
    return Response::json(o.status, body);
}

Response Unit::state() const
{
    QJsonArray stages;
    for (const Step &s : m_flow.steps())
        stages.append(QJsonObject{
            {u"id"_s, s.id}, {u"label"_s, s.label}, {u"completed"_s, s.completed}, {u"completed_at"_s, s.completedAt}});
    QStringList notes;
    for (const QJsonValue &n : m_day.value(u"notes"_s).toArray())
        notes << n.toString();
    QJsonObject day = m_day;
    day.remove(u"notes"_s);
    return Response::json(200, {{u"completed_count"_s, m_flow.completedCount()},
                                {u"total_count"_s, int(m_flow.steps().size())},
                                {u"stages"_s, stages},
                                {u"commissioned"_s, m_flow.commissioned()},
                                {u"notes"_s, notes.join(u'\n')},
                                {u"day"_s, day},
                                {u"position_mm"_s, m_flow.positionMm()}});
}

Response Unit::day(const Request &req)
{
    const QJsonObject body = req.json();
    const QString act = body.value(u"action"_s).toString();
    const QString note = body.value(u"note"_s).toString().trimmed();
    QJsonArray notes = m_day.value(u"notes"_s).toArray();
    if (act == u"start"_s) {
        m_day.insert(u"open"_s, true);
        m_day.insert(u"started"_s, QDateTime::currentDateTime().toString(Qt::ISODate));
        m_day.insert(u"who"_s, body.value(u"who"_s).toString());
        if (!note.isEmpty())
            notes.append(QString(u"Start: "_s + note));
        m_day.insert(u"notes"_s, notes);
        return fromOutcome(Outcome::accepted(u"Report started"_s));
    }
    if (act == u"end"_s) {
        if (!m_day.value(u"open"_s).toBool())
            return fromOutcome(Outcome::refused(u"No report is open on this unit."_s));
        m_day.insert(u"open"_s, false);
        if (!note.isEmpty())
            notes.append(QString(u"End: "_s + note));
        m_day.insert(u"notes"_s, notes);
        return fromOutcome(Outcome::accepted(u"Report closed"_s));
    }
    if (act == u"roll"_s) {
        ++m_dayRolls;
        m_day = {{u"open"_s, false}, {u"started"_s, QString()}, {u"who"_s, QString()}, {u"notes"_s, QJsonArray{}}};
        return fromOutcome(Outcome::accepted(u"New daily log started (log %1)"_s.arg(m_dayRolls + 1)));
    }
    return Response::error(400, u"action must be start, end or roll"_s);
}

Response Unit::daySummary() const
{
    const QString today = QDate::currentDate().toString(Qt::ISODate);
    QStringList lines;
    for (const Step &s : m_flow.steps())
        if (s.completedAt.startsWith(today))
            lines << u"%1 done at %2"_s.arg(s.label, s.completedAt.mid(11, 5));
    if (lines.isEmpty())
        return Response::json(200, {{u"text"_s, QString()}});
    lines << u"Progress %1 of %2 steps%3"_s.arg(m_flow.completedCount())
                 .arg(m_flow.steps().size())
                 .arg(m_flow.commissioned() ? u" - commissioned"_s : QString());
    const QString text = lines.join(u'\n') + (m_config.summaryNewline ? u"\n"_s : QString());
    return Response::json(200, {{u"text"_s, text}});
}

Response Unit::report(const Request &req) const
{
    const QString by = req.query.queryItemValue(u"by"_s, QUrl::FullyDecoded);
    QStringList lines{u"COMMISSIONING REPORT - %1"_s.arg(m_config.info.hostname),
                      u"Unit id   %1"_s.arg(m_config.info.unitId),
                      u"Product   %1"_s.arg(m_config.info.product),
                      u"Name      %1"_s.arg(m_flow.identity().value(u"unit_name"_s).toString()),
                      u"Requested by  %1"_s.arg(by.isEmpty() ? u"(nobody named)"_s : by),
                      QString(),
                      u"STEPS"_s};
    for (const Step &s : m_flow.steps())
        lines << u"  %1  %2"_s.arg(s.completed ? u"done "_s + s.completedAt : u"open"_s, s.label);
    lines << QString() << (m_flow.commissioned() ? u"State: COMMISSIONED"_s : u"State: in progress"_s);
    const QJsonArray notes = m_day.value(u"notes"_s).toArray();
    if (!notes.isEmpty()) {
        lines << QString() << u"NOTES"_s;
        for (const QJsonValue &n : notes)
            lines << u"  "_s + n.toString();
    }
    return Response::text(200, lines.join(u'\n') + u'\n');
}

Response Unit::faults(const Request &req) const
{
    const QString q = req.query.queryItemValue(u"q"_s, QUrl::FullyDecoded).trimmed();
    QJsonArray results;
    static const QRegularExpression digits(u"\\d+"_s);
    const QString number = digits.match(q).captured(0);
    const QStringList words = q.split(u' ', Qt::SkipEmptyParts);
    for (const FaultEntry &f : faultTable()) {
        bool hit = !number.isEmpty() && number.toInt() == f.number;
        if (!hit && number.isEmpty() && !words.isEmpty())
            hit = std::all_of(words.begin(), words.end(), [&](const QString &w) {
                return f.description.contains(w, Qt::CaseInsensitive) || f.causes.contains(w, Qt::CaseInsensitive);
            });
        if (!hit)
            continue;
        QJsonObject result{{u"number"_s, f.number},   {u"description"_s, f.description}, {u"type"_s, f.type},
                           {u"section"_s, f.section}, {u"causes"_s, f.causes},           {u"checks"_s, f.checks}};
        if (!f.span.isEmpty())
            result.insert(u"span"_s, f.span);
        results.append(result);
    }
    return Response::json(200, {{u"results"_s, results}});
}

Response Unit::password(const Request &req)
{
    const QJsonObject body = req.json();
    if (m_config.fixedPasscode)
        return Response::error(403, u"the passcode of this unit is managed elsewhere and cannot be changed here"_s);
    if (body.value(u"current"_s).toString() != m_config.passcode)
        return Response::error(403, u"the current passcode is wrong"_s);
    const QString next = body.value(u"new"_s).toString();
    if (next.size() < 8)
        return Response::error(422, u"the new passcode must be at least 8 characters"_s);
    m_config.passcode = next;
    return Response::json(200, {{u"ok"_s, true}});
}

Response Unit::ioTemplates(const Request &req)
{
    TemplateMerge m;
    if (req.method == u"POST"_s)
        m = mergeTemplates(m_templates, req.json().value(u"templates"_s).toArray());
    QJsonArray own;
    for (const QJsonObject &t : std::as_const(m_templates))
        own.append(t);
    return Response::json(
        200, {{u"added"_s, m.added}, {u"updated"_s, m.updated}, {u"rejected"_s, m.rejected}, {u"templates"_s, own}});
}

} // namespace sim
