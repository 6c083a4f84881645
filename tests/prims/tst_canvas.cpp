// The shapes canvas: reading and clamping the drawing, sizing, hit testing through transforms,
// presses, the tween, and pixels where a fault would show.
#include "app/base/theme.h"
#include "prims/canvas.h"
#include "prims/registry.h"
#include "support/widgets.h"

#include <QJsonArray>
#include <QTest>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

struct Pressed
{
    QString path;
    QJsonObject body;
    int count = 0;
};

std::unique_ptr<prims::Canvas> makeCanvas(const QJsonObject &spec, Pressed *pressed = nullptr, int width = 0)
{
    auto canvas = std::make_unique<prims::Canvas>();
    if (pressed) {
        canvas->setPressHandler([pressed](const QString &path, const QJsonObject &body) {
            pressed->path = path;
            pressed->body = body;
            ++pressed->count;
        });
    }
    canvas->setSpec(spec, false);
    const int w = width > 0 ? width : int(canvas->designWidth());
    canvas->resize(w, canvas->heightForWidth(w));
    // Painting makes the hit regions.
    canvas->grab();
    return canvas;
}

QJsonObject spec(const QString &items, const QString &extra = {})
{
    return testsupport::json(u"{\"width\":200,\"height\":100"_s + extra + u",\"items\":"_s + items + u'}');
}

// `item` inside `depth` groups, each nested in the next.
QString nested(const QString &item, int depth)
{
    QString out = item;
    for (int i = 0; i < depth; ++i)
        out = uR"({"kind":"group","items":[%1]})"_s.arg(out);
    return out;
}

// A canvas that has drawn `before` and received `after` with a tween of 1000 ms, its clock `*now`
// standing at `t` of the tween.
std::unique_ptr<prims::Canvas> tweenedCanvas(const QString &before, const QString &after, double t, qint64 *now)
{
    const char *extra = ",\"tween_ms\":1000,\"background\":\"#000000\"";
    auto canvas = std::make_unique<prims::Canvas>();
    canvas->setClock([now] { return *now; });
    *now = 5000;
    canvas->setSpec(spec(before, extra), false);
    canvas->resize(200, 100);
    canvas->grab();
    canvas->setSpec(spec(after, extra), false);
    *now += qint64(t * 1000);
    return canvas;
}

} // namespace

class TestCanvas final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }

    void specClamps_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("width");
        QTest::addColumn<double>("height");
        QTest::addColumn<int>("tween");
        QTest::addColumn<int>("maxWidth"); // the widget's, at most 1600 and unlimited with "fit"
        QTest::newRow("defaults") << u"{}"_s << 400.0 << 200.0 << 0 << 400;
        QTest::newRow("zero width") << uR"({"width":0,"height":50})"_s << 1.0 << 50.0 << 0 << 1;
        QTest::newRow("huge") << uR"({"width":1e308,"height":-3,"tween_ms":5000})"_s << 8000.0 << 1.0 << 2000 << 1600;
        QTest::newRow("wrong types") << uR"({"width":"300","height":true,"tween_ms":"9"})"_s << 400.0 << 200.0 << 0
                                     << 400;
        QTest::newRow("negative tween, fit")
            << uR"({"tween_ms":-5,"fit":"width"})"_s << 400.0 << 200.0 << 0 << QWIDGETSIZE_MAX;
        QTest::newRow("fraction rounds") << uR"({"width":300.6})"_s << 300.6 << 200.0 << 0 << 301;
    }
    void specClamps()
    {
        QFETCH(QString, text);
        QFETCH(double, width);
        QFETCH(double, height);
        QFETCH(int, tween);
        QFETCH(int, maxWidth);
        prims::Canvas canvas;
        canvas.setSpec(testsupport::json(text), false);
        QCOMPARE(canvas.designWidth(), width);
        QCOMPARE(canvas.designHeight(), height);
        QCOMPARE(canvas.tweenMs(), tween);
        QCOMPARE(canvas.maximumWidth(), maxWidth);
    }

    void heightForWidth_data()
    {
        QTest::addColumn<QString>("fit");
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        // Design 400 x 150.
        QTest::newRow("never grows without fit") << QString() << 800 << 150;
        QTest::newRow("shrinks without fit") << QString() << 200 << 75;
        QTest::newRow("half rounds away from zero") << QString() << 1 << 1;
        QTest::newRow("grows with fit") << u"width"_s << 800 << 300;
        QTest::newRow("fit caps at 2.5") << u"width"_s << 4000 << 375;
        QTest::newRow("fit floor 0.02") << u"width"_s << 2 << 3;
        QTest::newRow("no width") << QString() << 0 << 150;
    }
    void heightForWidth()
    {
        QFETCH(QString, fit);
        QFETCH(int, width);
        QFETCH(int, height);
        prims::Canvas canvas;
        canvas.setSpec(QJsonObject{{"width"_L1, 400}, {"height"_L1, 150}, {"fit"_L1, fit}}, false);
        QCOMPARE(canvas.heightForWidth(width), height);
        QVERIFY(canvas.hasHeightForWidth());
    }

    // Presses go to the region painted last that contains the point, mapped through its
    // transform; hidden items make no region.
    void hitTesting_data()
    {
        QTest::addColumn<QString>("items");
        QTest::addColumn<QPoint>("at");
        QTest::addColumn<QString>("path");
        const QString overlap = uR"([
            {"kind":"rect","x":10,"y":10,"w":100,"h":60,"tone":"ok","click":{"path":"/under"}},
            {"kind":"rect","x":50,"y":30,"w":100,"h":60,"tone":"warn","click":{"path":"/over"}}])"_s;
        QTest::newRow("overlap: top one wins") << overlap << QPoint(60, 40) << u"/over"_s;
        QTest::newRow("overlap: only the lower one") << overlap << QPoint(20, 20) << u"/under"_s;
        const QString hidden = uR"([
            {"kind":"rect","x":0,"y":0,"w":100,"h":100,"click":{"path":"/base"}},
            {"kind":"rect","x":0,"y":0,"w":100,"h":100,"hidden":true,"click":{"path":"/hidden"}},
            {"kind":"rect","x":0,"y":0,"w":100,"h":100,"visible":"no","click":{"path":"/invisible"}}])"_s;
        QTest::newRow("hidden items make no region") << hidden << QPoint(50, 50) << u"/base"_s;
        // Rotated 90 degrees around (50, 50): the 100 x 10 bar at y 45 stands upright.
        const QString rotated = uR"([{"kind":"rect","x":0,"y":45,"w":100,"h":10,
            "transform":{"rotate":90,"ox":50,"oy":50},"click":{"path":"/bar"}}])"_s;
        QTest::newRow("rotated: on the upright bar") << rotated << QPoint(50, 10) << u"/bar"_s;
        QTest::newRow("rotated: where the bar was") << rotated << QPoint(10, 50) << QString();
        const QString moved = uR"([{"kind":"hit","x":0,"y":0,"w":10,"h":10,
            "transform":{"tx":100,"ty":20,"scale":3},"click":{"path":"/moved"}}])"_s;
        QTest::newRow("translated and scaled: inside") << moved << QPoint(125, 45) << u"/moved"_s;
        QTest::newRow("translated and scaled: origin") << moved << QPoint(5, 5) << QString();
        const QString grouped = uR"([{"kind":"group","transform":{"tx":100},"click":{"path":"/group"},
            "items":[{"kind":"rect","x":0,"y":0,"w":20,"h":20,"click":{"path":"/child"}},
                     {"kind":"rect","x":40,"y":0,"w":20,"h":20}]}])"_s;
        QTest::newRow("group child wins inside the group") << grouped << QPoint(110, 10) << u"/child"_s;
        QTest::newRow("group region covers its children") << grouped << QPoint(150, 10) << u"/group"_s;
        QTest::newRow("group region ends with its children") << grouped << QPoint(10, 10) << QString();
        const QString used = uR"([{"kind":"use","ref":"pad","x":120,"click":{"path":"/use"}}])"_s;
        QTest::newRow("use lays its keys over the definition") << used << QPoint(130, 10) << u"/use"_s;
        QTest::newRow("use: the definition's own place is empty") << used << QPoint(10, 10) << QString();
        const QString noPath = uR"([{"kind":"rect","x":0,"y":0,"w":100,"h":100,"click":{"path":"/under"}},
            {"kind":"rect","x":0,"y":0,"w":50,"h":50,"click":{"tip":"just a tip"}}])"_s;
        QTest::newRow("top region without a path stops the press") << noPath << QPoint(20, 20) << QString();
        QTest::newRow("past the pathless region") << noPath << QPoint(80, 80) << u"/under"_s;
    }
    void hitTesting()
    {
        QFETCH(QString, items);
        QFETCH(QPoint, at);
        QFETCH(QString, path);
        QJsonObject s = spec(items);
        s.insert("defs"_L1, testsupport::json(R"({"pad":{"kind":"rect","x":0,"y":0,"w":20,"h":20,"tone":"ok"}})"));
        Pressed pressed;
        auto canvas = makeCanvas(s, &pressed);
        QTest::mouseClick(canvas.get(), Qt::LeftButton, {}, at);
        QCOMPARE(pressed.path, path);
        QCOMPARE(pressed.count, path.isEmpty() ? 0 : 1);
    }

    // The widget scale applies to regions too: a canvas drawn at half size hits at half the place.
    void hitTestingFollowsScale()
    {
        Pressed pressed;
        auto canvas = makeCanvas(spec(R"([{"kind":"rect","x":100,"y":50,"w":100,"h":50,
                                            "click":{"path":"/p","body":{"slot":7}}}])"),
                                 &pressed, 100);
        QCOMPARE(canvas->height(), 50);
        QTest::mouseClick(canvas.get(), Qt::LeftButton, {}, QPoint(40, 40));
        QCOMPARE(pressed.count, 0);
        QTest::mouseClick(canvas.get(), Qt::LeftButton, {}, QPoint(75, 40));
        QCOMPARE(pressed.count, 1);
        QCOMPARE(pressed.body.value("slot"_L1).toInt(), 7);
    }

    void pathSegments()
    {
        // Lower-case letters act as upper case; a segment short of numbers is skipped.
        auto canvas = makeCanvas(spec(R"([{"kind":"path","click":{"path":"/p"},
            "d":[["m",10,10],["l",60,40],["L",190],["q",70,50,80,20],"junk",["X",1,2],["z"]]}])"));
        QCOMPARE(canvas->hitRegions().size(), 1);
        // The curve from (60, 40) bends down to y 42.5 on its way to (80, 20).
        QCOMPARE(canvas->hitRegions().first().rect, QRectF(10, 10, 70, 32.5));
        auto empty = makeCanvas(spec(R"([{"kind":"path","d":[["L",5]],"click":{"path":"/p"}}])"));
        QCOMPARE(empty->hitRegions().first().rect, QRectF());
    }

    void cursor_data()
    {
        QTest::addColumn<QString>("items");
        QTest::addColumn<int>("shape");
        QTest::newRow("plain") << uR"([{"kind":"rect","w":10,"h":10}])"_s << int(Qt::ArrowCursor);
        QTest::newRow("clickable") << uR"([{"kind":"hit","w":10,"h":10,"click":{"path":"/x"}}])"_s
                                   << int(Qt::PointingHandCursor);
        QTest::newRow("in a group") << uR"([{"kind":"group","items":[{"kind":"hit","click":{"path":"/x"}}]}])"_s
                                    << int(Qt::PointingHandCursor);
        QTest::newRow("through use") << uR"([{"kind":"use","ref":"button"}])"_s << int(Qt::PointingHandCursor);
        QTest::newRow("use of nothing") << uR"([{"kind":"use","ref":"missing"}])"_s << int(Qt::ArrowCursor);
    }
    void cursor()
    {
        QFETCH(QString, items);
        QFETCH(int, shape);
        QJsonObject s = spec(items);
        s.insert("defs"_L1, testsupport::json(R"({"button":{"kind":"rect","click":{"path":"/b"}}})"));
        prims::Canvas canvas;
        canvas.setSpec(s, false);
        QCOMPARE(int(canvas.cursor().shape()), shape);
    }

    // What a tween frame draws, as the canvas paints it with its clock at a point of the tween:
    // the regions of clickable items, which carry their interpolated places and transforms.
    void tweenMoves_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("after");
        QTest::addColumn<double>("t");
        QTest::addColumn<QList<QRectF>>("regions");
        const QString from = uR"([{"id":"a","kind":"rect","x":0,"y":10,"w":100,"h":20,"click":{"path":"/a"}}])"_s;
        const QString to = uR"([{"id":"a","kind":"rect","x":100,"y":10,"w":50,"h":20,"click":{"path":"/a"}}])"_s;
        QTest::newRow("quarter") << from << to << 0.25 << QList<QRectF>{{25, 10, 87.5, 20}};
        QTest::newRow("end") << from << to << 1.0 << QList<QRectF>{{100, 10, 50, 20}};
        QTest::newRow("past the end") << from << to << 3.0 << QList<QRectF>{{100, 10, 50, 20}};
        // A line's end the old drawing did not name starts from 0; the region grows by half the head.
        QTest::newRow("key on one side only")
            << uR"([{"id":"l","kind":"line","x2":100,"click":{"path":"/l"}}])"_s
            << uR"([{"id":"l","kind":"line","x2":100,"y2":40,"click":{"path":"/l"}}])"_s << 0.5
            << QList<QRectF>{{-4.5, -4.5, 109, 29}};
        QTest::newRow("transform") << uR"([{"id":"r","kind":"hit","w":20,"h":10,"click":{"path":"/r"}}])"_s
                                   << uR"([{"id":"r","kind":"hit","w":20,"h":10,"click":{"path":"/r"},
                                          "transform":{"tx":40,"ty":20,"rotate":90}}])"_s
                                   << 0.5
                                   << QList<QRectF>{
                                          QTransform().translate(20, 10).rotate(45).mapRect(QRectF(0, 0, 20, 10))};
        QTest::newRow("ends limited")
            << uR"([{"id":"a","kind":"hit","x":-1e300,"w":10,"h":10,"click":{"path":"/a"}}])"_s
            << uR"([{"id":"a","kind":"hit","x":1e300,"w":10,"h":10,"click":{"path":"/a"}}])"_s << 0.5
            << QList<QRectF>{{0, 0, 10, 10}};
        QTest::newRow("another kind is drawn as it is")
            << from << uR"([{"id":"a","kind":"ellipse","x":100,"y":10,"w":50,"h":20,"click":{"path":"/a"}}])"_s << 0.5
            << QList<QRectF>{{100, 10, 50, 20}};
        QTest::newRow("no id is drawn as it is")
            << uR"([{"kind":"rect","x":0,"y":10,"w":100,"h":20,"click":{"path":"/a"}}])"_s
            << uR"([{"kind":"rect","x":100,"y":10,"w":50,"h":20,"click":{"path":"/a"}}])"_s << 0.5
            << QList<QRectF>{{100, 10, 50, 20}};
        // Groups index the previous drawing 8 deep: deeper items are drawn, as they are.
        QTest::newRow("deeper than the tween follows")
            << u"[%1]"_s.arg(nested(from.mid(1).chopped(1), 10)) << u"[%1]"_s.arg(nested(to.mid(1).chopped(1), 10))
            << 0.5 << QList<QRectF>{{100, 10, 50, 20}};
        QTest::newRow("as deep as the tween follows")
            << u"[%1]"_s.arg(nested(from.mid(1).chopped(1), 8)) << u"[%1]"_s.arg(nested(to.mid(1).chopped(1), 8)) << 0.5
            << QList<QRectF>{{50, 10, 75, 20}};
        const QString group = uR"([{"id":"g","kind":"group","transform":{"tx":%1},"click":{"path":"/g"},
            "items":[{"kind":"hit","x":0,"y":0,"w":40,"h":40,"click":{"path":"/c"}}]}])"_s;
        QTest::newRow("group moved by its transform")
            << group.arg(0) << group.arg(100) << 0.5 << QList<QRectF>{{50, 0, 40, 40}, {50, 0, 40, 40}};
    }
    void tweenMoves()
    {
        QFETCH(QString, before);
        QFETCH(QString, after);
        QFETCH(double, t);
        QFETCH(QList<QRectF>, regions);
        qint64 now = 0;
        auto canvas = tweenedCanvas(before, after, t, &now);
        canvas->grab();
        QList<QRectF> drawn;
        for (const prims::Canvas::HitRegion &region : canvas->hitRegions())
            drawn.append(region.transform.mapRect(region.rect));
        QCOMPARE(drawn.size(), regions.size());
        for (qsizetype i = 0; i < drawn.size(); ++i) // qFuzzyCompare on rectangles, whose corners may be 0
            QCOMPARE(drawn.at(i).marginsAdded({1, 1, 1, 1}), regions.at(i).marginsAdded({1, 1, 1, 1}));
    }

    // Pixels of a tween frame: the opacity moves too; colours are the new drawing's.
    void tweenPaints_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("after");
        QTest::addColumn<QPoint>("at");
        QTest::addColumn<QColor>("color");
        QTest::newRow("opacity half way")
            << uR"([{"id":"a","kind":"rect","w":200,"h":100,"fill":"#ffffff"}])"_s
            << uR"([{"id":"a","kind":"rect","w":200,"h":100,"fill":"#ffffff","opacity":0}])"_s << QPoint(100, 50)
            << QColor(128, 128, 128);
        QTest::newRow("colours are the new item's")
            << uR"([{"id":"a","kind":"rect","x":0,"w":40,"h":40,"fill":"#ff0000"}])"_s
            << uR"([{"id":"a","kind":"rect","x":100,"w":40,"h":40,"fill":"#0000ff"}])"_s << QPoint(70, 20)
            << QColor(0, 0, 255);
        QTest::newRow("hidden now, gone now")
            << uR"([{"id":"a","kind":"rect","w":40,"h":40,"fill":"#ff0000"}])"_s
            << uR"([{"id":"a","kind":"rect","w":40,"h":40,"fill":"#ff0000","hidden":true}])"_s << QPoint(20, 20)
            << QColor(0, 0, 0);
    }
    void tweenPaints()
    {
        QFETCH(QString, before);
        QFETCH(QString, after);
        QFETCH(QPoint, at);
        QFETCH(QColor, color);
        qint64 now = 0;
        auto canvas = tweenedCanvas(before, after, 0.5, &now);
        const QColor drawn = canvas->grab().toImage().pixelColor(at);
        QVERIFY2(std::abs(drawn.red() - color.red()) <= 1 && std::abs(drawn.green() - color.green()) <= 1 &&
                     std::abs(drawn.blue() - color.blue()) <= 1,
                 qPrintable(drawn.name()));
    }

    // Wide strokes land where the drawing's scale puts them, at any widget width, straight or
    // curved, and one that turns a pixel thin when the widget shrinks.
    void strokesFollowScale_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<QString>("d");
        QTest::addColumn<double>("weight");
        QTest::newRow("half size") << 100 << u"[[\"M\",10,50],[\"L\",190,50]]"_s << 8.0;
        QTest::newRow("twice the size") << 400 << u"[[\"M\",10,50],[\"L\",190,50]]"_s << 8.0;
        QTest::newRow("curve, half size") << 100 << u"[[\"M\",10,50],[\"Q\",100,50,190,50]]"_s << 8.0;
        QTest::newRow("two pixels wide, then one") << 200 << u"[[\"M\",10,50],[\"C\",60,50,140,50,190,50]]"_s << 2.0;
    }
    void strokesFollowScale()
    {
        QFETCH(int, width);
        QFETCH(QString, d);
        QFETCH(double, weight);
        const QString items =
            uR"([{"kind":"path","d":%1,"stroke":{"tone":"#00ff00","weight":%2}}])"_s.arg(d).arg(weight);
        auto canvas = makeCanvas(spec(items, ",\"fit\":\"width\",\"background\":\"#000000\""), nullptr, width);
        // On the line's centre half way along (the most green of the pixels round it, as a thin
        // line may fall between two rows), and well clear of it below.
        auto check = [](const QImage &img, double scale, double weight) {
            const QPoint centre(int(100 * scale), int(50 * scale));
            int green = 0;
            for (int dy = -1; dy <= 1; ++dy)
                green = std::max(green, img.pixelColor(centre + QPoint(0, dy)).green());
            QVERIFY2(green > 100, qPrintable(u"%1 at scale %2"_s.arg(green).arg(scale)));
            QCOMPARE(img.pixelColor(centre + QPoint(0, int(weight * scale) + 3)), QColor(u"#000000"_s));
        };
        check(canvas->grab().toImage(), width / 200.0, weight);
        // Made for one width, drawn at another: the stroke moves with the drawing.
        canvas->resize(width / 2, canvas->heightForWidth(width / 2));
        check(canvas->grab().toImage(), width / 400.0, weight);
    }

    // Pixels where a mistake would show: the background, a vertical gradient, a hidden item.
    void pixels()
    {
        auto canvas = makeCanvas(spec(R"([
            {"kind":"rect","x":0,"y":0,"w":100,"h":100,"fill":{"gradient":"linear","box":true,
                "stops":[[0,"#ff0000"],[1,"#0000ff"]]}},
            {"kind":"rect","x":100,"y":0,"w":100,"h":100,"fill":"#00ff00","hidden":true}])",
                                      ",\"background\":\"#101010\""));
        const QImage img = canvas->grab().toImage();
        const QColor top = img.pixelColor(50, 2);
        const QColor bottom = img.pixelColor(50, 97);
        QVERIFY2(top.red() > 200 && top.blue() < 60, qPrintable(top.name()));
        QVERIFY2(bottom.blue() > 200 && bottom.red() < 60, qPrintable(bottom.name()));
        QCOMPARE(img.pixelColor(150, 50), QColor(u"#101010"_s));
    }

    // A tone key holding anything but a string takes its default, as if it were not there, where a
    // string tone would show: the background, a line's stroke, a stroke object's tone, a shape's fill.
    void wrongToneTypes_data()
    {
        QTest::addColumn<QString>("items");
        QTest::addColumn<QString>("extra");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("wrong");
        const QString none = u"[]"_s;
        const QString line = uR"([{"kind":"line","x1":0,"y1":50,"x2":200,"y2":50%1}])"_s;
        QTest::newRow("background true") << none << u"%1"_s << u"background"_s << u"true"_s;
        QTest::newRow("background number") << none << u"%1"_s << u"background"_s << u"7"_s;
        QTest::newRow("line tone true") << line << QString() << u"tone"_s << u"true"_s;
        QTest::newRow("rect tone true") << uR"([{"kind":"rect","x":20,"y":20,"w":100,"h":50%1}])"_s << QString()
                                        << u"tone"_s << u"true"_s;
        QTest::newRow("stroke tone true")
            << uR"([{"kind":"line","x1":0,"y1":50,"x2":200,"y2":50,"stroke":{"weight":6%1}}])"_s << QString()
            << u"tone"_s << u"true"_s;
    }
    void wrongToneTypes()
    {
        QFETCH(QString, items);
        QFETCH(QString, extra);
        QFETCH(QString, key);
        QFETCH(QString, wrong);
        const auto draw = [&](const QString &value) {
            const QString keyed = value.isEmpty() ? QString() : u",\"%1\":%2"_s.arg(key, value);
            QString i = items, e = extra;
            i.replace(u"%1"_s, keyed);
            e.replace(u"%1"_s, keyed);
            return makeCanvas(spec(i, e))->grab().toImage();
        };
        const QImage absent = draw(QString());
        // Not vacuous: a tone given as a string shows here.
        QVERIFY(draw(u"\"#00ff00\""_s) != absent);
        QCOMPARE(draw(wrong), absent);
    }

    // Groups nest as deep as a drawing likes: what they hold is drawn, pressed and shown by the
    // cursor at any depth.
    void deepGroups_data()
    {
        QTest::addColumn<int>("depth");
        QTest::newRow("9") << 9;
        QTest::newRow("20") << 20;
    }
    void deepGroups()
    {
        QFETCH(int, depth);
        const QString rect = uR"({"kind":"rect","x":10,"y":10,"w":50,"h":50,"fill":"#f00","click":{"path":"/d"}})"_s;
        const QString items = u"[%1]"_s.arg(nested(rect, depth));
        Pressed pressed;
        auto canvas = makeCanvas(spec(items, ",\"background\":\"#000000\""), &pressed);
        QCOMPARE(canvas->grab().toImage().pixelColor(30, 30), QColor(u"#ff0000"_s));
        QCOMPARE(int(canvas->cursor().shape()), int(Qt::PointingHandCursor));
        QTest::mouseClick(canvas.get(), Qt::LeftButton, {}, QPoint(30, 30));
        QCOMPARE(pressed.path, u"/d"_s);
    }

    // Malformed and extreme items draw what they can and never crash.
    void badInputPaints_data()
    {
        QTest::addColumn<QString>("items");
        QTest::newRow("not objects") << uR"([1,"x",null,[2]])"_s;
        QTest::newRow("huge coordinates") << uR"([{"kind":"rect","x":1e308,"y":-1e308,"w":1e308,"h":1e308}])"_s;
        QTest::newRow("grid with tiny steps")
            << uR"([{"kind":"grid","x":0,"y":0,"w":1e6,"h":1e6,"step_x":0,"step_y":-4}])"_s;
        QTest::newRow("bad points") << uR"([{"kind":"poly","points":[[1],["a","b"],[3,4,5],7]}])"_s;
        QTest::newRow("self use") << uR"([{"kind":"use","ref":"loop"}])"_s;
        QTest::newRow("bad gradient") << uR"([{"kind":"ellipse","w":50,"h":50,"fill":{"stops":[[2],[-1,5],"x"]}}])"_s;
        QTest::newRow("bad stroke") << uR"([{"kind":"line","x2":50,"stroke":{"weight":-9,"dash":7}}])"_s;
        QTest::newRow("bad image") << uR"([{"kind":"image","data":"data:image/png;base64,@@","w":20,"h":20}])"_s;
        // As deep as a JSON document goes, far past any drawing's needs.
        QTest::newRow("groups 500 deep") << u"[%1]"_s.arg(nested(uR"({"kind":"rect","w":9,"h":9})"_s, 500));
        QTest::newRow("text extremes")
            << uR"([{"kind":"label","text":"x","size":1e9,"wrap":-5,"pad":1e9,"rotate":"a"}])"_s;
    }
    void badInputPaints()
    {
        QFETCH(QString, items);
        QJsonObject s = spec(items);
        s.insert("defs"_L1, testsupport::json(R"({"loop":{"kind":"use","ref":"loop"}})"));
        auto canvas = makeCanvas(s);
        QVERIFY(!canvas->grab().isNull());
    }

    void builtThroughTheRegistry()
    {
        QString path;
        prims::Callbacks cb;
        cb.press = [&path](const QString &p, const QJsonObject &) { path = p; };
        QWidget host;
        const QJsonObject el = testsupport::json(R"({"type":"shapes","width":200,"height":100,
            "items":[{"kind":"hit","w":200,"h":100,"click":{"path":"/r"}}]})");
        QWidget *w = prims::buildPrimitive(el, cb, 0, &host);
        auto *canvas = qobject_cast<prims::Canvas *>(w);
        QVERIFY(canvas);
        canvas->resize(200, 100);
        canvas->grab();
        QTest::mouseClick(canvas, Qt::LeftButton, {}, QPoint(10, 10));
        QCOMPARE(path, u"/r"_s);
    }
};

QTEST_MAIN(TestCanvas)
#include "tst_canvas.moc"
