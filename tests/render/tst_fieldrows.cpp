// Field rows as the window meets them: every input kind read back the way the window collects
// fields, a pending edit or a carried value coming back on a rebuild, carry and save at their
// commit points through a recording set of actions, the password that never carries, and the
// edit notification the window listens to.

#include "app/base/theme.h"
#include "render/element.h"
#include "render/fields.h"
#include "render/screen.h"
#include "support/actions.h"
#include "support/widgets.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QSlider>
#include <QSpinBox>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

using testsupport::json;

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

class TestFieldRows final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        testsupport::isolateConfig();
        theme::setTheme(u"Kestro Dark"_s);
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
        row("unknown kind is a text input", R"({"kind":"email"})", "QLineEdit", "\"\"", u"a@b"_s, "\"a@b\"");
        row("textarea", R"({"kind":"textarea","default":"line 1\nline 2"})", "QPlainTextEdit", "\"line 1\\nline 2\"",
            u"a\nb"_s, "\"a\\nb\"");
        row("check", R"({"kind":"check","default":true})", "QCheckBox", "true", false, "false");
        row("choice", R"({"kind":"choice","choices":["A","B","C"],"default":"B"})", "QComboBox", "\"B\"", u"C"_s,
            "\"C\"");
        row("choice, unknown default", R"({"kind":"choice","choices":["A","B"],"default":"Z"})", "QComboBox", "\"A\"",
            u"Q"_s, "\"A\"");
        row("choice from options", R"({"kind":"choice","options":["x","y"],"default":"y"})", "QComboBox", "\"y\"",
            u"x"_s, "\"x\"");
        row("number", R"({"kind":"number","min":0,"max":100,"default":42})", "QSpinBox", "42", 7, "7");
        row("number clamped", R"({"kind":"number","min":0,"max":100,"default":500})", "QSpinBox", "100", u"-5"_s, "0");
        row("number with decimals", R"({"kind":"number","decimals":2,"max":10,"default":3.14159})", "QDoubleSpinBox",
            "3.14", u"2.5"_s, "2.5");
        row("slider, default off a step", R"({"kind":"slider","min":0,"max":10,"step":2,"default":5.1})", "QSlider",
            "6", u"9"_s, "10");
        row("date", R"({"kind":"date","default":"2026-03-14"})", "QDateEdit", "\"2026-03-14\"", u"2026-01-02"_s,
            "\"2026-01-02\"");
        row("date and time", R"({"kind":"datetime","default":"2026-03-14T06:30:00"})", "QDateTimeEdit",
            "\"2026-03-14T06:30:00\"", u"2026-03-15T00:00:00"_s, "\"2026-03-15T00:00:00\"");
        row("multi", R"({"kind":"multi","choices":["a","b","c"],"default":["c","a"]})", "QListWidget", R"(["a","c"])",
            QVariantList{u"b"_s}, R"(["b"])");
        // The input primitives carry the same identity and read the same way.
        row("datetime primitive", R"({"type":"datetime","mode":"date","value":"2026-03-14"})", "QDateTimeEdit",
            "\"2026-03-14\"", QVariant(), "\"2026-03-14\"");
        row("toggle primitive", R"({"type":"toggle","value":true})", "prims::Switch", "true", QVariant(), "true");
        row("search primitive", R"({"type":"search","value":"F-231"})", "QLineEdit", "\"F-231\"", QVariant(),
            "\"F-231\"");
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
        QVERIFY(d.input);
        QCOMPARE(QString::fromLatin1(d.input->metaObject()->className()), widget);
        QCOMPARE(d.input->property("fieldId").toString(), u"f"_s);
        QCOMPARE(render::fieldValue(d.input), testsupport::jsonValue(value));
        QCOMPARE(render::collectFieldValues(d.root.get(), {u"f"_s, u"absent"_s}),
                 (QJsonObject{{"f"_L1, testsupport::jsonValue(value)}}));

        rec.pending.insert(u"f"_s, pending);
        Drawn rebuilt = draw(el, rec.actions());
        QCOMPARE(render::fieldValue(rebuilt.input), testsupport::jsonValue(pendingValue));
        QVERIFY(rec.carries.isEmpty() && rec.saves.isEmpty()); // building commits nothing
    }

    // A slider's positions are steps from its minimum, capped whatever the range and step.
    void sliderSteps()
    {
        Drawn d = draw(json(R"({"type":"field","kind":"slider","id":"f","min":10,"max":20,"step":0.5})"), {});
        qobject_cast<QSlider *>(d.input)->setValue(4);
        QCOMPARE(render::fieldValue(d.input), QJsonValue(12.0));
        Drawn huge = draw(json(R"({"type":"field","kind":"slider","id":"f","max":1e12,"step":0.001})"), {});
        QCOMPARE(qobject_cast<QSlider *>(huge.input)->maximum(), 100000);
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

    // Checks, choices and sliders commit as soon as they change; a number waits for Enter; Enter
    // belongs to a text area's text, which commits when the focus leaves it.
    void commitOnChange()
    {
        testsupport::RecordedActions rec;
        std::unique_ptr<QWidget> root(render::screen(
            testsupport::oneSection(
                {json(R"({"type":"field","kind":"textarea","id":"notes","save_path":"/s"})"),
                 json(R"({"type":"field","kind":"check","id":"c","save_path":"/s"})"),
                 json(R"({"type":"field","kind":"choice","id":"a","choices":["A","B"],"save_path":"/s"})"),
                 json(R"({"type":"field","kind":"slider","id":"v","max":10,"save_path":"/s"})"),
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
        QTest::keyClick(root->findChild<QComboBox *>(u"field:a"_s), Qt::Key_Down);
        QCOMPARE(saved().value("a"_L1), QJsonValue(u"B"_s));
        QTest::keyClick(root->findChild<QSlider *>(u"field:v"_s), Qt::Key_Right);
        QCOMPARE(saved().value("v"_L1), QJsonValue(1.0));
        auto *spin = root->findChild<QSpinBox *>(u"field:n"_s);
        QTest::keyClick(spin, Qt::Key_Up);
        QVERIFY(!saved().contains("n"_L1));
        QTest::keyClick(spin, Qt::Key_Return);
        QCOMPARE(saved().value("n"_L1), QJsonValue(1));
        QCOMPARE(rec.carries, (QList<std::pair<QString, QString>>{{u"n"_s, u"1"_s}}));
        QCOMPARE(rec.saves.size(), 5);
    }

    // The window hears every edit by field id, not the values set while building.
    void watchEdits()
    {
        std::unique_ptr<QWidget> root(render::screen(
            testsupport::oneSection({json(R"({"type":"field","kind":"input","id":"name","default":"x"})"),
                                     json(R"({"type":"field","kind":"multi","id":"m","choices":["a","b"]})"),
                                     json(R"({"type":"toggle","id":"t"})"),
                                     json(R"({"type":"field","kind":"textarea","id":"notes"})")}),
            {}));
        QList<std::pair<QString, QJsonValue>> heard;
        render::watchFields(root.get(), [&heard](const QString &id, const QJsonValue &v) { heard.append({id, v}); });
        QVERIFY(heard.isEmpty());
        root->findChild<QLineEdit *>(u"field:name"_s)->setText(u"Shuttle 7"_s);
        root->findChild<QListWidget *>(u"field:m"_s)->item(1)->setSelected(true);
        root->findChild<QAbstractButton *>(u"field:t"_s)->setChecked(true);
        root->findChild<QPlainTextEdit *>(u"field:notes"_s)->setPlainText(u"shim at 31 m"_s);
        const QList<std::pair<QString, QJsonValue>> expected{
            {u"name"_s, u"Shuttle 7"_s}, {u"m"_s, QJsonArray{u"b"_s}}, {u"t"_s, true}, {u"notes"_s, u"shim at 31 m"_s}};
        QCOMPARE(heard, expected);
    }

    // The window collects fields from the whole screen, whichever container holds them.
    void inParents_data()
    {
        QTest::addColumn<QString>("wrap");
        QTest::newRow("group") << R"({"type":"group","title":"G","items":[%1]})";
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
        QVERIFY(d.input->width() >= 60 && d.input->height() > 0);
    }
};

QTEST_MAIN(TestFieldRows)
#include "tst_fieldrows.moc"
