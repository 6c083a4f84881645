// Layouts where screens put them: wrapping rows and reflowing rows in a section, a group, a
// dialog, a tab page and beside a growing item, at widths a narrow window gives them.

#include "app/base/theme.h"
#include "prims/painted.h"
#include "prims/textlabel.h"
#include "render/screen.h"
#include "support/widgets.h"

#include <QLabel>
#include <QLayout>
#include <QPushButton>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

using testsupport::json;

// A screen of one section whose elements are `elements`, laid out `width` wide.
std::unique_ptr<QWidget> screen(const QString &elements, int width)
{
    std::unique_ptr<QWidget> root(
        render::screen(json(uR"({"sections":[{"label":"Section","elements":[%1]}]})"_s.arg(elements)), {}));
    testsupport::layOut(root.get(), width);
    return root;
}

QRect inRoot(const QWidget *w, const QWidget *root)
{
    return QRect(w->mapTo(root, QPoint()), w->size());
}

// The parents a screen puts things in, each holding `%1` (and `%2` after it, where there is one).
const QList<std::pair<const char *, QString>> &parents()
{
    static const QList<std::pair<const char *, QString>> list = {
        {"section", u"%1,%2"_s},
        {"group", uR"({"type":"group","title":"Group","items":[%1,%2]})"_s},
        {"dialog", uR"({"type":"dialog","title":"Dialog","items":[%1,%2]})"_s},
        {"tab page", uR"({"type":"tabs","tabs":[{"label":"Page","items":[%1,%2]}]})"_s},
        {"filled row", uR"({"type":"layout","flow":"row","items":[%1,%2]})"_s},
    };
    return list;
}

} // namespace

class TestLayout final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }

    // Every line of the row is shown inside the row, nothing overlaps, and what follows the row
    // comes after its last line.
    void rowsShowAllTheirLines_data()
    {
        QTest::addColumn<QString>("parent");
        QTest::addColumn<QString>("row");
        const QString buttons =
            uR"({"type":"layout","flow":"row","items":[{"type":"action","label":"Start drive check"},
                {"type":"action","label":"Home carriage"},{"type":"action","label":"Jog left"},
                {"type":"action","label":"Jog right"},{"type":"action","label":"Park and lock"}]})"_s;
        const QString reflow = uR"({"type":"layout","flow":"row","min_item_width":200,"items":[
                {"type":"text","text":"Left rail end measured"},{"type":"text","text":"Right rail end measured"},
                {"type":"text","text":"Encoder counts checked"}]})"_s;
        const QString after = uR"({"type":"text","text":"after"})"_s;
        QList<std::pair<const char *, QString>> holders = parents().mid(0, 4);
        holders.append({"beside a growing item",
                        uR"({"type":"layout","items":[%1,{"type":"text","text":"after","grow":true}]})"_s});
        for (const auto &[name, parent] : holders) {
            const QString filled = parent.contains("%2"_L1) ? parent.arg(u"ROW"_s, after) : parent.arg(u"ROW"_s);
            QTest::addRow("buttons in %s", name) << filled << buttons;
            QTest::addRow("reflow in %s", name) << filled << reflow;
        }
    }
    void rowsShowAllTheirLines()
    {
        QFETCH(QString, parent);
        QFETCH(QString, row);
        std::unique_ptr<QWidget> root = screen(QString(parent).replace("ROW"_L1, row), 330);
        QList<QWidget *> items;
        for (QPushButton *b : root->findChildren<QPushButton *>())
            items << b;
        for (QLabel *l : root->findChildren<QLabel *>()) {
            if (l->text().endsWith("measured"_L1) || l->text().endsWith("checked"_L1))
                items << l;
        }
        QCOMPARE(items.size(), row.contains("action"_L1) ? 5 : 3);
        const QWidget *holder = items.first()->parentWidget();
        const QLabel *afterLabel = nullptr;
        for (QLabel *l : root->findChildren<QLabel *>())
            afterLabel = l->text() == "after"_L1 ? l : afterLabel;
        QVERIFY(afterLabel);
        for (qsizetype i = 0; i < items.size(); ++i) {
            const QWidget *item = items.at(i);
            QVERIFY(item->isVisible() && !item->size().isEmpty());
            QVERIFY2(holder->rect().contains(item->geometry()), "an item lies outside its row");
            QVERIFY2(inRoot(item, root.get()).bottom() < inRoot(afterLabel, root.get()).top(),
                     "an item runs into what follows the row");
            for (qsizetype j = i + 1; j < items.size(); ++j)
                QVERIFY(!item->geometry().intersects(items.at(j)->geometry()));
        }
    }

    // A fact is one widget: its name wraps whole in its own column, its value beside it, and the
    // fact is as tall as the taller of the two, clear of what follows, in every parent.
    void factsShowNameAndValueWhole_data()
    {
        QTest::addColumn<QString>("elements");
        const QString fact = uR"({"type":"fact","label":"Encoder counts at the far rail end after homing",
            "value":"12 884 counts measured against rail marks 1 to 4 at creep speed"})"_s;
        for (const auto &[name, parent] : parents())
            QTest::addRow("%s", name) << parent.arg(fact, uR"({"type":"text","text":"after"})"_s);
    }
    void factsShowNameAndValueWhole()
    {
        QFETCH(QString, elements);
        std::unique_ptr<QWidget> root = screen(elements, 620);
        const auto *fact = root->findChild<prims::TextLabel *>(u"fact"_s);
        QVERIFY(fact);
        QCOMPARE(fact->caption(), u"Encoder counts at the far rail end after homing"_s);
        const int nameHeight = prims::textSize(theme::uiFont(10), fact->caption(), 150).height();
        QVERIFY2(nameHeight > 2 * QFontMetrics(theme::uiFont(10)).lineSpacing(), "the name should wrap here");
        QVERIFY(fact->height() >= nameHeight);
        QVERIFY(fact->height() >= fact->heightForWidth(fact->width()));
        const QLabel *after = nullptr;
        for (const QLabel *l : root->findChildren<QLabel *>())
            after = l->text() == "after"_L1 ? l : after;
        QVERIFY(after);
        QVERIFY(!inRoot(fact, root.get()).intersects(inRoot(after, root.get())));
    }

    // A dial or ring as wide as its size asks, whole inside everything that holds it, its
    // caption centred under it.
    void instrumentsKeepTheirWidth_data()
    {
        QTest::addColumn<QString>("elements");
        QTest::addColumn<int>("size");
        const QString beside = uR"({"type":"text","text":"beside"})"_s;
        for (const auto &[name, parent] : parents()) {
            QTest::addRow("dial in %s", name)
                << parent.arg(uR"({"type":"dial","size":300,"label":"Carriage speed"})"_s, beside) << 300;
            QTest::addRow("ring in %s", name)
                << parent.arg(uR"({"type":"ring","size":280,"caption":"Battery"})"_s, beside) << 280;
        }
    }
    void instrumentsKeepTheirWidth()
    {
        QFETCH(QString, elements);
        QFETCH(int, size);
        std::unique_ptr<QWidget> root = screen(elements, 620);
        const auto *painted = root->findChild<prims::Painted *>();
        QVERIFY(painted);
        QVERIFY2(painted->width() >= size, qPrintable(QString::number(painted->width())));
        for (const QWidget *holder = painted->parentWidget(); holder; holder = holder->parentWidget())
            QVERIFY2(holder->rect().contains(QRect(painted->mapTo(holder, QPoint()), painted->size())),
                     qPrintable(u"cut by %1"_s.arg(QLatin1String(holder->metaObject()->className()))));
        const QLabel *caption = nullptr;
        for (const QLabel *label : painted->parentWidget()->findChildren<QLabel *>())
            caption = label->text() == "Carriage speed"_L1 || label->text() == "Battery"_L1 ? label : caption;
        QVERIFY(caption);
        QCOMPARE(caption->alignment() & Qt::AlignHorizontal_Mask, Qt::AlignHCenter);
        QVERIFY(caption->geometry().top() >= painted->geometry().bottom());
    }

    // At a narrow width a figure's unit and change, a badge pill and the step cells keep their
    // words whole, show them on one line when the screen has room for that line, and are no
    // taller than their text.
    void narrowTextsKeepTheirWords_data()
    {
        QTest::addColumn<QString>("description");
        QTest::addColumn<QStringList>("texts");
        QTest::newRow("kpi") << uR"({"sections":[{"label":"Figures","elements":[{"type":"kpi","value":1204,
            "unit":"cycles per shift","delta":"+38 since yesterday","label":"Lift cycles today"}]}]})"_s
                             << QStringList{u"cycles per shift"_s, u"+38 since yesterday"_s};
        QTest::newRow("badges beside taller items")
            << uR"({"sections":[{"label":"Status","elements":[{"type":"layout","flow":"row","items":[
                {"type":"layout","items":[{"type":"badge","text":"COMMISSIONING"},{"type":"badge","text":"FIRMWARE"}]},
                {"type":"layout","items":[{"type":"led","label":"Lift ready"},{"type":"led","label":"Curtain"},
                 {"type":"led","label":"Emergency stop"},{"type":"led","label":"Spare input"}]}]}]}]})"_s
            << QStringList{u"COMMISSIONING"_s, u"FIRMWARE"_s};
        QTest::newRow("step strip") << uR"({"steps":[{"id":"a","label":"Power and safety","completed":true},
            {"id":"b","label":"IO wiring","issue":true},{"id":"c","label":"Drive check","current":true},
            {"id":"d","label":"Lift check"},{"id":"e","label":"Handover"},{"id":"f","label":"Sign-off"}]})"_s
                                    << QStringList{u"Power and safety"_s, u"PROBLEM"_s, u"STEP 3"_s,
                                                   u"Drive check"_s,      u"STEP 6"_s,  u"Sign-off"_s};
        QTest::newRow("strip") << uR"({"sections":[{"label":"Steps","elements":[{"type":"strip","items":[
            {"label":"Identity and site","state":"done"},{"label":"Drive calibration","state":"now"},
            {"label":"IO check"},{"label":"Load test"},{"label":"Safety and handover"}]}]}]})"_s
                               << QStringList{u"Identity and site"_s, u"Drive calibration"_s, u"Safety and handover"_s};
    }
    void narrowTextsKeepTheirWords()
    {
        QFETCH(QString, description);
        QFETCH(QStringList, texts);
        std::unique_ptr<QWidget> root(render::screen(json(description), {}));
        testsupport::layOut(root.get(), 320);
        for (const QString &text : texts) {
            prims::TextLabel *label = nullptr;
            for (prims::TextLabel *l : root->findChildren<prims::TextLabel *>())
                label = l->text() == text ? l : label;
            QVERIFY2(label, qPrintable(text));
            const int room = label->width() - label->contentsMargins().left() - label->contentsMargins().right();
            for (const QString &word : text.split(u' '))
                QVERIFY2(QFontMetrics(label->font()).horizontalAdvance(word) <= room, qPrintable(word + u" broken"_s));
            QVERIFY2(label->width() >= label->sizeHint().width(), qPrintable(text + u" wraps though it fits"_s));
            QVERIFY2(label->height() <= label->sizeHint().height(), qPrintable(text + u" stretched tall"_s));
        }
    }
};

QTEST_MAIN(TestLayout)
#include "tst_layout.moc"
