#include "support/testsupport.h"

#include <QApplication>
#include <QFile>
#include <QJsonDocument>
#include <QLayout>
#include <QProcess>
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

QByteArray readFile(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}

bool makeCertificate(const QString &dir, const QString &name, const QString &altName)
{
    QStringList args{QStringLiteral("req"),
                     QStringLiteral("-x509"),
                     QStringLiteral("-newkey"),
                     QStringLiteral("ec"),
                     QStringLiteral("-pkeyopt"),
                     QStringLiteral("ec_paramgen_curve:prime256v1"),
                     QStringLiteral("-nodes"),
                     QStringLiteral("-days"),
                     QStringLiteral("2"),
                     QStringLiteral("-subj"),
                     u"/CN=" + name,
                     QStringLiteral("-keyout"),
                     dir + u'/' + name + u".key",
                     QStringLiteral("-out"),
                     dir + u'/' + name + u".pem"};
    if (!altName.isEmpty())
        args << QStringLiteral("-addext") << u"subjectAltName=" + altName;
    QProcess openssl;
    openssl.start(QStringLiteral("openssl"), args);
    return openssl.waitForFinished(60000) && openssl.exitStatus() == QProcess::NormalExit && openssl.exitCode() == 0;
}

} // namespace testsupport
