// The JSON readers every builder relies on and the registry's lookup; layout containers measured
// on real widgets after layout: wrapping, reflow, weights, grow, justify and align, the framed
// containers; and the renderer's own plain containers and drawing types built through
// render::element. (The nesting limit is tested with the renderer's dispatch.)
#include "app/base/theme.h"
#include "prims/canvas.h"
#include "prims/containers.h"
#include "prims/json.h"
#include "prims/reflowbox.h"
#include "prims/registry.h"
#include "prims/wraprow.h"
#include "render/element.h"
#include "support/testsupport.h"
#include "support/widgets.h"

#include <QBoxLayout>
#include <QJsonArray>
#include <QJsonDocument>
#include <QPushButton>
#include <QScrollArea>
#include <QSet>
#include <QSplitter>
#include <QTabWidget>
#include <QTest>
#include <QTextDocument>
#include <algorithm>
#include <cmath>
#include <limits>
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

std::unique_ptr<QWidget> element(const QString &text, render::Actions actions = {})
{
    return std::unique_ptr<QWidget>(render::element(testsupport::json(text), actions, 0, nullptr));
}

using testsupport::labelTexts;

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
        // The item before each line break, and the very last, reach the right edge exactly.
        for (qsizetype i = 0; i < blocks.size(); ++i)
            if (i + 1 == blocks.size() || blocks.at(i + 1)->y() != blocks.at(i)->y())
                QCOMPARE(blocks.at(i)->geometry().right() + 1, std::max(width, blocks.at(i)->x()));
    }

    // Weights share the width of a filled row in their ratio; "grow" takes the spare height.
    void weightsAndGrow()
    {
        auto row = build(uR"({"type":"layout","flow":"row","gap":0,"weights":[1,3],
                              "items":[{"type":"block","w":10},{"type":"block","w":10}]})"_s);
        testsupport::layOut(row.get(), 1000);
        const QList<QWidget *> shares = direct<Block>(row.get());
        QCOMPARE((QList<int>{shares.value(0)->width(), shares.value(1)->width()}), (QList<int>{250, 750}));

        auto column = build(uR"({"type":"layout","gap":0,"items":[{"type":"block","h":30},
                                 {"type":"block","h":30,"grow":true},{"type":"block","h":30}]})"_s);
        testsupport::layOut(column.get(), 300, 400);
        const QList<QWidget *> blocks = direct<Block>(column.get());
        QCOMPARE(blocks.size(), 3);
        QCOMPARE((QList<int>{blocks.at(0)->height(), blocks.at(1)->height(), blocks.at(2)->height()}),
                 (QList<int>{30, 340, 30}));
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
        QTest::newRow("between") << u"start"_s << u"between"_s << 0 << 999 << 0;
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
        QCOMPARE(blocks.at(0)->geometry(), QRect(firstX, firstY, 100, 30));
        QCOMPARE(blocks.at(1)->geometry().right(), lastRight);
    }

    void emptyContainersGiveNothing_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("layout, items build nothing") << uR"({"type":"layout","items":[{"type":"none"},3,"x"]})"_s;
        QTest::newRow("split") << uR"({"type":"split","items":[{"type":"none"}]})"_s;
        QTest::newRow("dialog closed") << uR"({"type":"dialog","open":"no","title":"Confirm"})"_s;
        QTest::newRow("wizard") << uR"({"type":"wizard","stages":{}})"_s;
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
        const int asked = w->heightForWidth(width);
        QCOMPARE(asked, stacked ? 40 + 50 + 60 + 20 : 60);
        testsupport::layOut(w.get(), width, asked);
        const QList<QWidget *> blocks = direct<Block>(w.get());
        QCOMPARE(blocks.size(), 3);
        QVERIFY(!overlaps(blocks));
        QCOMPARE(lineCount(blocks), stacked ? 3 : 1);
        for (const QWidget *b : blocks)
            QVERIFY(b->geometry().right() < width && b->geometry().bottom() < asked &&
                    (!stacked || b->width() == width));
        // Side by side it may shrink to its widest item, so that it can reach the stacking width.
        QVERIFY(w->minimumSizeHint().width() <= 240);
    }

    // Tabs that are no objects are skipped; "active" past the end is the last tab. A tab shows
    // "&" itself (Qt would take a single one as a shortcut mark).
    void tabs()
    {
        auto w =
            build(uR"({"type":"tabs","active":7,"tabs":[{"label":"Drive & brake","items":[{"type":"block"}]}, "skip me",
                            {"label":"Lift","badge":{"text":"2","tone":"warn"}}, {"items":[]}]})"_s);
        auto *tabs = qobject_cast<QTabWidget *>(w.get());
        QCOMPARE(tabs->count(), 3);
        QCOMPARE((QStringList{tabs->tabText(0), tabs->tabText(1), tabs->tabText(2)}),
                 (QStringList{u"Drive && brake"_s, u"Lift  2"_s, u"-"_s}));
        QCOMPARE(tabs->currentIndex(), 2);
    }

    void dialogGrow_data()
    {
        QTest::addColumn<QJsonValue>("grow");
        QTest::addColumn<int>("growing");
        QTest::newRow("by index") << QJsonValue(1) << 1;
        QTest::newRow("index out of range") << QJsonValue(9) << -1;
        QTest::newRow("text is no index") << QJsonValue(u"1"_s) << 2;
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
    }

    void wizardStages()
    {
        auto w = build(uR"({"type":"wizard","stages":[
            {"label":"Mount","state":"done"},{"label":"Wire","state":"now","items":[{"type":"block"}]},
            {"label":"Teach","state":"blocked"},{"label":"Test"},{"label":"Hand over","state":"now"}]})"_s);
        const QStringList texts = testsupport::labelTexts(w.get());
        for (const QString &badge : {u"✓"_s, u"2"_s, u"!"_s, u"4"_s, u"5"_s})
            QVERIFY2(texts.contains(badge), qPrintable(badge));
        // Only the first "now" stage opens its items.
        QCOMPARE(w->findChildren<Block *>().size(), 1);
    }

    // The tip reaches the tool tip as typed, markup and all.
    void tooltipCarriesTip()
    {
        auto w = build(uR"({"type":"tooltip","tip":"Measured at the <b>rail</b> end","item":{"type":"block"}})"_s);
        QTextDocument shown;
        shown.setHtml(w->toolTip());
        QCOMPARE(shown.toPlainText(), u"Measured at the <b>rail</b> end"_s);
        QCOMPARE(w->findChild<Block *>()->toolTip(), w->toolTip());
    }

    void emptyBoxAndTitles()
    {
        QVERIFY(!element(uR"({"type":"column","items":[]})"_s));
        QVERIFY(!element(uR"({"type":"row","items":[{"type":"column"}]})"_s));
        auto group = element(uR"({"type":"group","title":"Brake","items":[{"type":"text","text":"ok"}]})"_s);
        QCOMPARE(labelTexts(group.get()), (QStringList{u"Brake"_s, u"ok"_s}));
        QVERIFY(labelTexts(element(uR"({"type":"divider"})"_s).get()).isEmpty());
        QCOMPARE(labelTexts(element(uR"({"type":"divider","label":"DETAIL"})"_s).get()), QStringList{u"DETAIL"_s});
    }

    void canvasViewBox()
    {
        QString pressed;
        render::Actions actions;
        actions.press = [&pressed](const render::Press &p) { pressed = p.path; };
        auto w = element(uR"({"type":"canvas","viewbox":[100,50,200,100],"width":400,"frame_height":80,
                          "items":[{"kind":"hit","x":100,"y":50,"w":20,"h":20,"click":{"path":"/corner"}}]})"_s,
                         actions);
        auto *canvas = qobject_cast<prims::Canvas *>(w.get());
        QVERIFY(canvas && canvas->maximumWidth() == 400);
        // Fits the width (400 would give 200 high) but never draws taller than the frame.
        QCOMPARE(canvas->heightForWidth(400), 80);
        canvas->resize(400, 80);
        canvas->grab();
        // View box origin (100, 50) is the top-left corner; scale 0.8.
        QTest::mouseClick(canvas, Qt::LeftButton, {}, QPoint(30, 30)); // outside the region
        QTest::mouseClick(canvas, Qt::LeftButton, {}, QPoint(8, 8));
        QCOMPARE(pressed, u"/corner"_s);
    }

    void shapeWithLabel()
    {
        auto w = element(uR"({"type":"shape","kind":"ellipse","tone":"ok","size":18,"label":"Brake released"})"_s);
        QVERIFY(w);
        auto *canvas = w->findChild<prims::Canvas *>();
        QVERIFY(canvas);
        QCOMPARE(canvas->size(), QSize(18, 18));
        QCOMPARE(labelTexts(w.get()), QStringList{u"Brake released"_s});
        QCOMPARE(canvas->grab().toImage().pixelColor(9, 9).name(), theme::toneColor(u"ok"_s).name());
    }

    // The readers on one key "k": `reader` names the reader and its default, bounds or cap; what it
    // gives is compared as text (arrays and objects as compact JSON).
    void readers_data()
    {
        QTest::addColumn<QString>("reader");
        QTest::addColumn<QJsonValue>("value");
        QTest::addColumn<QString>("expected");
        const QJsonValue missing(QJsonValue::Undefined);
        QTest::newRow("int truncated, not rounded") << u"int 0 0 10"_s << QJsonValue(2.9) << u"2"_s;
        QTest::newRow("int bounds reversed") << u"int 6 200 0"_s << QJsonValue(500) << u"200"_s;
        QTest::newRow("int from a string takes default") << u"int 6 0 200"_s << QJsonValue(u"12"_s) << u"6"_s;
        QTest::newRow("int default is clamped too") << u"int 900 0 200"_s << missing << u"200"_s;
        QTest::newRow("int beyond int range")
            << u"int 0 -2147483648 2147483647"_s << QJsonValue(3e9) << u"2000000000"_s;
        QTest::newRow("text string") << u"text"_s << QJsonValue(u"row"_s) << u"row"_s;
        QTest::newRow("text empty stays empty") << u"text"_s << QJsonValue(u""_s) << QString();
        QTest::newRow("text true is its word") << u"text"_s << QJsonValue(true) << u"true"_s;
        QTest::newRow("text number takes default") << u"text"_s << QJsonValue(3) << u"dflt"_s;
        QTest::newRow("text missing takes default") << u"text"_s << missing << u"dflt"_s;
        QTest::newRow("name true takes default") << u"name"_s << QJsonValue(true) << u"dflt"_s;
        QTest::newRow("flag YES") << u"flag 0"_s << QJsonValue(u"YES"_s) << u"1"_s;
        QTest::newRow("flag No") << u"flag 1"_s << QJsonValue(u"No"_s) << u"0"_s;
        QTest::newRow("flag other word keeps default") << u"flag 1"_s << QJsonValue(u"maybe"_s) << u"1"_s;
        QTest::newRow("flag padded word is no flag") << u"flag 0"_s << QJsonValue(u" yes"_s) << u"0"_s;
        QTest::newRow("flag array keeps default") << u"flag 0"_s << QJsonValue(QJsonArray{true}) << u"0"_s;
        QTest::newRow("array cut from the end")
            << u"array 3"_s << QJsonValue(QJsonArray{1, 2, 3, 4, 5}) << u"[1,2,3]"_s;
        QTest::newRow("object is no array") << u"array 4"_s << QJsonValue(QJsonObject{{"a"_L1, 1}}) << u"[]"_s;
        QTest::newRow("number") << u"number"_s << QJsonValue(2.5) << u"2.5"_s;
        QTest::newRow("text is no number") << u"number"_s << QJsonValue(u"2.5"_s) << u"9"_s;
        QTest::newRow("object") << u"object"_s << QJsonValue(QJsonObject{{"a"_L1, 1}}) << uR"({"a":1})"_s;
        QTest::newRow("array is no object") << u"object"_s << QJsonValue(QJsonArray{1}) << u"{}"_s;
    }
    void readers()
    {
        QFETCH(QString, reader);
        QFETCH(QJsonValue, value);
        QFETCH(QString, expected);
        const QJsonObject o = value.isUndefined() ? QJsonObject{} : QJsonObject{{"k"_L1, value}};
        const QStringList a = reader.split(u' ');
        const auto compact = [](const auto &json) {
            return QString::fromUtf8(QJsonDocument(json).toJson(QJsonDocument::Compact));
        };
        QString got;
        if (a[0] == u"int")
            got = QString::number(prims::readInt(o, "k"_L1, a[1].toInt(), a[2].toInt(), a[3].toInt()));
        else if (a[0] == u"text")
            got = prims::readText(o, "k"_L1, u"dflt"_s);
        else if (a[0] == u"name")
            got = prims::readName(o, "k"_L1, u"dflt"_s);
        else if (a[0] == u"flag")
            got = QString::number(prims::readFlag(o, "k"_L1, a[1] == u"1"));
        else if (a[0] == u"array")
            got = compact(prims::readArray(o, "k"_L1, a[1].toInt()));
        else if (a[0] == u"number")
            got = QString::number(prims::readNumber(o, "k"_L1, 9));
        else
            got = compact(prims::readObject(o, "k"_L1));
        QCOMPARE(got, expected);
    }

    // A value that is no number at all counts as very negative: it lands on the low bound.
    void clampNonFinite()
    {
        QCOMPARE(prims::clampToInt(std::nan(""), 4000, 40), 40);
        QCOMPARE(prims::clampToInt(std::numeric_limits<double>::infinity(), 4000, 40), 40);
        QCOMPARE(prims::clampToInt(-std::numeric_limits<double>::infinity(), 4000, 40), 40);
        QCOMPARE(prims::clampToInt(100.0, 4000, 40), 100);
    }

    // Exact, case-sensitive type names only.
    void registryLookup()
    {
        QVERIFY(!prims::find(u"Layout"_s) && !prims::find(u"layout "_s) && !prims::find(QString()));
        // One name per row, each found under its own name.
        const QStringList names = prims::primitiveNames();
        QCOMPARE(qsizetype(QSet<QString>(names.begin(), names.end()).size()), names.size());
        for (const QString &name : names)
            QVERIFY2(prims::find(name), qPrintable(name));
    }
};

QTEST_MAIN(TestContainers)
#include "tst_containers.moc"
