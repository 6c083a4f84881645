// The item-view primitives ("table", "tree", "list", "timeline"): caps and empty inputs, sorting
// by a header click, Ctrl+C copying the selection as tab-separated text, items that post their
// "click", and their height in the parents screens put them in.

#include "app/base/theme.h"
#include "prims/itemview.h"
#include "prims/registry.h"
#include "prims/table.h"
#include "prims/tree.h"
#include "render/element.h"
#include "render/screen.h"
#include "support/widgets.h"

#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QJsonArray>
#include <QListView>
#include <QScrollBar>
#include <QTableView>
#include <QTest>
#include <QTreeView>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

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

class TestItemViews final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        testsupport::isolateConfig();
        theme::setTheme(u"Kestro Dark"_s);
    }

    void emptyDrawsNothing_data()
    {
        QTest::addColumn<QString>("element");
        QTest::newRow("table without rows") << R"({"type":"table","columns":["a"]})";
        QTest::newRow("table of empty rows") << R"({"type":"table","rows":[[],[]]})";
        QTest::newRow("tree") << R"({"type":"tree","items":[]})";
        QTest::newRow("list") << R"({"type":"list","items":"x"})";
        QTest::newRow("timeline") << R"({"type":"timeline"})";
    }
    void emptyDrawsNothing()
    {
        QFETCH(QString, element);
        QVERIFY(!prims::buildPrimitive(json(element), {}, 0, nullptr));
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
        QVERIFY(view);
        QCOMPARE(view->model()->rowCount(), prims::kMaxTableRows);
        QCOMPARE(view->model()->columnCount(), prims::kMaxTableColumns);
        QVERIFY(view->horizontalHeader()->isHidden()); // no "columns", no header
        QCOMPARE(view->model()->index(1, 0).data().toString(), u"0"_s);
        QCOMPARE(view->model()->index(3, 0).data().toString(), u"2"_s);
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
        header->setSortIndicator(-1, Qt::AscendingOrder); // back to the order sent
        QCOMPARE(column(view.get(), 0), (QStringList{u"X10"_s, u"X9"_s, u"x2"_s, u"X1"_s, u"X3"_s}));
    }

    // Ctrl+C copies the selected cells as lines of tab-separated text, in the order shown.
    void copySelection_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<QString>("copied");
        QTest::newRow("table") << R"({"type":"table","rows":[["a","b","c"],["d","e","f"],["g","h","i"]]})"
                               << "a\tb\tc\nd\te\tf\ng\th\ti";
        QTest::newRow("tree rows")
            << R"({"type":"tree","columns":["Module","Address"],"items":[{"cells":["bus",""],"children":[{"cells":["DIO-8","1"]}]},{"cells":["relay","3"]}]})"
            << "bus\t\nDIO-8\t1\nrelay\t3";
        QTest::newRow("list") << R"({"type":"list","items":["one",{"text":"two","tone":"error"},3]})"
                              << "one\ntwo\n3";
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

        posts.clear();
        auto list =
            build<QListView>(json(R"({"type":"list","items":["a",{"text":"b","click":{"path":"/p"}}]})"), &posts);
        testsupport::layOut(list.get(), 300);
        const QModelIndex b = list->model()->index(1, 0);
        list->setCurrentIndex(b);
        QTest::keyClick(list.get(), Qt::Key_Enter);
        QCOMPARE(posts, (QList<Posted>{{u"/p"_s, QJsonObject()}}));
    }

    void treeShape()
    {
        auto view = build<QTreeView>(json(R"({"type":"tree","items":[
            {"text":"open","children":[{"text":"a"},{"text":"b"}]},
            {"text":"shut","expanded":false,"children":[{"text":"c"}]}]})"));
        QVERIFY(view);
        QVERIFY(view->header()->isHidden());
        QVERIFY(view->isExpanded(view->model()->index(0, 0)));
        QVERIFY(!view->isExpanded(view->model()->index(1, 0)));

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
        QTest::addColumn<QString>("maxRows");
        QTest::addColumn<bool>("scrolls");
        const QList<std::pair<const char *, const char *>> parents{
            {"section", "%1"},
            {"group", R"({"type":"group","items":[%1]})"},
            {"tab", R"({"type":"tabs","tabs":[{"label":"IO","items":[%1]}]})"},
            {"dialog", R"({"type":"dialog","title":"IO","items":[%1]})"},
            {"row", R"({"type":"row","items":[{"type":"text","text":"beside"},%1]})"},
            {"split", R"({"type":"split","items":[%1,{"type":"text","text":"beside"}]})"}};
        for (const auto &[parent, wrap] : parents) {
            for (const char *kind : {"table", "tree", "list", "timeline"}) {
                QTest::addRow("%s in %s, 3 rows", kind, parent) << wrap << kind << 3 << "" << false;
                QTest::addRow("%s in %s, 40 rows", kind, parent) << wrap << kind << 40 << "" << true;
                QTest::addRow("%s in %s, max_rows 5", kind, parent) << wrap << kind << 4 << R"(,"max_rows":3)" << true;
            }
        }
    }
    void heightInParents()
    {
        QFETCH(QString, wrap);
        QFETCH(QString, kind);
        QFETCH(int, rows);
        QFETCH(QString, maxRows);
        QFETCH(bool, scrolls);
        QStringList items;
        for (int r = 0; r < rows; ++r) {
            if (kind == "table"_L1)
                items << u"[\"X%1\",\"on\"]"_s.arg(r);
            else if (kind == "tree"_L1)
                items << u"{\"cells\":[\"X%1\",\"on\"]}"_s.arg(r);
            else if (kind == "list"_L1)
                items << u"\"X%1 on\""_s.arg(r);
            else
                items << u"{\"time\":\"08:%1\",\"text\":\"X%1 on\",\"detail\":\"read\"}"_s.arg(r, 2, 10, QChar(u'0'));
        }
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
    }
};

QTEST_MAIN(TestItemViews)
#include "tst_itemviews.moc"
