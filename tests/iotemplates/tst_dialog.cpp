// The "IO module templates" dialog on real widgets: rows are clicked, buttons pressed, and every
// file dialog and box on the way is answered through the modal hook, as a technician would.

#include "app/base/modal.h"
#include "iotemplates/dialog.h"
#include "iotemplates/library.h"
#include "support/testsupport.h"
#include "units/diaglog.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QHeaderView>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

QJsonObject tpl(const QString &id, const QString &name, const QString &updated = u"2026-03-04T05:06:07Z"_s)
{
    QJsonObject t = testsupport::json(R"({"schema":"kestro.io-template/1","maker":"Site electrics","inputs":8,
        "outputs":4,"connection":{"type":"picontrol"},"pinout":{"DI1":"door"}})");
    t.insert("id"_L1, id);
    t.insert("name"_L1, name);
    t.insert("updated"_L1, updated);
    return t;
}

QByteArray wrapped(const QJsonArray &templates)
{
    return QJsonDocument(QJsonObject{{"templates"_L1, templates}}).toJson();
}

QByteArray readAll(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void writeAll(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(f.write(bytes), bytes.size());
}

// The texts of connect.log's lines, without their time stamps.
QStringList logged()
{
    QStringList out;
    for (const QString &line : units::tailLines(units::connectLogPath(), 50))
        out << line.section(u"  "_s, 1);
    return out;
}

// What a box or a file dialog showed.
struct Seen
{
    QString what; // "information", "warning", "question" or "file"
    QString title;
    QString text; // a box's text; a file dialog's filter and proposed name
    bool noIsDefault = false;
};

QString iconName(QMessageBox::Icon icon)
{
    switch (icon) {
    case QMessageBox::Information:
        return u"information"_s;
    case QMessageBox::Warning:
        return u"warning"_s;
    case QMessageBox::Question:
        return u"question"_s;
    default:
        return u"other"_s;
    }
}

// Answers the coming modal boxes in turn: a file dialog gets `files` (one each; an empty one
// cancels, "vanish:" removes the file once chosen); a message box gets its `button`.
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

    QList<Seen> seen;

private:
    void arm()
    {
        app::setNextAnswer([this](QDialog *dialog) {
            arm(); // the box this one leads to is answered too
            if (auto *files = qobject_cast<QFileDialog *>(dialog)) {
                seen << Seen{u"file"_s, files->windowTitle(),
                             files->nameFilters().join(u';') + u'|' +
                                 QFileInfo(files->selectedFiles().value(0)).fileName()};
                QString path = m_files.isEmpty() ? QString() : m_files.takeFirst();
                const bool vanish = path.startsWith(u"vanish:"_s);
                path.remove(u"vanish:"_s);
                if (path.isEmpty()) {
                    files->reject();
                } else {
                    files->selectFile(path);
                    static_cast<QDialog *>(files)->accept(); // as its Open or Save button does
                    if (vanish) // gone between the choice and the reading, as on a share that drops
                        QFile::remove(path);
                }
            } else if (auto *box = qobject_cast<QMessageBox *>(dialog)) {
                seen << Seen{iconName(box->icon()), box->windowTitle(), box->text(),
                             box->defaultButton() == box->button(QMessageBox::No)};
                QAbstractButton *button = box->button(m_button) ? box->button(m_button) : box->buttons().value(0);
                button->click();
            } else {
                dialog->reject();
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
        QFile::remove(iotemplates::libraryPath() + u".bad"_s);
        QVERIFY(m_files.isValid());
    }

    void emptyLibrary_data();
    void emptyLibrary();
    void import_data();
    void import();
    void rowsAndFile();
    void exportTemplates_data();
    void exportTemplates();
    void deleteTemplates_data();
    void deleteTemplates();

private:
    // The dialog over the library file as it is now, laid out at its own size.
    std::unique_ptr<QDialog> open()
    {
        std::unique_ptr<QDialog> dialog(iotemplates::templatesDialog(nullptr));
        testsupport::layOut(dialog.get(), 860, 620);
        return dialog;
    }
    static QTreeWidget *list(QDialog *d) { return d->findChild<QTreeWidget *>(u"templateList"_s); }
    static QString status(QDialog *d) { return d->findChild<QLabel *>(u"templateStatus"_s)->text(); }
    static void press(QDialog *d, const char *button)
    {
        auto *b = d->findChild<QPushButton *>(QString::fromLatin1(button));
        QVERIFY(b);
        QTest::mouseClick(b, Qt::LeftButton);
    }
    // Clicks the rows of these names, holding Ctrl after the first.
    static void select(QDialog *d, const QStringList &names)
    {
        QTreeWidget *l = list(d);
        for (int i = 0; i < names.size(); ++i) {
            const QList<QTreeWidgetItem *> rows = l->findItems(names[i], Qt::MatchExactly, 0);
            QVERIFY2(rows.size() == 1, qPrintable(names[i]));
            QTest::mouseClick(l->viewport(), Qt::LeftButton, i ? Qt::ControlModifier : Qt::NoModifier,
                              l->visualItemRect(rows.first()).center());
        }
    }
    // "name|maker|channels|connection|updated" per row.
    static QStringList rows(QDialog *d)
    {
        QStringList out;
        QTreeWidget *l = list(d);
        for (int i = 0; i < l->topLevelItemCount(); ++i) {
            QStringList cells;
            for (int c = 0; c < l->columnCount(); ++c)
                cells << l->topLevelItem(i)->text(c);
            out << cells.join(u'|');
        }
        return out;
    }

    QTemporaryDir m_files;
};

void TestDialog::emptyLibrary_data()
{
    QTest::addColumn<QByteArray>("button");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("text");
    QTest::newRow("export selected") << QByteArray("exportSelectedButton") << u"Export selected"_s
                                     << u"Select one or more templates first."_s;
    QTest::newRow("export all") << QByteArray("exportAllButton") << u"Export all"_s
                                << u"There are no templates on this laptop yet."_s;
    QTest::newRow("delete") << QByteArray("deleteButton") << u"Delete"_s << u"Select one or more templates first."_s;
}

void TestDialog::emptyLibrary()
{
    QFETCH(QByteArray, button);
    QFETCH(QString, title);
    QFETCH(QString, text);
    auto dialog = open();
    QCOMPARE(dialog->windowTitle(), u"IO module templates"_s);
    QCOMPARE(status(dialog.get()),
             u"No templates on this laptop yet - import one, or sign in to a unit to collect its own."_s);
    QTreeWidgetItem *header = list(dialog.get())->headerItem();
    QCOMPARE(QStringList({header->text(0), header->text(1), header->text(2), header->text(3), header->text(4)}),
             QStringList({u"Name"_s, u"Maker"_s, u"Channels"_s, u"Connection"_s, u"Updated"_s}));
    QCOMPARE(dialog->findChild<QPlainTextEdit *>(u"templateFile"_s)->placeholderText(),
             u"Select a template to see its file."_s);
    QCOMPARE(dialog->findChild<QPushButton *>(u"importButton"_s)->property("kind").toString(), u"primary"_s);

    Answers answers;
    press(dialog.get(), button.constData());
    QCOMPARE(answers.seen.size(), 1);
    QCOMPARE(answers.seen[0].what, u"information"_s);
    QCOMPARE(answers.seen[0].title, title);
    QCOMPARE(answers.seen[0].text, text);
    QVERIFY(logged().isEmpty());
    QVERIFY(!QFile::exists(iotemplates::libraryPath()));
}

// Each row imports one file over one library file; "%file%" and "%library%" stand for the paths.
void TestDialog::import_data()
{
    QTest::addColumn<QByteArray>("library"); // "DIR": a folder where the file should be
    QTest::addColumn<QByteArray>("file");    // "GONE": the file vanishes once chosen
    QTest::addColumn<QString>("box");        // "kind|title|text"; a text ending in "..." is a prefix
    QTest::addColumn<QString>("log");
    QTest::addColumn<QStringList>("names"); // the list afterwards
    QTest::addColumn<bool>("libraryKept");  // the library file is byte for byte as it was

    const QJsonObject a = tpl(u"relay-a"_s, u"Relay A"_s);
    const QJsonObject b = tpl(u"relay-b"_s, u"Relay B"_s);
    QJsonObject builtin = tpl(u"kestro-dio8"_s, u"Kestro DIO-8"_s);
    builtin.insert("builtin"_L1, true);
    const QString idRule = u" - 1 to 64 letters, digits, - or _ only"_s;

    QTest::newRow("new, built-in and rejected")
        << QByteArray() << wrapped({a, builtin, tpl(u"x.y"_s, u"Dotted"_s)})
        << u"warning|Templates imported|Added 1, updated 0.\n1 built-in template(s) skipped - those ship with every "
           u"unit.\n\nRejected 1:\n  - x.y: id \"x.y\"%1"_s.arg(idRule)
        << u"iotemplates  import  added 1 updated 0 kept 0 builtin 1 rejected 1"_s << QStringList{u"Relay A"_s}
        << false;
    QTest::newRow("same again is kept")
        << wrapped({a}) << QJsonDocument(QJsonArray{a}).toJson()
        << u"information|Templates imported|Added 0, updated 0.\n1 already here and as new or newer - kept yours."_s
        << u"iotemplates  import  added 0 updated 0 kept 1 builtin 0 rejected 0"_s << QStringList{u"Relay A"_s} << true;
    QTest::newRow("newer replaces, bare object adds")
        << wrapped({a}) << QJsonDocument(tpl(u"relay-a"_s, u"Relay A2"_s, u"2026-03-05T00:00:00Z"_s)).toJson()
        << u"information|Templates imported|Added 0, updated 1."_s
        << u"iotemplates  import  added 0 updated 1 kept 0 builtin 0 rejected 0"_s << QStringList{u"Relay A2"_s}
        << false;
    QTest::newRow("several rejected")
        << wrapped({a}) << wrapped({tpl(u""_s, u"No id"_s), 5})
        << u"warning|Templates imported|Added 0, updated 0.\n\nRejected 2:\n  - #1: id \"\"%1\n  - #2: not a "
           u"template (expected a JSON object)"_s.arg(idRule)
        << u"iotemplates  import  added 0 updated 0 kept 0 builtin 0 rejected 2"_s << QStringList{u"Relay A"_s} << true;
    // A damaged library reads as empty and a failed import never writes over it.
    QTest::newRow("not JSON over a corrupt library")
        << QByteArray("{\"templates\": [ {\"id\": ") << QByteArray("not json")
        << u"warning|Import failed|Nothing was imported: not JSON (..."_s << QString() << QStringList() << true;
    QTest::newRow("file gone, over a truncated library")
        << wrapped({a, b}).left(90) << QByteArray("GONE")
        << u"warning|Import failed|Nothing was imported: could not open %file% - ..."_s << QString() << QStringList()
        << true;
    QTest::newRow("all rejected over a library that is an array")
        << QJsonDocument(QJsonArray{a}).toJson() << wrapped({tpl(u"x.y"_s, u"Dotted"_s)})
        << u"warning|Templates imported|Added 0, updated 0.\n\nRejected 1:\n  - x.y: id \"x.y\"%1"_s.arg(idRule)
        << u"iotemplates  import  added 0 updated 0 kept 0 builtin 0 rejected 1"_s << QStringList() << true;
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
    box.replace(u"%file%"_s, path).replace(u"%library%"_s, libraryPath);

    auto dialog = open();
    Answers answers({file == "GONE" ? u"vanish:"_s + path : path});
    press(dialog.get(), "importButton");
    QCOMPARE(answers.seen.size(), 2);
    QCOMPARE(answers.seen[0].what + u'|' + answers.seen[0].title + u'|' + answers.seen[0].text,
             u"file|Import IO templates|IO templates (*.json)|"_s);
    const QString shown = answers.seen[1].what + u'|' + answers.seen[1].title + u'|' + answers.seen[1].text;
    if (box.endsWith(u"..."_s))
        QVERIFY2(shown.startsWith(box.chopped(3)) && shown.size() > box.size(), qPrintable(shown));
    else
        QCOMPARE(shown, box);
    QCOMPARE(logged(), log.isEmpty() ? QStringList() : QStringList{log});
    QStringList listed;
    for (const QString &row : rows(dialog.get()))
        listed << row.section(u'|', 0, 0);
    QCOMPARE(listed, names);
    if (libraryKept && library != "DIR")
        QCOMPARE(readAll(libraryPath), library);
    QCOMPARE(QFileInfo(libraryPath).isDir(), library == "DIR");
}

void TestDialog::rowsAndFile()
{
    QJsonObject other = tpl(u"io-16"_s, u"IO 16"_s, u"2026-03-04T05:06:07.250+02:00"_s);
    other.insert("inputs"_L1, 16);
    other.insert("outputs"_L1, 0);
    other.insert("connection"_L1, QJsonObject{{"type"_L1, u"modbus_tcp"_s}, {"port"_L1, 502}});
    QJsonObject noTime = tpl(u"no-time"_s, u"<b>Untimed</b>"_s, u"soon"_s);
    writeAll(iotemplates::libraryPath(), wrapped({tpl(u"relay-a"_s, u"Relay A"_s), other, noTime}));
    auto dialog = open();
    const auto local = [](const char *iso) {
        return QDateTime::fromString(QString::fromLatin1(iso), Qt::ISODateWithMs)
            .toLocalTime()
            .toString(u"yyyy-MM-dd HH:mm"_s);
    };
    QCOMPARE(rows(dialog.get()),
             QStringList({u"Relay A|Site electrics|8 in / 4 out|picontrol|"_s + local("2026-03-04T05:06:07Z"),
                          u"IO 16|Site electrics|16 in / 0 out|modbus_tcp|"_s + local("2026-03-04T05:06:07.250+02:00"),
                          u"<b>Untimed</b>|Site electrics|8 in / 4 out|picontrol|soon"_s}));
    QCOMPARE(status(dialog.get()), u"3 template(s) on this laptop."_s);

    auto *file = dialog->findChild<QPlainTextEdit *>(u"templateFile"_s);
    QVERIFY(file->isReadOnly());
    select(dialog.get(), {u"IO 16"_s});
    QCOMPARE(QJsonDocument::fromJson(file->toPlainText().toUtf8()).object(), other);
    QVERIFY(file->toPlainText().contains(u"\n    \"connection\""_s)); // indented, as the file would be
    list(dialog.get())->clearSelection();
    QVERIFY(file->toPlainText().isEmpty());
}

void TestDialog::exportTemplates_data()
{
    QTest::addColumn<QByteArray>("button");
    QTest::addColumn<QStringList>("selected"); // rows clicked first
    QTest::addColumn<QString>("proposed");
    QTest::addColumn<QString>("target"); // under the temporary folder when relative; empty cancels
    QTest::addColumn<QStringList>("written");

    QTest::newRow("one selected") << QByteArray("exportSelectedButton") << QStringList{u"Relay B"_s}
                                  << u"relay-b.json"_s << u"b.json"_s << QStringList{u"relay-b"_s};
    QTest::newRow("two selected, in library order")
        << QByteArray("exportSelectedButton") << QStringList{u"Relay C"_s, u"Relay A"_s} << u"io-templates.json"_s
        << u"two.json"_s << QStringList{u"relay-a"_s, u"relay-c"_s};
    QTest::newRow("all, selection ignored")
        << QByteArray("exportAllButton") << QStringList{u"Relay B"_s} << u"io-templates.json"_s << u"all.json"_s
        << QStringList{u"relay-a"_s, u"relay-b"_s, u"relay-c"_s};
    QTest::newRow("cancelled") << QByteArray("exportAllButton") << QStringList() << u"io-templates.json"_s << QString()
                               << QStringList();
    QTest::newRow("folder not writable") << QByteArray("exportAllButton") << QStringList() << u"io-templates.json"_s
                                         << u"/proc/kestro-export.json"_s << QStringList();
}

void TestDialog::exportTemplates()
{
    QFETCH(QByteArray, button);
    QFETCH(QStringList, selected);
    QFETCH(QString, proposed);
    QFETCH(QString, target);
    QFETCH(QStringList, written);
    writeAll(iotemplates::libraryPath(), wrapped({tpl(u"relay-a"_s, u"Relay A"_s), tpl(u"relay-b"_s, u"Relay B"_s),
                                                  tpl(u"relay-c"_s, u"Relay C"_s)}));
    const QByteArray libraryBefore = readAll(iotemplates::libraryPath());
    const QString path = target.isEmpty() || QDir::isAbsolutePath(target) ? target : m_files.filePath(target);
    if (!path.isEmpty())
        QFile::remove(path);
    auto dialog = open();
    select(dialog.get(), selected);
    Answers answers({path});
    press(dialog.get(), button.constData());

    QVERIFY(!answers.seen.isEmpty());
    QCOMPARE(answers.seen[0].title, u"Export IO templates"_s);
    QCOMPARE(answers.seen[0].text, u"IO templates (*.json)|"_s + proposed);
    QCOMPARE(readAll(iotemplates::libraryPath()), libraryBefore);
    if (path.isEmpty()) {
        QCOMPARE(answers.seen.size(), 1);
        QVERIFY(logged().isEmpty());
        return;
    }
    QCOMPARE(answers.seen.size(), 2);
    const Seen &box = answers.seen[1];
    if (written.isEmpty()) {
        QCOMPARE(box.what + u'|' + box.title, u"warning|Export failed"_s);
        QVERIFY2(box.text.startsWith(u"Could not write %1 - "_s.arg(path)) &&
                     box.text.size() > u"Could not write %1 - "_s.arg(path).size(),
                 qPrintable(box.text));
        QVERIFY(logged().isEmpty());
        return;
    }
    QStringList ids;
    const QJsonObject top = QJsonDocument::fromJson(readAll(path)).object();
    for (const QJsonValue &v : top.value("templates"_L1).toArray())
        ids << v.toObject().value("id"_L1).toString();
    QCOMPARE(ids, written);
    QCOMPARE(top.size(), 1);
    QCOMPARE(box.what + u'|' + box.title + u'|' + box.text,
             u"information|Templates exported|%1 template(s) written to\n%2\n\nSend the file; the other laptop imports "
             u"it from this same dialog."_s.arg(written.size())
                 .arg(path));
    QCOMPARE(logged(), QStringList{u"iotemplates  exported %1 template(s)"_s.arg(written.size())});
}

void TestDialog::deleteTemplates_data()
{
    QTest::addColumn<QStringList>("selected");
    QTest::addColumn<bool>("yes");
    QTest::addColumn<bool>("fileGone"); // the library is replaced by a folder before the press
    QTest::addColumn<QString>("object");
    QTest::addColumn<QStringList>("left");
    QTest::addColumn<QString>("after"); // the log line, or the failure box's text

    QTest::newRow("one, no") << QStringList{u"Relay B"_s} << false << false << u"\"Relay B\""_s
                             << QStringList{u"Relay A"_s, u"Relay B"_s, u"Relay C"_s} << QString();
    QTest::newRow("one, yes") << QStringList{u"Relay B"_s} << true << false << u"\"Relay B\""_s
                              << QStringList{u"Relay A"_s, u"Relay C"_s} << u"iotemplates  deleted 1 template(s)"_s;
    QTest::newRow("two, yes") << QStringList{u"Relay A"_s, u"Relay C"_s} << true << false << u"2 templates"_s
                              << QStringList{u"Relay B"_s} << u"iotemplates  deleted 2 template(s)"_s;
    QTest::newRow("cannot write") << QStringList{u"Relay A"_s} << true << true << u"\"Relay A\""_s << QStringList()
                                  << u"Could not write %library%."_s;
}

void TestDialog::deleteTemplates()
{
    QFETCH(QStringList, selected);
    QFETCH(bool, yes);
    QFETCH(bool, fileGone);
    QFETCH(QString, object);
    QFETCH(QStringList, left);
    QFETCH(QString, after);
    writeAll(iotemplates::libraryPath(), wrapped({tpl(u"relay-a"_s, u"Relay A"_s), tpl(u"relay-b"_s, u"Relay B"_s),
                                                  tpl(u"relay-c"_s, u"Relay C"_s)}));
    auto dialog = open();
    select(dialog.get(), selected);
    if (fileGone) {
        QVERIFY(QFile::remove(iotemplates::libraryPath()));
        QVERIFY(QDir().mkpath(iotemplates::libraryPath()));
    }
    Answers answers({}, yes ? QMessageBox::Yes : QMessageBox::No);
    press(dialog.get(), "deleteButton");
    QVERIFY(!answers.seen.isEmpty());
    QCOMPARE(answers.seen[0].what + u'|' + answers.seen[0].title + u'|' + answers.seen[0].text,
             u"question|Delete templates|Delete %1 from this laptop?\n\nA unit that already has it keeps its copy, and "
             u"gives it back the next time you sign in to that unit."_s.arg(object));
    QVERIFY(answers.seen[0].noIsDefault);
    QStringList listed;
    for (const QString &row : rows(dialog.get()))
        listed << row.section(u'|', 0, 0);
    QCOMPARE(listed, left);
    QCOMPARE(status(dialog.get()), left.isEmpty() ? u"No templates on this laptop yet - import one, or sign in to a "
                                                    u"unit to collect its own."_s
                                                  : u"%1 template(s) on this laptop."_s.arg(left.size()));
    if (fileGone) {
        QCOMPARE(answers.seen.size(), 2);
        QCOMPARE(answers.seen[1].what + u'|' + answers.seen[1].title + u'|' + answers.seen[1].text,
                 u"warning|Delete failed|"_s + QString(after).replace(u"%library%"_s, iotemplates::libraryPath()));
        QVERIFY(logged().isEmpty());
    } else {
        QCOMPARE(answers.seen.size(), 1);
        QCOMPARE(logged(), after.isEmpty() ? QStringList() : QStringList{after});
    }
}

QTEST_MAIN(TestDialog)
#include "tst_dialog.moc"
