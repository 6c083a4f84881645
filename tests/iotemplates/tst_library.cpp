// The template library without widgets: the validation rules in their order, the merge rule, and
// loading and saving. Imports (a damaged library, a wrapped file) are the dialog's tests.

#include "iotemplates/library.h"
#include "support/testsupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QJsonObject valid(const QString &id = u"relay-4"_s, const QString &updated = {})
{
    QJsonObject t = testsupport::json(R"({"schema":"kestro.io-template/1","name":"Relay 4","inputs":0,
        "outputs":4,"connection":{"type":"modbus_tcp"}})");
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
    for (auto it = p.begin(); it != p.end(); ++it)
        it->isNull() ? void(t.remove(it.key())) : void(t.insert(it.key(), *it));
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
    void validate_data()
    {
        QTest::addColumn<QJsonValue>("candidate");
        QTest::addColumn<QString>("error");
        QTest::newRow("valid, 64 channels, pinout")
            << patched(R"({"inputs":64,"outputs":64.0,"pinout":{}})") << QString();
        QTest::newRow("array") << QJsonValue(QJsonArray{valid()}) << u"not a template (expected a JSON object)"_s;
        QTest::newRow("other schema")
            << patched(R"({"schema":"kestro.io-template/2","id":"a.b"})")
            << u"schema \"kestro.io-template/2\" is not kestro.io-template/1 - made by a newer or different tool"_s;
        QTest::newRow("id ending in a line feed")
            << QJsonValue(valid(u"relay-4\n"_s)) << u"id \"relay-4\n\" - 1 to 64 letters, digits, - or _ only"_s;
        QTest::newRow("blank name, bad inputs") << patched(R"({"name":" ","inputs":99})") << u"no name"_s;
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
        const QJsonArray lib{valid(u"a"_s, noon)};
        const QString a = u"a@"_s + noon; // the library as it was
        auto in = [](const char *updated) { return QJsonArray{valid(u"a"_s, QString::fromLatin1(updated))}; };
        QJsonObject builtin = valid(u"a"_s, u"2030-01-01T00:00:00Z"_s);
        builtin.insert("builtin"_L1, true);

        QTest::newRow("new id appended") << lib << QJsonArray{valid(u"b"_s)} << u"1 0 0 0 0"_s << QString(a + u" b@"_s)
                                         << QStringList();
        QTest::newRow("a millisecond newer") << lib << in("2026-05-01T12:00:00.001Z") << u"0 1 0 0 0"_s
                                             << u"a@2026-05-01T12:00:00.001Z"_s << QStringList();
        QTest::newRow("later as text, earlier in time")
            << lib << in("2026-05-01T13:00:00+02:00") << u"0 0 1 0 0"_s << a << QStringList();
        QTest::newRow("builtin skipped, even invalid")
            << lib << QJsonArray{builtin, QJsonObject{{"builtin"_L1, true}}} << u"0 0 0 2 0"_s << a << QStringList();
        QTest::newRow("rejected by id or number")
            << lib << QJsonArray{valid(u"x.y"_s), patched(R"({"id":"","inputs":65})"), 7} << u"0 0 0 0 3"_s << a
            << QStringList{u"x.y: id \"x.y\" - 1 to 64 letters, digits, - or _ only"_s,
                           u"#2: id \"\" - 1 to 64 letters, digits, - or _ only"_s,
                           u"#3: not a template (expected a JSON object)"_s};
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

    // Loading keeps the valid, non-built-in first copy of each id; saving over a file that does
    // not read as a library keeps that file aside first.
    void loadAndSave()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(u"io-templates.json"_s);
        QJsonObject builtin = valid(u"c"_s);
        builtin.insert("builtin"_L1, true);
        QVERIFY(
            iotemplates::saveLibrary({valid(u"a.b"_s), builtin, valid(u"d"_s, u"1"_s), valid(u"d"_s, u"2"_s)}, path));
        QCOMPARE(describe(iotemplates::loadLibrary(path)), u"d@1"_s);
        QVERIFY(testsupport::writeFile(path, "{\"templates\": [ hand edit"));
        QVERIFY(iotemplates::saveLibrary({valid(u"e"_s)}, path));
        QCOMPARE(describe(iotemplates::loadLibrary(path)), u"e@"_s);
        QCOMPARE(testsupport::readFile(path + u".bad"_s), QByteArray("{\"templates\": [ hand edit"));
    }
};

QTEST_GUILESS_MAIN(TestLibrary)
#include "tst_library.moc"
