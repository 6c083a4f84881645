#include "iotemplates/sync.h"

#include "app/base/logging.h"
#include "units/api.h"
#include "units/diaglog.h"

#include <QElapsedTimer>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace iotemplates {

namespace {

inline constexpr int kSkipErrorChars = 80;

QString skipReason(const units::Api::Reply &reply)
{
    if (reply.status == 404)
        return u"404 - unit does not serve templates"_s;
    if (reply.status != 0)
        return u"%1 %2"_s.arg(reply.status).arg(reply.error.left(kSkipErrorChars));
    return reply.error.left(kSkipErrorChars);
}

} // namespace

void syncWithUnit(units::Api &api, SyncDone done)
{
    const QJsonArray library = loadLibrary(libraryPath());
    SyncOutcome out;
    out.unitKey = api.key();
    out.sent = int(library.size());
    QElapsedTimer clock;
    clock.start();
    qCDebug(lcTemplates) << "sending" << out.sent << "template(s) to" << out.unitKey;
    api.post(
        u"/api/iotemplates"_s, QJsonObject{{"templates"_L1, library}},
        [out, clock, done = std::move(done)](const units::Api::Reply &reply) mutable {
            out.status = reply.status;
            if (reply.ok && reply.status == 200) {
                // Read afresh: the dialog may have changed the file while the request was out.
                QJsonArray current = loadLibrary(libraryPath());
                out.back = mergeTemplates(current, reply.json.value("templates"_L1).toArray());
                out.merged = true;
                if (out.back.changed())
                    out.saved = saveLibrary(current, libraryPath());
                out.logLine =
                    u"iotemplates  %1  sent %2, unit added %3 updated %4; back: added %5 updated %6 kept %7 builtin %8 rejected %9"_s
                        .arg(out.unitKey)
                        .arg(out.sent)
                        .arg(reply.json.value("added"_L1).toInt())
                        .arg(reply.json.value("updated"_L1).toInt())
                        .arg(out.back.added)
                        .arg(out.back.updated)
                        .arg(out.back.kept)
                        .arg(out.back.builtin)
                        .arg(out.back.rejected.size()) +
                    (out.saved ? QString() : u"  LIBRARY NOT SAVED"_s) + u"  %1 ms"_s.arg(clock.elapsed());
                for (const QString &why : std::as_const(out.back.rejected))
                    qCDebug(lcTemplates) << out.unitKey << "sent a template that was rejected:" << why;
            } else {
                out.logLine = u"iotemplates  %1  sent %2  skipped (%3)  %4 ms"_s.arg(out.unitKey)
                                  .arg(out.sent)
                                  .arg(skipReason(reply))
                                  .arg(clock.elapsed());
            }
            units::logLine(out.logLine);
            if (done)
                done(out);
        },
        kSyncTimeoutMs);
}

} // namespace iotemplates
