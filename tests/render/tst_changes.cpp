// Change detection between two polls and the panel sources a screen names.

#include "render/changes.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QJsonValue parse(const QString &text)
{
    // Wrapped so that scalars parse too.
    const QJsonDocument doc = QJsonDocument::fromJson("[" + text.toUtf8() + "]");
    if (!doc.isArray())
        qFatal("bad test JSON: %s", qPrintable(text));
    return doc.array().at(0);
}

} // namespace

class TestChanges : public QObject
{
    Q_OBJECT

private slots:
    void changedLeaves_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("after");
        QTest::addColumn<QStringList>("paths");
        QTest::newRow("equal objects") << R"({"a":1,"b":[1,2]})" << uR"({"b":[1,2],"a":1})"_s << QStringList();
        QTest::newRow("number and string") << "1" << uR"("1")"_s << QStringList{QString()};
        QTest::newRow("index 2 changed") << R"({"list":[1,2,3]})" << uR"({"list":[1,2,4]})"_s << QStringList{"/list/2"};
        QTest::newRow("array grew") << R"({"list":[1,2,3]})" << uR"({"list":[1,2,3,4]})"_s << QStringList{"/list[]"};
        QTest::newRow("top-level arrays differ in length") << "[1]" << u"[]"_s << QStringList{"[]"};
        QTest::newRow("key removed") << R"({"a":1,"b":2})" << uR"({"a":1})"_s << QStringList{"/b"};
        QTest::newRow("key added after first object's keys")
            << R"({"m":1,"z":1})" << uR"({"a":5,"m":2,"z":1})"_s << QStringList{"/m", "/a"};
        QTest::newRow("object became array") << R"({"a":{"x":1}})" << uR"({"a":[1]})"_s << QStringList{"/a"};
        QTest::newRow("objects inside arrays")
            << R"([{"v":1},{"v":2}])" << uR"([{"v":1},{"v":3,"w":true}])"_s << QStringList{"/1/v", "/1/w"};
        QTest::newRow("null and false differ") << R"({"a":null})" << uR"({"a":false})"_s << QStringList{"/a"};
    }
    void changedLeaves()
    {
        QFETCH(QString, before);
        QFETCH(QString, after);
        QFETCH(QStringList, paths);
        QCOMPARE(render::changedLeaves(parse(before), parse(after)), paths);
    }

    // Past 200 differences the list stops at 201 entries: the caller redraws everything.
    void changedLeavesGivesUpOnHugeDifferences_data()
    {
        QTest::addColumn<int>("keys");
        QTest::addColumn<int>("expected");
        QTest::newRow("exactly the cap") << 200 << 200;
        QTest::newRow("far over") << 1000 << 201;
    }
    void changedLeavesGivesUpOnHugeDifferences()
    {
        QFETCH(int, keys);
        QFETCH(int, expected);
        QJsonObject a, b;
        for (int i = 0; i < keys; ++i) {
            const QString key = QStringLiteral("k%1").arg(i, 5, 10, QLatin1Char('0'));
            a.insert(key, i);
            b.insert(key, i + 1);
        }
        const QStringList paths = render::changedLeaves(a, b);
        QCOMPARE(paths.size(), expected);
        QCOMPARE(paths.first(), QStringLiteral("/k00000"));
    }

    void sourcesIn_data()
    {
        QTest::addColumn<QString>("description");
        QTest::addColumn<QStringList>("sources");
        QTest::newRow("none") << R"({"sections":[{"label":"A"}]})" << QStringList();
        QTest::newRow("same source twice listed once")
            << R"({"sections":[{"elements":[{"type":"panel","source":"/api/a"},{"type":"panel","source":"/api/a"}]}]})"
            << QStringList{"/api/a"};
        QTest::newRow("relative source skipped")
            << R"({"sections":[{"elements":[{"source":"api/b"},{"source":"/api/c"}]}]})" << QStringList{"/api/c"};
        QTest::newRow("case-sensitive") << R"([{"source":"/api/X"},{"source":"/api/x"}])"
                                        << QStringList{"/api/X", "/api/x"};
        QTest::newRow("order first met, outer before inner")
            << R"({"source":"/outer","items":[{"source":"/inner","items":[{"source":"/deepest"}]},{"source":"/second"}]})"
            << QStringList{"/outer", "/inner", "/deepest", "/second"};
        QTest::newRow("non-string source ignored") << R"([{"source":5},{"source":["/x"]}])" << QStringList();
        QTest::newRow("scalar description") << R"("/api/a")" << QStringList();
    }
    void sourcesIn()
    {
        QFETCH(QString, description);
        QFETCH(QStringList, sources);
        QCOMPARE(render::sourcesIn(parse(description)), sources);
    }
};

QTEST_GUILESS_MAIN(TestChanges)
#include "tst_changes.moc"
