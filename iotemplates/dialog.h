#pragma once
// The "IO module templates" tool: the library on this laptop as a list with each template's file
// beside it, and import, export and delete. Every box and file dialog goes through the modal hook.

class QDialog;
class QWidget;

namespace iotemplates {

// Builds the dialog without running it (a test drives it as it stands).
QDialog *templatesDialog(QWidget *parent);

// The tool menu's "IO module templates": builds the dialog, runs it modally and deletes it.
void ioTemplates(QWidget *parent);

} // namespace iotemplates
