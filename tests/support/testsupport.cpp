#include "support/testsupport.h"

#include <QApplication>
#include <QJsonDocument>
#include <QLayout>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>

namespace testsupport {

void isolateConfig()
{
    // Test mode puts configuration under the home folder (~/.qttest), so the home folder itself
    // is private too: two runs of one test, in two build folders, never share a file.
    static QTemporaryDir home;
    qputenv("HOME", home.path().toLocal8Bit());
    qputenv("XDG_CONFIG_HOME", home.filePath(QStringLiteral("config")).toLocal8Bit());
    qputenv("XDG_CACHE_HOME", home.filePath(QStringLiteral("cache")).toLocal8Bit());
    QStandardPaths::setTestModeEnabled(true);
}

QString sourceDir()
{
    return qEnvironmentVariable("KESTRO_SOURCE_DIR");
}

QJsonObject json(const char *text)
{
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(QByteArray(text), &error);
    if (error.error != QJsonParseError::NoError)
        qFatal("test JSON does not parse: %s", qPrintable(error.errorString()));
    return doc.object();
}

void layOut(QWidget *w, int width, int height)
{
    w->setAttribute(Qt::WA_DontShowOnScreen);
    w->resize(width, height > 0 ? height : std::max(w->sizeHint().height(), 50));
    w->show();
    for (int i = 0; i < 4; ++i) {
        if (w->layout())
            w->layout()->activate();
        QCoreApplication::processEvents();
    }
    if (height <= 0 && w->hasHeightForWidth())
        w->resize(width, w->heightForWidth(width));
    QCoreApplication::processEvents();
}

} // namespace testsupport
