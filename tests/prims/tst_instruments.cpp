// Gauge, dial, ring, meter and led: the value rules they share, the sizes they are built at, and
// what ends up on the painted surface.

#include "app/base/theme.h"
#include "prims/dial.h"
#include "prims/gauge.h"
#include "prims/led.h"
#include "prims/meter.h"
#include "prims/painted.h"
#include "prims/registry.h"
#include "prims/ring.h"
#include "support/widgets.h"

#include <QLabel>
#include <QPainter>
#include <QTest>

#include <cmath>
#include <functional>
#include <numbers>

using namespace Qt::StringLiterals;

namespace {

using testsupport::json;

QImage paintInto(void (*paint)(QPainter &, const QRect &, const QJsonObject &), const QJsonObject &el, QSize size)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    paint(p, image.rect(), el);
    return image;
}

// The point `radius` from `centre` at `degrees` counter-clockwise from three o'clock.
QPoint polar(QPointF centre, double degrees, double radius)
{
    const double a = degrees * std::numbers::pi / 180.0;
    return (centre + QPointF(std::cos(a), -std::sin(a)) * radius).toPoint();
}

bool near(const QColor &a, const QColor &b)
{
    return std::abs(a.red() - b.red()) <= 6 && std::abs(a.green() - b.green()) <= 6 &&
           std::abs(a.blue() - b.blue()) <= 6 && a.alpha() > 240;
}

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
        QTest::newRow("middle") << uR"({"value":50})"_s << 0.5;
        QTest::newRow("below min") << uR"({"value":-5})"_s << 0.0;
        QTest::newRow("beyond max") << uR"({"value":250})"_s << 1.0;
        QTest::newRow("max equals min") << uR"({"value":5,"min":5,"max":5})"_s << 0.0;
        QTest::newRow("negative range") << uR"({"value":-75,"min":-100,"max":0})"_s << 0.25;
        QTest::newRow("value as text") << uR"({"value":"80"})"_s << 0.0;
        QTest::newRow("huge span") << uR"({"value":1e308,"min":-1e308,"max":1e308})"_s << 0.0;
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
        QTest::newRow("whole") << uR"({"value":42})"_s << u"42"_s;
        QTest::newRow("two decimals") << uR"({"value":42.5,"decimals":2})"_s << u"42.50"_s;
        QTest::newRow("decimals 9 is 6") << uR"({"value":1.5,"decimals":9})"_s << u"1.500000"_s;
        QTest::newRow("negative decimals") << uR"({"value":1.5,"decimals":-3})"_s << u"2"_s;
        QTest::newRow("unit follows directly") << uR"({"value":21.24,"decimals":1,"unit":"°C"})"_s << u"21.2°C"_s;
        QTest::newRow("beyond max keeps true value") << uR"({"value":250,"unit":" %"})"_s << u"250 %"_s;
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
        QTest::newRow("ring 900 is 500") << uR"({"type":"ring","size":900})"_s << 500;
        QTest::newRow("dial 10 is 60") << uR"({"type":"dial","size":10})"_s << 60;
        QTest::newRow("meter bare") << uR"({"type":"meter","show_value":false})"_s << 14;
        QTest::newRow("meter label only") << uR"({"type":"meter","show_value":"no","label":"L"})"_s << 30;
        QTest::newRow("meter 100 is 60") << uR"({"type":"meter","height":100})"_s << 80;
        QTest::newRow("meter 1 is 4") << uR"({"type":"meter","height":1,"show_value":false})"_s << 8;
    }
    void builtHeight()
    {
        QFETCH(QString, element);
        QFETCH(int, height);
        QWidget parent;
        auto *painted = qobject_cast<prims::Painted *>(prims::buildPrimitive(json(element), {}, 0, &parent));
        QVERIFY(painted);
        QCOMPARE(painted->minimumHeight(), height);
        QCOMPARE(painted->maximumHeight(), height);
        QCOMPARE(painted->sizePolicy().horizontalPolicy(), QSizePolicy::Expanding);
        QCOMPARE(painted->sizePolicy().verticalPolicy(), QSizePolicy::Fixed);
    }

    // A caption goes under the instrument in muted text; the dial's caption is its "label".
    void caption()
    {
        QWidget parent;
        QVERIFY(qobject_cast<prims::Painted *>(
            prims::buildPrimitive(json(uR"({"type":"dial","caption":"x"})"_s), {}, 0, &parent)));
        for (const QString &el :
             {uR"({"type":"gauge","caption":"Speed"})"_s, uR"({"type":"dial","label":"Speed"})"_s}) {
            QWidget *w = prims::buildPrimitive(json(el), {}, 0, &parent);
            QVERIFY(w && !qobject_cast<prims::Painted *>(w));
            QVERIFY(w->findChild<prims::Painted *>());
            const QList<QLabel *> labels = w->findChildren<QLabel *>();
            QCOMPARE(labels.size(), 1);
            QCOMPARE(labels.first()->text(), u"Speed"_s);
            QCOMPARE(labels.first()->palette().color(QPalette::WindowText), theme::toneColor(u"muted"_s));
        }
    }

    // What each painter puts where: the value's tone on the covered part of the scale, the empty
    // track elsewhere (the gauge's and ring's edge tone, the meter's grey; the dial's needle only).
    void valueOnScale_data()
    {
        QTest::addColumn<QString>("painter");
        QTest::addColumn<double>("value");
        QTest::addColumn<QPoint>("at");
        QTest::addColumn<bool>("toned");
        const prims::GaugeGeometry g = prims::gaugeGeometry(QRect(0, 0, 240, 104));
        const QPoint gaugeLeft = polar(g.arc.center(), 170, g.arc.width() / 2);
        const QPoint gaugeRight = polar(g.arc.center(), 10, g.arc.width() / 2);
        QTest::newRow("gauge empty") << u"gauge"_s << 0.0 << gaugeLeft << false;
        QTest::newRow("gauge half, left end") << u"gauge"_s << 50.0 << gaugeLeft << true;
        QTest::newRow("gauge half, right end") << u"gauge"_s << 50.0 << gaugeRight << false;
        // The needle, halfway along it, and a quarter turn off it.
        QTest::newRow("dial quarter") << u"dial"_s << 25.0 << polar({100, 100}, 157.5, 40) << true;
        QTest::newRow("dial quarter, not a turn on") << u"dial"_s << 25.0 << polar({100, 100}, 67.5, 40) << false;
        // The ring runs clockwise from the top.
        const double r = (120 - 12 - 4) / 2.0;
        QTest::newRow("ring quarter, top right") << u"ring"_s << 25.0 << polar({100, 60}, 45, r) << true;
        QTest::newRow("ring quarter, top left") << u"ring"_s << 25.0 << polar({100, 60}, 135, r) << false;
        QTest::newRow("meter inside the value") << u"meter"_s << 60.0 << QPoint(90, 7) << true;
        QTest::newRow("meter past the value") << u"meter"_s << 60.0 << QPoint(240, 7) << false;
        QTest::newRow("meter over max is full") << u"meter"_s << 1000.0 << QPoint(291, 7) << true;
    }
    void valueOnScale()
    {
        QFETCH(QString, painter);
        QFETCH(double, value);
        QFETCH(QPoint, at);
        QFETCH(bool, toned);
        const QJsonObject el{
            {u"value"_s, value}, {u"tone"_s, u"#FF00FF"_s}, {u"size"_s, painter == "dial"_L1 ? 200 : 120},
            {u"ticks"_s, 0},     {u"thickness"_s, 12},      {u"show_value"_s, false}};
        QImage image;
        if (painter == "gauge"_L1)
            image = paintInto(&prims::paintGauge, el, QSize(240, 104));
        else if (painter == "dial"_L1)
            image = paintInto(&prims::paintDial, el, QSize(200, 200));
        else if (painter == "ring"_L1)
            image = paintInto(&prims::paintRing, el, QSize(200, 120));
        else
            image = paintInto(&prims::paintMeter, el, QSize(300, 14));
        const QColor c = image.pixelColor(at);
        QCOMPARE(near(c, Qt::magenta), toned);
        if (painter != "dial"_L1)
            QCOMPARE(near(c, painter == "meter"_L1 ? theme::palette().grey : theme::palette().edge), !toned);
    }

    // The value and label texts stay inside the scale and inside the widget at any size: no ink of
    // them on the arc, the ticks or the zones, or past the rectangle the instrument was given.
    void textsStayInside_data()
    {
        QTest::addColumn<QString>("painter");
        QTest::addColumn<QString>("element");
        QTest::addColumn<QSize>("size");
        QTest::newRow("gauge, long unit, narrow")
            << u"gauge"_s << uR"({"unit":" revolutions per minute","label":"Lift motor load, both sides"})"_s
            << QSize(120, 104);
        QTest::newRow("gauge, wide") << u"gauge"_s << uR"({"unit":" %","label":"Load"})"_s << QSize(260, 104);
        QTest::newRow("dial 150") << u"dial"_s << uR"({"value":1.35,"max":2,"decimals":2,"unit":" m/s","size":150})"_s
                                  << QSize(150, 150);
        QTest::newRow("dial 60") << u"dial"_s << uR"({"value":12,"unit":" bar","size":60})"_s << QSize(60, 60);
        QTest::newRow("ring 40, long label")
            << u"ring"_s << uR"({"label":"Commissioning","size":40})"_s << QSize(40, 40);
        QTest::newRow("ring 104") << u"ring"_s << uR"({"label":"7 / 12","size":104,"thickness":11})"_s
                                  << QSize(104, 104);
    }
    void textsStayInside()
    {
        QFETCH(QString, painter);
        QFETCH(QString, element);
        QFETCH(QSize, size);
        QJsonObject el = json(element);
        el.insert(u"tone"_s, u"#FF00FF"_s); // the scale's value part and the gauge's value text
        // The instrument's rectangle inside a larger image, so that ink past it shows.
        const QRect rect(QPoint(30, 30), size);
        QImage image(size + QSize(60, 60), QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        {
            QPainter p(&image);
            p.setRenderHint(QPainter::Antialiasing);
            if (painter == "gauge"_L1)
                prims::paintGauge(p, rect, el);
            else if (painter == "dial"_L1)
                prims::paintDial(p, rect, el);
            else
                prims::paintRing(p, rect, el);
        }
        // Where text may be, for pixels of the text's colour.
        std::function<bool(QPointF)> allowed;
        auto textColoured = [&](const QColor &c) {
            if (c.alpha() < 200)
                return false;
            if (painter == "gauge"_L1) // the value in the tone (no value arc at 0), the label muted
                return near(c, Qt::magenta) || near(c, theme::palette().muted);
            return c.red() > 200 && c.green() > 200 && c.blue() > 200; // ink
        };
        if (painter == "gauge"_L1) {
            const prims::GaugeGeometry g = prims::gaugeGeometry(rect);
            const QPointF c = g.arc.center();
            const double inner = g.arc.width() / 2 - g.thickness / 2.0 + 0.5;
            allowed = [=](QPointF at) {
                const QPointF d = at - c;
                const bool inArc = d.y() >= 0 ? std::abs(d.x()) <= inner : std::hypot(d.x(), d.y()) <= inner;
                return QRectF(rect).contains(at) && (inArc || d.y() >= 1);
            };
        } else if (painter == "dial"_L1) {
            const int s = el.value("size"_L1).toInt();
            const double face = (s - 14) / 2.0;
            const double clear = face - std::max(5, s / 16) - 8 + 0.5;
            allowed = [=](QPointF at) {
                const QPointF d = at - QRectF(rect).center();
                const double r = std::hypot(d.x(), d.y());
                return r <= face && (r <= clear || std::abs(d.x()) < d.y());
            };
        } else {
            const int pen = std::max(2, std::min(size.height() / 2, el.value("thickness"_L1).toInt(10)));
            const double inner = (size.height() - pen - 4) / 2.0 - pen / 2.0 + 0.5;
            allowed = [=](QPointF at) {
                return std::hypot(at.x() - rect.center().x(), at.y() - rect.center().y()) <= inner;
            };
        }
        int inked = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                if (!textColoured(image.pixelColor(x, y)))
                    continue;
                ++inked;
                QVERIFY2(allowed(QPointF(x + 0.5, y + 0.5)), qPrintable(u"text ink at %1,%2"_s.arg(x).arg(y)));
            }
        }
        QVERIFY(inked > 0); // something was written
    }

    void gaugeTicks_data()
    {
        QTest::addColumn<int>("ticks");
        QTest::addColumn<double>("angle");
        QTest::addColumn<bool>("drawn");
        QTest::newRow("none at the left end") << 0 << 180.0 << false;
        QTest::newRow("five at a fifth") << 5 << 144.0 << true;
        QTest::newRow("five not at a fortieth") << 5 << 175.5 << false;
        QTest::newRow("100 is 40, at a fortieth") << 100 << 175.5 << true;
    }
    void gaugeTicks()
    {
        QFETCH(int, ticks);
        QFETCH(double, angle);
        QFETCH(bool, drawn);
        const QSize size(400, 104);
        const QImage image = paintInto(&prims::paintGauge, QJsonObject{{u"ticks"_s, ticks}}, size);
        const prims::GaugeGeometry g = prims::gaugeGeometry(QRect(QPoint(), size));
        const QPoint p = polar(g.arc.center(), angle, g.arc.width() / 2 + g.thickness / 2 + 2 + 2);
        int alpha = 0;
        for (int dx = -1; dx <= 1; ++dx) {
            for (int dy = -1; dy <= 1; ++dy)
                alpha = std::max(alpha, image.pixelColor(p + QPoint(dx, dy)).alpha());
        }
        QCOMPARE(alpha > 60, drawn);
    }

    void ringText()
    {
        QCOMPARE(prims::ringText(json(uR"({"value":0})"_s)), u"0%"_s);
        QCOMPARE(prims::ringText(json(uR"({"value":180})"_s)), u"100%"_s);
        QCOMPARE(prims::ringText(json(uR"({"value":1,"max":8})"_s)), u"13%"_s);
        QCOMPARE(prims::ringText(json(uR"({"value":40,"label":"4/10"})"_s)), u"4/10"_s);
    }

    void meterTarget_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<double>("fraction"); // -1: no target
        QTest::newRow("missing") << u"{}"_s << -1.0;
        QTest::newRow("number") << uR"({"target":80})"_s << 0.8;
        QTest::newRow("text number") << uR"({"target":" 25 "})"_s << 0.25;
        QTest::newRow("beyond max") << uR"({"target":150})"_s << 1.0;
        QTest::newRow("text word") << uR"({"target":"high"})"_s << -1.0;
        QTest::newRow("in range") << uR"({"target":5,"min":0,"max":20})"_s << 0.25;
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
        QTest::newRow("size 3 is 6") << uR"({"size":3})"_s << 6 << u"idle"_s;
        QTest::newRow("size 200 is 64") << uR"({"size":200})"_s << 64 << u"idle"_s;
    }
    void led()
    {
        QFETCH(QString, element);
        QFETCH(int, size);
        QFETCH(QString, tone);
        QJsonObject el = json(element);
        QCOMPARE(prims::ledSize(el), size);
        QCOMPARE(prims::ledColor(el), theme::toneColor(tone));

        el.insert(u"type"_s, u"led"_s);
        el.insert(u"label"_s, u"Brake"_s);
        QWidget parent;
        QWidget *row = prims::buildPrimitive(el, {}, 0, &parent);
        QVERIFY(row);
        auto *lamp = row->findChild<prims::Painted *>();
        QVERIFY(lamp);
        QCOMPARE(lamp->minimumSize(), QSize(size + 8, size + 6));
        QCOMPARE(lamp->maximumWidth(), size + 8);
        // The lamp's centre carries its colour.
        const QImage image = lamp->grab().toImage();
        const QColor centre = image.pixelColor(image.width() / 2, image.height() / 2);
        QVERIFY(std::abs(centre.hue() - theme::toneColor(tone).hue()) <= 8 || theme::toneColor(tone).saturation() < 40);
    }

    // Every key of the wrong type, or absurd: the primitive still builds and paints, at any width.
    void malformed_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<int>("width");
        const QString junk = uR"("min":"a","max":[1],"value":{},"tone":7,"decimals":1e300,"unit":[],)"
                             uR"("ticks":-1e308,"size":"big","thickness":1e9,"caption":{},"label":[1],)"
                             uR"("zones":[1,null,{"from":"x","to":1e308}],"segments":{},"target":"nan",)"
                             uR"("height":-5,"halo":"maybe","state":3,"note":false)"_s;
        for (const char *type :
             {"gauge", "dial", "ring", "meter", "led", "kpi", "log", "datetime", "search", "toggle"}) {
            for (int width : {1, 20, 600})
                QTest::addRow("%s at %d", type, width)
                    << u"{\"type\":\"%1\",%2}"_s.arg(QLatin1StringView(type), junk) << width;
        }
        QTest::newRow("badge with a number text") << uR"({"type":"badge","text":true,"size":1e12})"_s << 50;
        QTest::newRow("keyvalue of junk items")
            << uR"({"type":"keyvalue","items":[1,"x",null,{"value":[]}],"columns":-4})"_s << 50;
        QTest::newRow("image of junk") << uR"({"type":"image","data":[],"width":-1e9,"fit":{}})"_s << 50;
        QTest::newRow("log of junk lines") << uR"({"type":"log","lines":[1,true,null,[],{"text":{}}]})"_s << 50;
    }
    void malformed()
    {
        QFETCH(QString, element);
        QFETCH(int, width);
        QWidget parent;
        QVERIFY(prims::buildPrimitive(json(element), {}, 0, &parent));
        testsupport::layOut(&parent, width);
        for (QWidget *child : parent.findChildren<QWidget *>())
            QVERIFY(!child->isVisible() || child->size().isEmpty() || !child->grab().toImage().isNull());
    }
};

QTEST_MAIN(TestInstruments)
#include "tst_instruments.moc"
