#include "tools/infobox.h"

#include "app/base/modal.h"

#include <QMessageBox>

namespace tools {

void showInformation(QWidget *parent, const QString &title, const QString &text)
{
    auto *box = new QMessageBox(QMessageBox::Information, title, text, QMessageBox::Ok, parent);
    box->setTextFormat(Qt::PlainText); // paths and unit names are shown as they are
    app::execModal(box);
    box->deleteLater();
}

} // namespace tools
