// The JSON readers every builder relies on, and the registry's lookup. (The nesting limit is
// tested with the renderer's dispatch, for primitive containers too.)
#include "prims/json.h"
#include "prims/registry.h"
#include "support/testsupport.h"

#include <QJsonArray>
#include <QSet>
#include <QTest>

#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

// An object holding `value` under "k", or no "k" at all for an undefined value.
QJsonObject withK(const QJsonValue &value)
{
    return value.isUndefined() ? QJsonObject{} : QJsonObject{{"k"_L1, value}};
}

} // namespace

class TestReaders final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }

    void readInt_data()
    {
        QTest::addColumn<QJsonValue>("value");
        QTest::addColumn<int>("def");
        QTest::addColumn<int>("lo");
        QTest::addColumn<int>("hi");
        QTest::addColumn<int>("expected");
        QTest::newRow("in range") << QJsonValue(42) << 6 << 0 << 200 << 42;
        QTest::newRow("truncated, not rounded") << QJsonValue(2.9) << 0 << 0 << 10 << 2;
        QTest::newRow("negative truncates toward zero") << QJsonValue(-2.9) << 0 << -10 << 10 << -2;
        QTest::newRow("above hi") << QJsonValue(500) << 6 << 0 << 200 << 200;
        QTest::newRow("below lo") << QJsonValue(-5) << 6 << 0 << 200 << 0;
        QTest::newRow("bounds reversed") << QJsonValue(500) << 6 << 200 << 0 << 200;
        QTest::newRow("string takes default") << QJsonValue(u"12"_s) << 6 << 0 << 200 << 6;
        QTest::newRow("default is clamped too") << QJsonValue(QJsonValue::Undefined) << 900 << 0 << 200 << 200;
        QTest::newRow("huge negative clamps to lo") << QJsonValue(-1e300) << 0 << -50 << 4000 << -50;
        QTest::newRow("beyond int range")
            << QJsonValue(3e9) << 0 << std::numeric_limits<int>::min() << std::numeric_limits<int>::max() << 2000000000;
    }
    void readInt()
    {
        QFETCH(QJsonValue, value);
        QFETCH(int, def);
        QFETCH(int, lo);
        QFETCH(int, hi);
        QFETCH(int, expected);
        QCOMPARE(prims::readInt(withK(value), "k"_L1, def, lo, hi), expected);
    }

    // A value that is no number at all counts as very negative: it lands on the low bound.
    void clampNonFinite()
    {
        QCOMPARE(prims::clampToInt(std::nan(""), 4000, 40), 40);
        QCOMPARE(prims::clampToInt(std::numeric_limits<double>::infinity(), 4000, 40), 40);
        QCOMPARE(prims::clampToInt(-std::numeric_limits<double>::infinity(), 4000, 40), 40);
        QCOMPARE(prims::clampToInt(100.0, 4000, 40), 100);
    }

    // Text turns a bool into its word; a name (a tone, a type) takes only strings.
    void readText_data()
    {
        QTest::addColumn<QJsonValue>("value");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<QString>("name");
        QTest::newRow("string") << QJsonValue(u"row"_s) << u"row"_s << u"row"_s;
        QTest::newRow("empty string stays empty") << QJsonValue(u""_s) << QString() << QString();
        QTest::newRow("true") << QJsonValue(true) << u"true"_s << u"dflt"_s;
        QTest::newRow("number takes default") << QJsonValue(3) << u"dflt"_s << u"dflt"_s;
        QTest::newRow("missing takes default") << QJsonValue(QJsonValue::Undefined) << u"dflt"_s << u"dflt"_s;
    }
    void readText()
    {
        QFETCH(QJsonValue, value);
        QFETCH(QString, expected);
        QFETCH(QString, name);
        QCOMPARE(prims::readText(withK(value), "k"_L1, u"dflt"_s), expected);
        QCOMPARE(prims::readName(withK(value), "k"_L1, u"dflt"_s), name);
    }

    void readFlag_data()
    {
        QTest::addColumn<QJsonValue>("value");
        QTest::addColumn<bool>("def");
        QTest::addColumn<bool>("expected");
        QTest::newRow("true") << QJsonValue(true) << false << true;
        QTest::newRow("false") << QJsonValue(false) << true << false;
        QTest::newRow("number non-zero") << QJsonValue(0.5) << false << true;
        QTest::newRow("number zero") << QJsonValue(0) << true << false;
        QTest::newRow("YES") << QJsonValue(u"YES"_s) << false << true;
        QTest::newRow("\"1\"") << QJsonValue(u"1"_s) << false << true;
        QTest::newRow("No") << QJsonValue(u"No"_s) << true << false;
        QTest::newRow("\"0\"") << QJsonValue(u"0"_s) << true << false;
        QTest::newRow("other word keeps default true") << QJsonValue(u"maybe"_s) << true << true;
        QTest::newRow("padded word is no flag") << QJsonValue(u" yes"_s) << false << false;
        QTest::newRow("array keeps default") << QJsonValue(QJsonArray{true}) << false << false;
        QTest::newRow("null keeps default") << QJsonValue(QJsonValue::Null) << true << true;
    }
    void readFlag()
    {
        QFETCH(QJsonValue, value);
        QFETCH(bool, def);
        QFETCH(bool, expected);
        QCOMPARE(prims::readFlag(withK(value), "k"_L1, def), expected);
    }

    void readArray_data()
    {
        QTest::addColumn<QJsonValue>("value");
        QTest::addColumn<int>("cap");
        QTest::addColumn<QJsonArray>("expected");
        QTest::newRow("under cap") << QJsonValue(QJsonArray{1, 2}) << 4 << QJsonArray{1, 2};
        QTest::newRow("cut from the end") << QJsonValue(QJsonArray{1, 2, 3, 4, 5}) << 3 << QJsonArray{1, 2, 3};
        QTest::newRow("cap zero") << QJsonValue(QJsonArray{1}) << 0 << QJsonArray{};
        QTest::newRow("object is no array") << QJsonValue(QJsonObject{{"a"_L1, 1}}) << 4 << QJsonArray{};
    }
    void readArray()
    {
        QFETCH(QJsonValue, value);
        QFETCH(int, cap);
        QFETCH(QJsonArray, expected);
        QCOMPARE(prims::readArray(withK(value), "k"_L1, cap), expected);
    }

    void readNumberAndObject()
    {
        const QJsonObject o = testsupport::json(R"({"n": 2.5, "s": "2.5", "o": {"a": 1}, "a": [1]})");
        QCOMPARE(prims::readNumber(o, "n"_L1, 9), 2.5);
        QCOMPARE(prims::readNumber(o, "s"_L1, 9), 9.0);
        QCOMPARE(prims::readNumber(o, "missing"_L1, 9), 9.0);
        QCOMPARE(prims::readObject(o, "o"_L1).value("a"_L1).toInt(), 1);
        QVERIFY(prims::readObject(o, "a"_L1).isEmpty());
        QVERIFY(prims::readObject(o, "n"_L1).isEmpty());
    }

    // Exact, case-sensitive type names only.
    void registryLookup()
    {
        QVERIFY(prims::find(u"layout"_s));
        QVERIFY(prims::find(u"shapes"_s));
        QVERIFY(!prims::find(u"Layout"_s));
        QVERIFY(!prims::find(u"layout "_s));
        QVERIFY(!prims::find(QString()));
        // One name per row, each found under its own name.
        const QStringList names = prims::primitiveNames();
        QCOMPARE(qsizetype(QSet<QString>(names.begin(), names.end()).size()), names.size());
        for (const QString &name : names)
            QVERIFY2(prims::find(name), qPrintable(name));
    }
};

QTEST_MAIN(TestReaders)
#include "tst_readers.moc"
