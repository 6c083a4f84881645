// The screen body: "action" buttons (their press and the confirmation boxes driven through the
// modal hook); the wizard step strip; the toast strip; change detection between two polls; and
// field rows as the window meets them: every input kind read back, pending and carried values on
// a rebuild, carry and save at their commit points, and the password that never carries.

#include "app/base/modal.h"
#include "render/buttons.h"
#include "render/changes.h"
#include "render/element.h"
#include "render/fields.h"
#include "render/screen.h"
#include "render/steps.h"
#include "render/toast.h"
#include "support/actions.h"
#include "support/widgets.h"

#include <QApplication>
#include <QCheckBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using render::ToastStrip;
using testsupport::json;
using testsupport::jsonValue;

namespace {

std::unique_ptr<QPushButton> button(const QJsonObject &el, testsupport::RecordedActions &rec)
{
    return std::unique_ptr<QPushButton>(render::actionButton(el, rec.actions(), nullptr));
}

// A strip of four: done, current, locked, with an issue, each with one text in its body.
const QJsonArray kFour = jsonValue(uR"([
    {"id":"wire","label":"Wiring","completed":true,"elements":[{"type":"text","text":"body of wire"}]},
    {"id":"drive","label":"Drive check","current":true,"elements":[{"type":"text","text":"body of drive"}]},
    {"id":"lift","label":"Lift check","locked":true,"elements":[{"type":"text","text":"body of lift"}]},
    {"id":"io","label":"IO test","issue":true,"completed":true,"elements":[{"type":"text","text":"body of io"}]}
])"_s)
                             .toArray();

// The four-step strip laid out at a window's width, with presses and warnings recorded.
struct Strip : testsupport::RecordedActions
{
    std::unique_ptr<QWidget> block;

    explicit Strip(const QString &viewed = {})
        : block(render::steps(kFour, actions(viewed), nullptr))
    {
        testsupport::layOut(block.get(), 900);
    }
};

// The element drawn inside a section, as a screen puts it, with the row's input found by its name.
struct Drawn
{
    std::unique_ptr<QWidget> root;
    QWidget *input = nullptr;
};

Drawn draw(const QJsonObject &el, const render::Actions &actions, const QString &id = u"f"_s)
{
    Drawn d;
    d.root.reset(render::screen(testsupport::oneSection({el}), actions));
    testsupport::layOut(d.root.get(), 700);
    d.input = d.root->findChild<QWidget *>(u"field:"_s + id);
    return d;
}

} // namespace

class TestBody : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }
    void cleanup() { app::setNextAnswer({}); }

    // What a click sends, read from the button's keys; an empty confirm object sends at once.
    void pressFromKeys()
    {
        testsupport::RecordedActions rec;
        app::setNextAnswer([](QDialog *) { QFAIL("no box for an empty confirm"); });
        button(json(R"({"path":"/api/x"})"), rec)->click();
        button(json(R"({"path":"/api/x","method":"Put","then":"none","send_fields":["a",3,"b"],
            "label":"Home","body":{"speed":2},"clear_fields":["note"],"confirm":{}})"),
               rec)
            ->click();
        render::Press defaults, every;
        defaults.path = every.path = u"/api/x"_s;
        every.body = {{"speed"_L1, 2}};
        every.sendFields = {u"a"_s, u"b"_s};
        every.clearFields = {u"note"_s};
        every.method = u"PUT"_s;
        every.then = u"none"_s;
        every.label = u"Home"_s;
        QVERIFY(rec.presses == (QList<render::Press>{defaults, every}));
    }

    // The question box without a typed word, answered as a technician would: Cancel is the default.
    void questionBox_data()
    {
        QTest::addColumn<QString>("style");
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("answer");
        QTest::addColumn<QString>("confirmText");
        QTest::newRow("Enter cancels") << u"primary"_s << u"Start drive"_s << u"enter"_s << u"Start drive"_s;
        // A button shows "&" itself (doubled, or Qt would take it as a shortcut mark) and markup
        // as typed; the press keeps the label as sent.
        QTest::newRow("ampersand and markup")
            << QString() << u"Park & <b>lock</b>"_s << u"confirm"_s << u"Park && <b>lock</b>"_s;
    }
    void questionBox()
    {
        QFETCH(QString, style);
        QFETCH(QString, label);
        QFETCH(QString, answer);
        QFETCH(QString, confirmText);
        testsupport::RecordedActions rec;
        QJsonObject el = json(
            R"({"path":"/api/drive","confirm":{"title":"Start the drive?","detail":"The carriage <b>moves</b>."}})");
        el.insert("style"_L1, style);
        el.insert("label"_L1, label);
        QString seen;
        app::setNextAnswer([&](QDialog *dialog) {
            auto *box = qobject_cast<QMessageBox *>(dialog);
            auto *confirm = box->findChild<QPushButton *>(u"confirmButton"_s);
            QAbstractButton *cancel = box->button(QMessageBox::Cancel);
            QVERIFY(confirm && cancel && box->defaultButton() == cancel && box->escapeButton() == cancel);
            QCOMPARE(box->textFormat(), Qt::PlainText);
            seen = QStringList{box->windowTitle(), box->text(), confirm->text()}.join(u'|');
            // Keys go where a technician's keys would: to the widget holding the focus.
            QWidget *target = box->focusWidget() ? box->focusWidget() : box;
            if (answer == "confirm"_L1)
                confirm->click();
            else
                QTest::keyClick(target, Qt::Key_Return);
        });
        std::unique_ptr<QPushButton> b = button(el, rec);
        QCOMPARE(b->text(), label.isEmpty() ? label : confirmText);
        b->click();
        QCOMPARE(seen, u"Start the drive?|The carriage <b>moves</b>.|%1"_s.arg(confirmText));
        const bool sent = answer == "confirm"_L1;
        QCOMPARE(rec.presses.size(), sent ? 1 : 0);
        if (sent)
            QCOMPARE(rec.presses.at(0).label, label);
        QCOMPARE(rec.logLines.size(), sent ? 0 : 1);
    }

    // Through the button: only the whole word sends, in any case and between blanks.
    void typedWordConfirmation()
    {
        for (const QString &typed : {u"era"_s, u"ERASED"_s, u" erase "_s}) {
            testsupport::RecordedActions rec;
            app::setNextAnswer([&](QDialog *dialog) {
                auto *confirm = dialog->findChild<QPushButton *>(u"confirmButton"_s);
                QTest::keyClicks(dialog->findChild<QLineEdit *>(u"confirmWord"_s), typed);
                QTest::mouseClick(confirm, Qt::LeftButton); // a disabled button ignores the click
            });
            button(json(R"({"path":"/api/erase","confirm":{"title":"Erase","word":"ERASE"}})"), rec)->click();
            QCOMPARE(rec.presses.size(), typed == u" erase "_s ? 1 : 0);
        }
    }

    void shownStep_data()
    {
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QString>("viewed");
        QTest::addColumn<int>("shown");
        QTest::newRow("current when nothing viewed") << "FOUR" << QString() << 1;
        QTest::newRow("no current, stale view: last") << R"([{"id":"a"},{"id":"b"}])" << u"zzz"_s << 1;
        QTest::newRow("no steps") << "[]" << u"a"_s << -1;
    }
    void shownStep()
    {
        QFETCH(QString, steps);
        QFETCH(QString, viewed);
        QFETCH(int, shown);
        QCOMPARE(render::shownStep(steps == "FOUR"_L1 ? kFour : jsonValue(steps).toArray(), viewed), shown);
    }

    // Each cell's tag, and what a left click on it does: a locked step warns "Not yet", any other
    // asks the window to show it; the right button does nothing.
    void cells_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<QString>("tag");
        QTest::addColumn<QString>("warning");
        QTest::newRow("done") << 0 << u"DONE"_s << QString();
        QTest::newRow("locked") << 2 << u"STEP 3"_s
                                << u"Not yet|Lift check has not been done. Steps run in order - finish the current one "
                                   "first."_s;
        QTest::newRow("issue beats done") << 3 << u"PROBLEM"_s << QString();
    }
    void cells()
    {
        QFETCH(int, index);
        QFETCH(QString, tag);
        QFETCH(QString, warning);
        Strip strip;
        render::StepCell *cell = strip.block->findChildren<render::StepCell *>().at(index);
        QVERIFY2(testsupport::labelTexts(cell).contains(tag), qPrintable(tag));
        QTest::mouseClick(cell, Qt::RightButton);
        QVERIFY(strip.warnings.isEmpty() && strip.presses.isEmpty());
        QTest::mouseClick(cell, Qt::LeftButton);
        QCOMPARE(strip.warnings, warning.isEmpty() ? QStringList() : QStringList{warning});
        QCOMPARE(strip.presses.size(), warning.isEmpty() ? 1 : 0);
        if (warning.isEmpty()) // asks the window to show that step
            QVERIFY(render::isViewStepPress(strip.presses.at(0)) &&
                    strip.presses.at(0).body.value("step"_L1).toString() == cell->stepId());
    }

    // Only the shown step's body is drawn; a finished step viewed has a way back to the current one.
    void shownStepBodyAndBanner()
    {
        for (const QString &viewed : {QString(), u"wire"_s}) {
            Strip strip(viewed);
            auto *titleLabel = strip.block->findChild<QLabel *>(u"shownStepTitle"_s);
            QCOMPARE(titleLabel->text(), viewed.isEmpty() ? u"Drive check"_s : u"Wiring  -  done"_s);
            const QStringList texts = testsupport::labelTexts(strip.block.get());
            QCOMPARE(texts.filter(u"body of "_s),
                     QStringList{viewed.isEmpty() ? u"body of drive"_s : u"body of wire"_s});
            auto *back = strip.block->findChild<QPushButton *>(u"backToCurrentStep"_s);
            QCOMPARE(back != nullptr, !viewed.isEmpty());
            if (!back)
                continue;
            QTest::mouseClick(back, Qt::LeftButton);
            QCOMPARE(strip.presses.size(), 1);
            QCOMPARE(strip.presses.at(0).body.value("step"_L1).toString(), QString());
        }
    }

    void toastTextAndTone_data()
    {
        QTest::addColumn<QString>("tone");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("shown");
        QTest::newRow("error asks for a click") << u"error"_s << u"Refused"_s << u"Refused   (click to dismiss)"_s;
        QTest::newRow("markup as typed") << u"ok"_s << u"<b>Saved</b> & stored"_s << u"<b>Saved</b> & stored"_s;
    }
    void toastTextAndTone()
    {
        QFETCH(QString, tone);
        QFETCH(QString, text);
        QFETCH(QString, shown);
        ToastStrip strip;
        QVERIFY(strip.isHidden());
        strip.showToast({text, tone, 60000});
        QVERIFY(!strip.isHidden());
        QCOMPARE(strip.text(), shown);
        QCOMPARE(strip.findChild<QLabel *>()->textFormat(), Qt::PlainText);
    }

    void blankToastLeavesTheStrip()
    {
        ToastStrip strip;
        strip.showToast({u"Moving to slot 4"_s, u"busy"_s, 60000});
        for (const QString &blank : {QString(), u"\t\n "_s})
            strip.showToast({blank, u"error"_s, 10});
        QCOMPARE(strip.text(), u"Moving to slot 4"_s);
        QCOMPARE(strip.pendingTimers(), 1);
    }

    // The first toast's timer fires while the second is up and must leave it alone; the second's
    // own timer still hides the strip.
    void toastTimers()
    {
        ToastStrip strip;
        QSignalSpy expired(&strip, &ToastStrip::expired);
        strip.showToast({u"First"_s, u"ok"_s, 30});
        strip.showToast({u"Second"_s, u"ok"_s, 2000});
        QTRY_COMPARE(expired.count(), 1);
        QCOMPARE(expired.at(0).at(0).toInt(), 1); // the first toast's timer
        QVERIFY(!strip.isHidden() && strip.text() == u"Second"_s);
        QTRY_COMPARE(expired.count(), 2);
        QVERIFY(strip.isHidden());
    }

    // An error toast has no timer at all; a click before the timer hides the toast.
    void toastClicks()
    {
        ToastStrip strip;
        testsupport::layOut(&strip, 400);
        QSignalSpy expired(&strip, &ToastStrip::expired);
        strip.showToast({u"The unit refused"_s, u"error"_s, 10});
        QCOMPARE(strip.pendingTimers(), 0);
        QTest::mouseClick(&strip, Qt::LeftButton);
        QVERIFY(strip.isHidden());
        strip.showToast({u"Saved"_s, u"ok"_s, 40});
        QTest::mouseClick(&strip, Qt::LeftButton);
        QVERIFY(strip.isHidden());
    }

    void changedLeaves_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("after");
        QTest::addColumn<QStringList>("paths");
        QTest::newRow("equal objects") << R"({"a":1,"b":[1,2]})" << uR"({"b":[1,2],"a":1})"_s << QStringList();
        QTest::newRow("index 2 changed") << R"({"list":[1,2,3]})" << uR"({"list":[1,2,4]})"_s << QStringList{"/list/2"};
        QTest::newRow("array grew") << R"({"list":[1,2,3]})" << uR"({"list":[1,2,3,4]})"_s << QStringList{"/list[]"};
        QTest::newRow("key added after first object's keys")
            << R"({"m":1,"z":1})" << uR"({"a":5,"m":2,"z":1})"_s << QStringList{"/m", "/a"};
    }
    void changedLeaves()
    {
        QFETCH(QString, before);
        QFETCH(QString, after);
        QFETCH(QStringList, paths);
        QCOMPARE(render::changedLeaves(jsonValue(before), jsonValue(after)), paths);
    }

    void sourcesIn_data()
    {
        QTest::addColumn<QString>("description");
        QTest::addColumn<QStringList>("sources");
        QTest::newRow("relative skipped, twice listed once")
            << R"({"sections":[{"elements":[{"source":"api/b"},{"source":"/api/c"},{"source":"/api/c"}]}]})"
            << QStringList{"/api/c"};
        QTest::newRow("order first met, outer before inner")
            << R"({"source":"/outer","items":[{"source":"/inner","items":[{"source":"/deepest"}]},{"source":"/second"}]})"
            << QStringList{"/outer", "/inner", "/deepest", "/second"};
    }
    void sourcesIn()
    {
        QFETCH(QString, description);
        QFETCH(QStringList, sources);
        QCOMPARE(render::sourcesIn(jsonValue(description)), sources);
    }

    // Each kind becomes the widget the window's table names, and reads back as it says; a pending
    // edit given back through stateValue() replaces the default on a rebuild.
    void readBack_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<QString>("widget");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QVariant>("pending");
        QTest::addColumn<QString>("pendingValue");
        const auto row = [](const char *name, const char *el, const char *widget, const char *value,
                            const QVariant &pending, const char *pendingValue) {
            QTest::newRow(name) << QString::fromUtf8(el) << widget << value << pending << pendingValue;
        };
        row("input", R"({"kind":"input","default":"Aisle A"})", "QLineEdit", "\"Aisle A\"", u"typed"_s, "\"typed\"");
        row("check", R"({"kind":"check","default":true})", "QCheckBox", "true", false, "false");
        row("choice, unknown default", R"({"kind":"choice","choices":["A","B"],"default":"Z"})", "QComboBox", "\"A\"",
            u"Q"_s, "\"A\"");
        row("number clamped", R"({"kind":"number","min":0,"max":100,"default":500})", "QSpinBox", "100", u"-5"_s, "0");
        row("slider, default off a step", R"({"kind":"slider","min":0,"max":10,"step":2,"default":5.1})", "QSlider",
            "6", u"9"_s, "10");
        row("date and time", R"({"kind":"datetime","default":"2026-03-14T06:30:00"})", "QDateTimeEdit",
            "\"2026-03-14T06:30:00\"", u"2026-03-15T00:00:00"_s, "\"2026-03-15T00:00:00\"");
        row("multi", R"({"kind":"multi","choices":["a","b","c"],"default":["c","a"]})", "QListWidget", R"(["a","c"])",
            QVariantList{u"b"_s}, R"(["b"])");
        // The input primitives carry the same identity and read the same way.
        row("toggle primitive", R"({"type":"toggle","value":true})", "prims::Switch", "true", QVariant(), "true");
    }
    void readBack()
    {
        QFETCH(QString, element);
        QFETCH(QString, widget);
        QFETCH(QString, value);
        QFETCH(QVariant, pending);
        QFETCH(QString, pendingValue);
        QJsonObject el = json(element);
        if (!el.contains("type"_L1))
            el.insert("type"_L1, u"field"_s);
        el.insert("id"_L1, u"f"_s);
        el.insert("label"_L1, u"Field"_s);

        testsupport::RecordedActions rec;
        Drawn d = draw(el, rec.actions());
        QVERIFY(d.input && d.input->property("fieldId").toString() == u"f"_s);
        QCOMPARE(QString::fromLatin1(d.input->metaObject()->className()), widget);
        QCOMPARE(render::fieldValue(d.input), testsupport::jsonValue(value));
        QCOMPARE(render::collectFieldValues(d.root.get(), {u"f"_s, u"absent"_s}),
                 (QJsonObject{{"f"_L1, testsupport::jsonValue(value)}}));

        rec.pending.insert(u"f"_s, pending);
        Drawn rebuilt = draw(el, rec.actions());
        QCOMPARE(render::fieldValue(rebuilt.input), testsupport::jsonValue(pendingValue));
        QVERIFY(rec.carries.isEmpty() && rec.saves.isEmpty()); // building commits nothing
    }

    // The start value: a pending edit, else the carried text (for a carrying field), else the default.
    void startValue_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<QString>("carried");
        QTest::addColumn<QVariant>("pending");
        QTest::addColumn<QString>("value");
        const char *carrying = R"({"kind":"input","carry":true,"default":"from unit"})";
        const QString remembered = u"remembered"_s;
        QTest::newRow("carried beats default") << carrying << remembered << QVariant() << remembered;
        QTest::newRow("pending beats carried") << carrying << remembered << QVariant(u"typed"_s) << u"typed"_s;
        QTest::newRow("no carry, carried ignored")
            << R"({"kind":"input","default":"from unit"})" << remembered << QVariant() << u"from unit"_s;
        QTest::newRow("password never carried")
            << R"({"kind":"password","carry":true,"default":""})" << u"leaked"_s << QVariant() << QString();
    }
    void startValue()
    {
        QFETCH(QString, element);
        QFETCH(QString, carried);
        QFETCH(QVariant, pending);
        QFETCH(QString, value);
        QJsonObject el = json(element);
        el.insert("type"_L1, u"field"_s);
        el.insert("id"_L1, u"f"_s);
        testsupport::RecordedActions rec;
        rec.carriedValues.insert(u"f"_s, carried);
        rec.pending.insert(u"f"_s, pending);
        Drawn d = draw(el, rec.actions());
        QCOMPARE(render::fieldValue(d.input), QJsonValue(value));
    }

    // Text commits on Enter (and only when changed): save posts the value merged into
    // "save_body", carry stores the text, but never a password's.
    void commitText()
    {
        for (const QString &kind : {u"input"_s, u"password"_s}) {
            testsupport::RecordedActions rec;
            Drawn d = draw(json(uR"({"type":"field","kind":"%1","id":"f","carry":true,"default":"A1",
                "save_path":"/api/save/name","save_body":{"unit":"KU-1","f":"stale"}})"_s.arg(kind)),
                           rec.actions());
            auto *edit = qobject_cast<QLineEdit *>(d.input);
            QCOMPARE(edit->echoMode(), kind == "input"_L1 ? QLineEdit::Normal : QLineEdit::Password);
            edit->setFocus();
            edit->selectAll();
            QTest::keyClicks(edit, u"Aisle B"_s);
            QVERIFY(rec.saves.isEmpty()); // typing alone commits nothing
            QTest::keyClick(edit, Qt::Key_Return);
            QTest::keyClick(edit, Qt::Key_Return); // unchanged: nothing again
            QCOMPARE(rec.saves, (QList<std::pair<QString, QJsonObject>>{
                                    {u"/api/save/name"_s, {{"unit"_L1, "KU-1"_L1}, {"f"_L1, "Aisle B"_L1}}}}));
            QCOMPARE(rec.carries.size(), kind == "input"_L1 ? 1 : 0);
            QCOMPARE(rec.carries.value(0).second, kind == "input"_L1 ? u"Aisle B"_s : QString());
        }
    }

    // A check commits as soon as it changes; a number waits for Enter; Enter belongs to a text
    // area's text, which commits when the focus leaves it.
    void commitOnChange()
    {
        testsupport::RecordedActions rec;
        std::unique_ptr<QWidget> root(
            render::screen(testsupport::oneSection(
                               {json(R"({"type":"field","kind":"textarea","id":"notes","save_path":"/s"})"),
                                json(R"({"type":"field","kind":"check","id":"c","save_path":"/s"})"),
                                json(R"({"type":"field","kind":"number","id":"n","carry":true,"save_path":"/s"})")}),
                           rec.actions()));
        testsupport::layOut(root.get(), 700);
        QApplication::setActiveWindow(root.get());
        const auto saved = [&rec] {
            QJsonObject all;
            for (const auto &[path, body] : rec.saves)
                for (auto it = body.begin(); it != body.end(); ++it)
                    all.insert(it.key(), it.value());
            return all;
        };
        auto *notes = root->findChild<QPlainTextEdit *>(u"field:notes"_s);
        notes->setFocus();
        QTest::keyClicks(notes, u"shim"_s);
        QTest::keyClick(notes, Qt::Key_Return);
        QVERIFY(rec.saves.isEmpty());
        auto *check = root->findChild<QCheckBox *>(u"field:c"_s);
        check->setFocus();
        QTRY_COMPARE(saved(), (QJsonObject{{"notes"_L1, "shim\n"_L1}}));
        QTest::mouseClick(check, Qt::LeftButton, {}, QPoint(8, check->height() / 2)); // on the box
        QCOMPARE(saved().value("c"_L1), QJsonValue(true));
        auto *spin = root->findChild<QSpinBox *>(u"field:n"_s);
        QTest::keyClick(spin, Qt::Key_Up);
        QVERIFY(!saved().contains("n"_L1));
        QTest::keyClick(spin, Qt::Key_Return);
        QCOMPARE(saved().value("n"_L1), QJsonValue(1));
        QCOMPARE(rec.carries, (QList<std::pair<QString, QString>>{{u"n"_s, u"1"_s}}));
        QCOMPARE(rec.saves.size(), 3);
    }

    // The window collects fields from the whole screen, whichever container holds them.
    void inParents_data()
    {
        QTest::addColumn<QString>("wrap");
        QTest::newRow("tab page")
            << R"({"type":"tabs","active":1,"tabs":[{"label":"one"},{"label":"two","items":[%1]}]})";
        QTest::newRow("dialog") << R"({"type":"dialog","title":"Set","items":[%1]})";
    }
    void inParents()
    {
        QFETCH(QString, wrap);
        const QString field = uR"({"type":"field","kind":"number","id":"f","label":"Load","default":42})"_s;
        Drawn d = draw(json(wrap.arg(field)), {});
        QVERIFY(d.input);
        QCOMPARE(render::collectFieldValues(d.root.get(), {u"f"_s}), (QJsonObject{{"f"_L1, 42}}));
    }
};

QTEST_MAIN(TestBody)
#include "tst_body.moc"
