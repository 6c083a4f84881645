#include "iotemplates/dialog.h"

#include "app/base/modal.h"
#include "app/base/theme.h"
#include "iotemplates/library.h"
#include "prims/json.h"
#include "tools/dialogs.h"
#include "units/diaglog.h"

#include <QBoxLayout>
#include <QDateTime>
#include <QDialog>
#include <QDir>
#include <QFileDialog>
#include <QHeaderView>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSet>
#include <QTreeWidget>

using namespace Qt::StringLiterals;

namespace iotemplates {

namespace {

constexpr int kIdRole = Qt::UserRole;
constexpr int kFileRole = Qt::UserRole + 1;
constexpr int kRowPadding = 8; // px above and below a row's text together
constexpr int kColumnGap = 18; // px after a content-sized column
const QString kFilter = u"IO templates (*.json)"_s;
const QString kWrapperName = u"io-templates.json"_s;
const QString kSelectFirst = u"Select one or more templates first."_s;

int showBox(QWidget *parent, QMessageBox::Icon icon, const QString &title, const QString &text,
            QMessageBox::StandardButtons buttons = QMessageBox::Ok,
            QMessageBox::StandardButton defaultButton = QMessageBox::NoButton)
{
    QMessageBox box(icon, title, text, buttons, parent);
    box.setTextFormat(Qt::PlainText); // ids and messages come from files others wrote
    if (defaultButton != QMessageBox::NoButton)
        box.setDefaultButton(defaultButton);
    return app::execModal(&box);
}

// The chosen file, or empty when the technician cancelled.
QString askForFile(QWidget *parent, const QString &title, QFileDialog::AcceptMode mode, const QString &proposed = {})
{
    QFileDialog dialog(parent, title, QDir::homePath(), kFilter);
    dialog.setAcceptMode(mode);
    if (mode == QFileDialog::AcceptOpen) {
        dialog.setFileMode(QFileDialog::ExistingFile);
    } else {
        dialog.setDefaultSuffix(u"json"_s);
        dialog.selectFile(proposed);
    }
    if (app::execModal(&dialog) != QDialog::Accepted)
        return {};
    return dialog.selectedFiles().value(0);
}

QString channelsText(const QJsonObject &t)
{
    return u"%1 in / %2 out"_s.arg(prims::readInt(t, "inputs"_L1, 0, 0, kMaxChannels))
        .arg(prims::readInt(t, "outputs"_L1, 0, 0, kMaxChannels));
}

QString updatedText(const QJsonObject &t)
{
    const QDateTime when = updatedTime(t);
    return when.isValid() ? when.toLocalTime().toString(u"yyyy-MM-dd HH:mm"_s) : prims::readText(t, "updated"_L1);
}

// The dialog's moving parts, shared by its buttons' handlers (and so living as long as the dialog).
struct View
{
    QDialog *dialog = nullptr;
    QTreeWidget *list = nullptr;
    QPlainTextEdit *file = nullptr;
    QLabel *status = nullptr;

    // Rebuilds the list and the status line from the library file.
    void refresh() const
    {
        const QJsonArray library = loadLibrary(libraryPath());
        list->clear();
        for (const QJsonValue &v : library) {
            const QJsonObject t = v.toObject();
            auto *row = new QTreeWidgetItem(
                list, {prims::readText(t, "name"_L1), prims::readText(t, "maker"_L1), channelsText(t),
                       prims::readText(prims::readObject(t, "connection"_L1), "type"_L1), updatedText(t)});
            row->setData(0, kIdRole, prims::readText(t, "id"_L1));
            row->setData(0, kFileRole, QString::fromUtf8(QJsonDocument(t).toJson(QJsonDocument::Indented)));
            row->setSizeHint(0, QSize(0, list->fontMetrics().height() + kRowPadding));
        }
        // Content-sized columns with air between them; the name takes the rest.
        for (int c = 1; c < list->columnCount(); ++c) {
            list->resizeColumnToContents(c);
            list->setColumnWidth(c, list->columnWidth(c) + kColumnGap);
        }
        status->setText(
            library.isEmpty()
                ? u"No templates on this laptop yet - import one, or sign in to a unit to collect its own."_s
                : u"%1 template(s) on this laptop."_s.arg(library.size()));
        showSelected();
    }

    // The ids of the selected rows.
    QSet<QString> selectedIds() const
    {
        QSet<QString> ids;
        for (const QTreeWidgetItem *row : list->selectedItems())
            ids.insert(row->data(0, kIdRole).toString());
        return ids;
    }

    void showSelected() const
    {
        const QList<QTreeWidgetItem *> rows = list->selectedItems();
        QTreeWidgetItem *row = rows.contains(list->currentItem()) ? list->currentItem() : rows.value(0);
        file->setPlainText(row ? row->data(0, kFileRole).toString() : QString());
    }

    void importFile() const
    {
        const QString path = askForFile(dialog, u"Import IO templates"_s, QFileDialog::AcceptOpen);
        if (path.isEmpty())
            return;
        QJsonArray library = loadLibrary(libraryPath());
        const ImportResult r = importTemplateFile(library, path);
        if (!r.error.isEmpty()) {
            showBox(dialog, QMessageBox::Warning, u"Import failed"_s, u"Nothing was imported: %1"_s.arg(r.error));
            return;
        }
        const MergeResult &m = r.merge;
        if (m.changed() && !saveLibrary(library, libraryPath())) {
            showBox(dialog, QMessageBox::Warning, u"Import failed"_s, u"Could not write %1."_s.arg(libraryPath()));
            return;
        }
        units::logLine(u"iotemplates  import  added %1 updated %2 kept %3 builtin %4 rejected %5"_s.arg(m.added)
                           .arg(m.updated)
                           .arg(m.kept)
                           .arg(m.builtin)
                           .arg(m.rejected.size()));
        refresh();
        QString text = u"Added %1, updated %2."_s.arg(m.added).arg(m.updated);
        if (m.kept)
            text += u"\n%1 already here and as new or newer - kept yours."_s.arg(m.kept);
        if (m.builtin)
            text += u"\n%1 built-in template(s) skipped - those ship with every unit."_s.arg(m.builtin);
        if (!m.rejected.isEmpty())
            text += u"\n\nRejected %1:\n  - %2"_s.arg(m.rejected.size()).arg(m.rejected.join(u"\n  - "_s));
        showBox(dialog, m.rejected.isEmpty() ? QMessageBox::Information : QMessageBox::Warning, u"Templates imported"_s,
                text);
    }

    void exportTemplates(bool selectedOnly) const
    {
        const QJsonArray library = loadLibrary(libraryPath());
        const QSet<QString> ids = selectedIds();
        QJsonArray chosen;
        for (const QJsonValue &v : library)
            if (!selectedOnly || ids.contains(v.toObject().value("id"_L1).toString()))
                chosen.append(v);
        if (chosen.isEmpty()) {
            showBox(dialog, QMessageBox::Information, selectedOnly ? u"Export selected"_s : u"Export all"_s,
                    selectedOnly ? kSelectFirst : u"There are no templates on this laptop yet."_s);
            return;
        }
        const QString proposed = selectedOnly && chosen.size() == 1
                                     ? chosen.first().toObject().value("id"_L1).toString() + u".json"_s
                                     : kWrapperName;
        const QString path = askForFile(dialog, u"Export IO templates"_s, QFileDialog::AcceptSave, proposed);
        if (path.isEmpty())
            return;
        if (const QString why = writeTemplateFile(chosen, path); !why.isEmpty()) {
            showBox(dialog, QMessageBox::Warning, u"Export failed"_s, u"Could not write %1 - %2"_s.arg(path, why));
            return;
        }
        units::logLine(u"iotemplates  exported %1 template(s)"_s.arg(chosen.size()));
        showBox(dialog, QMessageBox::Information, u"Templates exported"_s,
                u"%1 template(s) written to\n%2\n\nSend the file; the other laptop imports it from this same dialog."_s
                    .arg(chosen.size())
                    .arg(path));
    }

    void deleteSelected() const
    {
        const QList<QTreeWidgetItem *> rows = list->selectedItems();
        if (rows.isEmpty()) {
            showBox(dialog, QMessageBox::Information, u"Delete"_s, kSelectFirst);
            return;
        }
        const QString what =
            rows.size() == 1 ? u"\"%1\""_s.arg(rows.first()->text(0)) : u"%1 templates"_s.arg(rows.size());
        const int answer = showBox(dialog, QMessageBox::Question, u"Delete templates"_s,
                                   u"Delete %1 from this laptop?\n\nA unit that already has it keeps its copy, and "
                                   u"gives it back the next time you sign in to that unit."_s.arg(what),
                                   QMessageBox::Yes | QMessageBox::No, QMessageBox::No);
        if (answer != QMessageBox::Yes)
            return;
        const QSet<QString> ids = selectedIds();
        const QJsonArray library = loadLibrary(libraryPath());
        QJsonArray kept;
        for (const QJsonValue &v : library)
            if (!ids.contains(v.toObject().value("id"_L1).toString()))
                kept.append(v);
        if (!saveLibrary(kept, libraryPath())) {
            showBox(dialog, QMessageBox::Warning, u"Delete failed"_s, u"Could not write %1."_s.arg(libraryPath()));
            refresh();
            return;
        }
        units::logLine(u"iotemplates  deleted %1 template(s)"_s.arg(library.size() - kept.size()));
        refresh();
    }
};

QPushButton *addButton(QBoxLayout *row, const QString &text, const char *name)
{
    auto *button = new QPushButton(text);
    button->setObjectName(QString::fromLatin1(name));
    button->setAutoDefault(false);
    row->addWidget(button);
    return button;
}

} // namespace

QDialog *templatesDialog(QWidget *parent)
{
    const theme::Palette &pal = theme::palette();
    auto view = std::make_shared<View>();
    view->dialog = tools::makeDialog(parent, u"IO module templates"_s, 860, 620);
    auto *layout = new QVBoxLayout(view->dialog);
    layout->addWidget(tools::makeLabel(u"IO module templates"_s, 14, pal.ink, true));
    layout->addWidget(
        tools::makeLabel(u"Kept on this laptop and shared with each unit when you sign in to it. Import a "
                         u".json someone sent you; export to share one over Teams."_s,
                         10, pal.muted));

    view->list = new QTreeWidget;
    view->list->setObjectName(u"templateList"_s);
    view->list->setHeaderLabels({u"Name"_s, u"Maker"_s, u"Channels"_s, u"Connection"_s, u"Updated"_s});
    view->list->setRootIsDecorated(false);
    view->list->setUniformRowHeights(true);
    view->list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    view->list->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    view->list->header()->setStretchLastSection(false);
    layout->addWidget(view->list, 3);

    view->file = new QPlainTextEdit;
    view->file->setObjectName(u"templateFile"_s);
    view->file->setReadOnly(true);
    view->file->setFont(theme::monoFont(9));
    view->file->setPlaceholderText(u"Select a template to see its file."_s);
    layout->addWidget(view->file, 2);

    view->status = tools::makeLabel(QString(), 10, pal.muted);
    view->status->setObjectName(u"templateStatus"_s);
    layout->addWidget(view->status);

    auto *row = new QHBoxLayout;
    QPushButton *import = addButton(row, u"Import..."_s, "importButton");
    import->setProperty("kind", u"primary"_s);
    QPushButton *exportSelected = addButton(row, u"Export selected..."_s, "exportSelectedButton");
    QPushButton *exportAll = addButton(row, u"Export all..."_s, "exportAllButton");
    QPushButton *remove = addButton(row, u"Delete"_s, "deleteButton");
    row->addStretch(1);
    tools::addCloseRow(view->dialog, row, u"Close"_s);
    layout->addLayout(row);

    QObject::connect(view->list, &QTreeWidget::itemSelectionChanged, view->dialog, [view] { view->showSelected(); });
    QObject::connect(import, &QPushButton::clicked, view->dialog, [view] { view->importFile(); });
    QObject::connect(exportSelected, &QPushButton::clicked, view->dialog, [view] { view->exportTemplates(true); });
    QObject::connect(exportAll, &QPushButton::clicked, view->dialog, [view] { view->exportTemplates(false); });
    QObject::connect(remove, &QPushButton::clicked, view->dialog, [view] { view->deleteSelected(); });
    view->refresh();
    return view->dialog;
}

void ioTemplates(QWidget *parent)
{
    tools::runDialog(templatesDialog(parent));
}

} // namespace iotemplates
