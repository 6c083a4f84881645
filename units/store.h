#pragma once
// The units this client has seen, their pinned certificates, its settings and the commissioning
// record: small JSON files in one per-user configuration folder, read and written afresh each time.

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

QString configDir();
QString configPath(const QString &fileName);

QList<Unit> loadUnits();
void saveUnits(const QList<Unit> &units);

QJsonObject loadSettings();
void saveSettings(const QJsonObject &settings);

QString pinFor(const QString &key);
void setPin(const QString &key, const QString &fingerprint);
void forgetPin(const QString &key);

QJsonObject loadStats();
void recordCommissioned(const QJsonObject &answer);

// The one writer every save goes through: an atomic save file, indented JSON, silent on failure.
bool writeJsonFile(const QString &path, const QJsonDocument &document);
// Reads a JSON file; a missing, unreadable or corrupt file gives an empty document.
QJsonDocument readJsonFile(const QString &path);

} // namespace units
