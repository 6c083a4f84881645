// The "IO module templates" dialog on real widgets: rows are clicked, buttons pressed, and every
// file dialog and box on the way is answered through the modal hook, as a technician would.

#include "app/base/modal.h"
#include "iotemplates/dialog.h"
#include "iotemplates/library.h"
#include "iotemplatestest.h"
#include "support/testsupport.h"

#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>

#include <memory>

using namespace Qt::StringLiterals;
using namespace iotemplatestest;

namespace {

QJsonObject tpl(const QString &id, const QString &name, const QString &updated = u"2026-03-04T05:06:07Z"_s)
{
    QJsonObject t = testsupport::json(R"({"schema":"kestro.io-template/1","maker":"Site electrics","inputs":8,
        "outputs":4,"connection":{"type":"picontrol"}})");
    t.insert("id"_L1, id);
    t.insert("name"_L1, name);
    t.insert("updated"_L1, updated);
    return t;
}

QByteArray wrapped(const QJsonArray &templates)
{
    return QJsonDocument(QJsonObject{{"templates"_L1, templates}}).toJson();
}

const QJsonArray kThree{tpl(u"relay-a"_s, u"Relay A"_s), tpl(u"relay-b"_s, u"Relay B"_s),
                        tpl(u"relay-c"_s, u"Relay C"_s)};

// `shown` is `expected`, where "..." in `expected` stands for some text of the system's own.
void compareShown(const QString &shown, const QString &expected)
{
    const QString head = expected.section(u"..."_s, 0, 0);
    const QString tail = expected.contains(u"..."_s) ? expected.section(u"..."_s, 1) : QString();
    if (!expected.contains(u"..."_s))
        QCOMPARE(shown, expected);
    else
        QVERIFY2(shown.startsWith(head) && shown.endsWith(tail) && shown.size() > head.size() + tail.size(),
                 qPrintable(shown));
}

// Answers the coming modal boxes in turn and notes each as "kind|title|text": a file dialog (its
// text: filter|proposed name) gets the next of `files` (empty cancels; "vanish:" deletes the file
// once chosen), a message box gets `button`. A question notes whether No is its default.
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
                QString path = m_files.isEmpty() ? QString() : m_files.takeFirst();
                const bool vanish = path.startsWith(u"vanish:"_s);
                path.remove(u"vanish:"_s);
                if (path.isEmpty())
                    return files->reject();
                files->selectFile(path);
                static_cast<QDialog *>(files)->accept(); // as its Open or Save button does
                if (vanish) // gone between the choice and the reading, as on a share that drops
                    QFile::remove(path);
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
private slots:
    void initTestCase() { testsupport::isolateConfig(); }
    void init()
    {
        QFile::remove(units::connectLogPath());
        QDir(iotemplates::libraryPath()).removeRecursively(); // a test may leave a folder there
        QFile::remove(iotemplates::libraryPath());
        QVERIFY(m_files.isValid());
    }

    void nothingToWorkOn_data();
    void nothingToWorkOn();
    void import_data();
    void import();
    void rowsAndFile();
    void exportTemplates_data();
    void exportTemplates();
    void deleteTemplates_data();
    void deleteTemplates();

private:
    // The dialog over the library file as it is now, laid out at its own size.
    static std::unique_ptr<QDialog> open()
    {
        std::unique_ptr<QDialog> dialog(iotemplates::templatesDialog(nullptr));
        testsupport::layOut(dialog.get(), 860, 620);
        return dialog;
    }
    static QTreeWidget *list(QDialog *d) { return d->findChild<QTreeWidget *>(u"templateList"_s); }
    static QString status(QDialog *d) { return d->findChild<QLabel *>(u"templateStatus"_s)->text(); }
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
    static QStringList names(QDialog *d)
    {
        QStringList out;
        for (int i = 0; i < list(d)->topLevelItemCount(); ++i)
            out << list(d)->topLevelItem(i)->text(0);
        return out;
    }

    QTemporaryDir m_files;
};

void TestDialog::nothingToWorkOn_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<QString>("box");
    QTest::newRow("export selected") << u"exportSelectedButton"_s
                                     << u"information|Export selected|Select one or more templates first."_s;
    QTest::newRow("export all") << u"exportAllButton"_s
                                << u"information|Export all|There are no templates on this laptop yet."_s;
    QTest::newRow("delete") << u"deleteButton"_s << u"information|Delete|Select one or more templates first."_s;
}

void TestDialog::nothingToWorkOn()
{
    QFETCH(QString, button);
    QFETCH(QString, box);
    auto dialog = open();
    QCOMPARE(status(dialog.get()),
             u"No templates on this laptop yet - import one, or sign in to a unit to collect its own."_s);
    Answers answers;
    press(dialog.get(), button);
    QCOMPARE(answers.seen, QStringList{box});
    QVERIFY(logged().isEmpty());
    QVERIFY(!QFile::exists(iotemplates::libraryPath()));
}

// One file imported over one library file; "%file%" and "%library%" stand for their paths.
void TestDialog::import_data()
{
    QTest::addColumn<QByteArray>("library"); // "DIR": a folder where the file should be
    QTest::addColumn<QByteArray>("file");    // "GONE": the file vanishes once chosen
    QTest::addColumn<QString>("box");
    QTest::addColumn<QString>("log");
    QTest::addColumn<QStringList>("names"); // the list afterwards
    QTest::addColumn<bool>("libraryKept");  // the library file is byte for byte as it was

    const QJsonObject a = tpl(u"relay-a"_s, u"Relay A"_s);
    QJsonObject builtin = tpl(u"kestro-dio8"_s, u"Kestro DIO-8"_s);
    builtin.insert("builtin"_L1, true);
    const QString dotted = u"x.y: id \"x.y\" - 1 to 64 letters, digits, - or _ only"_s;
    const QString counts = u"iotemplates  import  added %1 updated %2 kept %3 builtin %4 rejected %5"_s;

    QTest::newRow("wrapper: new, built-in, rejected")
        << QByteArray() << wrapped({a, builtin, tpl(u"x.y"_s, u"Dotted"_s)})
        << u"warning|Templates imported|Added 1, updated 0.\n1 built-in template(s) skipped - those ship with every "
           u"unit.\n\nRejected 1:\n  - "_s +
               dotted
        << counts.arg(1).arg(0).arg(0).arg(1).arg(1) << QStringList{u"Relay A"_s} << false;
    QTest::newRow("array: same again is kept")
        << wrapped({a}) << QJsonDocument(QJsonArray{a}).toJson()
        << u"information|Templates imported|Added 0, updated 0.\n1 already here and as new or newer - kept yours."_s
        << counts.arg(0).arg(0).arg(1).arg(0).arg(0) << QStringList{u"Relay A"_s} << true;
    QTest::newRow("bare object: newer replaces")
        << wrapped({a}) << QJsonDocument(tpl(u"relay-a"_s, u"Relay A2"_s, u"2026-03-05T00:00:00Z"_s)).toJson()
        << u"information|Templates imported|Added 0, updated 1."_s << counts.arg(0).arg(1).arg(0).arg(0).arg(0)
        << QStringList{u"Relay A2"_s} << false;
    // A damaged library reads as empty, and an import that fails never writes over it.
    QTest::newRow("not JSON, over a corrupt library")
        << QByteArray("{\"templates\": [ {\"id\": ") << QByteArray("{\"templates\": nope}")
        << u"warning|Import failed|Nothing was imported: not JSON (... at offset 16)"_s << QString() << QStringList()
        << true;
    QTest::newRow("file gone, over a truncated library")
        << wrapped(kThree).left(90) << QByteArray("GONE")
        << u"warning|Import failed|Nothing was imported: could not open %file% - ..."_s << QString() << QStringList()
        << true;
    QTest::newRow("all rejected, over a library that is an array")
        << QJsonDocument(QJsonArray{a}).toJson() << wrapped({tpl(u"x.y"_s, u"Dotted"_s), 5})
        << u"warning|Templates imported|Added 0, updated 0.\n\nRejected 2:\n  - %1\n  - #2: not a template (expected "
           u"a JSON object)"_s.arg(dotted)
        << counts.arg(0).arg(0).arg(0).arg(0).arg(2) << QStringList() << true;
    QTest::newRow("library cannot be written")
        << QByteArray("DIR") << wrapped({a}) << u"warning|Import failed|Could not write %library%."_s << QString()
        << QStringList() << true;
}

void TestDialog::import()
{
    QFETCH(QByteArray, library);
    QFETCH(QByteArray, file);
    QFETCH(QString, box);
    QFETCH(QString, log);
    QFETCH(QStringList, names);
    QFETCH(bool, libraryKept);
    const QString libraryPath = iotemplates::libraryPath();
    if (library == "DIR")
        QVERIFY(QDir().mkpath(libraryPath));
    else if (!library.isEmpty())
        writeAll(libraryPath, library);
    const QString path = m_files.filePath(u"%1.json"_s.arg(QTest::currentDataTag()));
    writeAll(path, file);

    auto dialog = open();
    Answers answers({file == "GONE" ? u"vanish:"_s + path : path});
    press(dialog.get(), u"importButton"_s);
    QCOMPARE(answers.seen.size(), 2);
    QCOMPARE(answers.seen[0], u"file|Import IO templates|IO templates (*.json)|"_s);
    compareShown(answers.seen[1], box.replace(u"%file%"_s, path).replace(u"%library%"_s, libraryPath));
    QCOMPARE(logged(), log.isEmpty() ? QStringList() : QStringList{log});
    QCOMPARE(this->names(dialog.get()), names);
    if (libraryKept && library != "DIR")
        QCOMPARE(readAll(libraryPath), library);
}

void TestDialog::rowsAndFile()
{
    QJsonObject io16 = tpl(u"io-16"_s, u"IO 16"_s, u"2026-03-04T05:06:07.250+02:00"_s);
    io16.insert("inputs"_L1, 16);
    io16.insert("outputs"_L1, 0);
    io16.insert("connection"_L1, QJsonObject{{"type"_L1, u"modbus_tcp"_s}, {"port"_L1, 502}});
    writeAll(iotemplates::libraryPath(),
             wrapped({tpl(u"relay-a"_s, u"Relay A"_s), io16, tpl(u"no-time"_s, u"<b>Untimed</b>"_s, u"soon"_s)}));
    auto dialog = open();
    const auto local = [](const char *iso) {
        return QDateTime::fromString(QString::fromLatin1(iso), Qt::ISODateWithMs)
            .toLocalTime()
            .toString(u"yyyy-MM-dd HH:mm"_s);
    };
    QStringList rows;
    for (QTreeWidgetItem *item : {list(dialog.get())->headerItem(), list(dialog.get())->topLevelItem(0),
                                  list(dialog.get())->topLevelItem(1), list(dialog.get())->topLevelItem(2)}) {
        QStringList cells;
        for (int c = 0; c < 5; ++c)
            cells << item->text(c);
        rows << cells.join(u'|');
    }
    QCOMPARE(rows,
             QStringList({u"Name|Maker|Channels|Connection|Updated"_s,
                          "Relay A|Site electrics|8 in / 4 out|picontrol|" + local("2026-03-04T05:06:07Z"),
                          "IO 16|Site electrics|16 in / 0 out|modbus_tcp|" + local("2026-03-04T05:06:07.250+02:00"),
                          u"<b>Untimed</b>|Site electrics|8 in / 4 out|picontrol|soon"_s}));
    QCOMPARE(status(dialog.get()), u"3 template(s) on this laptop."_s);
    QCOMPARE(dialog->findChild<QPushButton *>(u"importButton"_s)->property("kind").toString(), u"primary"_s);

    auto *file = dialog->findChild<QPlainTextEdit *>(u"templateFile"_s);
    QCOMPARE(file->placeholderText(), u"Select a template to see its file."_s);
    QVERIFY(file->isReadOnly() && file->toPlainText().isEmpty());
    select(dialog.get(), {u"IO 16"_s});
    QCOMPARE(file->toPlainText().toUtf8(), QJsonDocument(io16).toJson(QJsonDocument::Indented));
    list(dialog.get())->clearSelection();
    QVERIFY(file->toPlainText().isEmpty());
}

void TestDialog::exportTemplates_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<QStringList>("selected"); // rows clicked first
    QTest::addColumn<QString>("proposed");
    QTest::addColumn<QString>("target"); // a file in the temporary folder, or an absolute path; empty cancels
    QTest::addColumn<QStringList>("written");

    const QString all = u"io-templates.json"_s;
    QTest::newRow("one selected") << u"exportSelectedButton"_s << QStringList{u"Relay B"_s} << u"relay-b.json"_s
                                  << u"b.json"_s << QStringList{u"relay-b"_s};
    QTest::newRow("two selected, in library order")
        << u"exportSelectedButton"_s << QStringList{u"Relay C"_s, u"Relay A"_s} << all << u"two.json"_s
        << QStringList{u"relay-a"_s, u"relay-c"_s};
    QTest::newRow("all, whatever is selected")
        << u"exportAllButton"_s << QStringList{u"Relay B"_s} << all << u"all.json"_s
        << QStringList{u"relay-a"_s, u"relay-b"_s, u"relay-c"_s};
    QTest::newRow("cancelled") << u"exportAllButton"_s << QStringList() << all << QString() << QStringList();
    QTest::newRow("folder not writable") << u"exportAllButton"_s << QStringList() << all
                                         << u"/proc/kestro-export.json"_s << QStringList();
}

void TestDialog::exportTemplates()
{
    QFETCH(QString, button);
    QFETCH(QStringList, selected);
    QFETCH(QString, proposed);
    QFETCH(QString, target);
    QFETCH(QStringList, written);
    writeAll(iotemplates::libraryPath(), wrapped(kThree));
    const QByteArray before = readAll(iotemplates::libraryPath());
    const QString path = target.isEmpty() || QDir::isAbsolutePath(target) ? target : m_files.filePath(target);
    auto dialog = open();
    select(dialog.get(), selected);
    Answers answers({path});
    press(dialog.get(), button);

    QCOMPARE(answers.seen.value(0), u"file|Export IO templates|IO templates (*.json)|"_s + proposed);
    QCOMPARE(readAll(iotemplates::libraryPath()), before);
    QStringList ids;
    for (const QJsonValue &v : QJsonDocument::fromJson(readAll(path)).object().value("templates"_L1).toArray())
        ids << v.toObject().value("id"_L1).toString();
    QCOMPARE(ids, written);
    if (path.isEmpty()) {
        QCOMPARE(answers.seen.size(), 1);
    } else if (written.isEmpty()) {
        QCOMPARE(answers.seen.size(), 2);
        compareShown(answers.seen[1], u"warning|Export failed|Could not write %1 - ..."_s.arg(path));
    } else {
        QCOMPARE(answers.seen.value(1),
                 u"information|Templates exported|%1 template(s) written to\n%2\n\nSend the "
                 u"file; the other laptop imports it from this same dialog."_s.arg(written.size())
                     .arg(path));
        QCOMPARE(logged(), QStringList{u"iotemplates  exported %1 template(s)"_s.arg(written.size())});
        return;
    }
    QVERIFY(logged().isEmpty());
}

void TestDialog::deleteTemplates_data()
{
    QTest::addColumn<QStringList>("selected");
    QTest::addColumn<bool>("yes");
    QTest::addColumn<bool>("unwritable"); // the library becomes a folder before the press
    QTest::addColumn<QString>("object");
    QTest::addColumn<QStringList>("left");
    QTest::addColumn<QString>("after"); // the log line, or the failure box

    QTest::newRow("one, no") << QStringList{u"Relay B"_s} << false << false << u"\"Relay B\""_s
                             << QStringList{u"Relay A"_s, u"Relay B"_s, u"Relay C"_s} << QString();
    QTest::newRow("one, yes") << QStringList{u"Relay B"_s} << true << false << u"\"Relay B\""_s
                              << QStringList{u"Relay A"_s, u"Relay C"_s} << u"iotemplates  deleted 1 template(s)"_s;
    QTest::newRow("two, yes") << QStringList{u"Relay A"_s, u"Relay C"_s} << true << false << u"2 templates"_s
                              << QStringList{u"Relay B"_s} << u"iotemplates  deleted 2 template(s)"_s;
    QTest::newRow("cannot write") << QStringList{u"Relay A"_s} << true << true << u"\"Relay A\""_s << QStringList()
                                  << u"warning|Delete failed|Could not write %library%."_s;
}

void TestDialog::deleteTemplates()
{
    QFETCH(QStringList, selected);
    QFETCH(bool, yes);
    QFETCH(bool, unwritable);
    QFETCH(QString, object);
    QFETCH(QStringList, left);
    QFETCH(QString, after);
    writeAll(iotemplates::libraryPath(), wrapped(kThree));
    auto dialog = open();
    select(dialog.get(), selected);
    if (unwritable)
        QVERIFY(QFile::remove(iotemplates::libraryPath()) && QDir().mkpath(iotemplates::libraryPath()));
    Answers answers({}, yes ? QMessageBox::Yes : QMessageBox::No);
    press(dialog.get(), u"deleteButton"_s);
    QCOMPARE(answers.seen.value(0),
             u"question, No default|Delete templates|Delete %1 from this laptop?\n\nA unit that already has it keeps "
             u"its copy, and gives it back the next time you sign in to that unit."_s.arg(object));
    QCOMPARE(names(dialog.get()), left);
    QCOMPARE(status(dialog.get()), left.isEmpty() ? u"No templates on this laptop yet - import one, or sign in to a "
                                                    u"unit to collect its own."_s
                                                  : u"%1 template(s) on this laptop."_s.arg(left.size()));
    const QStringList boxes =
        unwritable ? QStringList{after.replace(u"%library%"_s, iotemplates::libraryPath())} : QStringList();
    QCOMPARE(answers.seen.mid(1), boxes);
    QCOMPARE(logged(), unwritable || after.isEmpty() ? QStringList() : QStringList{after});
}

QTEST_MAIN(TestDialog)
#include "tst_dialog.moc"
