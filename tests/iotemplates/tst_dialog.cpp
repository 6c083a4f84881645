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
    const QString head = expected.section(u"..."_s, 0, 0), tail = expected.section(u"..."_s, 1);
    QVERIFY2(shown == expected || (expected.contains(u"..."_s) && shown.startsWith(head) && shown.endsWith(tail) &&
                                   shown.size() > head.size() + tail.size()),
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

    QTemporaryDir m_files;

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
    // The boxes seen and then the log lines, against `expected` ("%file%", "%library%" their paths).
    static void compareEvents(const QStringList &seen, QStringList expected, const QString &file = {})
    {
        expected.replaceInStrings(u"%file%"_s, file).replaceInStrings(u"%library%"_s, iotemplates::libraryPath());
        const QStringList events = seen + logged();
        QCOMPARE(events.size(), expected.size());
        for (qsizetype i = 0; i < events.size(); ++i)
            compareShown(events[i], expected[i]);
    }

private slots:
    void initTestCase() { testsupport::isolateConfig(); }
    void init()
    {
        QFile::remove(units::connectLogPath());
        QDir(iotemplates::libraryPath()).removeRecursively(); // a test may leave a folder there
        QFile::remove(iotemplates::libraryPath());
        QVERIFY(m_files.isValid());
    }

    void nothingToWorkOn()
    {
        auto dialog = open();
        QCOMPARE(status(dialog.get()),
                 u"No templates on this laptop yet - import one, or sign in to a unit to collect its own."_s);
        Answers answers;
        for (const char *button : {"exportSelectedButton", "exportAllButton", "deleteButton"})
            press(dialog.get(), QString::fromLatin1(button));
        compareEvents(answers.seen, {u"information|Export selected|Select one or more templates first."_s,
                                     u"information|Export all|There are no templates on this laptop yet."_s,
                                     u"information|Delete|Select one or more templates first."_s});
        QVERIFY(!QFile::exists(iotemplates::libraryPath()));
    }

    // One file imported over one library file.
    void import_data()
    {
        QTest::addColumn<QByteArray>("library"); // "DIR": a folder where the file should be
        QTest::addColumn<QByteArray>("file");    // "GONE": the file vanishes once chosen
        QTest::addColumn<QStringList>("events"); // after the file dialog; a library never written unless logged
        QTest::addColumn<QStringList>("names");  // the list afterwards

        const QJsonObject a = tpl(u"relay-a"_s, u"Relay A"_s);
        QJsonObject builtin = tpl(u"kestro-dio8"_s, u"Kestro DIO-8"_s);
        builtin.insert("builtin"_L1, true);
        const QString counts = u"iotemplates  import  added %1 updated %2 kept %3 builtin %4 rejected %5"_s;
        QTest::newRow("wrapper: new, built-in, rejected")
            << QByteArray() << wrapped({a, builtin, tpl(u"x.y"_s, u"Dotted"_s)})
            << QStringList{u"warning|Templates imported|Added 1, updated 0.\n1 built-in template(s) skipped - those "
                           u"ship with every unit.\n\nRejected 1:\n  - x.y: id \"x.y\" - 1 to 64 letters, digits, - "
                           u"or _ only"_s,
                           counts.arg(1).arg(0).arg(0).arg(1).arg(1)}
            << QStringList{u"Relay A"_s};
        QTest::newRow("array: same again is kept")
            << wrapped({a}) << QJsonDocument(QJsonArray{a}).toJson()
            << QStringList{u"information|Templates imported|Added 0, updated 0.\n1 already here and as new or newer "
                           u"- kept yours."_s,
                           counts.arg(0).arg(0).arg(1).arg(0).arg(0)}
            << QStringList{u"Relay A"_s};
        QTest::newRow("bare object: newer replaces")
            << wrapped({a}) << QJsonDocument(tpl(u"relay-a"_s, u"Relay A2"_s, u"2026-03-05T00:00:00Z"_s)).toJson()
            << QStringList{u"information|Templates imported|Added 0, updated 1."_s,
                           counts.arg(0).arg(1).arg(0).arg(0).arg(0)}
            << QStringList{u"Relay A2"_s};
        // A damaged library reads as empty, and an import that fails never writes over it.
        QTest::newRow("not JSON, over a corrupt library")
            << QByteArray("{\"templates\": [ {\"id\": ") << QByteArray("{\"templates\": nope}")
            << QStringList{u"warning|Import failed|Nothing was imported: not JSON (... at offset 16)"_s}
            << QStringList();
        QTest::newRow("file gone, over a truncated library")
            << wrapped(kThree).left(90) << QByteArray("GONE")
            << QStringList{u"warning|Import failed|Nothing was imported: could not open %file% - ..."_s}
            << QStringList();
        QTest::newRow("library cannot be written")
            << QByteArray("DIR") << wrapped({a}) << QStringList{u"warning|Import failed|Could not write %library%."_s}
            << QStringList();
    }
    void import()
    {
        QFETCH(QByteArray, library);
        QFETCH(QByteArray, file);
        QFETCH(QStringList, events);
        const QString path = m_files.filePath(u"%1.json"_s.arg(QTest::currentDataTag()));
        QVERIFY(library == "DIR" ? QDir().mkpath(iotemplates::libraryPath())
                                 : library.isEmpty() || testsupport::writeFile(iotemplates::libraryPath(), library));
        QVERIFY(testsupport::writeFile(path, file));
        auto dialog = open();
        Answers answers({file == "GONE" ? u"vanish:"_s + path : path});
        press(dialog.get(), u"importButton"_s);
        compareEvents(answers.seen, QStringList{u"file|Import IO templates|IO templates (*.json)|"_s} + events, path);
        QTEST(names(dialog.get()), "names");
        if (!events.last().startsWith(u"iotemplates"_s) && library != "DIR")
            QCOMPARE(testsupport::readFile(iotemplates::libraryPath()), library);
    }

    void rowsAndFile()
    {
        QJsonObject io16 = tpl(u"io-16"_s, u"IO 16"_s, u"2026-03-04T05:06:07.250+02:00"_s);
        io16.insert("inputs"_L1, 16);
        io16.insert("connection"_L1, QJsonObject{{"type"_L1, u"modbus_tcp"_s}, {"port"_L1, 502}});
        QVERIFY(testsupport::writeFile(iotemplates::libraryPath(),
                                       wrapped({io16, tpl(u"no-time"_s, u"<b>Untimed</b>"_s, u"soon"_s)})));
        auto dialog = open();
        const QString updated = QDateTime::fromString(u"2026-03-04T05:06:07.250+02:00"_s, Qt::ISODateWithMs)
                                    .toLocalTime()
                                    .toString(u"yyyy-MM-dd HH:mm"_s);
        QStringList rows;
        for (QTreeWidgetItem *item : {list(dialog.get())->headerItem(), list(dialog.get())->topLevelItem(0),
                                      list(dialog.get())->topLevelItem(1)}) {
            QStringList cells;
            for (int c = 0; c < 5; ++c)
                cells << item->text(c);
            rows << cells.join(u'|');
        }
        QCOMPARE(rows, QStringList({u"Name|Maker|Channels|Connection|Updated"_s,
                                    u"IO 16|Site electrics|16 in / 4 out|modbus_tcp|"_s + updated,
                                    u"<b>Untimed</b>|Site electrics|8 in / 4 out|picontrol|soon"_s}));
        QCOMPARE(status(dialog.get()), u"2 template(s) on this laptop."_s);

        auto *file = dialog->findChild<QPlainTextEdit *>(u"templateFile"_s);
        QCOMPARE(file->placeholderText(), u"Select a template to see its file."_s);
        select(dialog.get(), {u"IO 16"_s});
        QCOMPARE(file->toPlainText().toUtf8(), QJsonDocument(io16).toJson(QJsonDocument::Indented));
        QVERIFY(file->isReadOnly());
        list(dialog.get())->clearSelection();
        QVERIFY(file->toPlainText().isEmpty());
    }

    void exportTemplates_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<QStringList>("selected"); // rows clicked first
        QTest::addColumn<QString>("proposed");
        QTest::addColumn<QString>("target"); // a file in the temporary folder, or an absolute path
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
        QTest::newRow("folder not writable")
            << u"exportAllButton"_s << QStringList() << all << u"/proc/kestro-export.json"_s << QStringList();
    }
    void exportTemplates()
    {
        QFETCH(QString, button);
        QFETCH(QStringList, selected);
        QFETCH(QString, proposed);
        QFETCH(QString, target);
        QFETCH(QStringList, written);
        QVERIFY(testsupport::writeFile(iotemplates::libraryPath(), wrapped(kThree)));
        const QByteArray before = testsupport::readFile(iotemplates::libraryPath());
        const QString path = QDir::isAbsolutePath(target) ? target : m_files.filePath(target);
        auto dialog = open();
        select(dialog.get(), selected);
        Answers answers({path});
        press(dialog.get(), button);
        QStringList ids;
        for (const QJsonValue &v :
             QJsonDocument::fromJson(testsupport::readFile(path)).object().value("templates"_L1).toArray())
            ids << v.toObject().value("id"_L1).toString();
        QCOMPARE(ids, written);
        QCOMPARE(testsupport::readFile(iotemplates::libraryPath()), before);
        const QString file = u"file|Export IO templates|IO templates (*.json)|"_s + proposed;
        if (written.isEmpty())
            return compareEvents(answers.seen, {file, u"warning|Export failed|Could not write %file% - ..."_s}, path);
        compareEvents(answers.seen,
                      {file,
                       u"information|Templates exported|%1 template(s) written to\n%2\n\nSend the file; the other "
                       u"laptop imports it from this same dialog."_s.arg(written.size())
                           .arg(path),
                       u"iotemplates  exported %1 template(s)"_s.arg(written.size())});
    }

    void deleteTemplates_data()
    {
        QTest::addColumn<QStringList>("selected");
        QTest::addColumn<bool>("yes");
        QTest::addColumn<bool>("unwritable"); // the library becomes a folder before the press
        QTest::addColumn<QString>("object");
        QTest::addColumn<QStringList>("left");
        QTest::addColumn<QString>("after"); // the log line, or the failure box
        QTest::newRow("one, no") << QStringList{u"Relay B"_s} << false << false << u"\"Relay B\""_s
                                 << QStringList{u"Relay A"_s, u"Relay B"_s, u"Relay C"_s} << QString();
        QTest::newRow("two, yes") << QStringList{u"Relay A"_s, u"Relay C"_s} << true << false << u"2 templates"_s
                                  << QStringList{u"Relay B"_s} << u"iotemplates  deleted 2 template(s)"_s;
        QTest::newRow("cannot write") << QStringList{u"Relay A"_s} << true << true << u"\"Relay A\""_s << QStringList()
                                      << u"warning|Delete failed|Could not write %library%."_s;
    }
    void deleteTemplates()
    {
        QFETCH(QStringList, selected);
        QFETCH(bool, yes);
        QFETCH(bool, unwritable);
        QFETCH(QString, object);
        QFETCH(QStringList, left);
        QFETCH(QString, after);
        QVERIFY(testsupport::writeFile(iotemplates::libraryPath(), wrapped(kThree)));
        auto dialog = open();
        select(dialog.get(), selected);
        if (unwritable)
            QVERIFY(QFile::remove(iotemplates::libraryPath()) && QDir().mkpath(iotemplates::libraryPath()));
        Answers answers({}, yes ? QMessageBox::Yes : QMessageBox::No);
        press(dialog.get(), u"deleteButton"_s);
        QStringList events{u"question, No default|Delete templates|Delete %1 from this laptop?\n\nA unit that "
                           u"already has it keeps its copy, and gives it back the next time you sign in to that "
                           u"unit."_s.arg(object)};
        compareEvents(answers.seen, after.isEmpty() ? events : events << after);
        QCOMPARE(names(dialog.get()), left);
        if (!left.isEmpty())
            QCOMPARE(status(dialog.get()), u"%1 template(s) on this laptop."_s.arg(left.size()));
    }
};

QTEST_MAIN(TestDialog)
#include "tst_dialog.moc"
