// Fills 1000 shapes of one kind into a 1200 x 774 image, once through QPainter and once through
// prims::SolidFill, and prints the median of each: what tells which shapes the canvas should send
// to the fill.
//   bench_solid_fill [--rounds N]
#include "bench/benchsupport.h"
#include "prims/canvasnode.h"
#include "prims/solidfill.h"

#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

using namespace Qt::StringLiterals;

using bench::median;

namespace {

struct Case
{
    const char *name;
    std::function<void(QPainter &, QPointF)> paint;
    std::function<bool(prims::SolidFill &, const QPainter &, QPointF, const QColor &)> fill;
};

} // namespace

int main(int argc, char **argv)
{
    QGuiApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addOption({u"rounds"_s, u"rounds of 1000 fills"_s, u"n"_s, u"15"_s});
    parser.process(app);
    const int rounds = std::max(3, parser.value(u"rounds"_s).toInt());

    QPainterPath wave(QPointF(0, 0));
    wave.cubicTo(10, -12, 20, 12, 30, 0);
    wave.quadTo(40, 10, 50, 0);
    const QTransform scale = QTransform::fromScale(0.967, 0.967);
    const QPainterPath outline = prims::strokeOutline(wave, QPen(Qt::black, 1.5), 0.967);
    const auto ellipse = [](double size) {
        return Case{nullptr, [size](QPainter &p, QPointF at) { p.drawEllipse(QRectF(at, QSizeF(size, size))); },
                    [size](prims::SolidFill &f, const QPainter &p, QPointF at, const QColor &c) {
                        return f.fillEllipse(p, QRectF(at, QSizeF(size, size)), c);
                    }};
    };
    std::vector<Case> cases;
    cases.push_back({"stroke outline 50x24, 1.5 wide",
                     [&](QPainter &p, QPointF at) { p.fillPath(outline.translated(at), p.brush()); },
                     [&](prims::SolidFill &f, const QPainter &p, QPointF at, const QColor &c) {
                         return f.fillPath(p, outline.translated(at), c);
                     }});
    cases.push_back(
        {"arrow head 8x6",
         [](QPainter &p, QPointF at) {
             p.drawPolygon(QPolygonF{at, at + QPointF(8, 3), at + QPointF(0, 6)});
         },
         [](prims::SolidFill &f, const QPainter &p, QPointF at, const QColor &c) {
             return f.fillPolygon(p, QPolygonF{at, at + QPointF(8, 3), at + QPointF(0, 6)}, Qt::OddEvenFill, c);
         }});
    cases.push_back(ellipse(10));
    cases.back().name = "dot 10";
    cases.push_back(ellipse(150));
    cases.back().name = "circle 150";

    const QColor color(40, 90, 200);
    QImage image(1200, 774, QImage::Format_ARGB32_Premultiplied);
    std::printf("1000 fills per round, %d rounds, medians\n", rounds);
    for (const Case &c : cases) {
        std::vector<double> painter, fill;
        int declined = 0;
        for (int round = 0; round < rounds; ++round) {
            image.fill(0xff202020);
            QElapsedTimer clock;
            clock.start();
            {
                QPainter p(&image);
                p.setRenderHint(QPainter::Antialiasing);
                p.setPen(Qt::NoPen);
                p.setBrush(color);
                p.setTransform(scale);
                for (int i = 0; i < 1000; ++i)
                    c.paint(p, QPointF(20 + (i * 37) % 1000, 20 + (i * 53) % 600));
            }
            painter.push_back(clock.nsecsElapsed() / 1e6);
            image.fill(0xff202020);
            {
                // The fill reads the state of a painter that the canvas has open anyway: only the
                // fills are timed.
                prims::SolidFill f(image);
                QPainter p(&image);
                p.setRenderHint(QPainter::Antialiasing);
                p.setTransform(scale);
                clock.restart();
                for (int i = 0; i < 1000; ++i)
                    declined += !c.fill(f, p, QPointF(20 + (i * 37) % 1000, 20 + (i * 53) % 600), color);
                fill.push_back(clock.nsecsElapsed() / 1e6);
            }
        }
        std::printf("%-32s painter %6.2f ms   fill %6.2f ms   ratio %.2f%s\n", c.name, median(painter), median(fill),
                    median(fill) / median(painter), declined ? "   (some declined)" : "");
    }
    return 0;
}
