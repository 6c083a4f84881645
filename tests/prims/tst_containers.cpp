// The JSON readers every builder relies on and the registry's lookup; what the framed containers
// build from odd input; and the renderer's own plain containers and drawing types built through
// render::element. (Layouts in their parents and the nesting limit are tested with the renderer's
// dispatch.)
#include "prims/canvas.h"
#include "prims/containers.h"
#include "prims/json.h"
#include "prims/registry.h"
#include "render/element.h"
#include "support/testsupport.h"
#include "support/widgets.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QPushButton>
#include <QSet>
#include <QTabWidget>
#include <QTest>
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
