// The wizard step strip and the section builder.

#include "app/theme.h"
#include "render/screen.h"
#include "render/section.h"
#include "render/steps.h"
#include "support/testsupport.h"

#include <QFrame>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QLayout>
#include <QPushButton>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

QJsonArray parseArray(const QString &text)
{
    return QJsonDocument::fromJson(text.toUtf8()).array();
}

QJsonObject parse(const QString &text)
{
    return QJsonDocument::fromJson(text.toUtf8()).object();
}

// A strip of four: done, current, locked, with an issue, each with one text in its body.
const char *const kFour = R"([
    {"id":"wire","label":"Wiring","completed":true,"elements":[{"type":"text","text":"body of wire"}]},
    {"id":"drive","label":"Drive check","current":true,"elements":[{"type":"text","text":"body of drive"}]},
    {"id":"lift","label":"Lift check","locked":true,"elements":[{"type":"text","text":"body of lift"}]},
    {"id":"io","label":"IO test","issue":true,"completed":true,"elements":[{"type":"text","text":"body of io"}]}
])";

QStringList labelTexts(const QWidget *w)
{
    QStringList texts;
    for (const QLabel *l : w->findChildren<QLabel *>())
        texts << l->text();
    return texts;
}

// Sections nested `levels` deep under one top section, each titled by its depth.
QJsonObject nestedSections(int levels)
{
    QJsonObject inner{{"label"_L1, u"level %1"_s.arg(levels)}};
    for (int d = levels - 1; d >= 0; --d)
        inner = QJsonObject{{"label"_L1, u"level %1"_s.arg(d)}, {"sections"_L1, QJsonArray{inner}}};
    return inner;
}

// Groups nested `levels` deep holding a text at the bottom.
QJsonObject nestedGroups(int levels)
{
    QJsonObject inner{{"type"_L1, "text"_L1}, {"text"_L1, "deep text"_L1}};
    for (int d = 0; d < levels; ++d)
        inner = QJsonObject{{"type"_L1, "group"_L1}, {"items"_L1, QJsonArray{inner}}};
    return inner;
}

} // namespace

class TestSteps : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }

    void shownStep_data()
    {
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QString>("viewed");
        QTest::addColumn<int>("shown");

        const QString four = QString::fromLatin1(kFour);
        QTest::newRow("current when nothing viewed") << four << "" << 1;
        QTest::newRow("viewed finished step") << four << "wire" << 0;
        QTest::newRow("viewed locked step") << four << "lift" << 2;
        QTest::newRow("viewed id gone falls back to current") << four << "gone" << 1;
        QTest::newRow("no current, nothing viewed: last") << R"([{"id":"a"},{"id":"b"},{"id":"c"}])"
                                                          << "" << 2;
        QTest::newRow("no current, stale view: last") << R"([{"id":"a"},{"id":"b"}])"
                                                      << "zzz" << 1;
        QTest::newRow("first current wins") << R"([{"id":"a","current":true},{"id":"b","current":true}])"
                                            << "" << 0;
        QTest::newRow("no steps") << "[]"
                                  << "a" << -1;
    }

    void shownStep()
    {
        QFETCH(QString, steps);
        QFETCH(QString, viewed);
        QFETCH(int, shown);
        QCOMPARE(render::shownStep(parseArray(steps), viewed), shown);
    }

    void cellsLabelsAndTones_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<QString>("tag");
        QTest::addColumn<QString>("tagTone");
        QTest::addColumn<bool>("mutedLabel");
        QTest::addColumn<bool>("pointingHand");

        QTest::newRow("done") << 0 << "DONE"
                              << "ok" << true << true;
        QTest::newRow("current") << 1 << "STEP 2"
                                 << "idle" << false << false;
        QTest::newRow("locked") << 2 << "STEP 3"
                                << "idle" << false << false;
        QTest::newRow("issue beats done") << 3 << "PROBLEM"
                                          << "error" << true << true;
    }

    void cellsLabelsAndTones()
    {
        QFETCH(int, index);
        QFETCH(QString, tag);
        QFETCH(QString, tagTone);
        QFETCH(bool, mutedLabel);
        QFETCH(bool, pointingHand);

        std::unique_ptr<QWidget> block(render::steps(parseArray(QString::fromLatin1(kFour)), {}, nullptr));
        QVERIFY(block);
        const QList<render::StepCell *> cells = block->findChildren<render::StepCell *>();
        QCOMPARE(cells.size(), 4);
        render::StepCell *cell = cells.at(index);
        auto *tagLabel = cell->findChild<QLabel *>(u"stepTag"_s);
        auto *name = cell->findChild<QLabel *>(u"stepLabel"_s);
        QVERIFY(tagLabel && name);
        QCOMPARE(tagLabel->text(), tag);
        QVERIFY(tagLabel->styleSheet().contains(theme::toneColor(tagTone).name()));
        const QColor nameColour = mutedLabel ? theme::palette().muted : theme::palette().ink;
        QVERIFY(name->styleSheet().contains(nameColour.name()));
        QCOMPARE(cell->cursor().shape() == Qt::PointingHandCursor, pointingHand);
        QCOMPARE(cell->isLocked(), index == 2);
    }

    void releaseOnACell_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<QString>("warning");
        QTest::addColumn<QString>("viewRequest");

        QTest::newRow("locked step warns") << 2
                                           << "Not yet|Lift check has not been done. Steps run in order - finish "
                                              "the current one first."
                                           << "";
        QTest::newRow("finished step is shown") << 0 << ""
                                                << "wire";
        QTest::newRow("step with an issue is shown") << 3 << ""
                                                     << "io";
    }

    void releaseOnACell()
    {
        QFETCH(int, index);
        QFETCH(QString, warning);
        QFETCH(QString, viewRequest);

        QStringList warnings;
        QList<render::Press> presses;
        render::Actions actions;
        actions.warnBox = [&](const QString &title, const QString &text) { warnings << title + u'|' + text; };
        actions.press = [&](const render::Press &p) { presses << p; };
        std::unique_ptr<QWidget> block(render::steps(parseArray(QString::fromLatin1(kFour)), actions, nullptr));
        testsupport::layOut(block.get(), 900);
        render::StepCell *cell = block->findChildren<render::StepCell *>().at(index);

        QTest::mouseClick(cell, Qt::LeftButton);
        QCOMPARE(warnings, warning.isEmpty() ? QStringList() : QStringList{warning});
        if (viewRequest.isEmpty()) {
            QVERIFY(presses.isEmpty());
        } else {
            QCOMPARE(presses.size(), 1);
            QVERIFY(render::isViewStepPress(presses.at(0)));
            QCOMPARE(presses.at(0).body.value("step"_L1).toString(), viewRequest);
        }
    }

    void releaseOutsideDoesNothing()
    {
        QStringList warnings;
        render::Actions actions;
        actions.warnBox = [&](const QString &title, const QString &) { warnings << title; };
        std::unique_ptr<QWidget> block(render::steps(parseArray(QString::fromLatin1(kFour)), actions, nullptr));
        testsupport::layOut(block.get(), 900);
        render::StepCell *locked = block->findChildren<render::StepCell *>().at(2);
        QTest::mousePress(locked, Qt::LeftButton, {}, QPoint(5, 5));
        QTest::mouseRelease(locked, Qt::LeftButton, {}, QPoint(-20, 5));
        QTest::mouseClick(locked, Qt::RightButton);
        QVERIFY(warnings.isEmpty());
    }

    void shownStepBodyAndBanner_data()
    {
        QTest::addColumn<QString>("viewed");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("body");
        QTest::addColumn<bool>("banner");

        QTest::newRow("current step") << ""
                                      << "Drive check"
                                      << "body of drive" << false;
        QTest::newRow("finished step") << "wire"
                                       << "Wiring  -  done"
                                       << "body of wire" << true;
        QTest::newRow("stale view") << "nope"
                                    << "Drive check"
                                    << "body of drive" << false;
    }

    void shownStepBodyAndBanner()
    {
        QFETCH(QString, viewed);
        QFETCH(QString, title);
        QFETCH(QString, body);
        QFETCH(bool, banner);

        QList<render::Press> presses;
        render::Actions actions;
        actions.viewedStep = viewed;
        actions.press = [&](const render::Press &p) { presses << p; };
        std::unique_ptr<QWidget> block(render::steps(parseArray(QString::fromLatin1(kFour)), actions, nullptr));
        testsupport::layOut(block.get(), 900);

        auto *titleLabel = block->findChild<QLabel *>(u"shownStepTitle"_s);
        QVERIFY(titleLabel);
        QCOMPARE(titleLabel->text(), title);
        const QStringList texts = labelTexts(block.get());
        QVERIFY(texts.contains(body));
        QCOMPARE(texts.filter(u"body of "_s).size(), 1); // only the shown step's body

        auto *back = block->findChild<QPushButton *>(u"backToCurrentStep"_s);
        QCOMPARE(back != nullptr, banner);
        if (!banner)
            return;
        QCOMPARE(back->text(), u"Back to the current step"_s);
        QCOMPARE(back->property("kind").toString(), u"primary"_s);
        QVERIFY(texts.contains(u"Current step: Drive check"_s));
        QTest::mouseClick(back, Qt::LeftButton);
        QCOMPARE(presses.size(), 1);
        QVERIFY(render::isViewStepPress(presses.at(0)));
        QCOMPARE(presses.at(0).body.value("step"_L1).toString(), QString());
    }

    void screenPutsStepsAboveSections()
    {
        QJsonObject description = parse(R"({"sections":[{"label":"After the steps"}]})");
        description.insert("steps"_L1, parseArray(QString::fromLatin1(kFour)));
        std::unique_ptr<QWidget> page(render::screen(description, {}, nullptr));
        testsupport::layOut(page.get(), 900);
        auto *strip = page->findChild<QWidget *>(u"stepStrip"_s);
        QLabel *sectionTitle = nullptr;
        for (QLabel *l : page->findChildren<QLabel *>(u"sectionTitle"_s)) {
            if (l->text() == "After the steps"_L1)
                sectionTitle = l;
        }
        QVERIFY(strip && sectionTitle);
        QVERIFY(strip->mapTo(page.get(), QPoint()).y() < sectionTitle->mapTo(page.get(), QPoint()).y());
    }

    void sectionDepth_data()
    {
        QTest::addColumn<int>("levels");
        QTest::addColumn<bool>("note");
        QTest::newRow("six below the top draw") << 6 << false;
        QTest::newRow("the seventh shows the note") << 7 << true;
    }

    void sectionDepth()
    {
        QFETCH(int, levels);
        QFETCH(bool, note);
        std::unique_ptr<QWidget> w(render::section(nestedSections(levels), {}, 0, nullptr));
        QVERIFY(w);
        const QStringList texts = labelTexts(w.get());
        QCOMPARE(texts.contains(u"(nested too deeply to draw)"_s), note);
        QCOMPARE(texts.contains(u"level %1"_s.arg(levels)), !note);
        QVERIFY(texts.contains(u"level %1"_s.arg(levels - 1)));
        for (QLabel *l : w->findChildren<QLabel *>()) {
            if (l->text() == "(nested too deeply to draw)"_L1)
                QVERIFY(l->styleSheet().contains(theme::toneColor(u"error"_s).name()));
        }
    }

    void elementsNestDeeperThanSections()
    {
        QJsonObject sec{{"label"_L1, "Deep elements"_L1}, {"elements"_L1, QJsonArray{nestedGroups(7)}}};
        std::unique_ptr<QWidget> w(render::section(sec, {}, 0, nullptr));
        const QStringList texts = labelTexts(w.get());
        QVERIFY(texts.contains(u"deep text"_s));
        QVERIFY(!texts.contains(u"(nested too deeply to draw)"_s));
    }

    void sectionShapes_data()
    {
        QTest::addColumn<QString>("section");
        QTest::addColumn<bool>("covered");
        QTest::addColumn<QString>("frameName"); // "" none, "-" a plain widget

        QTest::newRow("covered with elements")
            << R"({"label":"Lift","elements":[{"type":"text","text":"x"}]})" << true << "";
        QTest::newRow("covered only when labelled") << R"({"elements":[{"type":"text","text":"x"}]})" << true << "card";
        QTest::newRow("empty") << R"({"label":"","elements":[],"sections":[]})" << false << "";
        QTest::newRow("only sub-sections") << R"({"sections":[{"label":"Inner"}]})" << false << "-";
        QTest::newRow("badge alone makes a card") << R"({"badge":{"label":"NEW","tone":"ok"}})" << false << "card";
        QTest::newRow("bad types read as defaults")
            << R"({"label":"Brakes","elements":"x","sections":{}})" << false << "card";
        QTest::newRow("nothing readable") << R"({"label":3,"elements":"x","sections":{}})" << false << "";
    }

    void sectionShapes()
    {
        QFETCH(QString, section);
        QFETCH(bool, covered);
        QFETCH(QString, frameName);
        render::Actions actions;
        if (covered)
            actions.covered = [](const QString &label) { return label == "Lift"_L1 || label.isEmpty(); };
        std::unique_ptr<QWidget> w(render::section(parse(section), actions, 0, nullptr));
        if (frameName.isEmpty()) {
            QVERIFY(!w);
            return;
        }
        QVERIFY(w);
        if (frameName == "-"_L1) {
            QVERIFY(!qobject_cast<QFrame *>(w.get()));
            QVERIFY(w->findChild<QFrame *>(u"nested"_s));
        } else {
            QCOMPARE(w->objectName(), frameName);
        }
    }

    void sectionFrames_data()
    {
        QTest::addColumn<int>("depth");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QMargins>("margins");
        QTest::addColumn<int>("titlePoints");
        QTest::newRow("top") << 0 << "card" << QMargins(14, 10, 14, 10) << 13;
        QTest::newRow("nested") << 1 << "nested" << QMargins(12, 8, 12, 8) << 11;
        QTest::newRow("deepest drawn") << 6 << "nested" << QMargins(12, 8, 12, 8) << 11;
    }

    void sectionFrames()
    {
        QFETCH(int, depth);
        QFETCH(QString, name);
        QFETCH(QMargins, margins);
        QFETCH(int, titlePoints);
        const QJsonObject sec = parse(R"({"label":"Brakes","badge":{"label":"CHECKED","tone":"ok"},
            "elements":[{"type":"text","text":"first"},{"type":"text","text":"second"}]})");
        std::unique_ptr<QWidget> w(render::section(sec, {}, depth, nullptr));
        QCOMPARE(w->objectName(), name);
        QCOMPARE(w->layout()->contentsMargins(), margins);
        auto *title = w->findChild<QLabel *>(u"sectionTitle"_s);
        QVERIFY(title);
        QCOMPARE(title->text(), u"Brakes"_s);
        QCOMPARE(title->font().pointSize(), theme::uiFont(titlePoints, true).pointSize());
        QVERIFY(title->font().bold());
        QVERIFY(labelTexts(w.get()).contains(u"CHECKED"_s));
    }
};

QTEST_MAIN(TestSteps)
#include "tst_steps.moc"
