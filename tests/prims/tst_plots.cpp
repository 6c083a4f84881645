// The painted primitives without a design of their own: decimation of long series (a one-sample
// spike survives), tick rounding, "chart" and "sparkline" on their inputs, the spinner's timer,
// and the stat grid's caps and defaults.

#include "app/base/theme.h"
#include "prims/chart.h"
#include "prims/registry.h"
#include "prims/series.h"
#include "prims/spinner.h"
#include "support/widgets.h"

#include <QImage>
#include <QJsonArray>
#include <QLabel>
#include <QPainter>
#include <QTabWidget>
#include <QTest>

#include <cmath>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

std::unique_ptr<QWidget> build(const QJsonObject &el)
{
    return std::unique_ptr<QWidget>(prims::buildPrimitive(el, {}, 0, nullptr));
}

// A flat noisy series with one sample far above (or below) the rest.
std::vector<double> withSpike(int n, int at, double spike)
{
    std::vector<double> v(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i)
        v[size_t(i)] = 5.0 + 0.5 * std::sin(i * 0.37);
    v[size_t(at)] = spike;
    return v;
}

QJsonArray toJson(const std::vector<double> &v)
{
    QJsonArray a;
    for (double x : v)
        a.append(x);
    return a;
}

} // namespace

class TestPlots final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        testsupport::isolateConfig();
        theme::setTheme(u"Kestro Dark"_s);
    }

    void decimation_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("at");
        QTest::addColumn<double>("spike");
        QTest::addColumn<double>("width");
        QTest::newRow("10 000, spike in the middle") << 10000 << 5003 << 40.0 << 1200.0;
        QTest::newRow("10 000, spike last") << 10000 << 9999 << 40.0 << 1200.0;
        QTest::newRow("100 000, dip, odd width") << 100000 << 77777 << -30.0 << 377.0;
        QTest::newRow("short series kept whole") << 500 << 250 << 40.0 << 1200.0;
    }
    void decimation()
    {
        QFETCH(int, count);
        QFETCH(int, at);
        QFETCH(double, spike);
        QFETCH(double, width);
        const std::vector<double> samples = withSpike(count, at, spike);
        const prims::ValueRange range = prims::sampleRange(samples);
        QCOMPARE(spike > 0 ? range.hi : range.lo, spike);
        const QRectF plot(10, 0, width, 300);
        const QList<QPolygonF> lines = prims::plotLines(samples, count, plot, range, false);
        QCOMPARE(lines.size(), 1);
        const QPolygonF &line = lines.first();
        QVERIFY(line.size() <= std::max(count, 2 * int(std::ceil(width)) + 2));
        // The spike's height is reached at its own column: nothing was averaged away.
        const double spikeY = spike > 0 ? plot.top() : plot.bottom();
        const double spikeX = plot.left() + double(at) * width / (count - 1);
        bool reached = false;
        for (const QPointF &p : line)
            reached = reached || (std::abs(p.y() - spikeY) < 1e-6 && std::abs(p.x() - spikeX) <= 1.0);
        QVERIFY(reached);
        // Points run left to right.
        for (qsizetype i = 1; i < line.size(); ++i)
            QVERIFY(line[i].x() >= line[i - 1].x());
    }

    // A non-number breaks the line; bars get one column a pixel with the extremes of that column.
    void gapsAndColumns()
    {
        std::vector<double> v{1, 2, std::nan(""), 4, 5, 6};
        const QList<QPolygonF> lines = prims::plotLines(v, 6, QRectF(0, 0, 100, 100), {0, 10}, false);
        QCOMPARE(lines.size(), 2);
        QCOMPARE(lines[0].size(), 2);
        QCOMPARE(lines[1].size(), 3);
        const std::vector<double> many = withSpike(10000, 4000, 99);
        const std::vector<prims::Column> cols = prims::plotColumns(many, 10000, QRectF(0, 0, 200, 50), true);
        QVERIFY(cols.size() <= 200);
        QVERIFY(std::any_of(cols.begin(), cols.end(), [](const prims::Column &c) { return c.hi == 99; }));
    }

    void ticks_data()
    {
        QTest::addColumn<double>("lo");
        QTest::addColumn<double>("hi");
        QTest::addColumn<double>("first");
        QTest::addColumn<double>("step");
        QTest::addColumn<int>("decimals");
        QTest::newRow("0 to 10") << 0.0 << 10.0 << 0.0 << 2.0 << 0;
        QTest::newRow("fractions") << 0.1 << 0.97 << 0.2 << 0.2 << 1;
        QTest::newRow("across zero") << -3.0 << 17.0 << 0.0 << 5.0 << 0;
        QTest::newRow("large") << 1200.0 << 48012.0 << 10000.0 << 10000.0 << 0;
        QTest::newRow("flat") << 5.0 << 5.0 << 5.0 << 1.0 << 0;
    }
    void ticks()
    {
        QFETCH(double, lo);
        QFETCH(double, hi);
        QFETCH(double, first);
        QFETCH(double, step);
        QFETCH(int, decimals);
        const prims::Ticks t = prims::niceTicks({lo, hi}, 5);
        QCOMPARE(t.step, step);
        QVERIFY(std::abs(t.first - first) < 1e-9);
        QCOMPARE(t.decimals, decimals);
        QVERIFY(t.count >= 1);
    }

    // Nothing is drawn without a number to draw; caps bound series and samples.
    void chartInputs_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<bool>("drawn");
        QTest::newRow("no series") << R"({"type":"chart","title":"Empty"})" << false;
        QTest::newRow("series not an array") << R"({"type":"chart","series":{"values":[1]}})" << false;
        QTest::newRow("only texts") << R"({"type":"chart","series":[{"values":["a",null,true]}]})" << false;
        QTest::newRow("one number") << R"({"type":"chart","series":[{"values":["a",3]}]})" << true;
        QTest::newRow("sparkline empty") << R"({"type":"sparkline","values":[]})" << false;
        QTest::newRow("sparkline") << R"({"type":"sparkline","values":[1,2]})" << true;
    }
    void chartInputs()
    {
        QFETCH(QString, element);
        QFETCH(bool, drawn);
        QCOMPARE(build(testsupport::json(element)) != nullptr, drawn);
    }

    void chartCaps()
    {
        QJsonArray series;
        for (int s = 0; s < 12; ++s)
            series.append(QJsonObject{{"values"_L1, QJsonArray{s, s + 1}}});
        prims::Chart chart(QJsonObject{{"series"_L1, series}, {"height"_L1, 5000}});
        QCOMPARE(chart.series().size(), 8);
        QCOMPARE(chart.minimumHeight(), 1200);
        QCOMPARE(prims::readSamples(toJson(std::vector<double>(prims::kMaxSamples + 5, 1.0))).size(),
                 size_t(prims::kMaxSamples));
        // Series without a tone take different colours.
        QVERIFY(chart.series()[0].color != chart.series()[1].color);
    }

    // Painted at 1200x300, a one-sample spike in 10 000 points shows as a line up to its height.
    void chartPaintsSpike()
    {
        const std::vector<double> samples = withSpike(10000, 6100, 60);
        prims::Chart chart(
            QJsonObject{{"series"_L1, QJsonArray{QJsonObject{{"values"_L1, toJson(samples)}, {"tone"_L1, "error"_L1}}}},
                        {"legend"_L1, false}});
        QImage image(1200, 300, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::black);
        QPainter painter(&image);
        chart.paint(painter, image.rect());
        painter.end();
        const QRectF plot = chart.plotRect(image.rect());
        const prims::ValueRange range = chart.yRange(plot);
        const double top = plot.bottom() - (60 - range.lo) / (range.hi - range.lo) * plot.height();
        const int x = int(plot.left() + 6100.0 * plot.width() / 9999);
        const QColor tone = theme::toneColor(u"error"_s);
        int highest = image.height();
        for (int dx = -2; dx <= 2; ++dx)
            for (int y = 0; y < image.height(); ++y) {
                const QColor c = image.pixelColor(x + dx, y);
                if (std::abs(c.red() - tone.red()) < 40 && std::abs(c.green() - tone.green()) < 40)
                    highest = std::min(highest, y);
            }
        QVERIFY2(std::abs(highest - top) <= 3, qPrintable(u"spike top at %1, expected %2"_s.arg(highest).arg(top)));
    }

    void sparklineValue_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<QString>("text");
        QTest::newRow("last number with unit") << R"({"values":[1,2,3.25],"unit":" A"})" << u"3.25 A"_s;
        QTest::newRow("decimals") << R"({"values":[1,2.456],"decimals":1,"unit":"%"})" << u"2.5%"_s;
        QTest::newRow("last finite") << R"({"values":[4,5,"n/a"]})" << u"5"_s;
        QTest::newRow("hidden") << R"({"values":[1,2],"show_value":false})" << QString();
    }
    void sparklineValue()
    {
        QFETCH(QString, element);
        QFETCH(QString, text);
        const prims::Sparkline spark(testsupport::json(element));
        QCOMPARE(spark.valueText(), text);
    }

    // The spinner turns only while it is shown and running: a hidden tab stops its timer.
    void spinnerTimer()
    {
        QTabWidget tabs;
        auto *page = new QWidget;
        auto *spinner = new prims::Spinner(18, Qt::blue, true, page);
        tabs.addTab(page, u"busy"_s);
        tabs.addTab(new QWidget, u"other"_s);
        QVERIFY(!spinner->isTurning());
        testsupport::layOut(&tabs, 300, 200);
        QVERIFY(spinner->isTurning());
        const int before = spinner->angle();
        QTRY_VERIFY(spinner->angle() != before);
        tabs.setCurrentIndex(1);
        QVERIFY(!spinner->isTurning());
        tabs.setCurrentIndex(0);
        QVERIFY(spinner->isTurning());
        tabs.hide();
        QVERIFY(!spinner->isTurning());

        prims::Spinner stopped(18, Qt::blue, false);
        testsupport::layOut(&stopped, 40, 40);
        QVERIFY(!stopped.isTurning());
    }

    void statGrid()
    {
        QVERIFY(!build(testsupport::json(R"({"type":"stat_grid","items":[]})")));
        QJsonArray items;
        for (int i = 0; i < 70; ++i)
            items.append(QJsonObject{{"label"_L1, u"L%1"_s.arg(i)}});
        const std::unique_ptr<QWidget> grid = build(QJsonObject{{"type"_L1, "stat_grid"_L1}, {"items"_L1, items}});
        QVERIFY(grid);
        QCOMPARE(grid->findChildren<QWidget *>(u"statCell"_s).size(), 64);
        QStringList values;
        for (const QLabel *l : grid->findChildren<QLabel *>(u"statValue"_s))
            values << l->text();
        QCOMPARE(values.first(), u"-"_s); // no value shows a dash
    }
};

QTEST_MAIN(TestPlots)
#include "tst_plots.moc"
