#pragma once
// A simulated site: the units the options ask for, their certificates, their API servers and
// the discovery responder, started together.

#include "sim/options.h"

#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QSslConfiguration>

namespace sim {

class Unit;
class Responder;

class Site final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Site)
public:
    explicit Site(Options options, QObject *parent = nullptr);

    // Makes the units, without listening yet (enough for a bundle dump).
    void build();
    // Listens and answers discovery; false with `error()` when an address is taken or a
    // certificate cannot be made.
    bool start();

    const QList<Unit *> &units() const { return m_units; }
    QString error() const { return m_error; }
    // Applies a control request to unit `index` (0-based): its quirks, "poll_ms", a switch of
    // certificate or of the API port. Empty, or what was wrong.
    QString configure(int index, const QJsonObject &changes);
    // One line per unit for the console: where it is and how to reach it.
    QStringList describe() const;

private:
    // The unit's own certificate, or its other one; `error` says why none could be had.
    QSslConfiguration tlsFor(const Unit *unit, bool other, QString *error) const;

    Options m_options;
    QList<Unit *> m_units;
    Responder *m_responder = nullptr;
    QString m_error;
};

} // namespace sim
