// "action" buttons: their sound, look and press; the confirmation boxes driven through the
// modal hook; and the "cards" grid.

#include "app/theme.h"
#include "render/buttons.h"
#include "render/element.h"
#include "render/messagebox.h"
#include "support/testsupport.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QFrame>
#include <QJsonDocument>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

QJsonObject parse(const QString &text)
{
    return QJsonDocument::fromJson(text.toUtf8()).object();
}

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
};

} // namespace

class TestButtons : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }
    void cleanup() { render::setNextAnswer({}); }

    void clickSound_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<QString>("sound");

        QTest::newRow("danger style beats a named sound") << R"({"style":"danger","sound":"click"})"
                                                          << "danger";
        QTest::newRow("danger style with confirm") << R"({"style":"danger","confirm":{"title":"x"}})"
                                                   << "danger";
        QTest::newRow("named sound") << R"({"sound":"power_on"})"
                                     << "power_on";
        QTest::newRow("named sound beats confirm") << R"({"sound":"save","confirm":{"title":"x"}})"
                                                   << "save";
        QTest::newRow("named sound beats primary") << R"({"style":"primary","sound":"place"})"
                                                   << "place";
        QTest::newRow("danger cannot be named") << R"({"sound":"danger"})"
                                                << "action";
        QTest::newRow("names are case-sensitive") << R"({"sound":"Click"})"
                                                  << "action";
        QTest::newRow("unknown sound, no confirm") << R"({"sound":"trumpet"})"
                                                   << "action";
        QTest::newRow("unknown sound, primary") << R"({"sound":"trumpet","style":"primary"})"
                                                << "submit";
        QTest::newRow("confirm asks for submit") << R"({"confirm":{"title":"Sure?"}})"
                                                 << "submit";
        QTest::newRow("empty confirm is no confirm") << R"({"confirm":{}})"
                                                     << "action";
        QTest::newRow("good style") << R"({"style":"good"})"
                                    << "action";
        QTest::newRow("sound not a string") << R"({"sound":7,"style":"primary"})"
                                            << "submit";
    }

    void clickSound()
    {
        QFETCH(QString, element);
        QFETCH(QString, sound);
        const QJsonObject el = parse(element);
        QCOMPARE(render::pressSoundFor(el), sound);
        std::unique_ptr<QPushButton> button(render::actionButton(el, {}, nullptr));
        QCOMPARE(button->property("pressSound").toString(), sound);
    }

    void lookAndWidth_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<int>("width");

        QTest::newRow("no style") << R"({"type":"action","label":"Go"})"
                                  << "normal" << -1;
        QTest::newRow("primary") << R"({"type":"action","label":"Go","style":"primary"})"
                                 << "primary" << -1;
        QTest::newRow("good with width") << R"({"type":"action","label":"Go","style":"good","width":160})"
                                         << "good" << 160;
        QTest::newRow("danger") << R"({"type":"action","label":"Go","style":"danger"})"
                                << "danger" << -1;
        QTest::newRow("empty style") << R"({"type":"action","label":"Go","style":""})"
                                     << "normal" << -1;
    }

    void lookAndWidth()
    {
        QFETCH(QString, element);
        QFETCH(QString, kind);
        QFETCH(int, width);
        std::unique_ptr<QWidget> w(render::element(parse(element), {}, 0, nullptr));
        auto *button = qobject_cast<QPushButton *>(w.get());
        QVERIFY(button);
        QCOMPARE(button->text(), u"Go"_s);
        QCOMPARE(button->property("kind").toString(), kind);
        if (width > 0) {
            QCOMPARE(button->minimumWidth(), width);
            QCOMPARE(button->maximumWidth(), width);
        } else {
            QCOMPARE(button->minimumWidth(), 0);
        }
    }

    void pressFromKeys_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<QString>("method");
        QTest::addColumn<QString>("then");
        QTest::addColumn<QStringList>("sendFields");

        QTest::newRow("defaults") << R"({"path":"/api/x"})"
                                  << "POST"
                                  << "refresh" << QStringList();
        QTest::newRow("lower-case method") << R"({"path":"/api/x","method":"get"})"
                                           << "GET"
                                           << "refresh" << QStringList();
        QTest::newRow("then and fields")
            << R"({"path":"/api/x","method":"Put","then":"none","send_fields":["a",3,"b"]})"
            << "PUT"
            << "none" << QStringList{"a", "b"};
        QTest::newRow("method not a string") << R"({"path":"/api/x","method":4})"
                                             << "POST"
                                             << "refresh" << QStringList();
    }

    void pressFromKeys()
    {
        QFETCH(QString, element);
        QFETCH(QString, method);
        QFETCH(QString, then);
        QFETCH(QStringList, sendFields);
        Recorder rec;
        std::unique_ptr<QPushButton> button(render::actionButton(parse(element), rec.actions(), nullptr));
        button->click();
        QCOMPARE(rec.presses.size(), 1);
        QCOMPARE(rec.presses.at(0).path, u"/api/x"_s);
        QCOMPARE(rec.presses.at(0).method, method);
        QCOMPARE(rec.presses.at(0).then, then);
        QCOMPARE(rec.presses.at(0).sendFields, sendFields);
    }

    void pressCarriesBodyAndLabel()
    {
        Recorder rec;
        const QJsonObject el =
            parse(R"({"label":"Home","path":"/api/home","body":{"speed":2},"clear_fields":["note"],"confirm":{}})");
        std::unique_ptr<QPushButton> button(render::actionButton(el, rec.actions(), nullptr));
        bool boxShown = false;
        render::setNextAnswer([&boxShown](QDialog *box) {
            boxShown = true;
            box->reject();
        });
        button->click();
        QVERIFY(!boxShown); // an empty confirm object sends at once
        QCOMPARE(rec.presses.size(), 1);
        const render::Press &p = rec.presses.at(0);
        QCOMPARE(p.body.value("speed"_L1).toInt(), 2);
        QCOMPARE(p.clearFields, QStringList{u"note"_s});
        QVERIFY(p.confirm.isEmpty());
        QCOMPARE(p.label, u"Home"_s);
    }

    // The question box without a typed word, answered as a technician would.
    void questionBox_data()
    {
        QTest::addColumn<QString>("style");
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("answer");
        QTest::addColumn<bool>("sent");
        QTest::addColumn<QString>("confirmText");
        QTest::addColumn<QString>("confirmKind");

        QTest::newRow("Enter cancels") << "primary"
                                       << "Start drive"
                                       << "enter" << false << "Start drive"
                                       << "primary";
        QTest::newRow("Escape cancels") << ""
                                        << "Start drive"
                                        << "escape" << false << "Start drive"
                                        << "primary";
        QTest::newRow("confirm button sends") << ""
                                              << "Start drive"
                                              << "confirm" << true << "Start drive"
                                              << "primary";
        QTest::newRow("danger look, no label") << "danger"
                                               << ""
                                               << "confirm" << true << "Yes"
                                               << "danger";
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
        QJsonObject el =
            parse(R"({"path":"/api/drive","confirm":{"title":"Start the drive?","detail":"The carriage moves."}})");
        el.insert("style"_L1, style);
        el.insert("label"_L1, label);
        std::unique_ptr<QPushButton> button(render::actionButton(el, rec.actions(), nullptr));

        QString seenTitle, seenText, seenConfirm, seenKind;
        bool cancelIsDefaultAndEscape = false;
        render::setNextAnswer([&](QDialog *dialog) {
            auto *box = qobject_cast<QMessageBox *>(dialog);
            QVERIFY(box);
            auto *confirm = box->findChild<QPushButton *>(u"confirmButton"_s);
            QVERIFY(confirm);
            seenTitle = box->windowTitle();
            seenText = box->text();
            seenConfirm = confirm->text();
            seenKind = confirm->property("kind").toString();
            QAbstractButton *cancel = box->button(QMessageBox::Cancel);
            cancelIsDefaultAndEscape = cancel && box->defaultButton() == cancel && box->escapeButton() == cancel;
            // Keys go where a technician's keys would: to the widget holding the focus.
            QWidget *target = box->focusWidget() ? box->focusWidget() : box;
            if (answer == "enter"_L1)
                QTest::keyClick(target, Qt::Key_Return);
            else if (answer == "escape"_L1)
                QTest::keyClick(target, Qt::Key_Escape);
            else
                confirm->click();
        });
        button->click();

        QCOMPARE(seenTitle, u"Start the drive?"_s);
        QCOMPARE(seenText, u"The carriage moves."_s);
        QCOMPARE(seenConfirm, confirmText);
        QCOMPARE(seenKind, confirmKind);
        QVERIFY(cancelIsDefaultAndEscape);
        QCOMPARE(rec.presses.size(), sent ? 1 : 0);
        QCOMPARE(rec.logLines.size(), sent ? 0 : 1);
    }

    void typedWordRule_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<bool>("enabled");

        QTest::newRow("exact") << "ERASE" << true;
        QTest::newRow("lower case with blanks") << "  erase  " << true;
        QTest::newRow("mixed case") << "ErAsE" << true;
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
        // Taking the text away again disables it.
        edit->clear();
        QVERIFY(!confirm->isEnabled());
        QVERIFY(dialog->findChild<QLabel *>() != nullptr);
        QVERIFY(dialog->minimumWidth() >= 460);
    }

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
        const QJsonObject el = parse(R"({"label":"Erase map","style":"danger","path":"/api/erase",
            "confirm":{"title":"Erase the map","detail":"All taught positions go.","word":"ERASE"}})");
        std::unique_ptr<QPushButton> button(render::actionButton(el, rec.actions(), nullptr));
        QString prompt, kind;
        render::setNextAnswer([&](QDialog *dialog) {
            for (QLabel *l : dialog->findChildren<QLabel *>()) {
                if (l->text().startsWith("Type "_L1))
                    prompt = l->text();
            }
            auto *confirm = dialog->findChild<QPushButton *>(u"confirmButton"_s);
            kind = confirm->property("kind").toString();
            QTest::keyClicks(dialog->findChild<QLineEdit *>(u"confirmWord"_s), typed);
            QTest::mouseClick(confirm, Qt::LeftButton); // a disabled button ignores the click
        });
        button->click();
        QCOMPARE(prompt, u"Type ERASE to continue."_s);
        QCOMPARE(kind, u"danger"_s);
        QCOMPARE(rec.presses.size(), sent ? 1 : 0);
    }

    void cardsGrid()
    {
        Recorder rec;
        const QJsonObject el = parse(R"({"type":"cards","cards":[
            {"title":"Lift","value":"Ready","tone":"ok","note":"checked 09:12",
             "actions":[{"type":"action","label":"Test","path":"/api/lift/test"},
                        {"label":"Stop","style":"danger","path":"/api/lift/stop"},
                        {"type":"text","text":"not a button"}]},
            {"title":"Drive","value":42},
            "not a card"]})");
        std::unique_ptr<QWidget> grid(render::element(el, rec.actions(), 0, nullptr));
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
