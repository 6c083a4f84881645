#include "app/base/installation.h"

#include "app/base/settings.h"

#include <QCoreApplication>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace app {

Installation readInstallation(const QString &path)
{
    Installation in{QStringLiteral(KESTRO_SUPPORT_EMAIL), QUrl(QStringLiteral(KESTRO_RELEASE_BASE))};
    const QJsonObject file = readJsonFile(path).object();
    if (const QString email = file.value("supportEmail"_L1).toString().trimmed(); email.contains(u'@'))
        in.supportEmail = email;
    // Only an absolute HTTPS folder will do: updates are never fetched in the clear.
    QString base = file.value("releaseBase"_L1).toString().trimmed();
    if (!base.isEmpty() && !base.endsWith(u'/'))
        base += u'/';
    if (const QUrl url(base); url.isValid() && url.scheme() == "https"_L1 && !url.host().isEmpty())
        in.releaseBase = url;
    return in;
}

const Installation &installation()
{
    static const Installation in =
        readInstallation(qEnvironmentVariableIsSet("KESTRO_INSTALLATION")
                             ? qEnvironmentVariable("KESTRO_INSTALLATION")
                             : QCoreApplication::applicationDirPath() + u"/installation.json"_s);
    return in;
}

} // namespace app
