#include "updater/installer.h"

#include "app/base/logging.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace updater {

bool startInstaller(const QString &installer)
{
    if (!QFileInfo(installer).isFile())
        return false;
#ifdef Q_OS_WIN
    return QProcess::startDetached(installer, {});
#else
    const QString pkexec = QStandardPaths::findExecutable(u"pkexec"_s);
    const QString aptGet = QStandardPaths::findExecutable(u"apt-get"_s);
    qCDebug(lcUpdater) << "install" << installer << "with" << pkexec << aptGet;
    if (pkexec.isEmpty() || aptGet.isEmpty())
        return false;
    // The arguments travel as positional parameters, never pasted into the script.
    const QString script = uR"("$1" "$2" install -y "$3"; exec "$4")"_s;
    return QProcess::startDetached(u"/bin/sh"_s, {u"-c"_s, script, u"kestro-install"_s, pkexec, aptGet, installer,
                                                  QCoreApplication::applicationFilePath()});
#endif
}

} // namespace updater
