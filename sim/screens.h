#pragma once
// The simulated unit's screens and live data sources, built from the state of its commissioning
// sequence: the /api/ui answer, the payload behind each source a screen names, and the render
// bundle that "kestro-connect --render" draws.

#include <QJsonObject>
#include <QStringList>

namespace sim {

class Flow;

// What a screen says about the unit itself.
struct UnitInfo
{
    QString hostname;
    QString unitId;
    QString product;
    QString address;
    int port = 8090;
    bool tls = true;
    QString signedInAs;
};

// The screen description proper (steps, sections) for the flow's present state.
QJsonObject screenFor(const Flow &flow, const UnitInfo &unit);

// The whole /api/ui answer around it; `toast` and `announce` are added when not empty.
QJsonObject uiAnswer(const Flow &flow, const UnitInfo &unit, int pollMs, const QJsonObject &toast = {},
                     const QString &announce = {});

// Every data source path the screens may name.
QStringList sourcePaths();

// The payload of one source; an empty object for a path that names none.
QJsonObject sourcePayload(const Flow &flow, const QString &path);

// {"screen": ..., "endpoints": {path: payload}} for the sources the screen names.
QJsonObject renderBundle(const Flow &flow, const UnitInfo &unit);

// A small generated PNG (an aisle plan), as base64, for the image elements.
QByteArray aislePlanPng();

} // namespace sim
