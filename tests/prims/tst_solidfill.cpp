// The dense solid fill against QPainter itself: the same shapes under the same transforms must give
// the same pixels within a couple of levels, and shapes it does not take must leave the image alone.
#include "prims/canvasnode.h"
#include "prims/solidfill.h"

#include <QBrush>
#include <QImage>
#include <QPainter>
#include <QPainterPathStroker>
#include <QRandomGenerator>
#include <QTest>

#include <cmath>
#include <functional>

using namespace Qt::StringLiterals;
using prims::SolidFill;

namespace {

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

struct Diff
{
    int maxChannel = 0;
    int pixels = 0; // pixels where any channel differs
};

Diff compare(const QImage &a, const QImage &b)
{
    Diff d;
    for (int y = 0; y < a.height(); ++y) {
        const auto *pa = reinterpret_cast<const QRgb *>(a.constScanLine(y));
        const auto *pb = reinterpret_cast<const QRgb *>(b.constScanLine(y));
        for (int x = 0; x < a.width(); ++x) {
            const int m = std::max({std::abs(qRed(pa[x]) - qRed(pb[x])), std::abs(qGreen(pa[x]) - qGreen(pb[x])),
                                    std::abs(qBlue(pa[x]) - qBlue(pb[x])), std::abs(qAlpha(pa[x]) - qAlpha(pb[x]))});
            d.maxChannel = std::max(d.maxChannel, m);
            d.pixels += m > 0;
        }
    }
    return d;
}

QPainterPath wave()
{
    QPainterPath path(QPointF(4, 20));
    path.cubicTo(14, 6, 24, 34, 34, 20);
    path.quadTo(44, 30, 54, 18);
    path.lineTo(60, 40);
    return path;
}

QPolygonF star()
{
    QPolygonF star;
    for (int i = 0; i < 5; ++i) {
        const double a = i * 4 * M_PI / 5 - M_PI / 2;
        star << QPointF(30 + 22 * std::cos(a), 28 + 22 * std::sin(a));
    }
    return star;
}

// A painter as the canvas sets one up, for drawing and for the fill alike.
void setUp(QPainter &p, const QTransform &transform, double opacity = 1)
{
    p.setRenderHint(QPainter::Antialiasing);
    p.setTransform(transform);
    p.setOpacity(opacity);
}

// One shape drawn both ways: by the painter and by the fill.
struct Shape
{
    std::function<void(QPainter &)> paint;
    std::function<bool(SolidFill &, const QPainter &, const QColor &)> fill;
};

Shape shapeNamed(const QString &name)
{
    if (name == u"stroke outline") {
        const QPainterPath outline = prims::strokeOutline(wave(), QPen(Qt::black, 1.5), 1);
        return {[outline](QPainter &p) { p.fillPath(outline, p.brush()); },
                [outline](SolidFill &f, const QPainter &p, const QColor &c) { return f.fillPath(p, outline, c); }};
    }
    if (name == u"closed curve") {
        QPainterPath path = wave();
        path.closeSubpath();
        return {[path](QPainter &p) { p.drawPath(path); },
                [path](SolidFill &f, const QPainter &p, const QColor &c) { return f.fillPath(p, path, c); }};
    }
    if (name == u"ellipse") {
        const QRectF r(10.3, 8.6, 31.4, 19.2);
        return {[r](QPainter &p) { p.drawEllipse(r); },
                [r](SolidFill &f, const QPainter &p, const QColor &c) { return f.fillEllipse(p, r, c); }};
    }
    if (name == u"small dot") {
        const QRectF r(20.25, 30.5, 5, 5);
        return {[r](QPainter &p) { p.drawEllipse(r); },
                [r](SolidFill &f, const QPainter &p, const QColor &c) { return f.fillEllipse(p, r, c); }};
    }
    if (name == u"star, odd-even") {
        const QPolygonF s = star();
        return {
            [s](QPainter &p) { p.drawPolygon(s, Qt::OddEvenFill); },
            [s](SolidFill &f, const QPainter &p, const QColor &c) { return f.fillPolygon(p, s, Qt::OddEvenFill, c); }};
    }
    const QPolygonF s = star();
    return {[s](QPainter &p) { p.drawPolygon(s, Qt::WindingFill); },
            [s](SolidFill &f, const QPainter &p, const QColor &c) { return f.fillPolygon(p, s, Qt::WindingFill, c); }};
}

// Draws `paint` with the painter and `fill` with a SolidFill, from `start` under the same transform
// and opacity; gives both images.
std::pair<QImage, QImage> bothWays(const QImage &start, const QTransform &transform, double opacity,
                                   const std::function<void(QPainter &)> &paint,
                                   const std::function<bool(SolidFill &, const QPainter &)> &fill)
{
    QImage painted = start, filled = start;
    {
        QPainter p(&painted);
        setUp(p, transform, opacity);
        paint(p);
    }
    SolidFill solid(filled);
    QPainter p(&filled);
    setUp(p, transform, opacity);
    if (!fill(solid, p))
        qFatal("the fill declined a shape it should take");
    return {painted, filled};
}

// Empty when no channel of `a` and `b` differs by more than `levels`; else what differs.
QString beyond(const QImage &a, const QImage &b, int levels)
{
    const Diff d = compare(a, b);
    return d.maxChannel <= levels ? QString()
                                  : u"a channel differs by %1 (%2 pixels differ)"_s.arg(d.maxChannel).arg(d.pixels);
}

} // namespace

class TestSolidFill : public QObject
{
    Q_OBJECT

private slots:
    void matchesThePainter_data()
    {
        QTest::addColumn<QString>("shape");
        QTest::addColumn<QTransform>("transform");
        QTest::addColumn<QColor>("color");
        QTest::addColumn<double>("opacity");
        const QList<std::pair<const char *, QTransform>> transforms{
            {"identity", QTransform()},
            {"fractional shift", QTransform::fromTranslate(3.37, 5.81)},
            {"scaled down", QTransform::fromScale(0.967, 0.967)},
            {"scaled up", QTransform::fromScale(1.43, 1.43).translate(0.2, 0.7)},
            {"rotated", QTransform().translate(40, 8).rotate(33)},
            {"sheared", QTransform(1, 0.2, 0.35, 1, 2, 3)},
        };
        for (const QString &shape : {u"stroke outline"_s, u"closed curve"_s, u"ellipse"_s, u"small dot"_s,
                                     u"star, odd-even"_s, u"star, winding"_s}) {
            for (const auto &[name, m] : transforms)
                QTest::addRow("%s, %s", qPrintable(shape), name) << shape << m << QColor(20, 160, 90) << 1.0;
            QTest::addRow("%s, translucent colour", qPrintable(shape))
                << shape << QTransform::fromScale(0.97, 0.97) << QColor(200, 80, 30, 140) << 1.0;
            QTest::addRow("%s, painter opacity", qPrintable(shape))
                << shape << QTransform().rotate(-12).translate(-4, 12) << QColor(250, 250, 250) << 0.45;
        }
    }
    void matchesThePainter()
    {
        QFETCH(QString, shape);
        QFETCH(QTransform, transform);
        QFETCH(QColor, color);
        QFETCH(double, opacity);
        const Shape s = shapeNamed(shape);
        const auto [painted, filled] = bothWays(
            background(), transform, opacity,
            [&](QPainter &p) {
                p.setPen(Qt::NoPen);
                p.setBrush(color);
                s.paint(p);
            },
            [&](SolidFill &f, const QPainter &p) { return s.fill(f, p, color); });
        // Not vacuous: the shape covered a fair part of the image.
        QVERIFY2(compare(background(), painted).pixels > 15, "the painter drew next to nothing");
        const QString diff = beyond(painted, filled, 2);
        QVERIFY2(diff.isEmpty(), qPrintable(diff));
    }

    void randomShapesMatch_data()
    {
        QTest::addColumn<quint32>("seed");
        for (quint32 seed = 1; seed <= 60; ++seed)
            QTest::addRow("seed %u", seed) << seed;
    }
    // Self-crossing outlines of several subpaths, straight and curved, under any transform and
    // either fill rule: where windings add up and edges share pixels.
    void randomShapesMatch()
    {
        QFETCH(quint32, seed);
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
        const QTransform transform = QTransform()
                                         .translate(number(78, 82), number(73, 77))
                                         .rotate(number(-40, 40))
                                         .scale(number(0.4, 1.2), number(0.4, 1.2))
                                         .translate(-20, -15);
        const QColor color(random.bounded(256), random.bounded(256), random.bounded(256), 80 + random.bounded(176));
        const auto [painted, filled] = bothWays(
            background({160, 150}), transform, 1, [&](QPainter &p) { p.fillPath(path, color); },
            [&](SolidFill &f, const QPainter &p) { return f.fillPath(p, path, color); });
        const QString diff = beyond(painted, filled, 2);
        QVERIFY2(diff.isEmpty(), qPrintable(diff));
    }
    // The painter's state that the fill cannot follow sends the shape back to the painter: either way,
    // "fill, else paint" gives what the painter alone gives.
    void followsThePainterState_data()
    {
        QTest::addColumn<QString>("state");
        QTest::addColumn<bool>("taken");
        QTest::newRow("plain") << u"plain"_s << true;
        QTest::newRow("clip rectangle") << u"clip rectangle"_s << false;
        QTest::newRow("clip path") << u"clip path"_s << false;
        QTest::newRow("clip switched off") << u"clip off"_s << true;
        QTest::newRow("source composition") << u"source"_s << false;
        QTest::newRow("destination over") << u"destination over"_s << false;
        QTest::newRow("no antialiasing") << u"aliased"_s << false;
        // The engine maps a path under a perspective as a whole, not point by point as the fill would.
        QTest::newRow("perspective") << u"perspective"_s << false;
        QTest::newRow("painter on another image") << u"other image"_s << false;
    }

    void followsThePainterState()
    {
        QFETCH(QString, state);
        QFETCH(bool, taken);
        const auto apply = [&state](QPainter &p) {
            p.setRenderHint(QPainter::Antialiasing);
            p.setTransform(QTransform::fromScale(1.1, 1.1));
            if (state == u"clip rectangle")
                p.setClipRect(QRectF(0, 0, 36.5, 80));
            else if (state == u"clip path")
                p.setClipPath([] {
                    QPainterPath clip;
                    clip.addEllipse(QRectF(20, 10, 30, 30));
                    return clip;
                }());
            else if (state == u"clip off")
                p.setClipRect(QRect(0, 0, 30, 30)), p.setClipping(false);
            else if (state == u"source")
                p.setCompositionMode(QPainter::CompositionMode_Source);
            else if (state == u"destination over")
                p.setCompositionMode(QPainter::CompositionMode_DestinationOver);
            else if (state == u"aliased")
                p.setRenderHint(QPainter::Antialiasing, false);
            else if (state == u"perspective")
                p.setTransform(QTransform(1.1, 0.1, 0.012, -0.1, 1.1, 0.009, 0, 0, 1));
            p.setPen(Qt::NoPen);
        };
        const QColor color(200, 80, 30, 160);
        for (const QString &name : {u"ellipse"_s, u"star, winding"_s, u"closed curve"_s}) {
            const Shape s = shapeNamed(name);
            const QImage start = background();
            QImage painted = start;
            {
                QPainter p(&painted);
                apply(p);
                p.setBrush(color);
                s.paint(p);
            }
            QImage filled = start;
            QImage other = start;
            bool took = false;
            {
                SolidFill fill(state == u"other image" ? other : filled);
                QPainter p(&filled);
                apply(p);
                p.setBrush(color);
                took = s.fill(fill, p, color);
                if (!took)
                    s.paint(p);
            }
            const QString diff = beyond(painted, filled, taken ? 2 : 0);
            QVERIFY2(diff.isEmpty(), qPrintable(name + u": "_s + diff));
            QCOMPARE(other, start);
            QCOMPARE(took, taken);
        }
    }

    void declines_data()
    {
        QTest::addColumn<QRectF>("ellipse");
        QTest::addColumn<QTransform>("transform");
        QTest::addColumn<QSize>("imageSize");

        const QSize small(96, 80);
        QTest::newRow("past the left edge") << QRectF(-3, 10, 20, 20) << QTransform() << small;
        QTest::newRow("past the bottom edge") << QRectF(10, 70, 20, 20) << QTransform() << small;
        QTest::newRow("moved out by the transform")
            << QRectF(10, 10, 20, 20) << QTransform::fromTranslate(90, 0) << small;
        QTest::newRow("larger than a small shape") << QRectF(2, 2, 300, 240) << QTransform() << QSize(320, 320);
        QTest::newRow("not a number") << QRectF(qQNaN(), 10, 20, 20) << QTransform() << small;
        QTest::newRow("infinite transform") << QRectF(10, 10, 20, 20) << QTransform::fromScale(qInf(), 1) << small;
    }

    void declines()
    {
        QFETCH(QRectF, ellipse);
        QFETCH(QTransform, transform);
        QFETCH(QSize, imageSize);
        QImage image = background(imageSize);
        const QImage before = image;
        SolidFill fill(image);
        QPainter p(&image);
        setUp(p, transform);
        const QColor red(255, 0, 0);
        QVERIFY(!fill.fillEllipse(p, ellipse, red));
        QPolygonF polygon{ellipse.topLeft(), ellipse.topRight(), ellipse.bottomRight()};
        polygon.prepend({20, 20}); // a good first point does not hide a bad one
        QVERIFY(!fill.fillPolygon(p, polygon, Qt::WindingFill, red));
        QCOMPARE(image, before);
        // A fill that follows a declined one starts clean.
        p.resetTransform();
        QVERIFY(fill.fillEllipse(p, QRectF(10, 10, 20, 20), red));
        QCOMPARE(image.pixel(20, 20), qRgb(255, 0, 0));
        QCOMPARE(image.pixel(5, 5), before.pixel(5, 5));
    }

    void emptyShapesDrawNothing()
    {
        QImage image = background();
        const QImage before = image;
        const QColor red(255, 0, 0);
        {
            SolidFill fill(image);
            QPainter p(&image);
            setUp(p, QTransform());
            QVERIFY(fill.fillPath(p, QPainterPath(), red));
            QVERIFY(fill.fillPolygon(p, QPolygonF{{10, 10}, {30, 10}, {50, 10}}, Qt::WindingFill, red));
        }
        QCOMPARE(image, before);

        QImage wrongFormat(20, 20, QImage::Format_RGB32);
        SolidFill none(wrongFormat);
        QPainter p(&wrongFormat);
        setUp(p, QTransform());
        QVERIFY(!none.fillEllipse(p, QRectF(2, 2, 10, 10), red));
    }
};

QTEST_GUILESS_MAIN(TestSolidFill)
#include "tst_solidfill.moc"
