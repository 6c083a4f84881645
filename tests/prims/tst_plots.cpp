// The painted data primitives: decimation of long series (a one-sample spike survives), "chart"
// on its inputs and caps, the stat grid's caps; and the item views ("table", "tree", "list", "timeline"): caps and
// empty inputs, sorting by a header click, Ctrl+C copying, items that post their "click", and their height in the
// parents screens put them in.

#include "app/base/theme.h"
#include "prims/chart.h"
#include "prims/itemview.h"
#include "prims/registry.h"
#include "prims/series.h"
#include "prims/table.h"
#include "prims/tree.h"
#include "render/element.h"
#include "render/screen.h"
#include "support/widgets.h"

#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QJsonArray>
#include <QScrollBar>
#include <QTableView>
#include <QTest>
#include <QTreeView>
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

using testsupport::json;
using testsupport::Posted;

template<typename View> std::unique_ptr<View> build(const QJsonObject &el, QList<Posted> *posts = nullptr)
{
    QWidget *w = prims::buildPrimitive(el, testsupport::recording(posts), 0, nullptr);
    auto *view = qobject_cast<View *>(w);
    if (!view)
        delete w;
    return std::unique_ptr<View>(view);
}

QStringList column(const QAbstractItemView *view, int c)
{
    QStringList texts;
    for (int r = 0; r < view->model()->rowCount(); ++r)
        texts << view->model()->index(r, c).data().toString();
    return texts;
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
        QTest::newRow("100 000, dip, odd width") << 100000 << 77777 << -30.0 << 377.0;
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
        QVERIFY(std::is_sorted(line.begin(), line.end(), [](QPointF a, QPointF b) { return a.x() < b.x(); }));
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

    // Nothing is drawn without a number (or a row) to draw.
    void chartInputs_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<bool>("drawn");
        QTest::newRow("no series") << R"({"type":"chart","title":"Empty"})" << false;
        QTest::newRow("one number") << R"({"type":"chart","series":[{"values":["a",3]}]})" << true;
        QTest::newRow("table without rows") << R"({"type":"table","columns":["a"]})" << false;
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
        QCOMPARE(prims::readSamples(toJson(std::vector<double>(prims::kMaxSamples + 5, 1.0))).size(),
                 size_t(prims::kMaxSamples));
    }

    void statGrid()
    {
        QVERIFY(!build(testsupport::json(R"({"type":"stat_grid","items":[]})")));
        QJsonArray items;
        for (int i = 0; i < 70; ++i)
            items.append(QJsonObject{{"label"_L1, u"L%1"_s.arg(i)}});
        const std::unique_ptr<QWidget> grid = build(QJsonObject{{"type"_L1, "stat_grid"_L1}, {"items"_L1, items}});
        const QStringList texts = testsupport::labelTexts(grid.get());
        QVERIFY(texts.contains(u"L63"_s) && !texts.contains(u"L64"_s)); // 64 cells at most
        QVERIFY(texts.contains(u"-"_s));                                // no value shows a dash
    }

    // Rows and columns are capped; rows may be arrays, objects with "cells", or one bare value.
    void tableShape()
    {
        QJsonArray rows;
        for (int r = 0; r < prims::kMaxTableRows + 7; ++r)
            rows.append(r % 3 == 0   ? QJsonValue(QJsonArray{r, u"x"_s})
                        : r % 3 == 1 ? QJsonValue(QJsonObject{{"cells"_L1, QJsonArray{r}}})
                                     : QJsonValue(r));
        QJsonArray wide;
        for (int c = 0; c < 40; ++c)
            wide.append(c);
        rows.prepend(wide);
        auto view = build<QTableView>(QJsonObject{{"type"_L1, "table"_L1}, {"rows"_L1, rows}});
        QCOMPARE(view->model()->rowCount(), prims::kMaxTableRows);
        QCOMPARE(view->model()->columnCount(), prims::kMaxTableColumns);
        QCOMPARE(column(view.get(), 0).mid(1, 3), (QStringList{u"0"_s, u"1"_s, u"2"_s}));
    }

    // A header click sorts numbers by value before texts, texts naturally; again reverses.
    void sortByHeaderClick()
    {
        auto view = build<QTableView>(json(R"({"type":"table","columns":["Channel","Load"],
            "rows":[["X10",10],["X9","9"],["x2",2.5],["X1","n/a"],["X3",-1]]})"));
        testsupport::layOut(view.get(), 400);
        QCOMPARE(column(view.get(), 0), (QStringList{u"X10"_s, u"X9"_s, u"x2"_s, u"X1"_s, u"X3"_s}));
        view->setCurrentIndex(view->model()->index(0, 0)); // "X10" stays selected through the sort
        QHeaderView *header = view->horizontalHeader();
        const auto click = [header](int section) {
            QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                              QPoint(header->sectionViewportPosition(section) + 10, header->height() / 2));
        };
        click(1);
        QCOMPARE(column(view.get(), 1), (QStringList{u"-1"_s, u"2.5"_s, u"9"_s, u"10"_s, u"n/a"_s}));
        QCOMPARE(view->currentIndex().siblingAtColumn(0).data().toString(), u"X10"_s);
        click(1);
        QCOMPARE(column(view.get(), 1), (QStringList{u"n/a"_s, u"10"_s, u"9"_s, u"2.5"_s, u"-1"_s}));
        click(0);
        QCOMPARE(column(view.get(), 0), (QStringList{u"X1"_s, u"x2"_s, u"X3"_s, u"X9"_s, u"X10"_s}));
    }

    // Ctrl+C copies the selected cells as lines of tab-separated text, in the order shown.
    void copySelection_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<QString>("copied");
        QTest::newRow("table") << R"({"type":"table","rows":[["a","b","c"],["d","e","f"],["g","h","i"]]})"
                               << "a\tb\tc\nd\te\tf\ng\th\ti";
        QTest::newRow("timeline")
            << R"({"type":"timeline","items":[{"time":"08:02","text":"Saved"},{"time":"08:05","text":"Started","detail":"20 sweeps"}]})"
            << "08:02\tSaved\n08:05\tStarted\t20 sweeps";
    }
    void copySelection()
    {
        QFETCH(QString, element);
        QFETCH(QString, copied);
        auto view = build<QAbstractItemView>(json(element));
        QVERIFY(view);
        testsupport::layOut(view.get(), 500);
        view->selectAll();
        QApplication::clipboard()->clear();
        QTest::keyClick(view.get(), Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QApplication::clipboard()->text(), copied);
    }

    // An item carrying a click posts its path and body when activated; a cell's click beats its row's.
    void clickPosts()
    {
        QList<Posted> posts;
        auto view = build<QTableView>(json(R"({"type":"table","rows":[
            {"cells":["X2.1",{"text":"on","click":{"path":"/api/io/cell","body":{"c":1}}}],
             "click":{"path":"/api/io/toggle","body":{"channel":"X2.1"}}},
            ["X1.1","off"],
            {"cells":["X9"],"click":{"body":{"no":"path"}}}]})"),
                                      &posts);
        testsupport::layOut(view.get(), 400);
        const auto activate = [&view](int r, int c) {
            view->setCurrentIndex(view->model()->index(r, c));
            QTest::keyClick(view.get(), Qt::Key_Return);
        };
        activate(0, 0);
        activate(0, 1);
        activate(1, 0);
        activate(2, 0);
        const QList<Posted> expected{{u"/api/io/toggle"_s, QJsonObject{{"channel"_L1, "X2.1"_L1}}},
                                     {u"/api/io/cell"_s, QJsonObject{{"c"_L1, 1}}}};
        QCOMPARE(posts, expected);
    }

    void treeCap()
    {
        // The cap counts items on every level.
        QJsonArray children;
        for (int i = 0; i < 1500; ++i)
            children.append(QJsonObject{{"text"_L1, i}});
        QJsonArray items;
        for (int i = 0; i < 3; ++i)
            items.append(QJsonObject{{"text"_L1, i}, {"children"_L1, children}});
        auto big = build<QTreeView>(QJsonObject{{"type"_L1, "tree"_L1}, {"items"_L1, items}});
        int total = 0;
        const QAbstractItemModel *m = big->model();
        for (int r = 0; r < m->rowCount(); ++r)
            total += 1 + m->rowCount(m->index(r, 0));
        QCOMPARE(total, prims::kMaxTreeItems);
    }

    // A view is as tall as its rows up to "max_rows" (no scrolling), and scrolls beyond it; in every
    // parent a screen puts it in, it keeps that height and is wide enough for its columns.
    void heightInParents_data()
    {
        QTest::addColumn<QString>("wrap");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<int>("rows");
        QTest::addColumn<QString>("maxRows"); // more rows than the 3 shown scroll
        const QList<std::pair<const char *, const char *>> parents{
            {"section", "%1"},
            {"group", R"({"type":"group","items":[%1]})"},
            {"tab", R"({"type":"tabs","tabs":[{"label":"IO","items":[%1]}]})"},
            {"split", R"({"type":"split","items":[%1,{"type":"text","text":"beside"}]})"}};
        for (const auto &[parent, wrap] : parents) {
            for (const char *kind : {"table", "tree", "list", "timeline"}) {
                QTest::addRow("%s in %s, 3 rows", kind, parent) << wrap << kind << 3 << "";
                QTest::addRow("%s in %s, 40 rows", kind, parent) << wrap << kind << 40 << "";
                QTest::addRow("%s in %s, max_rows 5", kind, parent) << wrap << kind << 4 << R"(,"max_rows":3)";
            }
        }
    }
    void heightInParents()
    {
        QFETCH(QString, wrap);
        QFETCH(QString, kind);
        QFETCH(int, rows);
        QFETCH(QString, maxRows);
        const bool scrolls = rows > 3;
        const QStringList kinds{u"table"_s, u"tree"_s, u"list"_s, u"timeline"_s};
        const QString row = QStringList{u"[\"X%1\",\"on\"]"_s, u"{\"cells\":[\"X%1\",\"on\"]}"_s, u"\"X%1 on\""_s,
                                        u"{\"time\":\"08:%1\",\"text\":\"%2\",\"detail\":\"%2\"}"_s}
                                .at(kinds.indexOf(kind));
        // A timeline's long text and detail wrap whole in the width the view gets.
        const QString fault = u"Fault F-231 on the lift drive: the encoder lost its reference at the north landing "_s;
        QStringList items;
        for (int r = 0; r < rows; ++r)
            items << QString(row).replace(u"%2"_s, fault.repeated(3)).arg(r, 2, 10, QChar(u'0'));
        const QString key = kind == "table"_L1 ? u"rows"_s : u"items"_s;
        const QString columns =
            kind == "table"_L1 || kind == "tree"_L1 ? uR"("columns":["Channel","State"],)"_s : QString();
        const QString view = uR"({"type":"%1",%2"%3":[%4]%5})"_s.arg(kind, columns, key, items.join(u','), maxRows);
        std::unique_ptr<QWidget> root(render::screen(testsupport::oneSection({json(wrap.arg(view))}, u"IO"_s), {}));
        testsupport::layOut(root.get(), 700);
        auto *found = root->findChild<QAbstractItemView *>();
        QVERIFY(found && found->isVisible());
        QCOMPARE(found->height(), found->maximumHeight()); // never squashed by its parent
        QCOMPARE(found->verticalScrollBar()->maximum() > 0, scrolls);
        QCOMPARE(found->horizontalScrollBar()->maximum(), 0);
        if (scrolls) // shows whole rows up to the cap
            QVERIFY(found->height() > found->verticalScrollBar()->pageStep());
        const int line = QFontMetrics(theme::uiFont(10)).lineSpacing();
        if (kind == "timeline"_L1) {
            QVERIFY2(found->visualRect(found->model()->index(0, 0)).height() > 4 * line, "text and detail wrapped");
            // Narrower, the events grow taller, and the shown ones stay in sight.
            const int tall = found->height();
            testsupport::layOut(root.get(), 480);
            QVERIFY(found->height() > tall);
            QCOMPARE(found->verticalScrollBar()->maximum() > 0, scrolls);
        }
    }
};

QTEST_MAIN(TestPlots)
#include "tst_plots.moc"
