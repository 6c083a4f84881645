// Gauge, dial, ring and meter: the value rules they share.

#include "prims/dial.h"
#include "prims/meter.h"
#include "prims/painted.h"
#include "prims/registry.h"
#include "prims/ring.h"
#include "support/widgets.h"

#include <QTest>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

using testsupport::json;

} // namespace

class TestInstruments final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }

    // The value rules the instruments share, each given as text: a fraction of the scale, the value
    // with its unit, a ring's text and a meter's target (empty: none).
    void valueRules_data()
    {
        QTest::addColumn<QString>("rule");
        QTest::addColumn<QString>("element");
        QTest::addColumn<QString>("expected");
        QTest::newRow("fraction beyond max") << u"fraction"_s << uR"({"value":250})"_s << u"1"_s;
        QTest::newRow("fraction, max equals min") << u"fraction"_s << uR"({"value":5,"min":5,"max":5})"_s << u"0"_s;
        QTest::newRow("fraction, negative range")
            << u"fraction"_s << uR"({"value":-75,"min":-100,"max":0})"_s << u"0.25"_s;
        QTest::newRow("two decimals") << u"value"_s << uR"({"value":42.5,"decimals":2})"_s << u"42.50"_s;
        QTest::newRow("negative decimals") << u"value"_s << uR"({"value":1.5,"decimals":-3})"_s << u"2"_s;
        QTest::newRow("unit follows directly")
            << u"value"_s << uR"({"value":21.24,"decimals":1,"unit":"°C"})"_s << u"21.2°C"_s;
        QTest::newRow("ring rounds") << u"ring"_s << uR"({"value":1,"max":8})"_s << u"13%"_s;
        QTest::newRow("ring label wins") << u"ring"_s << uR"({"value":40,"label":"4/10"})"_s << u"4/10"_s;
        QTest::newRow("no target") << u"target"_s << u"{}"_s << QString();
        QTest::newRow("target beyond max") << u"target"_s << uR"({"target":150})"_s << u"1"_s;
    }
    void valueRules()
    {
        QFETCH(QString, rule);
        QFETCH(QString, element);
        QFETCH(QString, expected);
        const QJsonObject el = json(element);
        QString got;
        if (rule == u"fraction")
            got = QString::number(prims::valueFraction(el));
        else if (rule == u"value")
            got = prims::valueWithUnit(el);
        else if (rule == u"ring")
            got = prims::ringText(el);
        else if (const std::optional<double> target = prims::meterTarget(el); target)
            got = QString::number(*target);
        QCOMPARE(got, expected);
    }
};

QTEST_MAIN(TestInstruments)
#include "tst_instruments.moc"
