#include "units/diaglog.h"

#include "units/store.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <algorithm>

using namespace Qt::StringLiterals;

namespace units {

namespace {

bool secretName(const QString &name)
{
    static const QLatin1StringView hints[] = {"pass"_L1, "psk"_L1, "secret"_L1, "token"_L1, "note"_L1};
    const QString lower = name.toLower();
    return std::any_of(std::begin(hints), std::end(hints), [&](QLatin1StringView h) { return lower.contains(h); });
}

QString oneLine(QString text)
{
    text.replace(u'\r', u' ');
    text.replace(u'\n', u' ');
    return text;
}

// A unit key made safe as part of a file name: "10.0.0.7:8090" gives "10.0.0.7_8090".
QString fileNamePart(const QString &unitKey)
{
    if (unitKey.isEmpty())
        return u"none"_s;
    QString part = unitKey;
    for (QChar &c : part) {
        const char16_t u = c.unicode();
        const bool safe =
            (u >= u'a' && u <= u'z') || (u >= u'A' && u <= u'Z') || (u >= u'0' && u <= u'9') || u == u'.' || u == u'-';
        if (!safe)
            c = u'_';
    }
    return part;
}

} // namespace

QString diagnosticsDir()
{
    static const QString dir = configDir() + u"/diagnostics"_s;
    QDir().mkpath(dir);
    return dir;
}

QString connectLogPath()
{
    return diagnosticsDir() + u"/connect.log"_s;
}

void logLine(const QString &text)
{
    const QString path = connectLogPath();
    qint64 size = 0;
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text))
            return;
        const QString line = QDateTime::currentDateTime().toString(Qt::ISODateWithMs) + u"  "_s + oneLine(text) + u'\n';
        file.write(line.toUtf8());
        file.close();
        size = file.size();
    }
    if (size >= kLogRotateBytes) {
        const QString old = path + u".1"_s;
        QFile::remove(old);
        QFile::rename(path, old);
    }
}

QString shorten(const QString &text, int limit)
{
    const QString line = oneLine(text).trimmed();
    if (line.size() <= limit)
        return line;
    return line.left(std::max(limit, 0)) + u"..."_s;
}

QString keysOf(const QJsonObject &object)
{
    QStringList names;
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (!secretName(it.key()))
            names << it.key();
    }
    return names.join(u',');
}

QStringList tailLines(const QString &path, int count)
{
    QFile file(path);
    if (count <= 0 || !file.open(QIODevice::ReadOnly))
        return {};
    QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n');
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast(); // the final line break ends the last line, it does not start one
    for (QString &line : lines) {
        if (line.endsWith(u'\r'))
            line.chop(1);
    }
    if (lines.size() > count)
        lines = lines.mid(lines.size() - count);
    return lines;
}

QString lastScreenPath(const QString &unitKey)
{
    return diagnosticsDir() + u"/last-screen-"_s + fileNamePart(unitKey) + u".json"_s;
}

void saveLastScreen(const QJsonObject &answer, const QString &unitKey)
{
    static const bool wanted = qEnvironmentVariableIsSet("KESTRO_DUMP_UI");
    if (!wanted)
        return;
    writeJsonFile(lastScreenPath(unitKey), QJsonDocument(answer));
}

} // namespace units
