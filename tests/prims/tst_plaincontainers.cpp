// The renderer's own plain containers and drawing types, built through render::element.
#include "app/base/theme.h"
#include "prims/canvas.h"
#include "render/element.h"
#include "support/widgets.h"

#include <QBoxLayout>
#include <QLabel>
#include <QScrollArea>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

std::unique_ptr<QWidget> build(const QString &text, render::Actions actions = {})
{
    return std::unique_ptr<QWidget>(render::element(testsupport::json(text), actions, 0, nullptr));
}

using testsupport::labelTexts;

} // namespace

class TestPlainContainers final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }

    // Without weights the children are packed to the start by a trailing stretch.
    void boxes_data()
    {
        QTest::addColumn<QString>("keys");
        QTest::addColumn<int>("direction");
        QTest::addColumn<QList<int>>("stretch");
        const int down = QBoxLayout::TopToBottom;
        QTest::newRow("column") << uR"("type":"column")"_s << down << QList<int>{0, 0, 1};
        QTest::newRow("group with weights") << uR"("type":"group","weights":[2,-1])"_s << down << QList<int>{2, 0};
        QTest::newRow("row") << uR"("type":"row")"_s << int(QBoxLayout::LeftToRight) << QList<int>{0, 0, 1};
        QTest::newRow("row with weights")
            << uR"("type":"row","weights":[1,3])"_s << int(QBoxLayout::LeftToRight) << QList<int>{1, 3};
        QTest::newRow("row on the column axis") << uR"("type":"row","axis":"column")"_s << down << QList<int>{0, 0, 1};
    }
    void boxes()
    {
        QFETCH(QString, keys);
        QFETCH(int, direction);
        QFETCH(QList<int>, stretch);
        auto w = build(
            u"{%1,\"items\":[{\"type\":\"text\",\"text\":\"a\"},{\"type\":\"text\",\"text\":\"b\"}]}"_s.arg(keys));
        QVERIFY(w);
        auto *box = qobject_cast<QBoxLayout *>(w->layout());
        QVERIFY(box);
        QCOMPARE(int(box->direction()), direction);
        QCOMPARE(box->count(), stretch.size());
        for (int i = 0; i < stretch.size(); ++i)
            QCOMPARE(box->stretch(i), stretch.at(i));
        QCOMPARE(labelTexts(w.get()), (QStringList{u"a"_s, u"b"_s}));
    }

    void emptyBoxAndTitles()
    {
        QVERIFY(!build(uR"({"type":"column","items":[]})"_s));
        QVERIFY(!build(uR"({"type":"row","items":[{"type":"column"}]})"_s));
        auto group = build(uR"({"type":"group","title":"Brake","items":[{"type":"text","text":"ok"}]})"_s);
        QCOMPARE(labelTexts(group.get()), (QStringList{u"Brake"_s, u"ok"_s}));
        auto plain = build(uR"({"type":"divider"})"_s);
        QVERIFY(plain);
        QVERIFY(labelTexts(plain.get()).isEmpty());
        QCOMPARE(labelTexts(build(uR"({"type":"divider","label":"DETAIL"})"_s).get()), QStringList{u"DETAIL"_s});
    }

    // "max_height" scrolls beyond the limit but keeps short content at its own height.
    void maxHeight()
    {
        for (int lines : {1, 30}) {
            QJsonArray items;
            for (int i = 0; i < lines; ++i)
                items.append(QJsonObject{{"type"_L1, u"text"_s}, {"text"_L1, u"line %1"_s.arg(i)}});
            const QJsonObject el{{"type"_L1, u"column"_s}, {"max_height"_L1, 120}, {"items"_L1, items}};
            std::unique_ptr<QWidget> w(render::element(el, {}, 0, nullptr));
            auto *area = qobject_cast<QScrollArea *>(w.get());
            QVERIFY(area);
            QCOMPARE(area->maximumHeight(), 120);
            QCOMPARE(area->sizeHint().height() == 120, lines > 1);
            QVERIFY(area->sizeHint().height() <= 120);
        }
    }

    void spacer()
    {
        const QList<std::pair<QString, int>> cases{{uR"({"type":"spacer"})"_s, 12},
                                                   {uR"({"type":"spacer","size":30})"_s, 30},
                                                   {uR"({"type":"spacer","size":9000})"_s, 400}};
        for (const auto &[text, height] : cases) {
            auto w = build(text);
            QCOMPARE(w->minimumHeight(), height);
            QCOMPARE(w->maximumHeight(), height);
        }
    }

    void canvasViewBox()
    {
        QString pressed;
        render::Actions actions;
        actions.press = [&pressed](const render::Press &p) { pressed = p.path; };
        auto w = build(uR"({"type":"canvas","viewbox":[100,50,200,100],"width":400,"frame_height":80,
                          "items":[{"kind":"hit","x":100,"y":50,"w":20,"h":20,"click":{"path":"/corner"}}]})"_s,
                       actions);
        auto *canvas = qobject_cast<prims::Canvas *>(w.get());
        QVERIFY(canvas);
        QCOMPARE(canvas->designWidth(), 200.0);
        QCOMPARE(canvas->maximumWidth(), 400);
        // Fits the width (400 would give 200 high) but never draws taller than the frame.
        QCOMPARE(canvas->heightForWidth(400), 80);
        canvas->resize(400, 80);
        canvas->grab();
        // View box origin (100, 50) is the top-left corner; scale 0.8.
        QTest::mouseClick(canvas, Qt::LeftButton, {}, QPoint(30, 30));
        QVERIFY(pressed.isEmpty());
        QTest::mouseClick(canvas, Qt::LeftButton, {}, QPoint(8, 8));
        QCOMPARE(pressed, u"/corner"_s);
    }

    void shapeWithLabel()
    {
        auto w = build(uR"({"type":"shape","kind":"ellipse","tone":"ok","size":18,"label":"Brake released"})"_s);
        QVERIFY(w);
        auto *canvas = w->findChild<prims::Canvas *>();
        QVERIFY(canvas);
        QCOMPARE(canvas->size(), QSize(18, 18));
        QCOMPARE(labelTexts(w.get()), QStringList{u"Brake released"_s});
        QCOMPARE(canvas->grab().toImage().pixelColor(9, 9).name(), theme::toneColor(u"ok"_s).name());
    }
};

QTEST_MAIN(TestPlainContainers)
#include "tst_plaincontainers.moc"
