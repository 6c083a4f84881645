#pragma once
// The IO module template library kept on this laptop: one validation rule and one merge rule for
// every road a template comes in by (a file someone sent, the library file itself, a unit's answer
// at sign-in). Pure functions over JSON and files; nothing here shows anything.

#include <QByteArray>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <QStringList>

namespace iotemplates {

inline constexpr auto kSchema = "kestro.io-template/1";
inline constexpr int kMaxChannels = 64;
inline constexpr auto kLibraryFileName = "io-templates.json";

// What one merge did; `rejected` holds "id: why" per template turned away.
struct MergeResult
{
    int added = 0;
    int updated = 0;
    int kept = 0;
    int builtin = 0;
    QStringList rejected;

    // The library changed and is to be written back.
    bool changed() const { return added + updated > 0; }
};

struct ImportResult
{
    MergeResult merge;
    QString error; // non-empty: nothing was merged
};

// io-templates.json in the configuration folder.
QString libraryPath();

// A template's "updated" as a time (ISO 8601, with or without milliseconds); invalid when it is
// missing, empty or not such a time.
QDateTime updatedTime(const QJsonObject &t);

// Why the value is not a template, or empty when it is one.
QString validateTemplate(const QJsonValue &value);

// The valid, non-built-in templates of a {"templates": [...]} file, first of each id; empty on
// any failure to read it.
QJsonArray loadLibrary(const QString &path);

// Writes {"templates": library} atomically; false when it could not be written. A file there that
// does not read as a library is first copied aside to "<path>.bad", so nothing anyone wrote by hand
// is lost to the first save over it.
bool saveLibrary(const QJsonArray &library, const QString &path);

// The candidate templates of a file's bytes: an array, a {"templates": [...]} wrapper or one bare
// template. On a JSON syntax error, `error` says where and the result is empty.
QJsonArray parseTemplateFile(const QByteArray &bytes, QString *error);

// Merges `incoming` into `library` in order: built-in ones skipped, invalid ones rejected, new
// ids appended, known ids replaced only by a strictly newer "updated".
MergeResult mergeTemplates(QJsonArray &library, const QJsonArray &incoming);

// Opens, parses and merges a file into `library` (which is not touched when `error` is set).
ImportResult importTemplateFile(QJsonArray &library, const QString &path);

// Writes the templates as {"templates": [...]} atomically; empty on success, else the system's
// reason (export names it to the technician).
QString writeTemplateFile(const QJsonArray &templates, const QString &path);

} // namespace iotemplates
