// The "IO module templates" dialog on real widgets: rows are clicked, buttons pressed, and every
// file dialog and box on the way is answered through the modal hook, as a technician would.

#include "app/base/modal.h"
#include "iotemplates/dialog.h"
#include "iotemplates/library.h"
#include "iotemplatestest.h"
#include "support/testsupport.h"

#include <QFile>
#include <QFileDialog>
#include <QJsonArray>
#include <QJsonDocument>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>

#include <memory>

using namespace Qt::StringLiterals;
using namespace iotemplatestest;

namespace {

QJsonObject tpl(const QString &id, const QString &name)
{
    QJsonObject t = testsupport::json(R"({"schema":"kestro.io-template/1","maker":"Site electrics","inputs":8,
        "outputs":4,"connection":{"type":"picontrol"},"updated":"2026-03-04T05:06:07Z"})");
    t.insert("id"_L1, id);
    t.insert("name"_L1, name);
    return t;
}

QByteArray wrapped(const QJsonArray &templates)
{
    return QJsonDocument(QJsonObject{{"templates"_L1, templates}}).toJson();
}

// Answers the coming modal boxes in turn and notes each as "kind|title|text": a file dialog (its
// text: filter|proposed name) gets the next of `files` (empty cancels), a message box gets
// `button`. A question notes whether No is its default.
class Answers
{
public:
    explicit Answers(QStringList files = {}, QMessageBox::StandardButton button = QMessageBox::Ok)
        : m_files(std::move(files))
        , m_button(button)
    {
        arm();
    }
    ~Answers() { app::setNextAnswer({}); }

    QStringList seen;

private:
    void arm()
    {
        app::setNextAnswer([this](QDialog *dialog) {
            arm(); // the box this one leads to is answered too
            if (auto *files = qobject_cast<QFileDialog *>(dialog)) {
                seen << u"file|%1|%2|%3"_s.arg(files->windowTitle(), files->nameFilters().join(u';'),
                                               QFileInfo(files->selectedFiles().value(0)).fileName());
                const QString path = m_files.isEmpty() ? QString() : m_files.takeFirst();
                if (path.isEmpty())
                    return files->reject();
                files->selectFile(path);
                static_cast<QDialog *>(files)->accept(); // as its Open or Save button does
            } else if (auto *box = qobject_cast<QMessageBox *>(dialog)) {
                const QString kind = box->icon() == QMessageBox::Information                ? u"information"_s
                                     : box->icon() == QMessageBox::Warning                  ? u"warning"_s
                                     : box->defaultButton() == box->button(QMessageBox::No) ? u"question, No default"_s
                                                                                            : u"other"_s;
                seen << u"%1|%2|%3"_s.arg(kind, box->windowTitle(), box->text());
                QAbstractButton *button = box->button(m_button) ? box->button(m_button) : box->buttons().value(0);
                button->click();
            }
        });
    }

    QStringList m_files;
    QMessageBox::StandardButton m_button;
};

} // namespace

class TestDialog : public QObject
{
    Q_OBJECT

    QTemporaryDir m_files;

    // The dialog over the library file as it is now, laid out at its own size.
    static std::unique_ptr<QDialog> open()
    {
        std::unique_ptr<QDialog> dialog(iotemplates::templatesDialog(nullptr));
        testsupport::layOut(dialog.get(), 860, 620);
        return dialog;
    }
    static QTreeWidget *list(QDialog *d) { return d->findChild<QTreeWidget *>(u"templateList"_s); }
    static void press(QDialog *d, const QString &button)
    {
        QTest::mouseClick(d->findChild<QPushButton *>(button), Qt::LeftButton);
    }
    // Clicks the rows of these names, holding Ctrl after the first.
    static void select(QDialog *d, const QStringList &names)
    {
        for (int i = 0; i < names.size(); ++i) {
            QTreeWidgetItem *row = list(d)->findItems(names[i], Qt::MatchExactly).value(0);
            QVERIFY2(row, qPrintable(names[i]));
            QTest::mouseClick(list(d)->viewport(), Qt::LeftButton, i ? Qt::ControlModifier : Qt::NoModifier,
                              list(d)->visualItemRect(row).center());
        }
    }
    static QString onlyRow(QDialog *d)
    {
        return list(d)->topLevelItemCount() == 1 ? list(d)->topLevelItem(0)->text(0) : QString();
    }
    // The boxes seen, then the log lines; "..." in `expected` stands for some text of the system's own.
    static void compareEvents(const QStringList &seen, const QStringList &expected)
    {
        const QStringList events = seen + logged();
        QCOMPARE(events.size(), expected.size());
        for (qsizetype i = 0; i < events.size(); ++i) {
            const QString head = expected[i].section(u"..."_s, 0, 0), tail = expected[i].section(u"..."_s, 1);
            QVERIFY2(events[i] == expected[i] ||
                         (expected[i].contains(u"..."_s) && events[i].startsWith(head) && events[i].endsWith(tail) &&
                          events[i].size() > head.size() + tail.size()),
                     qPrintable(events[i]));
        }
    }

private slots:
    void initTestCase() { testsupport::isolateConfig(); }
    void init()
    {
        QFile::remove(units::connectLogPath());
        QFile::remove(iotemplates::libraryPath());
    }

    // A damaged library reads as empty, and an import that fails never writes over it; a good file
    // then adds what is new and says what it rejected.
    void import()
    {
        const QByteArray damaged("{\"templates\": [ {\"id\": ");
        QVERIFY(testsupport::writeFile(iotemplates::libraryPath(), damaged));
        const QString bad = m_files.filePath(u"bad.json"_s), good = m_files.filePath(u"good.json"_s);
        QVERIFY(testsupport::writeFile(bad, "{\"templates\": nope}"));
        QVERIFY(testsupport::writeFile(good, wrapped({tpl(u"relay-a"_s, u"Relay A"_s), tpl(u"x.y"_s, u"X"_s)})));
        auto dialog = open();
        Answers answers({bad, good});
        press(dialog.get(), u"importButton"_s);
        QCOMPARE(testsupport::readFile(iotemplates::libraryPath()), damaged);
        press(dialog.get(), u"importButton"_s);
        const QString file = u"file|Import IO templates|IO templates (*.json)|"_s;
        compareEvents(answers.seen,
                      {file, u"warning|Import failed|Nothing was imported: not JSON (... at offset 16)"_s, file,
                       u"warning|Templates imported|Added 1, updated 0.\n\nRejected 1:\n  - x.y: id \"x.y\" - 1 to 64 "
                       u"letters, digits, - or _ only"_s,
                       u"iotemplates  import  added 1 updated 0 kept 0 builtin 0 rejected 1"_s});
        QCOMPARE(onlyRow(dialog.get()), u"Relay A"_s);
    }

    // Selected rows go out in library order and a folder that cannot be written says so; deleting
    // asks first, with No the default.
    void exportAndDelete()
    {
        QVERIFY(testsupport::writeFile(iotemplates::libraryPath(),
                                       wrapped({tpl(u"relay-a"_s, u"Relay A"_s), tpl(u"relay-b"_s, u"Relay B"_s),
                                                tpl(u"relay-c"_s, u"Relay C"_s)})));
        const QByteArray before = testsupport::readFile(iotemplates::libraryPath());
        const QString path = m_files.filePath(u"two.json"_s), blocked = u"/proc/kestro-export.json"_s;
        auto dialog = open();
        select(dialog.get(), {u"Relay C"_s, u"Relay A"_s});
        Answers answers({path, blocked}, QMessageBox::Yes);
        press(dialog.get(), u"exportSelectedButton"_s);
        press(dialog.get(), u"exportAllButton"_s);
        QStringList ids;
        for (const QJsonValue &v :
             QJsonDocument::fromJson(testsupport::readFile(path)).object().value("templates"_L1).toArray())
            ids << v.toObject().value("id"_L1).toString();
        QCOMPARE(ids, QStringList({u"relay-a"_s, u"relay-c"_s}));
        QCOMPARE(testsupport::readFile(iotemplates::libraryPath()), before);
        press(dialog.get(), u"deleteButton"_s);
        QCOMPARE(onlyRow(dialog.get()), u"Relay B"_s);
        const QString file = u"file|Export IO templates|IO templates (*.json)|io-templates.json"_s;
        compareEvents(answers.seen,
                      {file, u"information|Templates exported|2 template(s) written to\n"_s + path + u"..."_s, file,
                       u"warning|Export failed|Could not write "_s + blocked + u" - ..."_s,
                       u"question, No default|Delete templates|Delete 2 templates from this laptop?..."_s,
                       u"iotemplates  exported 2 template(s)"_s, u"iotemplates  deleted 2 template(s)"_s});
    }
};

QTEST_MAIN(TestDialog)
#include "tst_dialog.moc"
