#pragma once
// The simulator's control: plain HTTP on 127.0.0.1 only, so that a test or a demo on this machine
// can make a running unit misbehave (answer without "schema", hang, switch off, present another
// certificate...) and nothing on the site network can.
//
//   GET  /units            {"units": [settings of unit 1, unit 2, ...]}
//   POST /units/N          (N from 1, or "all") applies the members of the JSON body; answers
//                          the new settings, or 400 naming the member that was wrong;
//                          {"drop_tokens": true} ends every sign-in (clients get 401)

#include "sim/http.h"

#include <QObject>

namespace sim {

class Site;

class Control final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Control)
public:
    explicit Control(Site *site, QObject *parent = nullptr);

    // Empty on success, otherwise why the port could not be had.
    QString listen(quint16 port);

    Response handle(const Request &req);

private:
    Site *m_site;
    HttpServer m_server;
};

} // namespace sim
