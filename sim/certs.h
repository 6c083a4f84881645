#pragma once
// The simulated unit's TLS identity: a self-signed certificate made with the openssl command the
// first time it is needed, kept in a folder so that restarts present the same certificate.

#include <QSslConfiguration>
#include <QString>

namespace sim {

struct CertFiles
{
    QString cert;
    QString key;
    QString error; // empty on success
};

// Makes sure "<dir>/<name>.crt" and "<dir>/<name>.key" exist, generating a fresh pair with
// `openssl req` when either is missing. `commonName` goes into the certificate's subject and,
// with `address`, into its alternative names, so a client that trusts the file can check it.
CertFiles ensureCertificate(const QString &dir, const QString &name, const QString &commonName, const QString &address);

// Reads a PEM certificate and key into a server-side TLS configuration; `error` explains a
// failure (and the returned configuration is then not to be used).
QSslConfiguration loadTls(const CertFiles &files, QString *error);

// The folder used when none is given: the user's cache folder, or a temporary one.
QString defaultCertDir();

} // namespace sim
