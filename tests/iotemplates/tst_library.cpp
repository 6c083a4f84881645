// The template library without widgets: the nine validation rules in order, the merge rule, the
// three shapes of a template file, and what loading makes of a damaged library file.

#include "iotemplates/library.h"
#include "support/testsupport.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QJsonObject valid(const QString &id = u"relay-4"_s, const QString &updated = {})
{
    QJsonObject t = testsupport::json(R"({"schema":"kestro.io-template/1","name":"Relay 4","maker":"Site",
        "inputs":0,"outputs":4,"connection":{"type":"modbus_tcp"}})");
    t.insert("id"_L1, id);
    if (!updated.isEmpty())
        t.insert("updated"_L1, updated);
    return t;
}

// A valid template with the patch's members laid over it; a null member removes the key.
QJsonValue patched(const char *patch)
{
    QJsonObject t = valid();
    const QJsonObject p = testsupport::json(patch);
    for (auto it = p.begin(); it != p.end(); ++it) {
        if (it->isNull())
            t.remove(it.key());
        else
            t.insert(it.key(), *it);
    }
    return t;
}

// "id@updated" of each template, in order.
QString describe(const QJsonArray &library)
{
    QStringList out;
    for (const QJsonValue &v : library)
        out << v.toObject().value("id"_L1).toString() + u'@' + v.toObject().value("updated"_L1).toString();
    return out.join(u' ');
}

} // namespace

class TestLibrary : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { testsupport::isolateConfig(); }

    void validate_data()
    {
        QTest::addColumn<QJsonValue>("candidate");
        QTest::addColumn<QString>("error");
        const QString id64(64, u'a');
        const QString id65(65, u'a');
        QTest::newRow("valid") << patched("{}") << QString();
        QTest::newRow("pinout object, 64 channels")
            << patched(R"({"pinout":{},"inputs":64,"outputs":64.0})") << QString();
        QTest::newRow("id of 64") << QJsonValue(valid(id64)) << QString();
        QTest::newRow("array") << QJsonValue(QJsonArray{valid()}) << u"not a template (expected a JSON object)"_s;
        QTest::newRow("no schema") << patched(R"({"schema":null})")
                                   << u"no \"schema\" (expected kestro.io-template/1)"_s;
        QTest::newRow("other schema")
            << patched(R"({"schema":"kestro.io-template/2"})")
            << u"schema \"kestro.io-template/2\" is not kestro.io-template/1 - made by a newer or different tool"_s;
        QTest::newRow("id of 65") << QJsonValue(valid(id65))
                                  << u"id \"%1\" - 1 to 64 letters, digits, - or _ only"_s.arg(id65);
        QTest::newRow("id with a dot") << QJsonValue(valid(u"relay.4"_s))
                                       << u"id \"relay.4\" - 1 to 64 letters, digits, - or _ only"_s;
        QTest::newRow("id a number") << patched(R"({"id":4})") << u"id \"?\" - 1 to 64 letters, digits, - or _ only"_s;
        QTest::newRow("blank name") << patched(R"({"name":"  "})") << u"no name"_s;
        QTest::newRow("inputs 65") << patched(R"({"inputs":65})") << u"inputs must be a whole number 0..64"_s;
        QTest::newRow("inputs 2.5") << patched(R"({"inputs":2.5})") << u"inputs must be a whole number 0..64"_s;
        QTest::newRow("inputs -1") << patched(R"({"inputs":-1})") << u"inputs must be a whole number 0..64"_s;
        QTest::newRow("inputs \"8\"") << patched(R"({"inputs":"8"})") << u"inputs must be a whole number 0..64"_s;
        QTest::newRow("no outputs") << patched(R"({"outputs":null})") << u"outputs must be a whole number 0..64"_s;
        QTest::newRow("connection text") << patched(R"({"connection":"modbus"})") << u"no \"connection\" object"_s;
        QTest::newRow("connection type empty")
            << patched(R"({"connection":{"type":""}})") << u"connection.type missing (picontrol, modbus_tcp, ...)"_s;
        QTest::newRow("connection type a number")
            << patched(R"({"connection":{"type":1}})") << u"connection.type missing (picontrol, modbus_tcp, ...)"_s;
        QTest::newRow("pinout array") << patched(R"({"pinout":[]})") << u"pinout is not an object"_s;
        // The first failure in rule order wins.
        QTest::newRow("name before inputs") << patched(R"({"name":"","inputs":99,"pinout":1})") << u"no name"_s;
        QTest::newRow("schema before id") << patched(R"({"schema":"x","id":"a.b"})")
                                          << u"schema \"x\" is not kestro.io-template/1 - made by a newer or "
                                             u"different tool"_s;
    }
    void validate()
    {
        QFETCH(QJsonValue, candidate);
        QFETCH(QString, error);
        QCOMPARE(iotemplates::validateTemplate(candidate), error);
    }

    void merge_data()
    {
        QTest::addColumn<QJsonArray>("library");
        QTest::addColumn<QJsonArray>("incoming");
        QTest::addColumn<QString>("counts"); // added updated kept builtin rejected
        QTest::addColumn<QString>("after");  // the library afterwards
        QTest::addColumn<QStringList>("rejected");

        const QString noon = u"2026-05-01T12:00:00Z"_s;
        const QJsonArray one{valid(u"a"_s, noon)};
        auto in = [](const QString &id, const char *updated) {
            return QJsonArray{valid(id, QString::fromLatin1(updated))};
        };
        QTest::newRow("empty") << one << QJsonArray() << u"0 0 0 0 0"_s << u"a@"_s + noon << QStringList();
        QTest::newRow("new id appended") << one << in(u"b"_s, "") << u"1 0 0 0 0"_s << u"a@%1 b@"_s.arg(noon)
                                         << QStringList();
        QTest::newRow("equal updated kept")
            << one << in(u"a"_s, "2026-05-01T12:00:00.000Z") << u"0 0 1 0 0"_s << u"a@"_s + noon << QStringList();
        QTest::newRow("a millisecond newer") << one << in(u"a"_s, "2026-05-01T12:00:00.001Z") << u"0 1 0 0 0"_s
                                             << u"a@2026-05-01T12:00:00.001Z"_s << QStringList();
        QTest::newRow("older kept") << one << in(u"a"_s, "2026-04-30T23:59:59Z") << u"0 0 1 0 0"_s << u"a@"_s + noon
                                    << QStringList();
        QTest::newRow("later text, earlier time")
            << one << in(u"a"_s, "2026-05-01T13:00:00+02:00") << u"0 0 1 0 0"_s << u"a@"_s + noon << QStringList();
        QTest::newRow("library copy without updated replaced")
            << QJsonArray{valid(u"a"_s)} << in(u"a"_s, "2026-05-01T12:00:00") << u"0 1 0 0 0"_s
            << u"a@2026-05-01T12:00:00"_s << QStringList();
        QTest::newRow("incoming without updated kept")
            << one << in(u"a"_s, "") << u"0 0 1 0 0"_s << u"a@"_s + noon << QStringList();
        QTest::newRow("incoming unparsable kept")
            << one << in(u"a"_s, "yesterday") << u"0 0 1 0 0"_s << u"a@"_s + noon << QStringList();
        QTest::newRow("neither has a time")
            << QJsonArray{valid(u"a"_s)} << in(u"a"_s, "") << u"0 0 1 0 0"_s << u"a@"_s << QStringList();
        QJsonObject builtin = valid(u"a"_s, u"2030-01-01T00:00:00Z"_s);
        builtin.insert("builtin"_L1, true);
        QJsonObject brokenBuiltin{{"builtin"_L1, true}};
        QTest::newRow("builtin skipped, even invalid")
            << one << QJsonArray{builtin, brokenBuiltin} << u"0 0 0 2 0"_s << u"a@"_s + noon << QStringList();
        QTest::newRow("rejected by id or number")
            << one << QJsonArray{valid(u"x.y"_s), valid(u"ok"_s), patched(R"({"id":"","inputs":65})"), 7}
            << u"1 0 0 0 3"_s << u"a@%1 ok@"_s.arg(noon)
            << QStringList{u"x.y: id \"x.y\" - 1 to 64 letters, digits, - or _ only"_s,
                           u"#3: id \"\" - 1 to 64 letters, digits, - or _ only"_s,
                           u"#4: not a template (expected a JSON object)"_s};
        QTest::newRow("same id twice in one file")
            << QJsonArray() << QJsonArray{valid(u"b"_s, noon), valid(u"b"_s, u"2026-05-02T00:00:00Z"_s)}
            << u"1 1 0 0 0"_s << u"b@2026-05-02T00:00:00Z"_s << QStringList();
    }
    void merge()
    {
        QFETCH(QJsonArray, library);
        QFETCH(QJsonArray, incoming);
        QFETCH(QString, counts);
        QFETCH(QString, after);
        QFETCH(QStringList, rejected);
        const iotemplates::MergeResult r = iotemplates::mergeTemplates(library, incoming);
        QCOMPARE(u"%1 %2 %3 %4 %5"_s.arg(r.added).arg(r.updated).arg(r.kept).arg(r.builtin).arg(r.rejected.size()),
                 counts);
        QCOMPARE(describe(library), after);
        QCOMPARE(r.rejected, rejected);
    }

    void parseFile_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("error"); // how the error starts and ends, empty for none
        QTest::newRow("array") << QByteArray(R"([{"id":"a"},{"id":"b"},3])") << 3 << QString();
        QTest::newRow("wrapper") << QByteArray(R"({"templates":[{"id":"a"},{"id":"b"}]})") << 2 << QString();
        QTest::newRow("bare template") << QJsonDocument(valid()).toJson() << 1 << QString();
        QTest::newRow("wrapper without an array is one template")
            << QByteArray(R"({"templates":{"id":"a"}})") << 1 << QString();
        QTest::newRow("truncated") << QByteArray(R"({"templates":[{"id":)") << 0 << u"not JSON (|at offset 20)"_s;
        QTest::newRow("empty file") << QByteArray() << 0 << u"not JSON (|at offset 0)"_s;
    }
    void parseFile()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, count);
        QFETCH(QString, error);
        QString why = u"stale"_s;
        QCOMPARE(iotemplates::parseTemplateFile(bytes, &why).size(), count);
        if (error.isEmpty()) {
            QVERIFY(why.isEmpty());
        } else {
            QVERIFY2(why.startsWith(error.section(u'|', 0, 0)) && why.endsWith(error.section(u'|', 1)),
                     qPrintable(why));
            QVERIFY(why.size() > error.size()); // the parser's own words are in between
        }
    }

    // A damaged file reads as an empty library; of a good one, only the valid, non-built-in first
    // copy of each id is kept.
    void load_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("loaded");
        const QByteArray good =
            QJsonDocument(QJsonObject{{"templates"_L1, QJsonArray{valid(u"a"_s), valid(u"b"_s)}}}).toJson();
        QTest::newRow("good") << good << u"a@ b@"_s;
        QTest::newRow("missing") << QByteArray() << QString();
        QTest::newRow("corrupt") << QByteArray("\x00\xff{templates") << QString();
        QTest::newRow("truncated") << good.left(good.size() / 2) << QString();
        QTest::newRow("an array") << QJsonDocument(QJsonArray{valid()}).toJson() << QString();
        QTest::newRow("templates not an array") << QByteArray(R"({"templates":{"id":"a"}})") << QString();
        QJsonObject builtin = valid(u"c"_s);
        builtin.insert("builtin"_L1, true);
        QTest::newRow("dropped quietly")
            << QJsonDocument(QJsonObject{{"templates"_L1, QJsonArray{valid(u"a.b"_s), builtin, valid(u"d"_s, u"1"_s),
                                                                     valid(u"d"_s, u"2"_s), 5}}})
                   .toJson()
            << u"d@1"_s;
    }
    void load()
    {
        QFETCH(QByteArray, file);
        QFETCH(QString, loaded);
        QTemporaryDir dir;
        const QString path = dir.filePath(u"io-templates.json"_s);
        if (!file.isEmpty()) {
            QFile f(path);
            QVERIFY(f.open(QIODevice::WriteOnly) && f.write(file) == file.size());
        }
        QCOMPARE(describe(iotemplates::loadLibrary(path)), loaded);
    }

    // Saving writes the wrapper; a file there that does not read as a library is kept aside first.
    void saveKeepsAnUnreadableFile()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(u"io-templates.json"_s);
        QVERIFY(iotemplates::saveLibrary({valid(u"a"_s)}, path));
        QCOMPARE(describe(iotemplates::loadLibrary(path)), u"a@"_s);
        QVERIFY(!QFile::exists(path + u".bad"_s));
        {
            QFile f(path);
            QVERIFY(f.open(QIODevice::WriteOnly) && f.write("{\"templates\": [ hand edit") > 0);
        }
        QVERIFY(iotemplates::saveLibrary({valid(u"b"_s)}, path));
        QCOMPARE(describe(iotemplates::loadLibrary(path)), u"b@"_s);
        QFile aside(path + u".bad"_s);
        QVERIFY(aside.open(QIODevice::ReadOnly));
        QCOMPARE(aside.readAll(), QByteArray("{\"templates\": [ hand edit"));
        QVERIFY(!iotemplates::saveLibrary({}, dir.filePath(u"no/such/folder/x.json"_s)));
    }

    void importFile()
    {
        QTemporaryDir dir;
        QJsonArray library{valid(u"a"_s)};
        const iotemplates::ImportResult missing =
            iotemplates::importTemplateFile(library, dir.filePath(u"gone.json"_s));
        QVERIFY2(missing.error.startsWith(u"could not open %1 - "_s.arg(dir.filePath(u"gone.json"_s))),
                 qPrintable(missing.error));
        const QString path = dir.filePath(u"one.json"_s);
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly) && f.write(QJsonDocument(valid(u"b"_s)).toJson()) > 0);
        f.close();
        const iotemplates::ImportResult one = iotemplates::importTemplateFile(library, path);
        QVERIFY(one.error.isEmpty());
        QCOMPARE(one.merge.added, 1);
        QCOMPARE(describe(library), u"a@ b@"_s);
    }
};

QTEST_GUILESS_MAIN(TestLibrary)
#include "tst_library.moc"
