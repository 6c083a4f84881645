#include "updater/release.h"

#include <QStringList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace updater {

namespace {

// A component of digits only, read as a number; anything else is 0.
quint64 component(const QStringList &parts, qsizetype i)
{
    const QString part = parts.value(i);
    if (part.isEmpty() || !std::all_of(part.begin(), part.end(), [](QChar c) { return c >= u'0' && c <= u'9'; }))
        return 0;
    bool ok = false;
    const quint64 value = part.toULongLong(&ok);
    return ok ? value : 0;
}

} // namespace

std::optional<Release> readRelease(const QJsonObject &manifest, const QString &appId, const QString &platform)
{
    const QJsonObject app = manifest.value("apps"_L1).toObject().value(appId).toObject();
    if (app.isEmpty())
        return std::nullopt;
    const QJsonObject file = app.value("files"_L1).toObject().value(platform).toObject();
    Release release;
    release.version = file.value("version"_L1).toString();
    if (release.version.isEmpty())
        release.version = app.value("version"_L1).toString();
    release.path = file.value("path"_L1).toString();
    release.sha256 = file.value("sha256"_L1).toString().trimmed();
    release.notes = app.value("notes"_L1).toString();
    return release;
}

int compareVersions(const QString &a, const QString &b)
{
    const QStringList left = a.section(u'+', 0, 0).split(u'.');
    const QStringList right = b.section(u'+', 0, 0).split(u'.');
    for (qsizetype i = 0, n = std::max(left.size(), right.size()); i < n; ++i) {
        const quint64 x = component(left, i);
        const quint64 y = component(right, i);
        if (x != y)
            return x < y ? -1 : 1;
    }
    return 0;
}

QString installerFileName(const QString &path)
{
    const QString name = path.section(u'/', -1);
    if (name.isEmpty() || name == "."_L1 || name == ".."_L1 || name.contains(u'\\'))
        return {};
    return name;
}

QUrl installerUrl(const QUrl &releaseBase, const QString &path)
{
    QByteArrayList segments;
    for (const QString &segment : path.split(u'/', Qt::SkipEmptyParts))
        segments << QUrl::toPercentEncoding(segment);
    return QUrl::fromEncoded(releaseBase.toEncoded() + segments.join('/'), QUrl::StrictMode);
}

} // namespace updater
