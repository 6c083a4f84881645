// Layout containers measured on real widgets after layout: wrapping, reflow, weights, grow,
// justify and align, and the framed containers' structure.
#include "app/theme.h"
#include "prims/containers.h"
#include "prims/json.h"
#include "prims/reflowbox.h"
#include "prims/wraprow.h"
#include "support/testsupport.h"

#include <QBoxLayout>
#include <QFrame>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QSplitter>
#include <QTabWidget>
#include <QTest>

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

// Children for the containers under test: "btn" is a push button, "block" a sized block, and
// every primitive goes back through the registry with these same callbacks.
prims::Callbacks callbacks()
{
    prims::Callbacks cb;
    static prims::Callbacks *self = nullptr;
    cb.build = [](const QJsonObject &el, int depth, QWidget *parent) -> QWidget * {
        const QString type = prims::readText(el, "type"_L1);
        if (type == "btn"_L1)
            return new QPushButton(prims::readText(el, "text"_L1, u"Run"_s), parent);
        if (type == "block"_L1)
            return new Block(QSize(prims::readInt(el, "w"_L1, 100, 0, 4000), prims::readInt(el, "h"_L1, 30, 0, 4000)),
                             parent);
        if (type == "none"_L1)
            return nullptr;
        return prims::buildPrimitive(el, *self, depth, parent);
    };
    static prims::Callbacks keep = cb;
    self = &keep;
    return keep;
}

std::unique_ptr<QWidget> build(const QJsonObject &el)
{
    QWidget *w = prims::buildPrimitive(el, callbacks(), 0, nullptr);
    return std::unique_ptr<QWidget>(w);
}

QJsonObject buttonsRow(int count, const QString &align = {})
{
    QJsonArray items;
    for (int i = 0; i < count; ++i)
        items.append(QJsonObject{{"type"_L1, u"btn"_s}, {"text"_L1, u"Start drive check %1"_s.arg(i)}});
    QJsonObject el{{"type"_L1, u"layout"_s}, {"flow"_L1, u"row"_s}, {"items"_L1, items}};
    if (!align.isEmpty())
        el.insert("align"_L1, align);
    return el;
}

template<typename T> QList<T *> direct(QWidget *w)
{
    return w->findChildren<T *>(Qt::FindDirectChildrenOnly);
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
        QTest::newRow("wide") << 600 << 1;
        QTest::newRow("exact") << 540 << 1;
        QTest::newRow("one short") << 539 << 2;
        QTest::newRow("three a line") << 320 << 2;
        QTest::newRow("two a line") << 250 << 3;
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
            auto *b = new Block(QSize(100, 20 + i), &host);
            b->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
            wrap->addWidget(b);
            blocks.append(b);
        }
        const int height = wrap->heightForWidth(width);
        wrap->setGeometry(QRect(0, 0, width, height));
        QList<int> tops;
        for (QWidget *b : blocks) {
            if (!tops.contains(b->geometry().top()))
                tops.append(b->geometry().top());
            QVERIFY(b->geometry().bottom() < height);
        }
        QCOMPARE(tops.size(), lines);
        QVERIFY(!overlaps(blocks));
        // Every item is as tall as the tallest of its line.
        for (QWidget *b : blocks) {
            int tallest = 0;
            for (QWidget *other : blocks) {
                if (other->y() == b->y())
                    tallest = std::max(tallest, other->sizeHint().height());
            }
            QCOMPARE(b->height(), tallest);
        }
        // The item before each line break, and the very last, reach the right edge exactly.
        for (qsizetype i = 0; i < blocks.size(); ++i) {
            const bool lastOfLine = i + 1 == blocks.size() || blocks.at(i + 1)->y() != blocks.at(i)->y();
            if (lastOfLine)
                QCOMPARE(blocks.at(i)->geometry().right() + 1, std::max(width, blocks.at(i)->x()));
        }
        QCOMPARE(blocks.last()->geometry().bottom() + 1, height);
    }

    void wrapRowMargins()
    {
        QWidget host;
        auto *wrap = new prims::WrapRow(&host, 8, 6);
        wrap->addWidget(new Block(QSize(50, 20), &host));
        QCOMPARE(wrap->heightForWidth(200), 20 + 16);
        QCOMPARE(wrap->minimumSize(), QSize(66, 36));
        auto *empty = new prims::WrapRow(nullptr, 0, 6);
        QCOMPARE(empty->heightForWidth(200), 0);
        delete empty;
    }

    // A filled row of buttons wraps when narrow; each line justified to the full width.
    void buttonRowWraps_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<bool>("wraps");
        QTest::newRow("wide") << 1600 << false;
        QTest::newRow("narrow") << 260 << true;
    }
    void buttonRowWraps()
    {
        QFETCH(int, width);
        QFETCH(bool, wraps);
        auto w = build(buttonsRow(3));
        QVERIFY(w);
        QVERIFY(qobject_cast<prims::WrapRow *>(w->layout()));
        testsupport::layOut(w.get(), width);
        const QList<QPushButton *> buttons = direct<QPushButton>(w.get());
        QCOMPARE(buttons.size(), 3);
        QList<int> tops;
        for (QPushButton *b : buttons) {
            if (!tops.contains(b->y()))
                tops.append(b->y());
            QVERIFY2(b->geometry().bottom() < w->height(), "a button is clipped at the bottom");
        }
        QCOMPARE(tops.size() > 1, wraps);
        QCOMPARE(buttons.last()->geometry().right() + 1, width);
        QVERIFY(!overlaps({buttons.cbegin(), buttons.cend()}));
    }

    void centredButtonsStayOneLine()
    {
        auto w = build(buttonsRow(3, u"center"_s));
        QVERIFY(w);
        QVERIFY(!qobject_cast<prims::WrapRow *>(w->layout()));
        testsupport::layOut(w.get(), 260);
        const QList<QPushButton *> buttons = direct<QPushButton>(w.get());
        QCOMPARE(buttons.size(), 3);
        QCOMPARE(buttons.at(0)->y() + buttons.at(0)->height() / 2, buttons.at(2)->y() + buttons.at(2)->height() / 2);
    }

    void weights_data()
    {
        QTest::addColumn<QJsonArray>("weights");
        QTest::addColumn<QList<int>>("stretch");
        QTest::newRow("fraction truncates") << QJsonArray{2.9} << QList<int>{2, 1};
        QTest::newRow("negative is zero") << QJsonArray{-3} << QList<int>{0, 1};
        QTest::newRow("capped at 1000") << QJsonArray{5000, 3} << QList<int>{1000, 3};
        QTest::newRow("text takes default") << QJsonArray{u"4"_s} << QList<int>{1, 1};
        QTest::newRow("past the end default") << QJsonArray{} << QList<int>{1, 1};
    }
    void weights()
    {
        QFETCH(QJsonArray, weights);
        QFETCH(QList<int>, stretch);
        const QJsonObject el{
            {"type"_L1, u"layout"_s},
            {"items"_L1, QJsonArray{QJsonObject{{"type"_L1, u"block"_s}}, QJsonObject{{"type"_L1, u"block"_s}}}},
            {"weights"_L1, weights}};
        auto w = build(el);
        QVERIFY(w);
        auto *box = qobject_cast<QBoxLayout *>(w->layout());
        QVERIFY(box);
        QCOMPARE(box->count(), 2);
        QCOMPARE(box->stretch(0), stretch.at(0));
        QCOMPARE(box->stretch(1), stretch.at(1));
    }

    // Weights share the width of a filled row in their ratio.
    void weightsShareWidth()
    {
        const QJsonObject el = testsupport::json(
            R"({"type":"layout","flow":"row","gap":0,"weights":[1,3],
                "items":[{"type":"block","w":10},{"type":"block","w":10}]})");
        auto w = build(el);
        testsupport::layOut(w.get(), 1000);
        const QList<Block *> blocks = direct<Block>(w.get());
        QCOMPARE(blocks.size(), 2);
        QCOMPARE(blocks.at(0)->width(), 250);
        QCOMPARE(blocks.at(1)->width(), 750);
    }

    void growTakesSpareHeight()
    {
        const QJsonObject el = testsupport::json(
            R"({"type":"layout","gap":0,"items":[{"type":"block","h":30},{"type":"block","h":30,"grow":true},
                {"type":"block","h":30}]})");
        auto w = build(el);
        testsupport::layOut(w.get(), 300, 400);
        const QList<Block *> blocks = direct<Block>(w.get());
        QCOMPARE(blocks.size(), 3);
        QCOMPARE(blocks.at(0)->height(), 30);
        QCOMPARE(blocks.at(2)->height(), 30);
        QCOMPARE(blocks.at(1)->height(), 340);
        QCOMPARE(blocks.at(2)->geometry().bottom(), 399);
    }

    void justify_data()
    {
        QTest::addColumn<QString>("justify");
        QTest::addColumn<int>("firstX");
        QTest::addColumn<int>("lastRight");
        // Two 100-wide blocks, gap 0, in a 1000-wide row with "align" "start" (no fill).
        QTest::newRow("start") << u"start"_s << 0 << 199;
        QTest::newRow("none") << QString() << 0 << 199;
        QTest::newRow("end") << u"end"_s << 800 << 999;
        QTest::newRow("center") << u"center"_s << 400 << 599;
        QTest::newRow("between") << u"between"_s << 0 << 999;
    }
    void justify()
    {
        QFETCH(QString, justify);
        QFETCH(int, firstX);
        QFETCH(int, lastRight);
        QJsonObject el = testsupport::json(R"({"type":"layout","flow":"row","gap":0,"align":"start",
                                               "items":[{"type":"block"},{"type":"block"}]})");
        el.insert("justify"_L1, justify);
        auto w = build(el);
        testsupport::layOut(w.get(), 1000, 60);
        const QList<Block *> blocks = direct<Block>(w.get());
        QCOMPARE(blocks.at(0)->x(), firstX);
        QCOMPARE(blocks.at(1)->geometry().right(), lastRight);
    }

    void crossAlign_data()
    {
        QTest::addColumn<QString>("align");
        QTest::addColumn<int>("y");
        QTest::addColumn<int>("height");
        QTest::newRow("start") << u"start"_s << 0 << 30;
        QTest::newRow("center") << u"center"_s << 35 << 30;
        QTest::newRow("end") << u"end"_s << 70 << 30;
    }
    void crossAlign()
    {
        QFETCH(QString, align);
        QFETCH(int, y);
        QFETCH(int, height);
        QJsonObject el = testsupport::json(R"({"type":"layout","flow":"row",
                                               "items":[{"type":"block","h":30},{"type":"block","h":100}]})");
        el.insert("align"_L1, align);
        auto w = build(el);
        testsupport::layOut(w.get(), 500, 100);
        const QList<Block *> blocks = direct<Block>(w.get());
        QCOMPARE(blocks.at(0)->y(), y);
        QCOMPARE(blocks.at(0)->height(), height);
    }

    void gapAndPadClamp()
    {
        auto w = build(
            testsupport::json(R"({"type":"layout","gap":500,"pad":-4,"items":[{"type":"block"},{"type":"block"}]})"));
        QCOMPARE(w->layout()->spacing(), 200);
        QCOMPARE(w->layout()->contentsMargins(), QMargins(0, 0, 0, 0));
    }

    void scrollHeight_data()
    {
        QTest::addColumn<QJsonValue>("height");
        QTest::addColumn<int>("expected");
        QTest::newRow("too small") << QJsonValue(10) << 40;
        QTest::newRow("as given") << QJsonValue(120) << 120;
        QTest::newRow("too large") << QJsonValue(1e7) << 4000;
        QTest::newRow("text takes default") << QJsonValue(u"x"_s) << 200;
    }
    void scrollHeight()
    {
        QFETCH(QJsonValue, height);
        QFETCH(int, expected);
        QJsonObject el = testsupport::json(R"({"type":"layout","scroll":true,"items":[{"type":"block"}]})");
        el.insert("height"_L1, height);
        auto w = build(el);
        auto *area = qobject_cast<QScrollArea *>(w.get());
        QVERIFY(area);
        QCOMPARE(area->height(), expected);
        QCOMPARE(area->maximumHeight(), expected);

        auto s = build(QJsonObject{{"type"_L1, u"scroll"_s},
                                   {"height"_L1, height},
                                   {"items"_L1, QJsonArray{QJsonObject{{"type"_L1, u"block"_s}}}}});
        QCOMPARE(qobject_cast<QScrollArea *>(s.get())->maximumHeight(), expected);
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
        QJsonObject el = testsupport::json(text.toUtf8().constData());
        auto w = build(el);
        QVERIFY(!w);
    }

    // The side-by-side row stacks below its needed width and asks for the stacked height.
    void reflow_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<bool>("stacked");
        // Three items, min_item_width 300, gap 10: needs 920 (a filled row's 240 minimums need less).
        QTest::newRow("wide") << 1000 << false;
        QTest::newRow("exact") << 920 << false;
        QTest::newRow("one short") << 919 << true;
        QTest::newRow("narrow") << 300 << true;
    }
    void reflow()
    {
        QFETCH(int, width);
        QFETCH(bool, stacked);
        const QJsonObject el = testsupport::json(
            R"({"type":"layout","flow":"row","gap":10,"min_item_width":300,
                "items":[{"type":"block","h":40},{"type":"block","h":50},{"type":"block","h":60}]})");
        auto w = build(el);
        auto *reflow = qobject_cast<prims::ReflowBox *>(w->layout());
        QVERIFY(reflow);
        QCOMPARE(reflow->stacksAt(width), stacked);
        const int asked = w->heightForWidth(width);
        QCOMPARE(asked, stacked ? 40 + 50 + 60 + 20 : 60);
        testsupport::layOut(w.get(), width, asked);
        const QList<Block *> blocks = direct<Block>(w.get());
        QCOMPARE(blocks.size(), 3);
        QVERIFY(!overlaps({blocks.cbegin(), blocks.cend()}));
        for (Block *b : blocks) {
            QVERIFY(b->geometry().right() < width);
            QVERIFY(b->geometry().bottom() < asked);
            if (stacked)
                QCOMPARE(b->width(), width);
        }
        QCOMPARE(blocks.at(0)->y() == blocks.at(1)->y(), !stacked);
        QCOMPARE(reflow->direction() == QBoxLayout::TopToBottom, stacked);
        // Side by side it may shrink to its widest item, so that it can reach the stacking width.
        QVERIFY(w->minimumSizeHint().width() <= 240);
    }

    void splitPanes()
    {
        auto w = build(testsupport::json(
            R"({"type":"split","flow":"column","sizes":[3,"x",-1],
                "items":[{"type":"block"},{"type":"block"},{"type":"block"},{"type":"block"}]})"));
        auto *split = qobject_cast<QSplitter *>(w.get());
        QVERIFY(split);
        QCOMPARE(split->orientation(), Qt::Vertical);
        QCOMPARE(split->count(), 4);
        QVERIFY(!split->childrenCollapsible());
        QCOMPARE(split->handleWidth(), 6);
        const QList<int> expected{3, 1, 0, 1};
        for (int i = 0; i < 4; ++i)
            QCOMPARE(split->widget(i)->sizePolicy().horizontalStretch(), expected.at(i));
        QVERIFY(split->styleSheet().contains(theme::palette().edge.name()));
    }

    void tabs_data()
    {
        QTest::addColumn<QJsonValue>("active");
        QTest::addColumn<int>("current");
        QTest::newRow("default") << QJsonValue(QJsonValue::Undefined) << 0;
        QTest::newRow("second") << QJsonValue(1) << 1;
        QTest::newRow("past the end") << QJsonValue(7) << 2;
        QTest::newRow("negative") << QJsonValue(-1) << 0;
    }
    void tabs()
    {
        QFETCH(QJsonValue, active);
        QFETCH(int, current);
        QJsonObject el = testsupport::json(
            R"({"type":"tabs","tabs":[{"label":"Drive","items":[{"type":"block"}]}, "skip me",
                {"label":"Lift","badge":{"text":"2","tone":"warn"}}, {"items":[]}]})");
        if (!active.isUndefined())
            el.insert("active"_L1, active);
        auto w = build(el);
        auto *tabs = qobject_cast<QTabWidget *>(w.get());
        QVERIFY(tabs);
        QCOMPARE(tabs->count(), 3);
        QCOMPARE(tabs->tabText(0), u"Drive"_s);
        QCOMPARE(tabs->tabText(1), u"Lift  2"_s);
        QCOMPARE(tabs->tabText(2), u"-"_s);
        QCOMPARE(tabs->currentIndex(), current);
        QVERIFY(tabs->documentMode());
    }

    void neutralTones_data()
    {
        QTest::addColumn<QString>("tone");
        QTest::addColumn<bool>("neutral");
        QTest::newRow("edge") << u"edge"_s << true;
        QTest::newRow("MUTED") << u"MUTED"_s << true;
        QTest::newRow("Ink") << u"Ink"_s << true;
        QTest::newRow("bg") << u"bg"_s << true;
        QTest::newRow("accent") << u"accent"_s << false;
        QTest::newRow("error") << u"error"_s << false;
        QTest::newRow("hex") << u"#ff0000"_s << false;
    }
    void neutralTones()
    {
        QFETCH(QString, tone);
        QFETCH(bool, neutral);
        QCOMPARE(prims::isNeutralTone(tone), neutral);
        const QColor grey = theme::palette().grey;
        QCOMPARE(prims::raisedTint(tone, 0.1) == grey, neutral);
        if (!neutral)
            QCOMPARE(prims::raisedTint(tone, 0.1), theme::blend(grey, theme::toneColor(tone), 0.1));
    }

    void surfaceCounterGrows()
    {
        const int before = prims::surfaceFrameCount();
        auto a = build(testsupport::json(R"({"type":"alert","title":"Brake test failed","tone":"error"})"));
        auto d = build(testsupport::json(R"({"type":"dialog","title":"Confirm","tone":"muted"})"));
        QCOMPARE(prims::surfaceFrameCount(), before + 2);
        QCOMPARE(a->objectName(), u"primSurface%1"_s.arg(before + 1));
        QCOMPARE(d->objectName(), u"primSurface%1"_s.arg(before + 2));
        // A neutral dialog has a 1-pixel border, a coloured one 2.
        QVERIFY(d->styleSheet().contains("border:1px solid"_L1));
        auto e = build(testsupport::json(R"({"type":"dialog","title":"Confirm","tone":"warn"})"));
        QVERIFY(e->styleSheet().contains("border:2px solid"_L1));
        QVERIFY(a->findChild<QFrame *>(u"alertBand"_s));
    }

    void alertTitle_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("title");
        QTest::addColumn<int>("buttons");
        QTest::newRow("title") << uR"({"type":"alert","title":"Light curtain open"})"_s << u"Light curtain open"_s << 0;
        QTest::newRow("icon") << uR"({"type":"alert","title":"Open","icon":"⚠"})"_s << u"⚠ Open"_s << 0;
        QTest::newRow("actions") << uR"({"type":"alert","title":"T","actions":[{"type":"btn"},{"type":"btn"}]})"_s
                                 << u"T"_s << 2;
    }
    void alertTitle()
    {
        QFETCH(QString, text);
        QFETCH(QString, title);
        QFETCH(int, buttons);
        auto w = build(testsupport::json(text.toUtf8().constData()));
        QVERIFY(w);
        const QList<QLabel *> labels = w->findChildren<QLabel *>();
        QVERIFY(std::any_of(labels.cbegin(), labels.cend(), [&](QLabel *l) { return l->text() == title; }));
        QCOMPARE(w->findChildren<QPushButton *>().size(), buttons);
    }

    void dialogGrow_data()
    {
        QTest::addColumn<QJsonValue>("grow");
        QTest::addColumn<int>("growing");
        QTest::newRow("by index") << QJsonValue(1) << 1;
        QTest::newRow("index out of range") << QJsonValue(9) << -1;
        QTest::newRow("by the items themselves") << QJsonValue(true) << 2;
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
        const QPushButton *save = w->findChild<QPushButton *>();
        QCOMPARE(save->geometry().right(), 400 - 2 - 14 - 1);
    }

    void wizardStages()
    {
        auto w = build(testsupport::json(R"({"type":"wizard","stages":[
            {"label":"Mount","state":"done"},{"label":"Wire","state":"now","items":[{"type":"block"}]},
            {"label":"Teach","state":"blocked"},{"label":"Test"},{"label":"Hand over","state":"now"}]})"));
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

    void tooltipCarriesTip()
    {
        auto w = build(testsupport::json(R"({"type":"tooltip","tip":"Measured at the rail end",
                                             "item":{"type":"block"}})"));
        QVERIFY(w);
        QCOMPARE(w->toolTip(), u"Measured at the rail end"_s);
        auto *marker = w->findChild<QLabel *>(u"tipMarker"_s);
        QVERIFY(marker);
        QCOMPARE(marker->text(), u"?"_s);
        QCOMPARE(marker->toolTip(), w->toolTip());
        QCOMPARE(w->findChild<Block *>()->toolTip(), w->toolTip());
    }
};

QTEST_MAIN(TestContainers)
#include "tst_containers.moc"
