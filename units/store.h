#pragma once
// The units this client has seen, their pinned certificates, its settings and the commissioning
// record: small JSON files in one per-user configuration folder, read and written afresh each time.

#include "app/base/settings.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QString>

namespace units {

struct Unit
{
    QString name;
    QString ip;
    int port = 8090;
    QString type;
    QString unit_id;
    bool manual = false;
    qint32 misses = 0;
    bool tls = true;   // from discovery, never stored
    QJsonObject state; // last discovery answer; empty means not answering

    QString key() const;
    bool online() const { return !state.isEmpty(); }
};

// "ip:port", the key of everything per-address: pins, tokens, lock-outs, log lines.
QString unitKey(const QString &ip, int port);

// The configuration folder, the settings file and the JSON file helpers belong to the base
// layer; the store names them among its own.
using app::configDir;
using app::configPath;
using app::loadSettings;
using app::readJsonFile;
using app::saveSettings;
using app::writeJsonFile;

QList<Unit> loadUnits();
void saveUnits(const QList<Unit> &units);

// Certificate pins: pins.json, and a table of the pins set in this run that wins over it, so that
// a pin the file did not take still holds until the program ends. Forgetting clears both.
QString pinFor(const QString &key);
void setPin(const QString &key, const QString &fingerprint);
void forgetPin(const QString &key);

QJsonObject loadStats();
void recordCommissioned(const QJsonObject &answer);

} // namespace units
