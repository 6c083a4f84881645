// "action" buttons: their sound, look and press; the confirmation boxes driven through the
// modal hook; and the "cards" grid.

#include "app/base/modal.h"
#include "app/base/theme.h"
#include "render/buttons.h"
#include "render/element.h"
#include "support/widgets.h"

#include <QDialog>
#include <QFrame>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

using testsupport::json;

// Actions that record what the button hands on.
struct Recorder
{
    QList<render::Press> presses;
    QStringList logLines;

    render::Actions actions()
    {
        render::Actions a;
        a.press = [this](const render::Press &p) { presses << p; };
        a.logLine = [this](const QString &line) { logLines << line; };
        return a;
    }
    std::unique_ptr<QPushButton> button(const QJsonObject &el)
    {
        return std::unique_ptr<QPushButton>(render::actionButton(el, actions(), nullptr));
    }
};

} // namespace

class TestButtons : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }
    void cleanup() { app::setNextAnswer({}); }

    void clickSound_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<QString>("sound");
        QTest::newRow("danger style beats a named sound") << R"({"style":"danger","sound":"click"})" << u"danger"_s;
        QTest::newRow("named sound beats confirm") << R"({"sound":"save","confirm":{"title":"x"}})" << u"save"_s;
        QTest::newRow("named sound beats primary") << R"({"style":"primary","sound":"place"})" << u"place"_s;
        QTest::newRow("danger cannot be named") << R"({"sound":"danger"})" << u"action"_s;
        QTest::newRow("names are case-sensitive") << R"({"sound":"Click"})" << u"action"_s;
        QTest::newRow("unknown sound, primary") << R"({"sound":"trumpet","style":"primary"})" << u"submit"_s;
        QTest::newRow("confirm asks for submit") << R"({"confirm":{"title":"Sure?"}})" << u"submit"_s;
        QTest::newRow("empty confirm is no confirm") << R"({"confirm":{}})" << u"action"_s;
        QTest::newRow("good style") << R"({"style":"good"})" << u"action"_s;
        QTest::newRow("sound not a string") << R"({"sound":7,"style":"primary"})" << u"submit"_s;
    }
    void clickSound()
    {
        QFETCH(QString, element);
        QFETCH(QString, sound);
        const QJsonObject el = json(element);
        QCOMPARE(render::pressSoundFor(el), sound);
        QCOMPARE(Recorder().button(el)->property("pressSound").toString(), sound);
    }

    // The style names the look ("normal" when missing or empty); a width fixes the button's width.
    void lookAndWidth()
    {
        for (const QString &style : {QString(), u""_s, u"primary"_s, u"good"_s}) {
            QJsonObject el{{"type"_L1, "action"_L1}, {"label"_L1, "Go"_L1}};
            if (!style.isNull())
                el.insert("style"_L1, style);
            if (style == "good"_L1)
                el.insert("width"_L1, 160);
            std::unique_ptr<QWidget> w(render::element(el, {}, 0, nullptr));
            auto *button = qobject_cast<QPushButton *>(w.get());
            QVERIFY(button);
            QCOMPARE(button->text(), u"Go"_s);
            QCOMPARE(button->property("kind").toString(), style.isEmpty() ? u"normal"_s : style);
            QCOMPARE(button->minimumWidth(), style == "good"_L1 ? 160 : 0);
            QCOMPARE(button->maximumWidth(), style == "good"_L1 ? 160 : QWIDGETSIZE_MAX);
        }
    }

    // What a click sends, read from the button's keys; an empty confirm object sends at once.
    void pressFromKeys_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<QString>("method");
        QTest::addColumn<QString>("then");
        QTest::addColumn<QStringList>("sendFields");
        QTest::newRow("defaults") << R"({"path":"/api/x"})" << u"POST"_s << u"refresh"_s << QStringList();
        QTest::newRow("every key") << R"({"path":"/api/x","method":"Put","then":"none","send_fields":["a",3,"b"],
            "label":"Home","body":{"speed":2},"clear_fields":["note"],"confirm":{}})"
                                   << u"PUT"_s << u"none"_s << QStringList{"a", "b"};
        QTest::newRow("method not a string")
            << R"({"path":"/api/x","method":4})" << u"POST"_s << u"refresh"_s << QStringList();
    }
    void pressFromKeys()
    {
        QFETCH(QString, element);
        QFETCH(QString, method);
        QFETCH(QString, then);
        QFETCH(QStringList, sendFields);
        const QJsonObject el = json(element);
        Recorder rec;
        bool boxShown = false;
        app::setNextAnswer([&boxShown](QDialog *box) {
            boxShown = true;
            box->reject();
        });
        rec.button(el)->click();
        QVERIFY(!boxShown);
        QCOMPARE(rec.presses.size(), 1);
        const render::Press &p = rec.presses.at(0);
        QCOMPARE(p.path, u"/api/x"_s);
        QCOMPARE(p.method, method);
        QCOMPARE(p.then, then);
        QCOMPARE(p.sendFields, sendFields);
        QCOMPARE(p.body, el.value("body"_L1).toObject());
        QCOMPARE(p.clearFields, el.value("clear_fields"_L1).toVariant().toStringList());
        QCOMPARE(p.label, el.value("label"_L1).toString());
        QVERIFY(p.confirm.isEmpty());
    }

    // The question box without a typed word, answered as a technician would: Cancel is the default.
    void questionBox_data()
    {
        QTest::addColumn<QString>("style");
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("answer");
        QTest::addColumn<bool>("sent");
        QTest::addColumn<QString>("confirmText");
        QTest::addColumn<QString>("confirmKind");
        const QString drive = u"Start drive"_s, primary = u"primary"_s;
        QTest::newRow("Enter cancels") << primary << drive << u"enter"_s << false << drive << primary;
        QTest::newRow("Escape cancels") << QString() << drive << u"escape"_s << false << drive << primary;
        QTest::newRow("confirm button sends") << QString() << drive << u"confirm"_s << true << drive << primary;
        QTest::newRow("danger look, no label")
            << u"danger"_s << QString() << u"confirm"_s << true << u"Yes"_s << u"danger"_s;
        // A button shows "&" itself (doubled, or Qt would take it as a shortcut mark) and markup
        // as typed; the press keeps the label as sent.
        QTest::newRow("ampersand and markup")
            << QString() << u"Park & <b>lock</b>"_s << u"confirm"_s << true << u"Park && <b>lock</b>"_s << primary;
    }
    void questionBox()
    {
        QFETCH(QString, style);
        QFETCH(QString, label);
        QFETCH(QString, answer);
        QFETCH(bool, sent);
        QFETCH(QString, confirmText);
        QFETCH(QString, confirmKind);
        Recorder rec;
        QJsonObject el = json(
            R"({"path":"/api/drive","confirm":{"title":"Start the drive?","detail":"The carriage <b>moves</b>."}})");
        el.insert("style"_L1, style);
        el.insert("label"_L1, label);
        QString seen;
        app::setNextAnswer([&](QDialog *dialog) {
            auto *box = qobject_cast<QMessageBox *>(dialog);
            QVERIFY(box);
            QCOMPARE(box->textFormat(), Qt::PlainText);
            auto *confirm = box->findChild<QPushButton *>(u"confirmButton"_s);
            QVERIFY(confirm);
            QAbstractButton *cancel = box->button(QMessageBox::Cancel);
            QVERIFY(cancel && box->defaultButton() == cancel && box->escapeButton() == cancel);
            seen = QStringList{box->windowTitle(), box->text(), confirm->text(), confirm->property("kind").toString()}
                       .join(u'|');
            // Keys go where a technician's keys would: to the widget holding the focus.
            QWidget *target = box->focusWidget() ? box->focusWidget() : box;
            if (answer == "enter"_L1)
                QTest::keyClick(target, Qt::Key_Return);
            else if (answer == "escape"_L1)
                QTest::keyClick(target, Qt::Key_Escape);
            else
                confirm->click();
        });
        std::unique_ptr<QPushButton> button = rec.button(el);
        QCOMPARE(button->text(), label.isEmpty() ? label : confirmText);
        button->click();
        QCOMPARE(seen, u"Start the drive?|The carriage <b>moves</b>.|%1|%2"_s.arg(confirmText, confirmKind));
        QCOMPARE(rec.presses.size(), sent ? 1 : 0);
        if (sent)
            QCOMPARE(rec.presses.at(0).label, label);
        QCOMPARE(rec.logLines.size(), sent ? 0 : 1);
    }

    void typedWordRule_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<bool>("enabled");
        QTest::newRow("exact") << "ERASE" << true;
        QTest::newRow("lower case with blanks") << "  erase  " << true;
        QTest::newRow("first four letters") << "ERAS" << false;
        QTest::newRow("extra letter") << "ERASED" << false;
        QTest::newRow("inner blank") << "ER ASE" << false;
        QTest::newRow("nothing") << "" << false;
    }
    void typedWordRule()
    {
        QFETCH(QString, typed);
        QFETCH(bool, enabled);
        QCOMPARE(render::typedWordMatches(typed, u"ERASE"_s), enabled);
        std::unique_ptr<QDialog> dialog(render::typedWordDialog(u"Erase the map"_s, u"All taught positions go."_s,
                                                                u"ERASE"_s, u"danger"_s, u"Erase"_s, nullptr));
        auto *edit = dialog->findChild<QLineEdit *>(u"confirmWord"_s);
        auto *confirm = dialog->findChild<QPushButton *>(u"confirmButton"_s);
        QVERIFY(edit && confirm);
        QVERIFY(!confirm->isEnabled());
        QTest::keyClicks(edit, typed);
        QCOMPARE(confirm->isEnabled(), enabled);
        edit->clear(); // taking the text away again disables it
        QVERIFY(!confirm->isEnabled());
        QVERIFY(dialog->minimumWidth() >= 460);
    }

    // Through the button: the prompt names the word, and only the whole word sends.
    void typedWordConfirmation_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<bool>("sent");
        QTest::newRow("word typed") << " erase" << true;
        QTest::newRow("word half typed") << "era" << false;
    }
    void typedWordConfirmation()
    {
        QFETCH(QString, typed);
        QFETCH(bool, sent);
        Recorder rec;
        QString prompt, kind;
        QStringList texts;
        app::setNextAnswer([&](QDialog *dialog) {
            for (QLabel *l : dialog->findChildren<QLabel *>()) {
                prompt = l->text().startsWith("Type "_L1) ? l->text() : prompt;
                if (l->textFormat() == Qt::PlainText)
                    texts << l->text();
            }
            auto *confirm = dialog->findChild<QPushButton *>(u"confirmButton"_s);
            kind = confirm->property("kind").toString();
            QTest::keyClicks(dialog->findChild<QLineEdit *>(u"confirmWord"_s), typed);
            QTest::mouseClick(confirm, Qt::LeftButton); // a disabled button ignores the click
        });
        rec.button(json(R"({"label":"Erase map","style":"danger","path":"/api/erase",
            "confirm":{"title":"Erase <b>the</b> map","detail":"All taught positions & <i>marks</i> go.","word":"ERASE"}})"))
            ->click();
        QCOMPARE(prompt, u"Type ERASE to continue."_s);
        QCOMPARE(texts, (QStringList{u"Erase <b>the</b> map"_s, u"All taught positions & <i>marks</i> go."_s, prompt}));
        QCOMPARE(kind, u"danger"_s);
        QCOMPARE(rec.presses.size(), sent ? 1 : 0);
    }

    void cardsGrid()
    {
        Recorder rec;
        std::unique_ptr<QWidget> grid(render::element(json(R"({"type":"cards","cards":[
            {"title":"Lift","value":"Ready","tone":"ok","note":"checked 09:12",
             "actions":[{"type":"action","label":"Test","path":"/api/lift/test"},
                        {"label":"Stop","style":"danger","path":"/api/lift/stop"},
                        {"type":"text","text":"not a button"}]},
            {"title":"Drive","value":42},
            "not a card"]})"),
                                                      rec.actions(), 0, nullptr));
        QVERIFY(grid);
        testsupport::layOut(grid.get(), 700);
        const QList<QFrame *> cells = grid->findChildren<QFrame *>(u"cardCell"_s);
        QCOMPARE(cells.size(), 2);
        QVERIFY(cells.at(0)->styleSheet().contains(theme::toneColor(u"ok"_s).name()));
        QVERIFY(cells.at(1)->styleSheet().contains(theme::palette().dim.name())); // idle by default
        QVERIFY(cells.at(1)->styleSheet().contains(theme::palette().panel.name()));

        const QList<QPushButton *> buttons = cells.at(0)->findChildren<QPushButton *>();
        QCOMPARE(buttons.size(), 2);
        QCOMPARE(cells.at(1)->findChildren<QPushButton *>().size(), 0);
        QStringList texts;
        for (QLabel *l : cells.at(1)->findChildren<QLabel *>())
            texts << l->text();
        QCOMPARE(texts, (QStringList{u"Drive"_s, u"42"_s}));

        QTest::mouseClick(buttons.at(0), Qt::LeftButton);
        QCOMPARE(rec.presses.size(), 1);
        QCOMPARE(rec.presses.at(0).path, u"/api/lift/test"_s);
        QCOMPARE(buttons.at(1)->property("pressSound").toString(), u"danger"_s);
        // Cards sit side by side when there is room.
        QCOMPARE(cells.at(0)->y(), cells.at(1)->y());
        QVERIFY(cells.at(0)->geometry().right() < cells.at(1)->x());
    }
};

QTEST_MAIN(TestButtons)
#include "tst_buttons.moc"
