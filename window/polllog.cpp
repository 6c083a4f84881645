#include "window/polllog.h"

#include "app/base/logging.h"

#include <QFile>

namespace window {

void pollTrace(const QString &line)
{
    qCDebug(lcWindow, "%s", qPrintable(line));
    static const QString path = qEnvironmentVariable("KESTRO_POLL_LOG");
    if (path.isEmpty())
        return;
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text))
        file.write((line + u'\n').toUtf8());
}

} // namespace window
