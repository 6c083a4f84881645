// Layout containers measured on real widgets after layout: wrapping, reflow, weights, grow,
// justify and align, and the framed containers' structure.
#include "app/base/theme.h"
#include "prims/containers.h"
#include "prims/json.h"
#include "prims/reflowbox.h"
#include "prims/wraprow.h"
#include "support/widgets.h"

#include <QBoxLayout>
#include <QFrame>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QSplitter>
#include <QTabWidget>
#include <QTest>
#include <QTextDocument>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

// A plain block with a chosen preferred size.
class Block final : public QWidget
{
    Q_OBJECT

public:
    Block(QSize hint, QWidget *parent)
        : QWidget(parent)
        , m_hint(hint)
    {}
    QSize sizeHint() const override { return m_hint; }
    QSize minimumSizeHint() const override { return {std::min(40, m_hint.width()), m_hint.height()}; }

private:
    QSize m_hint;
};

namespace {

// Children for the containers under test: "btn" is a push button, "block" a sized block, "none"
// builds nothing, and every primitive goes back through the registry with these same callbacks.
prims::Callbacks callbacks()
{
    prims::Callbacks cb;
    cb.build = [](const QJsonObject &el, int depth, QWidget *parent) -> QWidget * {
        const QString type = prims::readText(el, "type"_L1);
        if (type == "btn"_L1)
            return new QPushButton(prims::readText(el, "text"_L1, u"Run"_s), parent);
        if (type == "block"_L1)
            return new Block(QSize(prims::readInt(el, "w"_L1, 100, 0, 4000), prims::readInt(el, "h"_L1, 30, 0, 4000)),
                             parent);
        if (type == "none"_L1)
            return nullptr;
        return prims::buildPrimitive(el, callbacks(), depth, parent);
    };
    return cb;
}

std::unique_ptr<QWidget> build(const QJsonObject &el)
{
    return std::unique_ptr<QWidget>(prims::buildPrimitive(el, callbacks(), 0, nullptr));
}

std::unique_ptr<QWidget> build(const QString &text)
{
    return build(testsupport::json(text));
}

template<typename T> QList<QWidget *> direct(QWidget *w)
{
    const QList<T *> found = w->findChildren<T *>(Qt::FindDirectChildrenOnly);
    return {found.cbegin(), found.cend()};
}

bool overlaps(const QList<QWidget *> &widgets)
{
    for (qsizetype i = 0; i < widgets.size(); ++i) {
        for (qsizetype j = i + 1; j < widgets.size(); ++j) {
            if (widgets.at(i)->geometry().intersects(widgets.at(j)->geometry()))
                return true;
        }
    }
    return false;
}

qsizetype lineCount(const QList<QWidget *> &widgets)
{
    QList<int> tops;
    for (const QWidget *w : widgets) {
        if (!tops.contains(w->y()))
            tops.append(w->y());
    }
    return tops.size();
}

} // namespace

class TestContainers final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }

    // WrapRow on its own: lines never overlap, never pass the right edge, the last item of every
    // line ends on the right edge, and the height it asks for is the height it uses.
    void wrapRowFlow_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("lines");
        // Five 100-wide items, spacing 10: 540 fits all, 320 fits three, 100 one per line.
        QTest::newRow("exact") << 540 << 1;
        QTest::newRow("one short") << 539 << 2;
        QTest::newRow("one a line") << 100 << 5;
        QTest::newRow("narrower than an item") << 40 << 5;
    }
    void wrapRowFlow()
    {
        QFETCH(int, width);
        QFETCH(int, lines);
        QWidget host;
        auto *wrap = new prims::WrapRow(&host, 0, 10);
        QList<QWidget *> blocks;
        for (int i = 0; i < 5; ++i) {
            blocks.append(new Block(QSize(100, 20 + i), &host));
            blocks.last()->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
            wrap->addWidget(blocks.last());
        }
        const int height = wrap->heightForWidth(width);
        wrap->setGeometry(QRect(0, 0, width, height));
        QCOMPARE(lineCount(blocks), lines);
        QVERIFY(!overlaps(blocks));
        QCOMPARE(blocks.last()->geometry().bottom() + 1, height);
        for (qsizetype i = 0; i < blocks.size(); ++i) {
            QWidget *b = blocks.at(i);
            // Every item is as tall as the tallest of its line.
            int tallest = 0;
            for (QWidget *other : blocks) {
                if (other->y() == b->y())
                    tallest = std::max(tallest, other->sizeHint().height());
            }
            QCOMPARE(b->height(), tallest);
            // The item before each line break, and the very last, reach the right edge exactly.
            if (i + 1 == blocks.size() || blocks.at(i + 1)->y() != b->y())
                QCOMPARE(b->geometry().right() + 1, std::max(width, b->x()));
        }
    }

    void wrapRowMargins()
    {
        QWidget host;
        auto *wrap = new prims::WrapRow(&host, 8, 6);
        wrap->addWidget(new Block(QSize(50, 20), &host));
        QCOMPARE(wrap->heightForWidth(200), 20 + 16);
        QCOMPARE(wrap->minimumSize(), QSize(66, 36));
        prims::WrapRow empty(nullptr, 0, 6);
        QCOMPARE(empty.heightForWidth(200), 0);
    }

    // A filled row of buttons wraps when narrow, each line justified to the full width; an
    // aligned row is a plain box and stays on one line.
    void buttonRow_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<QString>("align");
        QTest::addColumn<bool>("wraps");
        QTest::newRow("narrow") << 260 << QString() << true;
        QTest::newRow("centred, narrow") << 260 << u"center"_s << false;
    }
    void buttonRow()
    {
        QFETCH(int, width);
        QFETCH(QString, align);
        QFETCH(bool, wraps);
        QJsonArray items;
        for (int i = 0; i < 3; ++i)
            items.append(QJsonObject{{"type"_L1, u"btn"_s}, {"text"_L1, u"Start drive check %1"_s.arg(i)}});
        auto w = build(
            QJsonObject{{"type"_L1, u"layout"_s}, {"flow"_L1, u"row"_s}, {"items"_L1, items}, {"align"_L1, align}});
        QVERIFY(w);
        QCOMPARE(qobject_cast<prims::WrapRow *>(w->layout()) != nullptr, align.isEmpty());
        testsupport::layOut(w.get(), width);
        const QList<QWidget *> buttons = direct<QPushButton>(w.get());
        QCOMPARE(buttons.size(), 3);
        QCOMPARE(lineCount(buttons) > 1, wraps);
        if (!align.isEmpty())
            return;
        for (const QWidget *b : buttons)
            QVERIFY2(b->geometry().bottom() < w->height(), "a button is clipped at the bottom");
        QCOMPARE(buttons.last()->geometry().right() + 1, width);
        QVERIFY(!overlaps(buttons));
    }

    // Weights are truncated to 0..1000; past the end, or not numbers, a filled layout weighs 1.
    void weights()
    {
        auto stretches = [](const QJsonArray &weights) {
            const QJsonObject block{{"type"_L1, u"block"_s}};
            auto w = build(
                QJsonObject{{"type"_L1, u"layout"_s}, {"items"_L1, QJsonArray{block, block}}, {"weights"_L1, weights}});
            auto *box = qobject_cast<QBoxLayout *>(w->layout());
            return box && box->count() == 2 ? QList<int>{box->stretch(0), box->stretch(1)} : QList<int>{};
        };
        QCOMPARE(stretches({2.9}), (QList<int>{2, 1}));
        QCOMPARE(stretches({-3}), (QList<int>{0, 1}));
        QCOMPARE(stretches({5000, 3}), (QList<int>{1000, 3}));
        QCOMPARE(stretches({u"4"_s}), (QList<int>{1, 1}));
    }

    // Weights share the width of a filled row in their ratio; "grow" takes the spare height.
    void weightsAndGrow()
    {
        auto row = build(uR"({"type":"layout","flow":"row","gap":0,"weights":[1,3],
                              "items":[{"type":"block","w":10},{"type":"block","w":10}]})"_s);
        testsupport::layOut(row.get(), 1000);
        const QList<QWidget *> shares = direct<Block>(row.get());
        QCOMPARE(shares.size(), 2);
        QCOMPARE(shares.at(0)->width(), 250);
        QCOMPARE(shares.at(1)->width(), 750);

        auto column = build(uR"({"type":"layout","gap":0,"items":[{"type":"block","h":30},
                                 {"type":"block","h":30,"grow":true},{"type":"block","h":30}]})"_s);
        testsupport::layOut(column.get(), 300, 400);
        const QList<QWidget *> blocks = direct<Block>(column.get());
        QCOMPARE(blocks.size(), 3);
        QCOMPARE(blocks.at(0)->height(), 30);
        QCOMPARE(blocks.at(1)->height(), 340);
        QCOMPARE(blocks.at(2)->height(), 30);
        QCOMPARE(blocks.at(2)->geometry().bottom(), 399);
    }

    // Two 100-wide blocks (30 and 100 high), gap 0, in a 1000 by 100 row that does not fill.
    void placement_data()
    {
        QTest::addColumn<QString>("align");
        QTest::addColumn<QString>("justify");
        QTest::addColumn<int>("firstX");
        QTest::addColumn<int>("lastRight");
        QTest::addColumn<int>("firstY");
        QTest::newRow("no justify") << u"start"_s << QString() << 0 << 199 << 0;
        QTest::newRow("end") << u"start"_s << u"end"_s << 800 << 999 << 0;
        QTest::newRow("center") << u"start"_s << u"center"_s << 400 << 599 << 0;
        QTest::newRow("between") << u"start"_s << u"between"_s << 0 << 999 << 0;
        QTest::newRow("align center") << u"center"_s << QString() << 0 << 199 << 35;
        QTest::newRow("align end") << u"end"_s << QString() << 0 << 199 << 70;
    }
    void placement()
    {
        QFETCH(QString, align);
        QFETCH(QString, justify);
        QFETCH(int, firstX);
        QFETCH(int, lastRight);
        QFETCH(int, firstY);
        QJsonObject el = testsupport::json(R"({"type":"layout","flow":"row","gap":0,
                                               "items":[{"type":"block","h":30},{"type":"block","h":100}]})");
        el.insert("align"_L1, align);
        el.insert("justify"_L1, justify);
        auto w = build(el);
        testsupport::layOut(w.get(), 1000, 100);
        const QList<QWidget *> blocks = direct<Block>(w.get());
        QCOMPARE(blocks.at(0)->x(), firstX);
        QCOMPARE(blocks.at(1)->geometry().right(), lastRight);
        QCOMPARE(blocks.at(0)->y(), firstY);
        QCOMPARE(blocks.at(0)->height(), 30);
    }

    void gapAndPadClamp()
    {
        auto w = build(uR"({"type":"layout","gap":500,"pad":-4,"items":[{"type":"block"},{"type":"block"}]})"_s);
        QCOMPARE(w->layout()->spacing(), 200);
        QCOMPARE(w->layout()->contentsMargins(), QMargins(0, 0, 0, 0));
    }

    // A scrolling layout with a height, and "scroll", are fixed at that height (40..4000, 200).
    void scrollHeight()
    {
        auto layout = build(uR"({"type":"layout","scroll":true,"height":10,"items":[{"type":"block"}]})"_s);
        QVERIFY(qobject_cast<QScrollArea *>(layout.get()));
        QCOMPARE(layout->height(), 40);
        QCOMPARE(layout->maximumHeight(), 40);
        auto scroll = build(uR"({"type":"scroll","height":1e7,"items":[{"type":"block"}]})"_s);
        QVERIFY(qobject_cast<QScrollArea *>(scroll.get()));
        QCOMPARE(scroll->maximumHeight(), 4000);
        QCOMPARE(build(uR"({"type":"scroll","height":"x","items":[{"type":"block"}]})"_s)->maximumHeight(), 200);
    }

    void emptyContainersGiveNothing_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("layout, no items") << uR"({"type":"layout"})"_s;
        QTest::newRow("layout, items build nothing") << uR"({"type":"layout","items":[{"type":"none"},3,"x"]})"_s;
        QTest::newRow("scroll") << uR"({"type":"scroll","items":[]})"_s;
        QTest::newRow("split") << uR"({"type":"split","items":[{"type":"none"}]})"_s;
        QTest::newRow("tabs") << uR"({"type":"tabs","tabs":[1,"x"]})"_s;
        QTest::newRow("alert") << uR"({"type":"alert","tone":"error"})"_s;
        QTest::newRow("dialog closed") << uR"({"type":"dialog","open":"no","title":"Confirm"})"_s;
        QTest::newRow("dialog empty") << uR"({"type":"dialog"})"_s;
        QTest::newRow("wizard") << uR"({"type":"wizard","stages":{}})"_s;
        QTest::newRow("tooltip") << uR"({"type":"tooltip","item":"text"})"_s;
    }
    void emptyContainersGiveNothing()
    {
        QFETCH(QString, text);
        QVERIFY(!build(text));
    }

    // The side-by-side row stacks below its needed width and asks for the stacked height.
    void reflow_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<bool>("stacked");
        // Three items, min_item_width 300, gap 10: needs 920 (a filled row's 240 minimums need less).
        QTest::newRow("exact") << 920 << false;
        QTest::newRow("one short") << 919 << true;
        QTest::newRow("narrow") << 300 << true;
    }
    void reflow()
    {
        QFETCH(int, width);
        QFETCH(bool, stacked);
        auto w = build(uR"({"type":"layout","flow":"row","gap":10,"min_item_width":300,
                            "items":[{"type":"block","h":40},{"type":"block","h":50},{"type":"block","h":60}]})"_s);
        auto *reflow = qobject_cast<prims::ReflowBox *>(w->layout());
        QVERIFY(reflow);
        QCOMPARE(reflow->stacksAt(width), stacked);
        const int asked = w->heightForWidth(width);
        QCOMPARE(asked, stacked ? 40 + 50 + 60 + 20 : 60);
        testsupport::layOut(w.get(), width, asked);
        const QList<QWidget *> blocks = direct<Block>(w.get());
        QCOMPARE(blocks.size(), 3);
        QVERIFY(!overlaps(blocks));
        QCOMPARE(lineCount(blocks), stacked ? 3 : 1);
        for (const QWidget *b : blocks) {
            QVERIFY(b->geometry().right() < width);
            QVERIFY(b->geometry().bottom() < asked);
            if (stacked)
                QCOMPARE(b->width(), width);
        }
        QCOMPARE(reflow->direction() == QBoxLayout::TopToBottom, stacked);
        // Side by side it may shrink to its widest item, so that it can reach the stacking width.
        QVERIFY(w->minimumSizeHint().width() <= 240);
    }

    void splitPanes()
    {
        auto w = build(uR"({"type":"split","flow":"column","sizes":[3,"x",-1],
                            "items":[{"type":"block"},{"type":"block"},{"type":"block"},{"type":"block"}]})"_s);
        auto *split = qobject_cast<QSplitter *>(w.get());
        QVERIFY(split);
        QCOMPARE(split->orientation(), Qt::Vertical);
        QCOMPARE(split->count(), 4);
        QVERIFY(!split->childrenCollapsible());
        const QList<int> expected{3, 1, 0, 1};
        for (int i = 0; i < 4; ++i)
            QCOMPARE(split->widget(i)->sizePolicy().horizontalStretch(), expected.at(i));
        QVERIFY(split->styleSheet().contains(theme::palette().edge.name()));
    }

    // Tabs that are no objects are skipped; "active" past the end is the last tab. A tab shows
    // "&" itself (Qt would take a single one as a shortcut mark).
    void tabs()
    {
        auto w =
            build(uR"({"type":"tabs","active":7,"tabs":[{"label":"Drive & brake","items":[{"type":"block"}]}, "skip me",
                            {"label":"Lift","badge":{"text":"2","tone":"warn"}}, {"items":[]}]})"_s);
        auto *tabs = qobject_cast<QTabWidget *>(w.get());
        QVERIFY(tabs);
        QCOMPARE(tabs->count(), 3);
        QCOMPARE(tabs->tabText(0), u"Drive && brake"_s);
        QCOMPARE(tabs->tabText(1), u"Lift  2"_s);
        QCOMPARE(tabs->tabText(2), u"-"_s);
        QCOMPARE(tabs->currentIndex(), 2);
    }

    // Neutral tone names (any case) raise to the plain grey; a colour tints it.
    void neutralTones()
    {
        const QColor grey = theme::palette().grey;
        QVERIFY(prims::isNeutralTone(u"MUTED"_s) && prims::isNeutralTone(u"Ink"_s) && prims::isNeutralTone(u"bg"_s));
        QVERIFY(!prims::isNeutralTone(u"accent"_s) && !prims::isNeutralTone(u"#ff0000"_s));
        QCOMPARE(prims::raisedTint(u"edge"_s, 0.1), grey);
        QCOMPARE(prims::raisedTint(u"accent"_s, 0.1), theme::blend(grey, theme::toneColor(u"accent"_s), 0.1));
    }

    // Every surface frame gets the next number; a neutral dialog has a 1-pixel border, a toned one 2.
    void surfaces()
    {
        const int before = prims::surfaceFrameCount();
        auto a = build(uR"({"type":"alert","title":"Open","icon":"⚠","actions":[{"type":"btn"},{"type":"btn"}]})"_s);
        auto d = build(uR"({"type":"dialog","title":"Confirm","tone":"muted"})"_s);
        QCOMPARE(prims::surfaceFrameCount(), before + 2);
        QCOMPARE(a->objectName(), u"primSurface%1"_s.arg(before + 1));
        QCOMPARE(d->objectName(), u"primSurface%1"_s.arg(before + 2));
        QVERIFY(a->findChild<QFrame *>(u"alertBand"_s));
        QVERIFY(a->findChild<QLabel *>()); // the title comes before any action's label
        QCOMPARE(a->findChild<QLabel *>()->text(), u"⚠ Open"_s);
        QCOMPARE(a->findChildren<QPushButton *>().size(), 2);
        auto plain = build(uR"({"type":"alert","title":"Light curtain open"})"_s);
        QCOMPARE(plain->findChild<QLabel *>()->text(), u"Light curtain open"_s);
        QVERIFY(d->styleSheet().contains("border:1px solid"_L1));
        QVERIFY(build(uR"({"type":"dialog","title":"Confirm","tone":"warn"})"_s)
                    ->styleSheet()
                    .contains("border:2px solid"_L1));
    }

    void dialogGrow_data()
    {
        QTest::addColumn<QJsonValue>("grow");
        QTest::addColumn<int>("growing");
        QTest::newRow("by index") << QJsonValue(1) << 1;
        QTest::newRow("index out of range") << QJsonValue(9) << -1;
        QTest::newRow("true is no index") << QJsonValue(true) << 2;
        QTest::newRow("text is no index") << QJsonValue(u"1"_s) << 2;
        QTest::newRow("absent") << QJsonValue(QJsonValue::Undefined) << 2;
    }
    void dialogGrow()
    {
        QFETCH(QJsonValue, grow);
        QFETCH(int, growing);
        QJsonObject el = testsupport::json(R"({"type":"dialog","title":"Teach positions",
            "items":[{"type":"block","h":20},{"type":"block","h":20},{"type":"block","h":20,"grow":true}],
            "actions":[{"type":"btn","text":"Save"}]})");
        if (!grow.isUndefined())
            el.insert("grow"_L1, grow);
        auto w = build(el);
        testsupport::layOut(w.get(), 400, 400);
        const QList<Block *> blocks = w->findChildren<Block *>();
        QCOMPARE(blocks.size(), 3);
        for (int i = 0; i < 3; ++i)
            QCOMPARE(blocks.at(i)->height() > 20, i == growing);
        // The actions sit at the right edge, inside the 14-pixel margin and the 2-pixel border.
        QCOMPARE(w->findChild<QPushButton *>()->geometry().right(), 400 - 2 - 14 - 1);
    }

    void wizardStages()
    {
        auto w = build(uR"({"type":"wizard","stages":[
            {"label":"Mount","state":"done"},{"label":"Wire","state":"now","items":[{"type":"block"}]},
            {"label":"Teach","state":"blocked"},{"label":"Test"},{"label":"Hand over","state":"now"}]})"_s);
        QVERIFY(w);
        QStringList badges;
        for (QLabel *l : w->findChildren<QLabel *>()) {
            if (l->maximumWidth() == 22 && l->minimumWidth() == 22)
                badges << l->text();
        }
        QCOMPARE(badges, (QStringList{u"✓"_s, u"2"_s, u"!"_s, u"4"_s, u"5"_s}));
        // Only the first "now" stage opens its items.
        QCOMPARE(w->findChildren<Block *>().size(), 1);
    }

    // The tip reaches the tool tip as typed, markup and all.
    void tooltipCarriesTip()
    {
        auto w = build(uR"({"type":"tooltip","tip":"Measured at the <b>rail</b> end","item":{"type":"block"}})"_s);
        QVERIFY(w);
        QTextDocument shown;
        shown.setHtml(w->toolTip());
        QCOMPARE(shown.toPlainText(), u"Measured at the <b>rail</b> end"_s);
        auto *marker = w->findChild<QLabel *>(u"tipMarker"_s);
        QVERIFY(marker);
        QCOMPARE(marker->text(), u"?"_s);
        QCOMPARE(marker->toolTip(), w->toolTip());
        QCOMPARE(w->findChild<Block *>()->toolTip(), w->toolTip());
    }
};

QTEST_MAIN(TestContainers)
#include "tst_containers.moc"
