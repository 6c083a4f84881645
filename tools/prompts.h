#pragma once
// The boxes and prompts the tools put in front of the technician: an information box, a Yes/No
// question, one-line and multi-line text prompts and the save-file dialog. Each is a real dialog
// object run through the one modal hook (app/base/modal.h), so a test answers it on its widgets.

#include <QByteArray>
#include <QString>

#include <optional>

class QWidget;

namespace tools {

// An information box with an OK button.
void infoBox(QWidget *parent, const QString &title, const QString &text);

// A Yes/No question; true for Yes.
bool askYesNo(QWidget *parent, const QString &title, const QString &text);

// A one-line or multi-line text prompt; nothing when it was cancelled.
std::optional<QString> askLine(QWidget *parent, const QString &title, const QString &prompt);
std::optional<QString> askLines(QWidget *parent, const QString &title, const QString &prompt);

// A save-file dialog proposing `proposedName`; the chosen path, or empty when cancelled.
QString askSaveFile(QWidget *parent, const QString &title, const QString &proposedName, const QString &filter);

// Writes the bytes through an atomic save file; false when the file could not be written.
bool saveFile(const QString &path, const QByteArray &bytes);

} // namespace tools
