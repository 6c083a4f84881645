// Element dispatch, the version gate, sections and the offline actions, on real widgets.

#include "app/offline.h"
#include "app/theme.h"
#include "render/element.h"
#include "render/screen.h"
#include "render/section.h"
#include "support/testsupport.h"

#include <QAbstractScrollArea>
#include <QFrame>
#include <QJsonArray>
#include <QLabel>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using testsupport::json;

namespace {

QStringList labelTexts(const QWidget *root)
{
    QStringList texts;
    if (auto *self = qobject_cast<const QLabel *>(root))
        texts << self->text();
    for (const QLabel *label : root->findChildren<QLabel *>())
        texts << label->text();
    return texts;
}

bool hasNeedsUpdate(const QWidget *root)
{
    return root->findChild<QFrame *>(u"needsUpdate"_s) != nullptr;
}

// `levels` unknown containers wrapped around one text leaf, so the leaf sits at depth `levels`.
QJsonObject nested(int levels, const QString &type)
{
    QJsonObject el{{"type"_L1, "text"_L1}, {"text"_L1, "leaf"_L1}};
    for (int i = 0; i < levels; ++i)
        el = QJsonObject{{"type"_L1, type}, {"items"_L1, QJsonArray{el}}};
    return el;
}

QJsonObject sectionChain(int levels)
{
    QJsonObject sec{{"label"_L1, "innermost"_L1}, {"elements"_L1, QJsonArray{json(R"({"type":"text","text":"x"})")}}};
    for (int i = 0; i < levels; ++i)
        sec = QJsonObject{{"label"_L1, u"level %1"_s.arg(levels - 1 - i)}, {"sections"_L1, QJsonArray{sec}}};
    return sec;
}

} // namespace

class TestDispatch final : public QObject
{
    Q_OBJECT

    render::Actions m_none;

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
        QTest::newRow("same") << u"8.9.13"_s << false;
        QTest::newRow("older minor") << u"8.9"_s << false;
        QTest::newRow("older major") << u"7"_s << false;
        QTest::newRow("newer minor, numeric not textual") << u"8.10"_s << true;
        QTest::newRow("newer major") << u"9"_s << true;
        QTest::newRow("newer patch") << u"8.9.14"_s << true;
        QTest::newRow("longer, newer") << u"8.9.13.1"_s << true;
        QTest::newRow("trailing text ignored") << u"8.9.13-beta"_s << false;
        QTest::newRow("trailing text, newer") << u"9.0rc1"_s << true;
        QTest::newRow("no number") << u"latest"_s << false;
        QTest::newRow("leading v") << u"v9"_s << false;
        QTest::newRow("empty") << QString() << false;
    }
    void versionGate()
    {
        QFETCH(QString, minClient);
        QFETCH(bool, placeholder);
        QJsonObject description = json(R"({"sections":[{"label":"Drive","elements":[{"type":"text","text":"body"}]}]})");
        description.insert("min_client"_L1, minClient);
        std::unique_ptr<QWidget> root(render::screen(description, m_none));
        QCOMPARE(hasNeedsUpdate(root.get()), placeholder);
        QVERIFY(labelTexts(root.get()).contains(u"body"_s));
        if (placeholder) {
            const QString expected = u"The unit sent a screen built for Kestro Connect %1 or newer, which this app "
                                     "(v8.9.13+cdcc16b) cannot draw."_s.arg(minClient);
            QVERIFY(labelTexts(root.get()).join(u'\n').contains(expected));
            // The placeholder stands above everything else.
            testsupport::layOut(root.get(), 800);
            const QWidget *frame = root->findChild<QFrame *>(u"needsUpdate"_s);
            const QWidget *card = root->findChild<QFrame *>(u"card"_s);
            QVERIFY(frame->mapTo(root.get(), QPoint()).y() < card->mapTo(root.get(), QPoint()).y());
        }
    }

    void fallbacks_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<bool>("builds");
        QTest::addColumn<bool>("placeholder");
        QTest::addColumn<QStringList>("texts");
        QTest::newRow("unknown leaf") << uR"({"type":"hologram"})"_s << true << true << QStringList();
        QTest::newRow("unknown with items draws a column")
            << uR"({"type":"hologram","items":[{"type":"text","text":"one"},{"type":"text","text":"two"}]})"_s
            << true << false << QStringList{u"one"_s, u"two"_s};
        QTest::newRow("no type, no items") << uR"({"text":"ignored"})"_s << false << false << QStringList();
        QTest::newRow("type not a string") << uR"({"type":5})"_s << false << false << QStringList();
        QTest::newRow("no type, items") << uR"({"items":[{"type":"text","text":"kept"}]})"_s << true << false
                                        << QStringList{u"kept"_s};
        QTest::newRow("case matters") << uR"({"type":"Heading","text":"x"})"_s << true << true << QStringList();
        QTest::newRow("registry name without a builder, case differs")
            << uR"({"type":"Layout"})"_s << true << true << QStringList();
        QTest::newRow("heading") << uR"({"type":"heading","text":"Title"})"_s << true << false
                                 << QStringList{u"Title"_s};
        QTest::newRow("items that are not objects")
            << uR"({"type":"hologram","items":[1,"x",null,{"type":"text","text":"ok"}]})"_s << true << false
            << QStringList{u"ok"_s};
    }
    void fallbacks()
    {
        QFETCH(QString, element);
        QFETCH(bool, builds);
        QFETCH(bool, placeholder);
        QFETCH(QStringList, texts);
        const QJsonObject el = json(element.toUtf8().constData());
        std::unique_ptr<QWidget> w(render::element(el, m_none, 0, nullptr));
        QCOMPARE(w != nullptr, builds);
        if (!w)
            return;
        QCOMPARE(hasNeedsUpdate(w.get()) || w->objectName() == u"needsUpdate"_s, placeholder);
        if (placeholder) {
            const QString type = el.value("type"_L1).toString();
            QVERIFY(labelTexts(w.get()).join(u'\n').contains(u"The unit sent element '%1'"_s.arg(type)));
        }
        for (const QString &t : texts)
            QVERIFY2(labelTexts(w.get()).contains(t), qPrintable(t));
    }

    void depthLimit_data()
    {
        QTest::addColumn<QString>("container");
        QTest::addColumn<int>("levels");
        QTest::addColumn<bool>("leafDrawn");
        for (const QString &container : {u"hologram"_s, u"group"_s, u"column"_s}) {
            QTest::addRow("%s 12 deep", qPrintable(container)) << container << 12 << true;
            QTest::addRow("%s 13 deep", qPrintable(container)) << container << 13 << false;
        }
    }
    void depthLimit()
    {
        QFETCH(QString, container);
        QFETCH(int, levels);
        QFETCH(bool, leafDrawn);
        std::unique_ptr<QWidget> w(render::element(nested(levels, container), m_none, 0, nullptr));
        QVERIFY(w);
        const QStringList texts = labelTexts(w.get());
        QCOMPARE(texts.contains(u"leaf"_s), leafDrawn);
        QCOMPARE(texts.contains(u"(nested too deeply to draw)"_s), !leafDrawn);
    }

    void tooDeepNoteIsWarnToned()
    {
        std::unique_ptr<QWidget> w(render::element(json(R"({"type":"text","text":"x"})"), m_none, 13, nullptr));
        auto *label = qobject_cast<QLabel *>(w.get());
        QVERIFY(label);
        QCOMPARE(label->text(), u"(nested too deeply to draw)"_s);
        QVERIFY(label->styleSheet().contains(theme::toneColor(u"warn"_s).name()));
    }

    void textSizes_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<int>("points");
        QTest::addColumn<bool>("bold");
        QTest::newRow("heading default") << uR"({"type":"heading","text":"h"})"_s << 14 << true;
        QTest::newRow("heading clamped high") << uR"({"type":"heading","text":"h","size":100})"_s << 28 << true;
        QTest::newRow("heading clamped low") << uR"({"type":"heading","text":"h","size":2})"_s << 8 << true;
        QTest::newRow("heading size as text") << uR"({"type":"heading","text":"h","size":"20"})"_s << 14 << true;
        QTest::newRow("text default") << uR"({"type":"text","text":"t"})"_s << 10 << false;
        QTest::newRow("text never below 7") << uR"({"type":"text","text":"t","size":1})"_s << 7 << false;
        QTest::newRow("text bold") << uR"({"type":"text","text":"t","bold":true})"_s << 10 << true;
        QTest::newRow("mono capped at 28") << uR"({"type":"text","text":"t","mono":true,"size":60})"_s << 28
                                           << false;
        QTest::newRow("NaN-ish size") << uR"({"type":"text","text":"t","size":null})"_s << 10 << false;
    }
    void textSizes()
    {
        QFETCH(QString, element);
        QFETCH(int, points);
        QFETCH(bool, bold);
        std::unique_ptr<QWidget> w(render::element(json(element.toUtf8().constData()), m_none, 0, nullptr));
        auto *label = qobject_cast<QLabel *>(w.get());
        QVERIFY(label);
        QCOMPARE(label->font().pointSize(), points);
        QCOMPARE(label->font().bold(), bold);
    }

    void textTones()
    {
        // "body" text is secondary (muted) in a text element but full ink in a heading.
        std::unique_ptr<QWidget> text(render::element(json(R"({"type":"text","text":"t","tone":"body"})"), m_none, 0, nullptr));
        std::unique_ptr<QWidget> head(render::element(json(R"({"type":"heading","text":"h","tone":"body"})"), m_none, 0, nullptr));
        QVERIFY(text->styleSheet().contains(theme::palette().muted.name()));
        QVERIFY(head->styleSheet().contains(theme::palette().ink.name()));
    }

    void sectionDepth_data()
    {
        QTest::addColumn<int>("levels");
        QTest::addColumn<bool>("innermostDrawn");
        QTest::newRow("6 levels of sub-sections") << 6 << true;
        QTest::newRow("7 levels of sub-sections") << 7 << false;
    }
    void sectionDepth()
    {
        QFETCH(int, levels);
        QFETCH(bool, innermostDrawn);
        std::unique_ptr<QWidget> w(render::section(sectionChain(levels), m_none, 0, nullptr));
        const QStringList texts = labelTexts(w.get());
        QCOMPARE(texts.contains(u"innermost"_s), innermostDrawn);
        QCOMPARE(texts.contains(u"(nested too deeply to draw)"_s), !innermostDrawn);
        if (!innermostDrawn) {
            for (const QLabel *label : w->findChildren<QLabel *>()) {
                if (label->text() == u"(nested too deeply to draw)"_s)
                    QVERIFY(label->styleSheet().contains(theme::toneColor(u"error"_s).name()));
            }
        }
    }

    void elementsDeepInsideOneSectionDraw()
    {
        QJsonObject sec{{"label"_L1, "s"_L1}, {"elements"_L1, QJsonArray{nested(7, u"hologram"_s)}}};
        std::unique_ptr<QWidget> w(render::section(sec, m_none, 0, nullptr));
        QVERIFY(labelTexts(w.get()).contains(u"leaf"_s));
    }

    void sectionShapes()
    {
        // Only sub-sections: no card around them.
        std::unique_ptr<QWidget> plain(render::section(
            json(R"({"sections":[{"label":"A","elements":[{"type":"text","text":"a"}]}]})"), m_none, 0, nullptr));
        QVERIFY(plain);
        QVERIFY(plain->objectName().isEmpty());
        QCOMPARE(plain->findChildren<QFrame *>(u"nested"_s).size(), 1);

        std::unique_ptr<QWidget> card(render::section(json(R"({"label":"Top","badge":{"label":"OK","tone":"ok"},
            "sections":[{"label":"Inner","elements":[{"type":"text","text":"i"}]}]})"), m_none, 0, nullptr));
        QCOMPARE(card->objectName(), u"card"_s);
        QVERIFY(labelTexts(card.get()).contains(u"OK"_s));
        const QLabel *title = card->findChild<QLabel *>(u"sectionTitle"_s);
        QCOMPARE(title->text(), u"Top"_s);
        QCOMPARE(title->font().pointSize(), 13);

        QVERIFY(!render::section(json(R"({"elements":[],"sections":"x","badge":3})"), m_none, 0, nullptr));
    }

    void bundleActions()
    {
        const QJsonObject endpoints = json(R"({
            "/b": {"covers": ["Rail", "Lift"], "value": 2},
            "/a": {"covers": "Power"},
            "/c": {"value": 3}})");
        const render::Actions actions = app::bundleActions(endpoints);
        QVERIFY(actions.fetch && actions.covered);
        QVERIFY(!actions.press && !actions.save && !actions.warnBox && !actions.collectFields);
        QCOMPARE(actions.fetch(u"/b"_s).value("value"_L1).toInt(), 2);
        QVERIFY(actions.fetch(u"/unknown"_s).isEmpty());
        for (const QString &label : {u"Rail"_s, u"Lift"_s, u"Power"_s})
            QVERIFY2(actions.covered(label), qPrintable(label));
        QVERIFY(!actions.covered(u"rail"_s));
        QVERIFY(!actions.covered(u"Other"_s));

        const QJsonObject description = json(R"({"sections":[
            {"label":"Rail","elements":[{"type":"text","text":"hidden"}]},
            {"label":"Shown","elements":[{"type":"text","text":"visible"}]}]})");
        std::unique_ptr<QWidget> root(render::screen(description, actions));
        QVERIFY(!labelTexts(root.get()).contains(u"hidden"_s));
        QVERIFY(labelTexts(root.get()).contains(u"visible"_s));
        QCOMPARE(root->findChildren<QFrame *>(u"card"_s).size(), 1);
    }

    void scrollBody()
    {
        std::unique_ptr<QWidget> root(render::screen(
            json(R"({"scroll":true,"sections":[{"label":"A","elements":[{"type":"text","text":"a"}]}]})"), m_none));
        auto *area = root->findChild<QAbstractScrollArea *>();
        QVERIFY(area);
        QCOMPARE(area->horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
        QVERIFY(labelTexts(root.get()).contains(u"a"_s));
    }

    void chromeHeader()
    {
        const QJsonObject description = json(R"({"title":"Shuttle 7","badge":{"label":"LIVE","tone":"ok"},
            "subtitle":"Aisle 2","signed_in_as":"Ana","sections":[]})");
        std::unique_ptr<QWidget> shell(app::chromeShell(description, render::screen(description, m_none)));
        const QStringList texts = labelTexts(shell.get());
        QVERIFY(texts.contains(u"Shuttle 7"_s));
        QVERIFY(texts.contains(u"Aisle 2   |   signed in as Ana"_s));
        for (const QLabel *label : shell->findChildren<QLabel *>()) {
            if (label->text() == u"LIVE"_s) {
                QVERIFY(label->styleSheet().contains(theme::toneColor(u"ok"_s).name()));
                QVERIFY(label->styleSheet().contains(theme::toneSoft(u"ok"_s).name()));
            }
        }
    }
};

QTEST_MAIN(TestDispatch)
#include "tst_dispatch.moc"
