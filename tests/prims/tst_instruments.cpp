// Gauge, dial, ring, meter and led: the value rules they share, the sizes they are built at, and
// what ends up on the painted surface.

#include "app/base/theme.h"
#include "prims/dial.h"
#include "prims/led.h"
#include "prims/meter.h"
#include "prims/painted.h"
#include "prims/registry.h"
#include "prims/ring.h"
#include "support/widgets.h"

#include <QTest>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

using testsupport::json;

} // namespace

class TestInstruments final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }

    void fraction_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<double>("expected");
        QTest::newRow("beyond max") << uR"({"value":250})"_s << 1.0;
        QTest::newRow("max equals min") << uR"({"value":5,"min":5,"max":5})"_s << 0.0;
        QTest::newRow("negative range") << uR"({"value":-75,"min":-100,"max":0})"_s << 0.25;
        QTest::newRow("value as text") << uR"({"value":"80"})"_s << 0.0;
    }
    void fraction()
    {
        QFETCH(QString, element);
        QFETCH(double, expected);
        const double got = prims::valueFraction(json(element));
        QVERIFY2(std::abs(got - expected) < 1e-9, qPrintable(QString::number(got)));
    }

    void valueText_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<QString>("expected");
        QTest::newRow("two decimals") << uR"({"value":42.5,"decimals":2})"_s << u"42.50"_s;
        QTest::newRow("negative decimals") << uR"({"value":1.5,"decimals":-3})"_s << u"2"_s;
        QTest::newRow("unit follows directly") << uR"({"value":21.24,"decimals":1,"unit":"°C"})"_s << u"21.2°C"_s;
    }
    void valueText()
    {
        QFETCH(QString, element);
        QFETCH(QString, expected);
        QCOMPARE(prims::valueWithUnit(json(element)), expected);
    }

    void builtHeight_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<int>("height");
        QTest::newRow("ring 20 is 40") << uR"({"type":"ring","size":20})"_s << 40;
        QTest::newRow("dial 10 is 60") << uR"({"type":"dial","size":10})"_s << 60;
        QTest::newRow("meter 100 is 60") << uR"({"type":"meter","height":100})"_s << 80;
    }
    void builtHeight()
    {
        QFETCH(QString, element);
        QFETCH(int, height);
        QWidget parent;
        auto *painted = qobject_cast<prims::Painted *>(prims::buildPrimitive(json(element), {}, 0, &parent));
        QVERIFY(painted && painted->maximumHeight() == painted->minimumHeight());
        QCOMPARE(painted->minimumHeight(), height);
    }

    void ringText()
    {
        QCOMPARE(prims::ringText(json(uR"({"value":180})"_s)), u"100%"_s);
        QCOMPARE(prims::ringText(json(uR"({"value":1,"max":8})"_s)), u"13%"_s);
        QCOMPARE(prims::ringText(json(uR"({"value":40,"label":"4/10"})"_s)), u"4/10"_s);
    }

    void meterTarget_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<double>("fraction"); // -1: no target
        QTest::newRow("missing") << u"{}"_s << -1.0;
        QTest::newRow("beyond max") << uR"({"target":150})"_s << 1.0;
        QTest::newRow("text word") << uR"({"target":"high"})"_s << -1.0;
    }
    void meterTarget()
    {
        QFETCH(QString, element);
        QFETCH(double, fraction);
        const std::optional<double> got = prims::meterTarget(json(element));
        QCOMPARE(got.has_value(), fraction >= 0);
        if (got)
            QCOMPARE(*got, fraction);
    }

    void led_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<int>("size");
        QTest::addColumn<QString>("tone");
        QTest::newRow("tone beats state") << uR"({"state":"ok","tone":"error"})"_s << 12 << u"error"_s;
        QTest::newRow("empty tone uses state") << uR"({"state":"warn","tone":""})"_s << 12 << u"warn"_s;
    }
    void led()
    {
        QFETCH(QString, element);
        QFETCH(int, size);
        QFETCH(QString, tone);
        QJsonObject el = json(element);
        QCOMPARE(prims::ledSize(el), size);
        QCOMPARE(prims::ledColor(el), theme::toneColor(tone));
    }
};

QTEST_MAIN(TestInstruments)
#include "tst_instruments.moc"
