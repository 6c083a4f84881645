#pragma once
// Small helpers the test executables share: a private configuration folder, the source tree,
// and a way to build and lay out a widget tree the way a window would.

#include <QJsonObject>
#include <QString>

class QWidget;

namespace testsupport {

// Gives the test a private home, configuration and cache folder, so no test touches a real
// configuration or another run's files. Call once from initTestCase(). Returns nothing: ask
// QStandardPaths or units::configDir() where things are.
void isolateConfig();

// The project's source folder (for fixtures and the built executable's neighbours).
QString sourceDir();

// Parses JSON text that a test writes inline; fails the test on a syntax error.
QJsonObject json(const char *text);

// Shows `w` off-screen at the given width and lets its layouts settle.
void layOut(QWidget *w, int width, int height = 0);

// A file's bytes (empty when it cannot be read), and writing them whole (false when it fails).
QByteArray readFile(const QString &path);
bool writeFile(const QString &path, const QByteArray &bytes);

// A self-signed EC certificate and its key made by openssl (NAME.pem, NAME.key in `dir`) for the
// servers tests stand up on loopback; `altName` such as "IP:127.0.0.1" when a client checks it.
bool makeCertificate(const QString &dir, const QString &name, const QString &altName = {});

} // namespace testsupport
