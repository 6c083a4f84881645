#pragma once
// Small helpers the test executables share: a private configuration folder, the source tree,
// and a way to build and lay out a widget tree the way a window would.

#include <QJsonObject>
#include <QString>

class QWidget;

namespace testsupport {

// Points the application's configuration and cache folders at a fresh temporary folder, so no
// test touches a real configuration. Call once from initTestCase().
void isolateConfig();

// The project's source folder (for fixtures and the built executable's neighbours).
QString sourceDir();

// Parses JSON text that a test writes inline; fails the test on a syntax error.
QJsonObject json(const char *text);

// Shows `w` off-screen at the given width and lets its layouts settle.
void layOut(QWidget *w, int width, int height = 0);

} // namespace testsupport
