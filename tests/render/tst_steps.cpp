// The wizard step strip: which step is shown, how each cell looks, what a click on one does.

#include "app/base/theme.h"
#include "render/screen.h"
#include "render/steps.h"
#include "support/widgets.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QPushButton>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

QJsonArray parseArray(const QString &text)
{
    return QJsonDocument::fromJson(text.toUtf8()).array();
}

// A strip of four: done, current, locked, with an issue, each with one text in its body.
const QJsonArray kFour = parseArray(uR"([
    {"id":"wire","label":"Wiring","completed":true,"elements":[{"type":"text","text":"body of wire"}]},
    {"id":"drive","label":"Drive check","current":true,"elements":[{"type":"text","text":"body of drive"}]},
    {"id":"lift","label":"Lift check","locked":true,"elements":[{"type":"text","text":"body of lift"}]},
    {"id":"io","label":"IO test","issue":true,"completed":true,"elements":[{"type":"text","text":"body of io"}]}
])"_s);

using testsupport::labelTexts;

// The four-step strip laid out at a window's width, with presses and warnings recorded.
struct Strip
{
    QList<render::Press> presses;
    QStringList warnings;
    std::unique_ptr<QWidget> block;

    explicit Strip(const QString &viewed = {})
    {
        render::Actions actions;
        actions.viewedStep = viewed;
        actions.warnBox = [this](const QString &title, const QString &text) { warnings << title + u'|' + text; };
        actions.press = [this](const render::Press &p) { presses << p; };
        block.reset(render::steps(kFour, actions, nullptr));
        testsupport::layOut(block.get(), 900);
    }
    render::StepCell *cell(int index) const { return block->findChildren<render::StepCell *>().at(index); }
};

} // namespace

class TestSteps : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }

    void shownStep_data()
    {
        QTest::addColumn<QJsonArray>("steps");
        QTest::addColumn<QString>("viewed");
        QTest::addColumn<int>("shown");
        QTest::newRow("current when nothing viewed") << kFour << QString() << 1;
        QTest::newRow("viewed locked step") << kFour << u"lift"_s << 2;
        QTest::newRow("viewed id gone falls back to current") << kFour << u"gone"_s << 1;
        QTest::newRow("no current, stale view: last") << parseArray(uR"([{"id":"a"},{"id":"b"}])"_s) << u"zzz"_s << 1;
        QTest::newRow("first current wins")
            << parseArray(uR"([{"id":"a","current":true},{"id":"b","current":true}])"_s) << QString() << 0;
        QTest::newRow("no steps") << QJsonArray() << u"a"_s << -1;
    }
    void shownStep()
    {
        QFETCH(QJsonArray, steps);
        QFETCH(QString, viewed);
        QFETCH(int, shown);
        QCOMPARE(render::shownStep(steps, viewed), shown);
    }

    // Each cell's tag, tones and cursor, and what a left click on it does: a locked step warns
    // "Not yet", any other asks the window to show it.
    void cells_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<QString>("tag");
        QTest::addColumn<QString>("tagTone");
        QTest::addColumn<bool>("finished"); // muted label, pointing hand
        QTest::addColumn<QString>("warning");
        QTest::newRow("done") << 0 << u"DONE"_s << u"ok"_s << true << QString();
        QTest::newRow("current") << 1 << u"STEP 2"_s << u"idle"_s << false << QString();
        QTest::newRow("locked") << 2 << u"STEP 3"_s << u"idle"_s << false
                                << u"Not yet|Lift check has not been done. Steps run in order - finish the current one "
                                   "first."_s;
        QTest::newRow("issue beats done") << 3 << u"PROBLEM"_s << u"error"_s << true << QString();
    }
    void cells()
    {
        QFETCH(int, index);
        QFETCH(QString, tag);
        QFETCH(QString, tagTone);
        QFETCH(bool, finished);
        QFETCH(QString, warning);
        Strip strip;
        QCOMPARE(strip.block->findChildren<render::StepCell *>().size(), 4);
        render::StepCell *cell = strip.cell(index);
        auto *tagLabel = cell->findChild<QLabel *>(u"stepTag"_s);
        auto *name = cell->findChild<QLabel *>(u"stepLabel"_s);
        QVERIFY(tagLabel && name);
        QCOMPARE(tagLabel->text(), tag);
        QCOMPARE(tagLabel->palette().color(QPalette::WindowText), theme::toneColor(tagTone));
        QCOMPARE(name->palette().color(QPalette::WindowText), finished ? theme::palette().muted : theme::palette().ink);
        QCOMPARE(cell->cursor().shape() == Qt::PointingHandCursor, finished);
        QCOMPARE(cell->isLocked(), index == 2);

        // A release outside the cell, or the right button, does nothing.
        QTest::mousePress(cell, Qt::LeftButton, {}, QPoint(5, 5));
        QTest::mouseRelease(cell, Qt::LeftButton, {}, QPoint(-20, 5));
        QTest::mouseClick(cell, Qt::RightButton);
        QVERIFY(strip.warnings.isEmpty() && strip.presses.isEmpty());

        QTest::mouseClick(cell, Qt::LeftButton);
        QCOMPARE(strip.warnings, warning.isEmpty() ? QStringList() : QStringList{warning});
        QCOMPARE(strip.presses.size(), warning.isEmpty() ? 1 : 0);
        if (warning.isEmpty()) {
            QVERIFY(render::isViewStepPress(strip.presses.at(0)));
            QCOMPARE(strip.presses.at(0).body.value("step"_L1).toString(), cell->stepId());
        }
    }

    void shownStepBodyAndBanner_data()
    {
        QTest::addColumn<QString>("viewed");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("body");
        QTest::newRow("current step") << QString() << u"Drive check"_s << u"body of drive"_s;
        QTest::newRow("finished step") << u"wire"_s << u"Wiring  -  done"_s << u"body of wire"_s;
    }
    void shownStepBodyAndBanner()
    {
        QFETCH(QString, viewed);
        QFETCH(QString, title);
        QFETCH(QString, body);
        Strip strip(viewed);
        auto *titleLabel = strip.block->findChild<QLabel *>(u"shownStepTitle"_s);
        QVERIFY(titleLabel);
        QCOMPARE(titleLabel->text(), title);
        const QStringList texts = labelTexts(strip.block.get());
        QCOMPARE(texts.filter(u"body of "_s), QStringList{body}); // only the shown step's body

        auto *back = strip.block->findChild<QPushButton *>(u"backToCurrentStep"_s);
        QCOMPARE(back != nullptr, !viewed.isEmpty());
        if (!back)
            return;
        QCOMPARE(back->text(), u"Back to the current step"_s);
        QCOMPARE(back->property("kind").toString(), u"primary"_s);
        QVERIFY(texts.contains(u"Current step: Drive check"_s));
        QTest::mouseClick(back, Qt::LeftButton);
        QCOMPARE(strip.presses.size(), 1);
        QVERIFY(render::isViewStepPress(strip.presses.at(0)));
        QCOMPARE(strip.presses.at(0).body.value("step"_L1).toString(), QString());
    }

    void screenPutsStepsAboveSections()
    {
        QJsonObject description = testsupport::json(R"({"sections":[{"label":"After the steps"}]})");
        description.insert("steps"_L1, kFour);
        std::unique_ptr<QWidget> page(render::screen(description, {}, nullptr));
        testsupport::layOut(page.get(), 900);
        auto *strip = page->findChild<QWidget *>(u"stepStrip"_s);
        QLabel *sectionTitle = page->findChild<QLabel *>(u"sectionTitle"_s);
        QVERIFY(strip && sectionTitle);
        QCOMPARE(sectionTitle->text(), u"After the steps"_s);
        QVERIFY(strip->mapTo(page.get(), QPoint()).y() < sectionTitle->mapTo(page.get(), QPoint()).y());
    }
};

QTEST_MAIN(TestSteps)
#include "tst_steps.moc"
