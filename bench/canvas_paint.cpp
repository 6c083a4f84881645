// Paints a canvas of 4000 mixed items (paths, text, gradients, groups, markers) many times and
// prints the median paint time, and the same for a frame in the middle of a tween.
//   bench_canvas_paint [--rounds N] [--width W] [--only K] [--no-tween]
#include "bench/benchsupport.h"
#include "prims/canvas.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QImage>
#include <QJsonArray>
#include <QPainter>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>

using namespace Qt::StringLiterals;

using bench::median;

namespace {

// A deterministic mix: a quarter each of paths, text, gradient shapes and small groups.
QJsonArray mixedItems(int count, double shift, int only = -1)
{
    QJsonArray items;
    for (int i = 0; i < count; ++i) {
        if (only >= 0 && i % 4 != only)
            continue;
        const double x = (i * 37) % 1180 + shift;
        const double y = (i * 53) % 760;
        const QString id = u"i%1"_s.arg(i);
        switch (i % 4) {
        case 0:
            items.append(QJsonObject{{"kind"_L1, u"path"_s},
                                     {"id"_L1, id},
                                     {"d"_L1, QJsonArray{QJsonArray{u"M"_s, x, y},
                                                         QJsonArray{u"C"_s, x + 10, y - 12, x + 20, y + 12, x + 30, y},
                                                         QJsonArray{u"Q"_s, x + 40, y + 10, x + 50, y}}},
                                     {"stroke"_L1, QJsonObject{{"tone"_L1, u"ok"_s}, {"weight"_L1, 1.5}}}});
            break;
        case 1:
            items.append(QJsonObject{{"kind"_L1, u"text"_s},
                                     {"id"_L1, id},
                                     {"x"_L1, x},
                                     {"y"_L1, y},
                                     {"text"_L1, u"S-%1"_s.arg(i)},
                                     {"size"_L1, 8},
                                     {"tone"_L1, u"muted"_s}});
            break;
        case 2:
            items.append(QJsonObject{{"kind"_L1, u"rect"_s},
                                     {"id"_L1, id},
                                     {"x"_L1, x},
                                     {"y"_L1, y},
                                     {"w"_L1, 24},
                                     {"h"_L1, 14},
                                     {"radius"_L1, 3},
                                     {"fill"_L1, QJsonObject{{"gradient"_L1, i % 8 == 2 ? u"radial"_s : u"linear"_s},
                                                             {"box"_L1, true},
                                                             {"stops"_L1, QJsonArray{QJsonArray{0, u"accent"_s},
                                                                                     QJsonArray{1, u"bg"_s}}}}}});
            break;
        default: {
            const QJsonObject dot{{"kind"_L1, u"ellipse"_s}, {"w"_L1, 10}, {"h"_L1, 10}, {"fill"_L1, u"warn"_s}};
            QJsonObject arrow{{"kind"_L1, u"arrow"_s}, {"x1"_L1, 0}, {"y1"_L1, 5}, {"x2"_L1, 24}, {"y2"_L1, 5}};
            arrow.insert("head"_L1, 5);
            QJsonObject group{{"kind"_L1, u"group"_s}, {"id"_L1, id}};
            group.insert("transform"_L1, QJsonObject{{"tx"_L1, x}, {"ty"_L1, y}, {"rotate"_L1, i % 90}});
            group.insert("click"_L1, QJsonObject{{"path"_L1, u"/api/slot/%1"_s.arg(i)}});
            group.insert("items"_L1, QJsonArray{dot, arrow});
            items.append(group);
        }
        }
    }
    return items;
}

double threadCpuMs()
{
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return ts.tv_sec * 1e3 + ts.tv_nsec / 1e6;
}

struct Times
{
    // CPU time of `before` (setting a drawing reads it into the display list).
    std::vector<double> beforeCpu;
    std::vector<double> wall;
    // The CPU time of this thread: what the paint costs when the shared machine is busy.
    std::vector<double> cpu;
};

// `before` runs untimed ahead of every paint (setting the drawing again forces a full draw).
Times timePaints(prims::Canvas &canvas, QImage &target, int rounds, const std::function<void()> &before = {})
{
    Times t;
    for (int i = 0; i < rounds; ++i) {
        if (before) {
            const double start = threadCpuMs();
            before();
            t.beforeCpu.push_back(threadCpuMs() - start);
        }
        target.fill(Qt::black);
        QElapsedTimer clock;
        const double cpuStart = threadCpuMs();
        clock.start();
        canvas.render(&target);
        t.wall.push_back(clock.nsecsElapsed() / 1e6);
        t.cpu.push_back(threadCpuMs() - cpuStart);
    }
    return t;
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addOption({u"rounds"_s, u"paints to time"_s, u"n"_s, u"41"_s});
    parser.addOption({u"width"_s, u"canvas width in pixels"_s, u"w"_s, u"1200"_s});
    parser.addOption(
        {u"only"_s, u"only one kind of the mix: 0 paths, 1 text, 2 gradients, 3 groups"_s, u"k"_s, u"-1"_s});
    parser.addOption({u"no-tween"_s, u"skip the tween case (for instruction counts of the full draw)"_s});
    parser.process(app);
    const int rounds = std::max(3, parser.value(u"rounds"_s).toInt());
    const int width = std::clamp(parser.value(u"width"_s).toInt(), 100, 4000);
    const int only = std::clamp(parser.value(u"only"_s).toInt(), -1, 3);

    const QJsonObject spec{{"width"_L1, 1240},
                           {"height"_L1, 800},
                           {"fit"_L1, u"width"_s},
                           {"background"_L1, u"bg"_s},
                           {"items"_L1, mixedItems(4000, 0, only)}};
    prims::Canvas canvas;
    canvas.setSpec(spec, false);
    canvas.resize(width, canvas.heightForWidth(width));
    QImage target(canvas.size(), QImage::Format_ARGB32_Premultiplied);
    timePaints(canvas, target, 3); // warm the font and gradient caches

    // The baseline: the same canvas with nothing on it (clearing the frame, the background, the copy
    // to the target), which every full draw pays as well.
    QJsonObject emptySpec = spec;
    emptySpec.insert("items"_L1, QJsonArray());
    prims::Canvas empty;
    empty.setSpec(emptySpec, false);
    empty.resize(canvas.size());
    timePaints(empty, target, 3);
    const Times bare = timePaints(empty, target, rounds, [&] { empty.setSpec(emptySpec, false); });

    const Times still = timePaints(canvas, target, rounds, [&] { canvas.setSpec(spec, false); });
    const Times cached = timePaints(canvas, target, rounds);

    // The same drawing moved: every item has an id, so every one is interpolated.
    QJsonObject moved = spec;
    moved.insert("items"_L1, mixedItems(4000, 15, only));
    moved.insert("tween_ms"_L1, 2000);
    canvas.setSpec(moved, false);
    const Times tween =
        parser.isSet(u"no-tween"_s) ? Times{{0}, {0}, {0}} : timePaints(canvas, target, std::min(rounds, 15));

    std::printf("canvas %dx%d, 4000 items, %d rounds\n", canvas.width(), canvas.height(), rounds);
    std::printf("full draw       median %7.2f ms wall  %7.2f ms cpu  (min wall %.2f)\n", median(still.wall),
                median(still.cpu), *std::min_element(still.wall.begin(), still.wall.end()));
    std::printf("empty drawing   median %7.2f ms wall  %7.2f ms cpu  (frame, background and copy alone)\n",
                median(bare.wall), median(bare.cpu));
    std::printf("set spec        median                    %7.2f ms cpu  (read into the display list, untimed above)\n",
                median(still.beforeCpu));
    std::printf("repaint (still) median %7.2f ms wall  %7.2f ms cpu\n", median(cached.wall), median(cached.cpu));
    std::printf("paint in tween  median %7.2f ms wall  %7.2f ms cpu  (%zu rounds)\n", median(tween.wall),
                median(tween.cpu), tween.wall.size());
    std::printf("hit regions after the last paint: %lld\n", static_cast<long long>(canvas.hitRegions().size()));
    return 0;
}
