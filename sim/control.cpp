#include "sim/control.h"

#include "sim/site.h"
#include "sim/unit.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace sim {

Control::Control(Site *site, QObject *parent)
    : QObject(parent)
    , m_site(site)
    , m_server([this](const Request &r) { return handle(r); })
{}

QString Control::listen(quint16 port)
{
    return m_server.listen(QHostAddress(QHostAddress::LocalHost), port, nullptr);
}

Response Control::handle(const Request &req)
{
    const QList<Unit *> &units = m_site->units();
    const auto all = [&units] {
        QJsonArray out;
        for (const Unit *u : units)
            out.append(u->describeQuirks());
        return QJsonObject{{u"units"_s, out}};
    };
    if (req.path == u"/units"_s && req.method == u"GET"_s)
        return Response::json(200, all());
    if (!req.path.startsWith(u"/units/"_s) || req.method != u"POST"_s)
        return Response::error(404, u"GET /units or POST /units/N"_s);
    const QString which = req.path.mid(7);
    bool ok = false;
    const int n = which.toInt(&ok);
    QList<int> targets;
    if (which == u"all"_s)
        for (int i = 0; i < units.size(); ++i)
            targets << i;
    else if (ok && n >= 1 && n <= units.size())
        targets << n - 1;
    else
        return Response::error(404, u"no unit %1"_s.arg(which));
    for (int i : targets)
        if (const QString why = m_site->configure(i, req.json()); !why.isEmpty())
            return Response::error(400, why);
    return Response::json(200, all());
}

} // namespace sim
