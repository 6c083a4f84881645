#include "phone/pages.h"

#include "app/base/version.h"
#include "prims/json.h"

#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace phone {

namespace {

constexpr auto kHead = "<!doctype html><meta name=viewport content='width=device-width,initial-scale=1'>"_L1;

// count x 100 / total in integer division, held to 0..100; 64-bit so a large count cannot wrap.
qint64 percent(qint64 count, qint64 total)
{
    return std::clamp<qint64>(count * 100 / total, 0, 100);
}

QString bar(qint64 pct)
{
    return u"<div class=t><div class=f style='width:%1%'></div></div>"_s.arg(pct);
}

QString card(const units::Unit &unit)
{
    const QJsonObject &s = unit.state;
    const QString title = unit.name.isEmpty() ? u"%1:%2"_s.arg(unit.ip).arg(unit.port) : unit.name;
    const char *cls = "off";
    const char *word = "OFFLINE";
    if (unit.online()) {
        const bool done = prims::readTrue(s, "commissioned"_L1);
        cls = done ? "ok" : "bad";
        word = done ? "COMMISSIONED" : "IN PROGRESS";
    }
    QString out = u"<div class=c><b>%1</b><br><span class='p %2'>%3</span>"_s.arg(
        escapeHtml(title), QLatin1StringView(cls), QLatin1StringView(word));
    if (unit.online()) {
        // Counts are shown as the unit sent them (a wrong type reads as 0); only the bar is held.
        const int total = s.value("total_count"_L1).toInt();
        const int completed = s.value("completed_count"_L1).toInt();
        if (total >= 1) {
            const qint64 p = percent(completed, total);
            out += bar(p) + u"<span class=m>%2 of %3 steps done (%1%)</span>"_s.arg(p).arg(completed).arg(total);
        }
        if (const QString step = prims::readText(s, "current_step"_L1); !step.isEmpty())
            out += "<br><span class=m>Now: "_L1 + escapeHtml(step) + "</span>"_L1;
        const QString activity = prims::readText(s, "activity"_L1);
        const QString detail = prims::readText(s, "activity_detail"_L1);
        if (!activity.isEmpty() || !detail.isEmpty()) {
            const QString text =
                activity.isEmpty() ? detail : (detail.isEmpty() ? activity : activity + " - "_L1 + detail);
            out += "<br><span class=m>"_L1 + escapeHtml(text) + "</span>"_L1;
            const int current = s.value("activity_current"_L1).toInt();
            const int of = s.value("activity_total"_L1).toInt();
            if (of > 0)
                out += bar(percent(current, of)) + u"<span class=m>%1 of %2</span>"_s.arg(current).arg(of);
        }
    }
    return out + "</div>"_L1;
}

} // namespace

QString escapeHtml(const QString &text)
{
    QString out = text;
    out.replace(u'&', "&amp;"_L1);
    out.replace(u'<', "&lt;"_L1);
    out.replace(u'>', "&gt;"_L1);
    out.replace(u'"', "&quot;"_L1);
    return out;
}

QString styleBlock()
{
    return u"<style>body{background:#14161A;color:#ECEEF0;font-family:sans-serif;margin:0;padding:16px}"
           ".c{background:#1C1F24;border:1px solid #2E343B;border-radius:4px;padding:12px;margin:0 0 10px}"
           ".p{font-size:12px;font-weight:bold}.ok{color:#3DBE6C}.bad{color:#F08C2E}.off{color:#6B737D}"
           ".m{color:#9AA3AD;font-size:13px}"
           ".t{background:#17191E;border-radius:3px;height:6px;margin:8px 0 6px;overflow:hidden}"
           ".f{background:#4FA8A3;height:6px}"
           "input{background:#14161A;color:#ECEEF0;border:1px solid #2E343B;border-radius:4px;padding:10px;"
           "font-size:16px;width:100%;box-sizing:border-box}"
           "button{background:#4FA8A3;color:#10221F;border:0;border-radius:4px;padding:10px 16px;font-size:16px;"
           "font-weight:bold;margin-top:10px;width:100%}</style>"_s;
}

QString signInPage(bool wrong)
{
    return kHead + "<title>Kestro Connect</title>"_L1 + styleBlock() +
           "<h1>Site status</h1><div class=c><form method=post action='/'><p class=m>"_L1 +
           (wrong ? "That password was not right."_L1 : "Enter the phone password set on the commissioning PC."_L1) +
           "</p><input type=password name=p autofocus autocomplete='current-password' placeholder='Password' "
           "aria-label='Password'><button type=submit>Show status</button></form></div><p class=m>View only. This "
           "page shows progress and nothing else - it cannot press anything on a unit.</p>"_L1;
}

const QByteArray &signInPageBytes(bool wrong)
{
    static const QByteArray pages[2] = {signInPage(false).toUtf8(), signInPage(true).toUtf8()};
    return pages[wrong ? 1 : 0];
}

QString statusPage(const QList<units::Unit> &list)
{
    QString out = kHead + "<meta http-equiv=refresh content=10><title>Kestro Connect</title>"_L1 + styleBlock() +
                  "<h1>Site status</h1><p class=m>View only - refreshes every 10 seconds.</p>"_L1;
    if (list.isEmpty())
        out += "<div class=c><span class='p off'>NO UNITS</span><br><span class=m>Nothing has answered on this "
               "network.</span></div>"_L1;
    for (const units::Unit &unit : list)
        out += card(unit);
    return out + "<p style='color:#6B737D'>Kestro Connect v"_L1 + QLatin1StringView(app::kVersion) + "</p>"_L1;
}

} // namespace phone
