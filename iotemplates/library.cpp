#include "iotemplates/library.h"

#include "app/base/logging.h"
#include "app/base/settings.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSaveFile>
#include <QSet>

#include <cmath>

using namespace Qt::StringLiterals;

namespace iotemplates {

namespace {

bool wholeInRange(const QJsonValue &v)
{
    if (!v.isDouble())
        return false;
    const double d = v.toDouble();
    return d == std::floor(d) && d >= 0 && d <= kMaxChannels;
}

qsizetype indexOfId(const QJsonArray &library, const QString &id)
{
    for (qsizetype i = 0; i < library.size(); ++i)
        if (library.at(i).toObject().value("id"_L1).toString() == id)
            return i;
    return -1;
}

} // namespace

QDateTime updatedTime(const QJsonObject &t)
{
    const QString text = t.value("updated"_L1).toString();
    if (text.isEmpty())
        return {};
    QDateTime when = QDateTime::fromString(text, Qt::ISODateWithMs);
    if (!when.isValid())
        when = QDateTime::fromString(text, Qt::ISODate);
    return when;
}

QString libraryPath()
{
    return app::configPath(QString::fromLatin1(kLibraryFileName));
}

QString validateTemplate(const QJsonValue &value)
{
    static const QRegularExpression idPattern(QRegularExpression::anchoredPattern(u"[A-Za-z0-9_-]{1,64}"_s));
    if (!value.isObject())
        return u"not a template (expected a JSON object)"_s;
    const QJsonObject t = value.toObject();
    const QString schema = t.value("schema"_L1).toString();
    const QString expected = QString::fromLatin1(kSchema);
    if (schema.isEmpty())
        return u"no \"schema\" (expected %1)"_s.arg(expected);
    if (schema != expected)
        return u"schema \"%1\" is not %2 - made by a newer or different tool"_s.arg(schema, expected);
    const QJsonValue id = t.value("id"_L1);
    if (!id.isString() || !idPattern.match(id.toString()).hasMatch())
        return u"id \"%1\" - 1 to 64 letters, digits, - or _ only"_s.arg(id.isString() ? id.toString() : u"?"_s);
    if (t.value("name"_L1).toString().trimmed().isEmpty())
        return u"no name"_s;
    if (!wholeInRange(t.value("inputs"_L1)))
        return u"inputs must be a whole number 0..%1"_s.arg(kMaxChannels);
    if (!wholeInRange(t.value("outputs"_L1)))
        return u"outputs must be a whole number 0..%1"_s.arg(kMaxChannels);
    const QJsonValue connection = t.value("connection"_L1);
    if (!connection.isObject())
        return u"no \"connection\" object"_s;
    const QJsonValue type = connection.toObject().value("type"_L1);
    if (!type.isString() || type.toString().isEmpty())
        return u"connection.type missing (picontrol, modbus_tcp, ...)"_s;
    if (t.contains("pinout"_L1) && !t.value("pinout"_L1).isObject())
        return u"pinout is not an object"_s;
    return {};
}

QJsonArray loadLibrary(const QString &path)
{
    const QJsonValue list = app::readJsonFile(path).object().value("templates"_L1);
    QJsonArray library;
    QSet<QString> ids;
    for (const QJsonValue &v : list.toArray()) {
        const QJsonObject t = v.toObject();
        const QString id = t.value("id"_L1).toString();
        if (!validateTemplate(v).isEmpty() || t.value("builtin"_L1).toBool() || ids.contains(id))
            continue;
        ids.insert(id);
        library.append(t);
    }
    return library;
}

bool saveLibrary(const QJsonArray &library, const QString &path)
{
    QFile old(path);
    if (QFileInfo(path).isFile() && old.size() > 0 &&
        !app::readJsonFile(path).object().value("templates"_L1).isArray()) {
        // Someone's hand edit that no longer parses: keep it for them rather than write over it.
        const QString aside = path + u".bad"_s;
        QFile::remove(aside);
        if (!old.copy(aside))
            qCWarning(lcTemplates) << "could not keep the unreadable library as" << aside << old.errorString();
    }
    return app::writeJsonFile(path, QJsonDocument(QJsonObject{{"templates"_L1, library}}));
}

QJsonArray parseTemplateFile(const QByteArray &bytes, QString *error)
{
    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        if (error)
            *error = u"not JSON (%1 at offset %2)"_s.arg(parseError.errorString()).arg(parseError.offset);
        return {};
    }
    if (error)
        error->clear();
    if (doc.isArray())
        return doc.array();
    const QJsonObject top = doc.object();
    if (top.value("templates"_L1).isArray())
        return top.value("templates"_L1).toArray();
    return QJsonArray{top};
}

MergeResult mergeTemplates(QJsonArray &library, const QJsonArray &incoming)
{
    MergeResult r;
    for (qsizetype n = 0; n < incoming.size(); ++n) {
        const QJsonValue v = incoming.at(n);
        const QJsonObject t = v.toObject();
        if (t.value("builtin"_L1).toBool()) {
            ++r.builtin;
            continue;
        }
        const QString id = t.value("id"_L1).toString();
        if (const QString why = validateTemplate(v); !why.isEmpty()) {
            r.rejected << u"%1: %2"_s.arg(id.isEmpty() ? u"#%1"_s.arg(n + 1) : id, why);
            continue;
        }
        const qsizetype at = indexOfId(library, id);
        if (at < 0) {
            library.append(t);
            ++r.added;
            continue;
        }
        const QDateTime theirs = updatedTime(t);
        const QDateTime ours = updatedTime(library.at(at).toObject());
        const bool newer =
            theirs.isValid() && (!ours.isValid() || theirs.toMSecsSinceEpoch() > ours.toMSecsSinceEpoch());
        if (newer) {
            library.replace(at, t);
            ++r.updated;
        } else {
            ++r.kept;
        }
    }
    return r;
}

ImportResult importTemplateFile(QJsonArray &library, const QString &path)
{
    ImportResult r;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        r.error = u"could not open %1 - %2"_s.arg(path, file.errorString());
        return r;
    }
    const QJsonArray incoming = parseTemplateFile(file.readAll(), &r.error);
    if (r.error.isEmpty())
        r.merge = mergeTemplates(library, incoming);
    return r;
}

QString writeTemplateFile(const QJsonArray &templates, const QString &path)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return file.errorString();
    file.write(QJsonDocument(QJsonObject{{"templates"_L1, templates}}).toJson(QJsonDocument::Indented));
    if (!file.commit())
        return file.errorString();
    return {};
}

} // namespace iotemplates
