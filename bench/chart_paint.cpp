// Paints a 10 000-point line chart at 1200x300 against a bare QPainter drawPolyline of the same
// points on the same image, interleaved round by round, and prints the medians and their ratio.
//   bench_chart_paint [--rounds N] [--points N] [--width W] [--height H]
#include "app/base/theme.h"
#include "bench/benchsupport.h"
#include "prims/chart.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QImage>
#include <QJsonArray>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

using namespace Qt::StringLiterals;

using bench::median;

namespace {

// A drive current trace: a slow swing, sample noise and one spike.
std::vector<double> trace(int n)
{
    std::vector<double> v;
    v.reserve(size_t(n));
    for (int i = 0; i < n; ++i)
        v.push_back(6.2 + 1.4 * std::sin(i / 160.0) + 0.35 * std::sin(i * 12.9898) * std::cos(i * 78.233) +
                    (i == n * 5 / 8 ? 6.0 : 0.0));
    return v;
}

template<typename Paint> double timed(QImage &image, Paint paint)
{
    image.fill(Qt::black);
    QElapsedTimer clock;
    clock.start();
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    paint(p);
    p.end();
    return clock.nsecsElapsed() / 1e6;
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addOption({u"rounds"_s, u"paints of each to time"_s, u"n"_s, u"41"_s});
    parser.addOption({u"points"_s, u"samples in the series"_s, u"n"_s, u"10000"_s});
    parser.addOption({u"width"_s, u"image width"_s, u"w"_s, u"1200"_s});
    parser.addOption({u"height"_s, u"image height"_s, u"h"_s, u"300"_s});
    parser.process(app);
    const int rounds = std::max(3, parser.value(u"rounds"_s).toInt());
    const int points = std::clamp(parser.value(u"points"_s).toInt(), 2, 100000);
    const QSize size(std::clamp(parser.value(u"width"_s).toInt(), 100, 4000),
                     std::clamp(parser.value(u"height"_s).toInt(), 80, 1200));

    const std::vector<double> samples = trace(points);
    QJsonArray values;
    for (double v : samples)
        values.append(v);
    const prims::Chart chart(
        QJsonObject{{"title"_L1, u"Drive current"_s},
                    {"unit"_L1, u" A"_s},
                    {"x_from"_L1, 0},
                    {"x_to"_L1, 240},
                    {"x_unit"_L1, u" s"_s},
                    {"height"_L1, size.height()},
                    {"series"_L1, QJsonArray{QJsonObject{{"label"_L1, u"Drive motor"_s}, {"values"_L1, values}}}}});

    // The baseline: every point straight onto the whole image, with the chart's pen.
    const auto [lo, hi] = std::minmax_element(samples.begin(), samples.end());
    QPolygonF line;
    line.reserve(points);
    for (int i = 0; i < points; ++i)
        line.append({double(i) * (size.width() - 1) / (points - 1),
                     (size.height() - 1) * (1 - (samples[size_t(i)] - *lo) / (*hi - *lo))});
    // The chart draws a series this dense with a one-pixel pen; the thicker pen it uses for sparse
    // series is timed as a second baseline.
    const QPen pen(theme::palette().accent, 1.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    const QPen thick(theme::palette().accent, 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);

    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    const auto paintChart = [&](QPainter &p) { chart.paint(p, image.rect()); };
    const auto paintBare = [&](QPainter &p) {
        p.setPen(pen);
        p.drawPolyline(line);
    };
    const auto paintThick = [&](QPainter &p) {
        p.setPen(thick);
        p.drawPolyline(line);
    };
    for (int i = 0; i < 3; ++i) { // warm the font and glyph caches
        timed(image, paintChart);
        timed(image, paintBare);
    }
    std::vector<double> chartMs, bareMs, thickMs;
    for (int i = 0; i < rounds; ++i) {
        chartMs.push_back(timed(image, paintChart));
        bareMs.push_back(timed(image, paintBare));
        thickMs.push_back(timed(image, paintThick));
    }
    const QRectF plot = chart.plotRect(image.rect());
    qsizetype drawn = 0;
    for (const QPolygonF &l : prims::plotLines(samples, points, plot, chart.yRange(plot), false))
        drawn += l.size();
    std::printf("%d points at %dx%d, %d rounds; the chart draws %lld of them\n", points, size.width(), size.height(),
                rounds, static_cast<long long>(drawn));
    std::printf("chart (title, legend, grid, axes, series)  median %7.3f ms\n", median(chartMs));
    std::printf("bare drawPolyline of every point, 1 px     median %7.3f ms\n", median(bareMs));
    std::printf("bare drawPolyline of every point, 1.6 px   median %7.3f ms\n", median(thickMs));
    std::printf("ratio chart / bare polyline (1 px)    %.2f   (target at most 1.00)\n",
                median(chartMs) / median(bareMs));
    std::printf("ratio chart / bare polyline (1.6 px)  %.2f\n", median(chartMs) / median(thickMs));
    return 0;
}
