// The shapes canvas: reading and clamping the drawing, sizing, hit testing through transforms,
// presses and the tween; and the dense solid fill against QPainter itself: the same shapes under
// the same transforms give the same pixels within a couple of levels, and shapes it does not take
// leave the image alone.
#include "prims/canvas.h"
#include "prims/registry.h"
#include "prims/solidfill.h"
#include "support/widgets.h"

#include <QImage>
#include <QPainter>
#include <QRandomGenerator>
#include <QTest>
#include <algorithm>
#include <cmath>
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

using prims::SolidFill;

// A background with every channel varying, so that blending errors show.
QImage background(QSize size = {96, 80})
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const int a = 128 + (x * 7 + y * 3) % 128;
            image.setPixel(x, y, qPremultiply(qRgba((x * 11) % 256, (y * 13) % 256, (x * y) % 256, a)));
        }
    }
    return image;
}

// Empty when no channel of `a` and `b` differs by more than `levels`; else what differs.
QString beyond(const QImage &a, const QImage &b, int levels)
{
    int most = 0, pixels = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QRgb pa = a.pixel(x, y), pb = b.pixel(x, y);
            const int m = std::max({std::abs(qRed(pa) - qRed(pb)), std::abs(qGreen(pa) - qGreen(pb)),
                                    std::abs(qBlue(pa) - qBlue(pb)), std::abs(qAlpha(pa) - qAlpha(pb))});
            most = std::max(most, m);
            pixels += m > 0;
        }
    }
    return most <= levels ? QString() : u"a channel differs by %1 (%2 pixels differ)"_s.arg(most).arg(pixels);
}

} // namespace

class TestCanvas final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }

    // The drawing's size and tween read and clamped; the height asked for widths of 800, 4000 and 2:
    // without "fit" never more than the design's, with it at most 2.5 times and at least 0.02 of it.
    void specClamps_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("width");
        QTest::addColumn<double>("height");
        QTest::addColumn<int>("tween");
        QTest::addColumn<int>("maxWidth"); // the widget's, at most 1600 and unlimited with "fit"
        QTest::addColumn<QList<int>>("heights");
        QTest::newRow("defaults") << u"{}"_s << 400.0 << 200.0 << 0 << 400 << QList<int>{200, 200, 1};
        QTest::newRow("huge") << uR"({"width":1e308,"height":-3,"tween_ms":5000})"_s << 8000.0 << 1.0 << 2000 << 1600
                              << QList<int>{1, 1, 1};
        QTest::newRow("negative tween, fit") << uR"({"tween_ms":-5,"fit":"width"})"_s << 400.0 << 200.0 << 0
                                             << QWIDGETSIZE_MAX << QList<int>{400, 500, 4};
    }
    void specClamps()
    {
        QFETCH(QString, text);
        QFETCH(double, width);
        QFETCH(double, height);
        QFETCH(int, tween);
        QFETCH(int, maxWidth);
        QFETCH(QList<int>, heights);
        prims::Canvas canvas;
        canvas.setSpec(testsupport::json(text), false);
        QCOMPARE(canvas.designWidth(), width);
        QCOMPARE(canvas.designHeight(), height);
        QCOMPARE(canvas.tweenMs(), tween);
        QCOMPARE(canvas.maximumWidth(), maxWidth);
        QVERIFY(canvas.hasHeightForWidth());
        QCOMPARE((QList<int>{canvas.heightForWidth(800), canvas.heightForWidth(4000), canvas.heightForWidth(2)}),
                 heights);
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
        const QString hidden = uR"([
            {"kind":"rect","x":0,"y":0,"w":100,"h":100,"click":{"path":"/base"}},
            {"kind":"rect","x":0,"y":0,"w":100,"h":100,"hidden":true,"click":{"path":"/hidden"}}])"_s;
        QTest::newRow("hidden items make no region") << hidden << QPoint(50, 50) << u"/base"_s;
        // Rotated 90 degrees around (50, 50): the 100 x 10 bar at y 45 stands upright.
        const QString rotated = uR"([{"kind":"rect","x":0,"y":45,"w":100,"h":10,
            "transform":{"rotate":90,"ox":50,"oy":50},"click":{"path":"/bar"}}])"_s;
        QTest::newRow("rotated: on the upright bar") << rotated << QPoint(50, 10) << u"/bar"_s;
        const QString grouped = uR"([{"kind":"group","transform":{"tx":100},"click":{"path":"/group"},
            "items":[{"kind":"rect","x":0,"y":0,"w":20,"h":20,"click":{"path":"/child"}},
                     {"kind":"rect","x":40,"y":0,"w":20,"h":20}]}])"_s;
        QTest::newRow("group child wins inside the group") << grouped << QPoint(110, 10) << u"/child"_s;
        QTest::newRow("group region covers its children") << grouped << QPoint(150, 10) << u"/group"_s;
        const QString noPath = uR"([{"kind":"rect","x":0,"y":0,"w":100,"h":100,"click":{"path":"/under"}},
            {"kind":"rect","x":0,"y":0,"w":50,"h":50,"click":{"tip":"just a tip"}}])"_s;
        QTest::newRow("top region without a path stops the press") << noPath << QPoint(20, 20) << QString();
    }
    void hitTesting()
    {
        QFETCH(QString, items);
        QFETCH(QPoint, at);
        QFETCH(QString, path);
        Pressed pressed;
        auto canvas = makeCanvas(spec(items), &pressed);
        QTest::mouseClick(canvas.get(), Qt::LeftButton, {}, at);
        QCOMPARE(pressed.path, path);
        QCOMPARE(pressed.count, path.isEmpty() ? 0 : 1);
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

    // Malformed and extreme items draw what they can and never crash.
    void badInputPaints_data()
    {
        QTest::addColumn<QString>("items");
        QTest::newRow("not objects") << uR"([1,"x",null,[2]])"_s;
        QTest::newRow("huge coordinates") << uR"([{"kind":"rect","x":1e308,"y":-1e308,"w":1e308,"h":1e308}])"_s;
        QTest::newRow("bad points") << uR"([{"kind":"poly","points":[[1],["a","b"],[3,4,5],7]}])"_s;
        QTest::newRow("self use") << uR"([{"kind":"use","ref":"loop"}])"_s;
        QTest::newRow("bad gradient") << uR"([{"kind":"ellipse","w":50,"h":50,"fill":{"stops":[[2],[-1,5],"x"]}}])"_s;
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

    // The dense fill against the painter: self-crossing outlines of several subpaths, straight and
    // curved, or an ellipse, under any transform, either fill rule and now and then the painter's
    // opacity, where windings add up and edges share pixels. The painter's state the fill cannot
    // follow (one shape is enough: every fill asks the painter the same question first) sends the
    // shape back to the painter. Either way "fill, else paint" gives what the painter alone gives.
    void fillMatchesThePainter_data()
    {
        QTest::addColumn<quint32>("seed");
        QTest::addColumn<QString>("state");
        // The engine maps a path under a perspective as a whole, not point by point as the fill would.
        const QStringList declined{u"clip path"_s, u"source"_s, u"aliased"_s, u"perspective"_s};
        for (quint32 seed = 1; seed <= 80; ++seed) {
            const QString state = seed % 2 ? u"plain"_s : declined.at((seed / 2) % 4);
            QTest::addRow("seed %u %s", seed, qPrintable(state)) << seed << state;
        }
    }
    void fillMatchesThePainter()
    {
        QFETCH(quint32, seed);
        QFETCH(QString, state);
        QRandomGenerator random(seed);
        const auto number = [&](double lo, double hi) { return lo + random.generateDouble() * (hi - lo); };
        QPainterPath path;
        path.setFillRule(random.bounded(2) ? Qt::OddEvenFill : Qt::WindingFill);
        for (int s = 0, subpaths = 1 + random.bounded(3); s < subpaths; ++s) {
            path.moveTo(number(4, 60), number(4, 50));
            for (int i = 0, segments = 2 + random.bounded(8); i < segments; ++i) {
                const QPointF to(number(4, 60), number(4, 50));
                if (random.bounded(3) == 0)
                    path.cubicTo(QPointF(number(0, 64), number(0, 54)), QPointF(number(0, 64), number(0, 54)), to);
                else
                    path.lineTo(to);
            }
        }
        const QRectF oval(number(4, 30), number(4, 25), number(8, 30), number(8, 25));
        const bool isOval = seed % 5 == 1;
        const QTransform transform = QTransform()
                                         .translate(number(78, 82), number(73, 77))
                                         .rotate(number(-40, 40))
                                         .scale(number(0.4, 1.2), number(0.4, 1.2))
                                         .translate(-20, -15);
        const QColor color(random.bounded(256), random.bounded(256), random.bounded(256), 80 + random.bounded(176));
        const double opacity = seed % 3 ? 1.0 : number(0.3, 1);
        QPainterPath clip;
        clip.addEllipse(QRectF(10, 10, 40, 30));
        const auto setUp = [&](QPainter &p) {
            p.setRenderHint(QPainter::Antialiasing, state != u"aliased");
            p.setTransform(state == u"perspective" ? transform * QTransform(1, 0, 0.0005, 0, 1, 0.0005, 0, 0, 1)
                                                   : transform);
            p.setOpacity(opacity);
            if (state == u"clip path")
                p.setClipPath(clip);
            if (state == u"source")
                p.setCompositionMode(QPainter::CompositionMode_Source);
            p.setPen(Qt::NoPen);
            p.setBrush(color);
        };
        const auto paint = [&](QPainter &p) { isOval ? p.drawEllipse(oval) : p.fillPath(path, color); };
        QImage painted = background({160, 150}), filled = painted;
        {
            QPainter p(&painted);
            setUp(p);
            paint(p);
        }
        SolidFill fill(filled);
        QPainter p(&filled);
        setUp(p);
        const bool took = isOval ? fill.fillEllipse(p, oval, color) : fill.fillPath(p, path, color);
        if (!took)
            paint(p);
        QCOMPARE(took, state == u"plain");
        const QString diff = beyond(painted, filled, took ? 2 : 0);
        QVERIFY2(diff.isEmpty(), qPrintable(diff));
    }
};

QTEST_MAIN(TestCanvas)
#include "tst_canvas.moc"
