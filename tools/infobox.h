#pragma once
// The information box the tools end with ("Report saved", "Uninstall", ...): plain text, one OK
// button, run through the one modal hook so that tests can read and answer it.

#include <QString>

class QWidget;

namespace tools {

void showInformation(QWidget *parent, const QString &title, const QString &text);

} // namespace tools
