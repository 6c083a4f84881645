#include "app/base/settings.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace app {

QString configDir()
{
    QString dir = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    if (dir.isEmpty())
        dir = QDir::homePath() + u"/.config/Kestro Connect"_s;
    QDir().mkpath(dir);
    return dir;
}

QString configPath(const QString &fileName)
{
    return configDir() + u'/' + fileName;
}

QJsonDocument readJsonFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll());
}

bool writeJsonFile(const QString &path, const QJsonDocument &document)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(document.toJson(QJsonDocument::Indented));
    return file.commit();
}

QJsonObject loadSettings()
{
    return readJsonFile(configPath(u"settings.json"_s)).object();
}

void saveSettings(const QJsonObject &settings)
{
    writeJsonFile(configPath(u"settings.json"_s), QJsonDocument(settings));
}

} // namespace app
