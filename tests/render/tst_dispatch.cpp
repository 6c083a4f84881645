// Element dispatch, the version gate, sections and the offline actions, on real widgets.

#include "app/base/theme.h"
#include "app/offline.h"
#include "render/element.h"
#include "render/screen.h"
#include "render/section.h"
#include "render/textual.h"
#include "support/widgets.h"

#include <QAbstractScrollArea>
#include <QClipboard>
#include <QFrame>
#include <QGuiApplication>
#include <QJsonArray>
#include <QLabel>
#include <QLayout>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QString kTooDeep = u"(nested too deeply to draw)"_s;

using testsupport::findLabel;
using testsupport::json;
using testsupport::labelTexts;

std::unique_ptr<QWidget> build(const QJsonObject &el, int depth = 0)
{
    return std::unique_ptr<QWidget>(render::element(el, {}, depth, nullptr));
}

// The "too deep" note under `root` is there exactly when `expected`, and drawn in `tone`.
bool tooDeepNote(QWidget *root, bool expected, const QString &tone)
{
    const QLabel *note = findLabel(root, kTooDeep);
    return expected ? note && note->styleSheet().contains(theme::toneColor(tone).name()) : !note;
}

// `levels` containers wrapped around one text leaf, so the leaf sits at depth `levels`.
QJsonObject nested(int levels, const QString &type)
{
    QJsonObject el{{"type"_L1, "text"_L1}, {"text"_L1, "leaf"_L1}};
    for (int i = 0; i < levels; ++i)
        el = QJsonObject{{"type"_L1, type}, {"items"_L1, QJsonArray{el}}};
    return el;
}

} // namespace

class TestDispatch final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        testsupport::isolateConfig();
        theme::setTheme(u"Kestro Dark"_s);
        theme::setTextScale(1.0);
    }

    void versionGate_data()
    {
        QTest::addColumn<QString>("minClient");
        QTest::addColumn<bool>("placeholder");
        // This build is 8.9.13: numbers compare numerically, trailing text after them is ignored.
        const QList<std::pair<const char *, bool>> rows = {{"8.9.13", false},
                                                           {"8.9", false},
                                                           {"8.10", true},
                                                           {"9", true},
                                                           {"8.9.14", true},
                                                           {"8.9.13.1", true},
                                                           {"8.9.13-beta", false},
                                                           {"latest", false},
                                                           {"", false},
                                                           {"8.99999999999999999999", true}};
        for (const auto &[version, newer] : rows)
            QTest::newRow(*version ? version : "empty") << QString::fromLatin1(version) << newer;
    }
    void versionGate()
    {
        QFETCH(QString, minClient);
        QFETCH(bool, placeholder);
        QJsonObject description =
            json(u"{\"sections\":[{\"label\":\"Drive\",\"elements\":[{\"type\":\"text\",\"text\":\"body\"}]}]}"_s);
        description.insert("min_client"_L1, minClient);
        std::unique_ptr<QWidget> root(render::screen(description, {}));
        const QFrame *frame = root->findChild<QFrame *>(u"needsUpdate"_s);
        QCOMPARE(frame != nullptr, placeholder);
        QVERIFY(labelTexts(root.get()).contains(u"body"_s)); // the screen is still drawn
        if (!placeholder)
            return;
        QVERIFY(labelTexts(root.get())
                    .join(u'\n')
                    .contains(u"The unit sent a screen built for Kestro Connect %1 or newer, which this app "
                              "(v8.9.13+cdcc16b) cannot draw."_s.arg(minClient)));
        // The placeholder stands above everything else.
        testsupport::layOut(root.get(), 800);
        const QWidget *card = root->findChild<QFrame *>(u"card"_s);
        QVERIFY(frame->mapTo(root.get(), QPoint()).y() < card->mapTo(root.get(), QPoint()).y());
    }

    void fallbacks_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<bool>("builds");
        QTest::addColumn<bool>("placeholder");
        QTest::addColumn<QStringList>("texts");
        QTest::newRow("unknown leaf") << R"({"type":"hologram"})" << true << true << QStringList();
        QTest::newRow("unknown with items draws a column")
            << R"({"type":"hologram","items":[{"type":"text","text":"one"},{"type":"text","text":"two"}]})" << true
            << false << QStringList{u"one"_s, u"two"_s};
        QTest::newRow("no type, no items") << R"({"text":"ignored"})" << false << false << QStringList();
        QTest::newRow("type not a string") << R"({"type":5})" << false << false << QStringList();
        QTest::newRow("no type, items") << R"({"items":[{"type":"text","text":"kept"}]})" << true << false
                                        << QStringList{u"kept"_s};
        QTest::newRow("case matters") << R"({"type":"Heading","text":"x"})" << true << true << QStringList();
        QTest::newRow("registry name, case differs") << R"({"type":"Layout"})" << true << true << QStringList();
        QTest::newRow("items that are not objects")
            << R"({"type":"hologram","items":[1,"x",null,{"type":"text","text":"ok"}]})" << true << false
            << QStringList{u"ok"_s};
    }
    void fallbacks()
    {
        QFETCH(QString, element);
        QFETCH(bool, builds);
        QFETCH(bool, placeholder);
        QFETCH(QStringList, texts);
        const QJsonObject el = json(element);
        std::unique_ptr<QWidget> w = build(el);
        QCOMPARE(w != nullptr, builds);
        if (!w)
            return;
        QCOMPARE(w->findChild<QFrame *>(u"needsUpdate"_s) || w->objectName() == u"needsUpdate"_s, placeholder);
        if (placeholder) {
            const QString type = el.value("type"_L1).toString();
            QVERIFY(labelTexts(w.get()).join(u'\n').contains(u"The unit sent element '%1'"_s.arg(type)));
        }
        for (const QString &t : texts)
            QVERIFY2(labelTexts(w.get()).contains(t), qPrintable(t));
    }

    // Elements nest twelve deep, through the renderer's containers and the primitives' alike; past
    // that a warn-toned note stands in.
    void depthLimit_data()
    {
        QTest::addColumn<QString>("container");
        QTest::addColumn<int>("levels");
        QTest::addColumn<bool>("leafDrawn");
        for (const QString &container : {u"hologram"_s, u"group"_s, u"column"_s, u"layout"_s}) {
            QTest::addRow("%s 12 deep", qPrintable(container)) << container << 12 << true;
            QTest::addRow("%s 13 deep", qPrintable(container)) << container << 13 << false;
        }
    }
    void depthLimit()
    {
        QFETCH(QString, container);
        QFETCH(int, levels);
        QFETCH(bool, leafDrawn);
        std::unique_ptr<QWidget> w = build(nested(levels, container));
        QVERIFY(w);
        QCOMPARE(labelTexts(w.get()).contains(u"leaf"_s), leafDrawn);
        QVERIFY(tooDeepNote(w.get(), !leafDrawn, u"warn"_s));
    }

    void textSizes_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<int>("points");
        QTest::addColumn<bool>("bold");
        QTest::newRow("heading default") << R"({"type":"heading","text":"h"})" << 14 << true;
        QTest::newRow("heading clamped high") << R"({"type":"heading","text":"h","size":100})" << 28 << true;
        QTest::newRow("heading clamped low") << R"({"type":"heading","text":"h","size":2})" << 8 << true;
        QTest::newRow("heading size as text") << R"({"type":"heading","text":"h","size":"20"})" << 14 << true;
        QTest::newRow("text default") << R"({"type":"text","text":"t"})" << 10 << false;
        QTest::newRow("text never below 7") << R"({"type":"text","text":"t","size":1})" << 7 << false;
        QTest::newRow("text bold") << R"({"type":"text","text":"t","bold":true})" << 10 << true;
        QTest::newRow("mono capped at 28") << R"({"type":"text","text":"t","mono":true,"size":60})" << 28 << false;
    }
    void textSizes()
    {
        QFETCH(QString, element);
        QFETCH(int, points);
        QFETCH(bool, bold);
        std::unique_ptr<QWidget> w = build(json(element));
        auto *label = qobject_cast<QLabel *>(w.get());
        QVERIFY(label);
        QCOMPARE(label->font().pointSize(), points);
        QCOMPARE(label->font().bold(), bold);
    }

    void textTones()
    {
        // "body" text is secondary (muted) in a text element but full ink in a heading.
        QCOMPARE(build(json(uR"({"type":"text","text":"t","tone":"body"})"_s))->palette().color(QPalette::WindowText),
                 theme::palette().muted);
        QCOMPARE(
            build(json(uR"({"type":"heading","text":"h","tone":"body"})"_s))->palette().color(QPalette::WindowText),
            theme::palette().ink);
    }

    // Sections nest six below the top; the seventh level is an error-toned note. Elements inside
    // a section go on counting from its depth up to their own limit of twelve.
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
        QJsonObject sec{{"label"_L1, u"level %1"_s.arg(levels)}, {"elements"_L1, QJsonArray{nested(6, u"group"_s)}}};
        for (int d = levels - 1; d >= 0; --d)
            sec = QJsonObject{{"label"_L1, u"level %1"_s.arg(d)}, {"sections"_L1, QJsonArray{sec}}};
        std::unique_ptr<QWidget> w(render::section(sec, {}, 0, nullptr));
        QVERIFY(w);
        const QStringList texts = labelTexts(w.get());
        QVERIFY(texts.contains(u"level %1"_s.arg(levels - 1)));
        QCOMPARE(texts.contains(u"level %1"_s.arg(levels)), !note);
        QCOMPARE(texts.contains(u"leaf"_s), !note);
        QVERIFY(tooDeepNote(w.get(), note, u"error"_s));
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
        QTest::newRow("nothing readable") << R"({"label":3,"elements":"x","sections":{},"badge":3})" << false << "";
    }
    void sectionShapes()
    {
        QFETCH(QString, section);
        QFETCH(bool, covered);
        QFETCH(QString, frameName);
        render::Actions actions;
        if (covered)
            actions.covered = [](const QString &label) { return label == "Lift"_L1 || label.isEmpty(); };
        std::unique_ptr<QWidget> w(render::section(json(section), actions, 0, nullptr));
        QCOMPARE(w != nullptr, !frameName.isEmpty());
        if (frameName == "-"_L1) {
            QVERIFY(!qobject_cast<QFrame *>(w.get()));
            QVERIFY(w->findChild<QFrame *>(u"nested"_s));
        } else if (w) {
            QCOMPARE(w->objectName(), frameName);
        }
    }

    void sectionFrames()
    {
        for (int depth : {0, 1}) {
            std::unique_ptr<QWidget> w(
                render::section(json(uR"({"label":"Brakes","badge":{"label":"CHECKED","tone":"ok"},
                "elements":[{"type":"text","text":"first"}]})"_s),
                                {}, depth, nullptr));
            QCOMPARE(w->objectName(), depth ? u"nested"_s : u"card"_s);
            auto *title = w->findChild<QLabel *>(u"sectionTitle"_s);
            QVERIFY(title);
            QCOMPARE(title->text(), u"Brakes"_s);
            QCOMPARE(title->font().pointSize(), depth ? 11 : 13); // a nested title stands below its card's
            QVERIFY(findLabel(w.get(), u"CHECKED"_s));
        }
    }

    void bundleActions()
    {
        const render::Actions actions = app::bundleActions(json(uR"({
            "/b": {"covers": ["Rail", "Lift"], "value": 2}, "/a": {"covers": "Power"}, "/c": {"value": 3}})"_s));
        QVERIFY(actions.fetch && actions.covered);
        QVERIFY(!actions.press && !actions.save && !actions.warnBox && !actions.collectFields);
        QCOMPARE(actions.fetch(u"/b"_s).value("value"_L1).toInt(), 2);
        QVERIFY(actions.fetch(u"/unknown"_s).isEmpty());
        for (const QString &label : {u"Rail"_s, u"Lift"_s, u"Power"_s})
            QVERIFY2(actions.covered(label), qPrintable(label));
        QVERIFY(!actions.covered(u"rail"_s));
        QVERIFY(!actions.covered(u"Other"_s));

        std::unique_ptr<QWidget> root(render::screen(json(uR"({"sections":[
            {"label":"Rail","elements":[{"type":"text","text":"hidden"}]},
            {"label":"Shown","elements":[{"type":"text","text":"visible"}]}]})"_s),
                                                     actions));
        QVERIFY(!labelTexts(root.get()).contains(u"hidden"_s));
        QVERIFY(labelTexts(root.get()).contains(u"visible"_s));
        QCOMPARE(root->findChildren<QFrame *>(u"card"_s).size(), 1);
    }

    // Unit text reaches a narrow screen as sent: no character inserted, nothing cut but a pill at
    // 40 characters and the placeholder's subject at 200, markup as typed, and a copy gives back
    // the unit's own characters. A long run wraps instead of widening the screen.
    void unitTextAsSent_data()
    {
        QTest::addColumn<QString>("section");
        QTest::addColumn<QString>("shown");
        const QString serial = u"KS3-0142-88-"_s.repeated(6);
        const QString fingerprint = u"3F:A9:"_s.repeated(16);
        const QString markup = u"<b>Lift</b> & <i>drive</i>"_s;
        const QString type = QString(300, u'x');
        auto in = [](const QString &element) { return uR"({"label":"S","elements":[%1]})"_s.arg(element); };
        QTest::newRow("serial in a text")
            << in(uR"({"type":"text","text":"Serial %1"})"_s.arg(serial)) << u"Serial "_s + serial;
        QTest::newRow("fingerprint as a fact value")
            << in(uR"({"type":"fact","label":"Pin","value":"%1"})"_s.arg(fingerprint)) << fingerprint;
        QTest::newRow("section title") << uR"({"label":"%1"})"_s.arg(serial) << serial;
        QTest::newRow("markup in a heading") << in(uR"({"type":"heading","text":"%1"})"_s.arg(markup)) << markup;
        QTest::newRow("markup in a kpi unit") << in(uR"({"type":"kpi","value":3,"unit":"%1"})"_s.arg(markup)) << markup;
        QTest::newRow("long chip") << in(uR"({"type":"chips","items":[{"text":"%1"}]})"_s.arg(fingerprint))
                                   << fingerprint;
        QTest::newRow("pill cut at 40") << in(uR"({"type":"badge","text":"%1"})"_s.arg(serial))
                                        << serial.left(39) + QChar(0x2026);
        QTest::newRow("placeholder subject cut at 200")
            << in(uR"({"type":"%1"})"_s.arg(type))
            << u"The unit sent element '%1, which this app (v8.9.13+cdcc16b) cannot draw. Install the current "
               "Kestro Connect to see it. Everything else on this screen is unaffected."_s.arg(type.left(190) +
                                                                                               QChar(0x2026));
    }
    void unitTextAsSent()
    {
        QFETCH(QString, section);
        QFETCH(QString, shown);
        std::unique_ptr<QWidget> root(render::screen(json(uR"({"sections":[%1]})"_s.arg(section)), {}));
        testsupport::layOut(root.get(), 320);
        QVERIFY2(root->layout()->totalMinimumSize().width() <= 320, "the text widens the screen");
        if (const auto *chips = root->findChild<render::ChipFlow *>()) {
            QCOMPARE(chips->chips().value(0).text, shown);
            QVERIFY(chips->heightForWidth(280) > chips->heightForWidth(4000)); // wrapped, not cut
            return;
        }
        QLabel *label = nullptr;
        for (QLabel *l : root->findChildren<QLabel *>())
            label = l->text() == shown ? l : label;
        QVERIFY2(label, qPrintable(labelTexts(root.get()).join(u'\n')));
        QCOMPARE(label->textFormat(), Qt::PlainText);
        QVERIFY(label->width() <= 320);
        QTest::keyClick(label, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(label, Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QGuiApplication::clipboard()->text(), shown);
        // Dragged over with the mouse from its first character to past its last, alike.
        QGuiApplication::clipboard()->clear();
        const QPoint end(label->width() - 1, label->height() - 2);
        QTest::mousePress(label, Qt::LeftButton, {}, QPoint(1, 2));
        QTest::mouseMove(label, end);
        QTest::mouseRelease(label, Qt::LeftButton, {}, end);
        QTest::keyClick(label, Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QGuiApplication::clipboard()->text(), shown);
    }

    // A key of the wrong type draws exactly as if it were missing, in the section that holds it.
    void wrongTypeDrawsAsMissing_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QJsonValue>("wrong");
        const QList<std::tuple<const char *, const char *, QJsonValue>> rows = {
            {R"({"type":"action","label":"Run"})", "width", u"200px"_s},
            {R"({"type":"text","text":"Serial number"})", "width", u"200px"_s},
            {R"({"type":"led","state":"ok","label":"Lift ready"})", "tone", true},
            {R"({"type":"kpi","value":5,"delta":"-3"})", "delta_tone", 7},
            {R"({"type":"gauge","value":40})", "tone", false},
            {R"({"type":"badge","text":"LIVE"})", "tone", true},
            {R"({"type":"layout","scroll":true,"items":[{"type":"text","text":"a"}]})", "height", u"200px"_s},
            {R"({"type":"shape","kind":"ellipse","size":20})", "fill", 5},
            {R"({"type":"canvas","width":100,"height":20,"items":[{"kind":"rect","x":0,"y":0,"w":10,"h":10,"tone":"ok"}]})",
             "fit", true},
        };
        for (const auto &[element, key, wrong] : rows)
            QTest::addRow("%s %s", element, key) << QString::fromUtf8(element) << QString::fromLatin1(key) << wrong;
    }
    void wrongTypeDrawsAsMissing()
    {
        QFETCH(QString, element);
        QFETCH(QString, key);
        QFETCH(QJsonValue, wrong);
        auto shot = [](const QJsonObject &el) {
            std::unique_ptr<QWidget> card(
                render::section(QJsonObject{{"elements"_L1, QJsonArray{el}}}, {}, 0, nullptr));
            testsupport::layOut(card.get(), 420);
            return card->grab().toImage();
        };
        QJsonObject el = json(element);
        const QImage missing = shot(el);
        el.insert(key, wrong);
        QCOMPARE(shot(el), missing);
    }

    void scrollBody()
    {
        std::unique_ptr<QWidget> root(render::screen(
            json(uR"({"scroll":true,"sections":[{"label":"A","elements":[{"type":"text","text":"a"}]}]})"_s), {}));
        auto *area = root->findChild<QAbstractScrollArea *>();
        QVERIFY(area);
        QCOMPARE(area->horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
        QVERIFY(labelTexts(root.get()).contains(u"a"_s));
    }

    // The header shows the unit's words whole and as typed, however long.
    void chromeHeader()
    {
        const QString title = u"Shuttle <b>7</b> & aisle 2 "_s.repeated(8);
        const QString subtitle = u"KS-300 lift shuttle, firmware 4.2.1 "_s.repeated(8);
        const QString badgeText = u"COMMISSIONING & <i>TEST</i> "_s.repeated(3);
        QJsonObject description{{"title"_L1, title},
                                {"badge"_L1, QJsonObject{{"label"_L1, badgeText}, {"tone"_L1, u"ok"_s}}},
                                {"subtitle"_L1, subtitle},
                                {"signed_in_as"_L1, u"Ana"_s},
                                {"sections"_L1, QJsonArray()}};
        std::unique_ptr<QWidget> shell(app::chromeShell(description, render::screen(description, {})));
        const QStringList texts = labelTexts(shell.get());
        QVERIFY(texts.contains(title));
        QVERIFY(texts.contains(subtitle + u"   |   signed in as Ana"_s));
        for (const QLabel *label : shell->findChildren<QLabel *>()) {
            if (!label->text().isEmpty()) // the logo is a picture
                QCOMPARE(label->textFormat(), Qt::PlainText);
        }
        const QLabel *badge = findLabel(shell.get(), badgeText);
        QVERIFY(badge);
        QVERIFY(badge->styleSheet().contains(theme::toneColor(u"ok"_s).name()));
        QVERIFY(badge->styleSheet().contains(theme::toneSoft(u"ok"_s).name()));
    }
};

QTEST_MAIN(TestDispatch)
#include "tst_dispatch.moc"
