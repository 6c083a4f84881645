#include "sim/certs.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSslCertificate>
#include <QSslKey>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace sim {

QString defaultCertDir()
{
    QString base = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation);
    if (base.isEmpty())
        base = QDir::tempPath();
    return base + u"/kestro-unit-sim"_s;
}

CertFiles ensureCertificate(const QString &dir, const QString &name, const QString &commonName, const QString &address)
{
    CertFiles files{dir + u'/' + name + u".crt"_s, dir + u'/' + name + u".key"_s, {}};
    if (QFileInfo::exists(files.cert) && QFileInfo::exists(files.key))
        return files;
    if (!QDir().mkpath(dir)) {
        files.error = u"cannot create the certificate folder %1"_s.arg(dir);
        return files;
    }
    // An EC key keeps generation quick; ten years so that a demo kit never expires mid-demo.
    QProcess openssl;
    openssl.start(u"openssl"_s,
                  {u"req"_s, u"-x509"_s, u"-newkey"_s, u"ec"_s, u"-pkeyopt"_s, u"ec_paramgen_curve:prime256v1"_s,
                   u"-nodes"_s, u"-days"_s, u"3650"_s, u"-subj"_s, u"/CN="_s + commonName, u"-addext"_s,
                   u"subjectAltName=DNS:%1,IP:%2"_s.arg(commonName, address), u"-keyout"_s, files.key + u".part"_s,
                   u"-out"_s, files.cert + u".part"_s});
    if (!openssl.waitForStarted(10000)) {
        files.error = u"cannot run openssl to make a certificate: %1"_s.arg(openssl.errorString());
        return files;
    }
    openssl.waitForFinished(60000);
    if (openssl.exitStatus() != QProcess::NormalExit || openssl.exitCode() != 0) {
        files.error = u"openssl could not make a certificate: %1"_s.arg(
            QString::fromLocal8Bit(openssl.readAllStandardError()).trimmed().left(300));
        QFile::remove(files.key + u".part"_s);
        QFile::remove(files.cert + u".part"_s);
        return files;
    }
    // Rename into place only when both halves exist, so a crash never leaves a lone key behind.
    QFile::remove(files.key);
    QFile::remove(files.cert);
    if (!QFile::rename(files.key + u".part"_s, files.key) || !QFile::rename(files.cert + u".part"_s, files.cert))
        files.error = u"cannot store the certificate in %1"_s.arg(dir);
    return files;
}

QSslConfiguration loadTls(const CertFiles &files, QString *error)
{
    QSslConfiguration conf = QSslConfiguration::defaultConfiguration();
    QFile certFile(files.cert);
    QFile keyFile(files.key);
    if (!certFile.open(QIODevice::ReadOnly)) {
        *error = u"cannot read the certificate %1"_s.arg(files.cert);
        return conf;
    }
    if (!keyFile.open(QIODevice::ReadOnly)) {
        *error = u"cannot read the key %1"_s.arg(files.key);
        return conf;
    }
    const QList<QSslCertificate> chain = QSslCertificate::fromData(certFile.readAll(), QSsl::Pem);
    const QByteArray keyPem = keyFile.readAll();
    QSslKey key(keyPem, QSsl::Ec, QSsl::Pem);
    if (key.isNull())
        key = QSslKey(keyPem, QSsl::Rsa, QSsl::Pem);
    if (chain.isEmpty() || chain.first().isNull()) {
        *error = u"%1 holds no PEM certificate"_s.arg(files.cert);
        return conf;
    }
    if (key.isNull()) {
        *error = u"%1 holds no PEM private key (EC or RSA)"_s.arg(files.key);
        return conf;
    }
    conf.setLocalCertificateChain(chain);
    conf.setPrivateKey(key);
    conf.setPeerVerifyMode(QSslSocket::VerifyNone);
    error->clear();
    return conf;
}

} // namespace sim
