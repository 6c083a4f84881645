// Gauge, dial, ring, meter and led: the value rules they share, the sizes they are built at, and
// what ends up on the painted surface.

#include "app/theme.h"
#include "prims/dial.h"
#include "prims/gauge.h"
#include "prims/led.h"
#include "prims/meter.h"
#include "prims/painted.h"
#include "prims/registry.h"
#include "prims/ring.h"
#include "support/testsupport.h"

#include <QLabel>
#include <QPainter>
#include <QTest>

#include <cmath>
#include <numbers>

using namespace Qt::StringLiterals;

namespace {

QJsonObject parse(const QString &text)
{
    return testsupport::json(text.toUtf8().constData());
}

QImage paintInto(void (*paint)(QPainter &, const QRect &, const QJsonObject &), const QJsonObject &el, QSize size)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    paint(p, image.rect(), el);
    return image;
}

bool near(const QColor &a, const QColor &b)
{
    return std::abs(a.red() - b.red()) <= 6 && std::abs(a.green() - b.green()) <= 6 &&
           std::abs(a.blue() - b.blue()) <= 6 && a.alpha() > 240;
}

} // namespace

class TestInstruments : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }

    void fraction_data();
    void fraction();
    void valueText_data();
    void valueText();
    void sixteenths_data();
    void sixteenths();
    void builtHeight_data();
    void builtHeight();
    void caption_data();
    void caption();
    void gaugeArc_data();
    void gaugeArc();
    void gaugeTicks_data();
    void gaugeTicks();
    void ringText_data();
    void ringText();
    void dialAngle_data();
    void dialAngle();
    void dialNeedle_data();
    void dialNeedle();
    void ringArc_data();
    void ringArc();
    void meterTarget_data();
    void meterTarget();
    void meterFill_data();
    void meterFill();
    void led_data();
    void led();
    void malformed_data();
    void malformed();
};

void TestInstruments::fraction_data()
{
    QTest::addColumn<QString>("element");
    QTest::addColumn<double>("expected");
    QTest::newRow("middle") << u"{\"value\":50}"_s << 0.5;
    QTest::newRow("defaults") << u"{}"_s << 0.0;
    QTest::newRow("below min") << u"{\"value\":-5}"_s << 0.0;
    QTest::newRow("beyond max") << u"{\"value\":250}"_s << 1.0;
    QTest::newRow("max equals min") << u"{\"value\":5,\"min\":5,\"max\":5}"_s << 0.0;
    QTest::newRow("max below min") << u"{\"value\":5,\"min\":10,\"max\":0}"_s << 0.0;
    QTest::newRow("negative range") << u"{\"value\":-75,\"min\":-100,\"max\":0}"_s << 0.25;
    QTest::newRow("value as text") << u"{\"value\":\"80\"}"_s << 0.0;
    QTest::newRow("max as text") << u"{\"value\":50,\"max\":\"200\"}"_s << 0.5;
    QTest::newRow("huge span") << u"{\"value\":1e308,\"min\":-1e308,\"max\":1e308}"_s << 0.0;
}

void TestInstruments::fraction()
{
    QFETCH(QString, element);
    QFETCH(double, expected);
    const double got = prims::valueFraction(parse(element));
    QVERIFY2(std::abs(got - expected) < 1e-9, qPrintable(QString::number(got)));
}

void TestInstruments::valueText_data()
{
    QTest::addColumn<QString>("element");
    QTest::addColumn<QString>("expected");
    QTest::newRow("whole") << u"{\"value\":42}"_s << u"42"_s;
    QTest::newRow("rounded") << u"{\"value\":42.6}"_s << u"43"_s;
    QTest::newRow("two decimals") << u"{\"value\":42.5,\"decimals\":2}"_s << u"42.50"_s;
    QTest::newRow("decimals 9 is 6") << u"{\"value\":1.5,\"decimals\":9}"_s << u"1.500000"_s;
    QTest::newRow("negative decimals") << u"{\"value\":1.5,\"decimals\":-3}"_s << u"2"_s;
    QTest::newRow("unit follows directly") << u"{\"value\":21.24,\"decimals\":1,\"unit\":\"°C\"}"_s << u"21.2°C"_s;
    QTest::newRow("beyond max keeps true value") << u"{\"value\":250,\"unit\":\" %\"}"_s << u"250 %"_s;
    QTest::newRow("text value is default") << u"{\"value\":\"x\"}"_s << u"0"_s;
}

void TestInstruments::valueText()
{
    QFETCH(QString, element);
    QFETCH(QString, expected);
    QCOMPARE(prims::valueWithUnit(parse(element)), expected);
}

void TestInstruments::sixteenths_data()
{
    QTest::addColumn<double>("degrees");
    QTest::addColumn<int>("expected");
    QTest::newRow("whole") << 90.0 << 1440;
    QTest::newRow("half up") << 90.03125 << 1441;
    QTest::newRow("half away from zero") << -90.03125 << -1441;
    QTest::newRow("below half") << 0.03 << 0;
}

void TestInstruments::sixteenths()
{
    QFETCH(double, degrees);
    QFETCH(int, expected);
    QCOMPARE(prims::sixteenths(degrees), expected);
}

void TestInstruments::builtHeight_data()
{
    QTest::addColumn<QString>("element");
    QTest::addColumn<int>("height");
    QTest::newRow("gauge") << u"{\"type\":\"gauge\"}"_s << 104;
    QTest::newRow("ring default") << u"{\"type\":\"ring\"}"_s << 96;
    QTest::newRow("ring 20 is 40") << u"{\"type\":\"ring\",\"size\":20}"_s << 40;
    QTest::newRow("ring 900 is 500") << u"{\"type\":\"ring\",\"size\":900}"_s << 500;
    QTest::newRow("dial default") << u"{\"type\":\"dial\"}"_s << 120;
    QTest::newRow("dial 10 is 60") << u"{\"type\":\"dial\",\"size\":10}"_s << 60;
    QTest::newRow("meter with header") << u"{\"type\":\"meter\"}"_s << 30;
    QTest::newRow("meter bare") << u"{\"type\":\"meter\",\"show_value\":false}"_s << 14;
    QTest::newRow("meter label only") << u"{\"type\":\"meter\",\"show_value\":\"no\",\"label\":\"L\"}"_s << 30;
    QTest::newRow("meter 100 is 60") << u"{\"type\":\"meter\",\"height\":100}"_s << 80;
    QTest::newRow("meter 1 is 4") << u"{\"type\":\"meter\",\"height\":1,\"show_value\":false}"_s << 8;
}

void TestInstruments::builtHeight()
{
    QFETCH(QString, element);
    QFETCH(int, height);
    QWidget parent;
    QWidget *w = prims::buildPrimitive(parse(element), {}, 0, &parent);
    auto *painted = qobject_cast<prims::Painted *>(w);
    QVERIFY(painted);
    QCOMPARE(painted->minimumHeight(), height);
    QCOMPARE(painted->maximumHeight(), height);
    QCOMPARE(painted->sizePolicy().horizontalPolicy(), QSizePolicy::Expanding);
    QCOMPARE(painted->sizePolicy().verticalPolicy(), QSizePolicy::Fixed);
}

void TestInstruments::caption_data()
{
    QTest::addColumn<QString>("element");
    QTest::addColumn<QString>("caption");
    QTest::newRow("gauge without") << u"{\"type\":\"gauge\"}"_s << QString();
    QTest::newRow("gauge with") << u"{\"type\":\"gauge\",\"caption\":\"Lift motor\"}"_s << u"Lift motor"_s;
    QTest::newRow("ring with") << u"{\"type\":\"ring\",\"caption\":\"Charge\"}"_s << u"Charge"_s;
    QTest::newRow("dial takes its label") << u"{\"type\":\"dial\",\"label\":\"Speed\"}"_s << u"Speed"_s;
    QTest::newRow("dial ignores caption") << u"{\"type\":\"dial\",\"caption\":\"x\"}"_s << QString();
}

void TestInstruments::caption()
{
    QFETCH(QString, element);
    QFETCH(QString, caption);
    QWidget parent;
    QWidget *w = prims::buildPrimitive(parse(element), {}, 0, &parent);
    QVERIFY(w);
    if (caption.isEmpty()) {
        QVERIFY(qobject_cast<prims::Painted *>(w));
        return;
    }
    QVERIFY(!qobject_cast<prims::Painted *>(w));
    QVERIFY(w->findChild<prims::Painted *>());
    const QList<QLabel *> labels = w->findChildren<QLabel *>();
    QCOMPARE(labels.size(), 1);
    QCOMPARE(labels.first()->text(), caption);
    QVERIFY(labels.first()->styleSheet().contains(theme::toneColor(u"muted"_s).name()));
}

// Samples the middle of the arc stroke near its left and right ends.
void TestInstruments::gaugeArc_data()
{
    QTest::addColumn<QString>("element");
    QTest::addColumn<bool>("leftToned");
    QTest::addColumn<bool>("rightToned");
    QTest::newRow("empty") << u"{\"value\":0}"_s << false << false;
    QTest::newRow("half") << u"{\"value\":50}"_s << true << false;
    QTest::newRow("full") << u"{\"value\":100}"_s << true << true;
    QTest::newRow("beyond max") << u"{\"value\":400}"_s << true << true;
    QTest::newRow("max equals min") << u"{\"value\":3,\"min\":3,\"max\":3}"_s << false << false;
}

void TestInstruments::gaugeArc()
{
    QFETCH(QString, element);
    QFETCH(bool, leftToned);
    QFETCH(bool, rightToned);
    QJsonObject el = parse(element);
    el.insert(u"tone"_s, u"#FF0000"_s);
    const QSize size(240, 104);
    const QImage image = paintInto(&prims::paintGauge, el, size);
    const prims::GaugeGeometry g = prims::gaugeGeometry(QRect(QPoint(), size));
    const QPointF c = g.arc.center();
    const double radius = g.arc.width() / 2;
    auto at = [&](double degrees) {
        const double a = degrees * std::numbers::pi / 180.0;
        return image.pixelColor((c + QPointF(std::cos(a), -std::sin(a)) * radius).toPoint());
    };
    const QColor edge = theme::palette().edge;
    QCOMPARE(near(at(170), QColor(Qt::red)), leftToned);
    QCOMPARE(near(at(170), edge), !leftToned);
    QCOMPARE(near(at(10), QColor(Qt::red)), rightToned);
    QCOMPARE(near(at(10), edge), !rightToned);
}

void TestInstruments::gaugeTicks_data()
{
    QTest::addColumn<int>("ticks");
    QTest::addColumn<double>("angle");
    QTest::addColumn<bool>("drawn");
    QTest::newRow("none at the left end") << 0 << 180.0 << false;
    QTest::newRow("five at the left end") << 5 << 180.0 << true;
    QTest::newRow("five at a fifth") << 5 << 144.0 << true;
    QTest::newRow("five not at a fortieth") << 5 << 175.5 << false;
    QTest::newRow("100 is 40, at a fortieth") << 100 << 175.5 << true;
}

void TestInstruments::gaugeTicks()
{
    QFETCH(int, ticks);
    QFETCH(double, angle);
    QFETCH(bool, drawn);
    QJsonObject el;
    el.insert(u"ticks"_s, ticks);
    const QSize size(400, 104);
    const QImage image = paintInto(&prims::paintGauge, el, size);
    const prims::GaugeGeometry g = prims::gaugeGeometry(QRect(QPoint(), size));
    const double r = g.arc.width() / 2 + g.thickness / 2 + 2 + 2;
    const double a = angle * std::numbers::pi / 180.0;
    const QPoint p = (g.arc.center() + QPointF(std::cos(a), -std::sin(a)) * r).toPoint();
    int alpha = 0;
    for (int dx = -1; dx <= 1; ++dx) {
        for (int dy = -1; dy <= 1; ++dy)
            alpha = std::max(alpha, image.pixelColor(p + QPoint(dx, dy)).alpha());
    }
    QCOMPARE(alpha > 60, drawn);
}

void TestInstruments::ringText_data()
{
    QTest::addColumn<QString>("element");
    QTest::addColumn<QString>("expected");
    QTest::newRow("zero") << u"{\"value\":0}"_s << u"0%"_s;
    QTest::newRow("at max") << u"{\"value\":100}"_s << u"100%"_s;
    QTest::newRow("beyond max") << u"{\"value\":180}"_s << u"100%"_s;
    QTest::newRow("half rounds up") << u"{\"value\":1,\"max\":8}"_s << u"13%"_s;
    QTest::newRow("label wins") << u"{\"value\":40,\"label\":\"4/10\"}"_s << u"4/10"_s;
}

void TestInstruments::ringText()
{
    QFETCH(QString, element);
    QFETCH(QString, expected);
    QCOMPARE(prims::ringText(parse(element)), expected);
}

void TestInstruments::dialAngle_data()
{
    QTest::addColumn<double>("fraction");
    QTest::addColumn<double>("angle");
    QTest::newRow("start lower left") << 0.0 << 225.0;
    QTest::newRow("middle at the top") << 0.5 << 90.0;
    QTest::newRow("end lower right") << 1.0 << -45.0;
    QTest::newRow("clamped") << 3.0 << -45.0;
}

void TestInstruments::dialAngle()
{
    QFETCH(double, fraction);
    QFETCH(double, angle);
    QCOMPARE(prims::dialAngle(fraction), angle);
}

// The needle points at the value's angle: sampled halfway along it, and at the angle of the start.
void TestInstruments::dialNeedle_data()
{
    QTest::addColumn<double>("value");
    QTest::addColumn<double>("needleAngle");
    QTest::newRow("zero at lower left") << 0.0 << 225.0;
    QTest::newRow("half at the top") << 50.0 << 90.0;
    QTest::newRow("full at lower right") << 100.0 << -45.0;
    QTest::newRow("a quarter") << 25.0 << 157.5;
}

void TestInstruments::dialNeedle()
{
    QFETCH(double, value);
    QFETCH(double, needleAngle);
    QJsonObject el{{u"value"_s, value}, {u"tone"_s, u"#FF00FF"_s}, {u"size"_s, 200}, {u"ticks"_s, 0}};
    const QImage image = paintInto(&prims::paintDial, el, QSize(200, 200));
    const QPointF c(100, 100);
    auto at = [&](double degrees, double radius) {
        const double a = degrees * std::numbers::pi / 180.0;
        return image.pixelColor((c + QPointF(std::cos(a), -std::sin(a)) * radius).toPoint());
    };
    const QColor tone(Qt::magenta);
    QVERIFY(near(at(needleAngle, 40), tone));
    QVERIFY(!near(at(needleAngle + 90, 40), tone));
    QVERIFY(!near(at(needleAngle - 90, 40), tone));
}

void TestInstruments::ringArc_data()
{
    QTest::addColumn<double>("value");
    QTest::addColumn<double>("angle");
    QTest::addColumn<bool>("toned");
    QTest::newRow("quarter covers top right") << 25.0 << 45.0 << true;
    QTest::newRow("quarter leaves top left") << 25.0 << 135.0 << false;
    QTest::newRow("three quarters covers the bottom") << 75.0 << -90.0 << true;
    QTest::newRow("three quarters leaves the upper left") << 75.0 << 120.0 << false;
    QTest::newRow("zero draws no value") << 0.0 << 45.0 << false;
}

void TestInstruments::ringArc()
{
    QFETCH(double, value);
    QFETCH(double, angle);
    QFETCH(bool, toned);
    const QJsonObject el{{u"value"_s, value}, {u"tone"_s, u"#00FFFF"_s}, {u"size"_s, 120}, {u"thickness"_s, 12}};
    const QImage image = paintInto(&prims::paintRing, el, QSize(200, 120));
    const double radius = (120 - 12 - 4) / 2.0;
    const double a = angle * std::numbers::pi / 180.0;
    const QColor c = image.pixelColor((QPointF(100, 60) + QPointF(std::cos(a), -std::sin(a)) * radius).toPoint());
    QCOMPARE(near(c, QColor(Qt::cyan)), toned);
    if (!toned)
        QVERIFY(near(c, theme::palette().edge));
}

void TestInstruments::meterTarget_data()
{
    QTest::addColumn<QString>("element");
    QTest::addColumn<bool>("present");
    QTest::addColumn<double>("fraction");
    QTest::newRow("missing") << u"{}"_s << false << 0.0;
    QTest::newRow("number") << u"{\"target\":80}"_s << true << 0.8;
    QTest::newRow("text number") << u"{\"target\":\" 25 \"}"_s << true << 0.25;
    QTest::newRow("beyond max") << u"{\"target\":150}"_s << true << 1.0;
    QTest::newRow("text word") << u"{\"target\":\"high\"}"_s << false << 0.0;
    QTest::newRow("text infinity") << u"{\"target\":\"inf\"}"_s << false << 0.0;
    QTest::newRow("bool") << u"{\"target\":true}"_s << false << 0.0;
    QTest::newRow("in range") << u"{\"target\":5,\"min\":0,\"max\":20}"_s << true << 0.25;
}

void TestInstruments::meterTarget()
{
    QFETCH(QString, element);
    QFETCH(bool, present);
    QFETCH(double, fraction);
    const std::optional<double> got = prims::meterTarget(parse(element));
    QCOMPARE(got.has_value(), present);
    if (present)
        QCOMPARE(*got, fraction);
}

void TestInstruments::meterFill_data()
{
    QTest::addColumn<QString>("element");
    QTest::addColumn<double>("at");
    QTest::addColumn<bool>("toned");
    QTest::newRow("inside the value") << u"{\"value\":60}"_s << 0.3 << true;
    QTest::newRow("past the value") << u"{\"value\":60}"_s << 0.8 << false;
    QTest::newRow("zero is empty") << u"{\"value\":0}"_s << 0.05 << false;
    QTest::newRow("over max is full") << u"{\"value\":1000}"_s << 0.97 << true;
}

void TestInstruments::meterFill()
{
    QFETCH(QString, element);
    QFETCH(double, at);
    QFETCH(bool, toned);
    QJsonObject el = parse(element);
    el.insert(u"tone"_s, u"#00FF00"_s);
    el.insert(u"show_value"_s, false);
    const QImage image = paintInto(&prims::paintMeter, el, QSize(300, 14));
    const QColor c = image.pixelColor(int(at * 300), 7);
    QCOMPARE(near(c, QColor(Qt::green)), toned);
    if (!toned)
        QVERIFY(near(c, theme::palette().grey));
}

void TestInstruments::led_data()
{
    QTest::addColumn<QString>("element");
    QTest::addColumn<int>("size");
    QTest::addColumn<QString>("tone");
    QTest::newRow("defaults") << u"{}"_s << 12 << u"idle"_s;
    QTest::newRow("state is the tone") << u"{\"state\":\"ok\"}"_s << 12 << u"ok"_s;
    QTest::newRow("tone beats state") << u"{\"state\":\"ok\",\"tone\":\"error\"}"_s << 12 << u"error"_s;
    QTest::newRow("empty tone uses state") << u"{\"state\":\"warn\",\"tone\":\"\"}"_s << 12 << u"warn"_s;
    QTest::newRow("size 3 is 6") << u"{\"size\":3}"_s << 6 << u"idle"_s;
    QTest::newRow("size 7 stays") << u"{\"size\":7}"_s << 7 << u"idle"_s;
    QTest::newRow("size 200 is 64") << u"{\"size\":200}"_s << 64 << u"idle"_s;
}

void TestInstruments::led()
{
    QFETCH(QString, element);
    QFETCH(int, size);
    QFETCH(QString, tone);
    QJsonObject el = parse(element);
    QCOMPARE(prims::ledSize(el), size);
    QCOMPARE(prims::ledColor(el), theme::toneColor(tone));

    el.insert(u"type"_s, u"led"_s);
    el.insert(u"label"_s, u"Brake"_s);
    QWidget parent;
    QWidget *row = prims::buildPrimitive(el, {}, 0, &parent);
    QVERIFY(row);
    auto *lamp = row->findChild<prims::Painted *>();
    QVERIFY(lamp);
    QCOMPARE(lamp->minimumHeight(), size + 6);
    QCOMPARE(lamp->minimumWidth(), size + 8);
    QCOMPARE(lamp->maximumWidth(), size + 8);
    // The lamp's centre carries its colour.
    const QImage image = lamp->grab().toImage();
    const QColor centre = image.pixelColor(image.width() / 2, image.height() / 2);
    QVERIFY(std::abs(centre.hue() - theme::toneColor(tone).hue()) <= 8 || theme::toneColor(tone).saturation() < 40);
}

// Every key of the wrong type, or absurd: the primitive still builds and paints, at any width.
void TestInstruments::malformed_data()
{
    QTest::addColumn<QString>("element");
    QTest::addColumn<int>("width");
    const QString junk = u"\"min\":\"a\",\"max\":[1],\"value\":{},\"tone\":7,\"decimals\":1e300,\"unit\":[],"
                         "\"ticks\":-1e308,\"size\":\"big\",\"thickness\":1e9,\"caption\":{},\"label\":[1],"
                         "\"zones\":[1,null,{\"from\":\"x\",\"to\":1e308}],\"segments\":{},\"target\":\"nan\","
                         "\"height\":-5,\"halo\":\"maybe\",\"state\":3,\"note\":false"_s;
    const QStringList types = {u"gauge"_s, u"dial"_s, u"ring"_s,     u"meter"_s,  u"led"_s,
                               u"kpi"_s,   u"log"_s,  u"datetime"_s, u"search"_s, u"toggle"_s};
    for (const QString &type : types) {
        for (int width : {1, 20, 600}) {
            QTest::addRow("%s at %d", qPrintable(type), width) << u"{\"type\":\"%1\",%2}"_s.arg(type, junk) << width;
        }
    }
    QTest::newRow("badge with a number text") << u"{\"type\":\"badge\",\"text\":true,\"size\":1e12}"_s << 50;
    QTest::newRow("keyvalue of junk items")
        << u"{\"type\":\"keyvalue\",\"items\":[1,\"x\",null,{\"value\":[]}],\"columns\":-4}"_s << 50;
    QTest::newRow("image of junk") << u"{\"type\":\"image\",\"data\":[],\"width\":-1e9,\"fit\":{}}"_s << 50;
    QTest::newRow("log of junk lines") << u"{\"type\":\"log\",\"lines\":[1,true,null,[],{\"text\":{}}]}"_s << 50;
}

void TestInstruments::malformed()
{
    QFETCH(QString, element);
    QFETCH(int, width);
    QWidget parent;
    QWidget *w = prims::buildPrimitive(parse(element), {}, 0, &parent);
    QVERIFY(w);
    testsupport::layOut(&parent, width);
    for (QWidget *child : parent.findChildren<QWidget *>()) {
        const QImage shot = child->grab().toImage();
        QVERIFY(!child->isVisible() || child->size().isEmpty() || !shot.isNull());
    }
}

QTEST_MAIN(TestInstruments)
#include "tst_instruments.moc"
