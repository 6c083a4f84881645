// The renderer's own plain containers and drawing types, built through render::element.
#include "app/theme.h"
#include "prims/canvas.h"
#include "render/element.h"
#include "support/testsupport.h"

#include <QBoxLayout>
#include <QLabel>
#include <QScrollArea>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

std::unique_ptr<QWidget> build(const char *text, render::Actions actions = {})
{
    return std::unique_ptr<QWidget>(render::element(testsupport::json(text), actions, 0, nullptr));
}

QStringList labelTexts(QWidget *w)
{
    QStringList texts;
    for (const QLabel *label : w->findChildren<QLabel *>())
        texts << label->text();
    return texts;
}

} // namespace

class TestPlainContainers final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }

    void boxes_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("direction");
        QTest::addColumn<QList<int>>("stretch");
        QTest::newRow("column")
            << uR"({"type":"column","items":[{"type":"text","text":"a"},{"type":"text","text":"b"}]})"_s
            << int(QBoxLayout::TopToBottom) << QList<int>{0, 0, 1};
        QTest::newRow("group with weights")
            << uR"({"type":"group","weights":[2,-1],"items":[{"type":"text","text":"a"},{"type":"text","text":"b"}]})"_s
            << int(QBoxLayout::TopToBottom) << QList<int>{2, 0};
        // Without weights the children are packed to the start by a trailing stretch.
        QTest::newRow("row") << uR"({"type":"row","items":[{"type":"text","text":"a"},{"type":"text","text":"b"}]})"_s
                             << int(QBoxLayout::LeftToRight) << QList<int>{0, 0, 1};
        QTest::newRow("row with weights")
            << uR"({"type":"row","weights":[1,3],"items":[{"type":"text","text":"a"},{"type":"text","text":"b"}]})"_s
            << int(QBoxLayout::LeftToRight) << QList<int>{1, 3};
        QTest::newRow("row on the column axis")
            << uR"({"type":"row","axis":"column","items":[{"type":"text","text":"a"},{"type":"text","text":"b"}]})"_s
            << int(QBoxLayout::TopToBottom) << QList<int>{0, 0, 1};
    }
    void boxes()
    {
        QFETCH(QString, text);
        QFETCH(int, direction);
        QFETCH(QList<int>, stretch);
        auto w = build(text.toUtf8().constData());
        QVERIFY(w);
        auto *box = qobject_cast<QBoxLayout *>(w->layout());
        QVERIFY(box);
        QCOMPARE(int(box->direction()), direction);
        QCOMPARE(box->count(), stretch.size());
        for (int i = 0; i < stretch.size(); ++i)
            QCOMPARE(box->stretch(i), stretch.at(i));
        QVERIFY(labelTexts(w.get()).contains(u"a"_s));
    }

    void emptyBoxGivesNothing()
    {
        QVERIFY(!build(R"({"type":"column","items":[]})"));
        QVERIFY(!build(R"({"type":"row","items":[{"type":"column"}]})"));
    }

    void groupTitle()
    {
        auto w = build(R"({"type":"group","title":"Brake","items":[{"type":"text","text":"ok"}]})");
        QCOMPARE(labelTexts(w.get()).first(), u"Brake"_s);
    }

    // "max_height" scrolls beyond the limit but keeps short content at its own height.
    void maxHeight_data()
    {
        QTest::addColumn<int>("lines");
        QTest::addColumn<bool>("capped");
        QTest::newRow("short") << 1 << false;
        QTest::newRow("long") << 30 << true;
    }
    void maxHeight()
    {
        QFETCH(int, lines);
        QFETCH(bool, capped);
        QJsonArray items;
        for (int i = 0; i < lines; ++i)
            items.append(QJsonObject{{"type"_L1, u"text"_s}, {"text"_L1, u"line %1"_s.arg(i)}});
        const QJsonObject el{{"type"_L1, u"column"_s}, {"max_height"_L1, 120}, {"items"_L1, items}};
        std::unique_ptr<QWidget> w(render::element(el, {}, 0, nullptr));
        auto *area = qobject_cast<QScrollArea *>(w.get());
        QVERIFY(area);
        QCOMPARE(area->maximumHeight(), 120);
        QCOMPARE(area->sizeHint().height() == 120, capped);
        QVERIFY(area->sizeHint().height() <= 120);
    }

    void spacer_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("height");
        QTest::newRow("default") << uR"({"type":"spacer"})"_s << 12;
        QTest::newRow("size") << uR"({"type":"spacer","size":30})"_s << 30;
        QTest::newRow("clamped") << uR"({"type":"spacer","size":9000})"_s << 400;
    }
    void spacer()
    {
        QFETCH(QString, text);
        QFETCH(int, height);
        auto w = build(text.toUtf8().constData());
        QCOMPARE(w->maximumHeight(), height);
        QCOMPARE(w->minimumHeight(), height);
    }

    void dividerLabel()
    {
        auto plain = build(R"({"type":"divider"})");
        QVERIFY(plain);
        QVERIFY(labelTexts(plain.get()).isEmpty());
        auto titled = build(R"({"type":"divider","label":"DETAIL"})");
        QCOMPARE(labelTexts(titled.get()), QStringList{u"DETAIL"_s});
    }

    void canvasViewBox()
    {
        QString pressed;
        render::Actions actions;
        actions.press = [&pressed](const render::Press &p) { pressed = p.path; };
        auto w = build(R"({"type":"canvas","viewbox":[100,50,200,100],"width":400,"frame_height":80,
                          "items":[{"kind":"hit","x":100,"y":50,"w":20,"h":20,"click":{"path":"/corner"}}]})",
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
        auto w = build(R"({"type":"shape","kind":"ellipse","tone":"ok","size":18,"label":"Brake released"})");
        QVERIFY(w);
        auto *canvas = w->findChild<prims::Canvas *>();
        QVERIFY(canvas);
        QCOMPARE(canvas->size(), QSize(18, 18));
        QCOMPARE(labelTexts(w.get()), QStringList{u"Brake released"_s});
        const QImage img = canvas->grab().toImage();
        QCOMPARE(img.pixelColor(9, 9).name(), theme::toneColor(u"ok"_s).name());
    }
};

QTEST_MAIN(TestPlainContainers)
#include "tst_plaincontainers.moc"
