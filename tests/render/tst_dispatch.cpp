// Element dispatch, the version gate, sections and the offline actions, on real widgets; rows
// where screens put them (a section, a group, a dialog, a tab page, beside a growing item);
// docs/elements.md, which cannot rot (every ```json example in it draws inside a section without
// the needs-update note, and every element type and field kind this client draws has one); and
// random malformed screen descriptions, which must draw without a crash and lay out. The generator
// knows the element types and the keys builders read, so it reaches deep into every builder;
// KESTRO_FUZZ_SEED picks other seeds.

#include "app/base/theme.h"
#include "app/offline.h"
#include "prims/registry.h"
#include "render/element.h"
#include "render/fields.h"
#include "render/screen.h"
#include "render/section.h"
#include "support/actions.h"
#include "support/widgets.h"

#include <QAbstractScrollArea>
#include <QClipboard>
#include <QFrame>
#include <QGuiApplication>
#include <QLayout>
#include <QPixmap>
#include <QPushButton>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

using testsupport::findLabel;
using testsupport::json;
using testsupport::labelTexts;

std::unique_ptr<QWidget> build(const QJsonObject &el, int depth = 0)
{
    return std::unique_ptr<QWidget>(render::element(el, {}, depth, nullptr));
}

// `levels` containers wrapped around one text leaf, so the leaf sits at depth `levels`.
QJsonObject nested(int levels, const QString &type)
{
    QJsonObject el{{"type"_L1, "text"_L1}, {"text"_L1, "leaf"_L1}};
    for (int i = 0; i < levels; ++i)
        el = QJsonObject{{"type"_L1, type}, {"items"_L1, QJsonArray{el}}};
    return el;
}

// The ```json blocks of docs/elements.md.
QList<QJsonObject> examples()
{
    static const QRegularExpression fence(u"^```json\\n(.*?)^```"_s,
                                          QRegularExpression::MultilineOption |
                                              QRegularExpression::DotMatchesEverythingOption);
    QList<QJsonObject> blocks;
    const QString text = QString::fromUtf8(testsupport::readFile(testsupport::sourceDir() + u"/docs/elements.md"_s));
    for (auto it = fence.globalMatch(text); it.hasNext();)
        blocks << json(it.next().captured(1));
    return blocks;
}

std::unique_ptr<QWidget> screen(const QString &description, int width)
{
    std::unique_ptr<QWidget> root(render::screen(testsupport::json(description), {}));
    testsupport::layOut(root.get(), width);
    return root;
}

QRect inRoot(const QWidget *w, const QWidget *root)
{
    return QRect(w->mapTo(root, QPoint()), w->size());
}

// The parents a screen puts things in, each holding `%1` and `%2` after it.
const QList<std::pair<const char *, QString>> kParents = {
    {"section", u"%1,%2"_s},
    {"group", uR"({"type":"group","title":"Group","items":[%1,%2]})"_s},
    {"dialog", uR"({"type":"dialog","title":"Dialog","items":[%1,%2]})"_s},
    {"tab page", uR"({"type":"tabs","tabs":[{"label":"Page","items":[%1,%2]}]})"_s},
    {"beside a growing item", uR"({"type":"layout","items":[%1,{"type":"text","text":"%2","grow":true}]})"_s}};

QString inSection(const QString &elements)
{
    return uR"({"sections":[{"label":"Section","elements":[%1]}]})"_s.arg(elements);
}

// The keys builders read; the first seven hold children, so that screens nest.
const QStringList kKeys =
    QStringLiteral("sections elements steps items tabs cards actions type text label tone size width height id "
                   "value values min max weights flow stages points data columns rows path body confirm source "
                   "shapes viewbox title detail badge gap pad align justify grow scroll active sizes state "
                   "min_item_width open tip item kind style sound method send_fields clear_fields fit frame_height "
                   "transform fill stroke defs use d x y w h r src lines unit delta note outline decimals choices "
                   "options default placeholder mode on checked tween_ms background click hidden visible opacity "
                   "min_client completed current locked issue")
        .split(u' ');

// Numbers past every range; empty, tone and layout words, markup.
const QList<double> kNumbers{qQNaN(), qInf(), -1e308, 4294967296.0, -2e9};
const QStringList kWords = QStringLiteral("|no|1|9|ok|#zz|row|center|between|/api/x|POST|ERASE|line\nbreak\ttab "
                                          "<b>markup</b> &amp; ünïcödé ✓")
                               .split(u'|');

struct Generator
{
    QRandomGenerator rng;

    int below(int n) { return int(rng.bounded(n)); }

    QJsonValue scalar()
    {
        switch (below(5)) {
        case 0:
            return below(2) ? QJsonValue(kNumbers.at(below(int(kNumbers.size()))))
                            : QJsonValue(kWords.at(below(int(kWords.size()))));
        case 1:
            return QString(below(4000) + 1, u'W');
        case 2:
            return below(2000) - 500;
        case 3:
            return rng.generateDouble();
        default:
            return below(2) ? QJsonValue(QJsonValue::Null) : QJsonValue(true); // a type a key never holds
        }
    }

    // An object of random keys, typed as an element most of the time, holding more of its kind
    // under the keys that nest (sometimes very deep), and now and then a huge flat array.
    QJsonValue object(int depth)
    {
        static const QStringList types =
            render::ownTypeNames() + prims::primitiveNames() + QStringList{u"Heading"_s, u"unknown_thing"_s};
        QJsonObject o;
        if (below(100) < 90)
            o.insert("type"_L1, types.at(below(int(types.size()))));
        for (int i = 0, n = below(9); i < n; ++i) {
            const int k = below(5) ? below(int(kKeys.size())) : below(7); // a fifth of the keys nest
            const bool nests = k < 7;
            if (nests && depth < (below(100) < 3 ? 40 : 4)) {
                QJsonArray list;
                for (int j = 0, m = below(4); j < m; ++j)
                    list.append(below(100) < 5 ? scalar() : object(depth + 1));
                o.insert(kKeys.at(k), list);
            } else if (below(100) < 2) {
                QJsonArray huge;
                for (int j = 0, m = 4000 + below(2000); j < m; ++j)
                    huge.append(j % 7 ? QJsonValue(j) : scalar());
                o.insert(kKeys.at(k), huge);
            } else {
                o.insert(kKeys.at(k), below(100) < 15 && depth < 8 ? object(depth + 2) : scalar());
            }
        }
        return o;
    }
};

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

    // This build is 8.9.13: numbers compare numerically, trailing text after them is ignored.
    void versionGate_data()
    {
        QTest::addColumn<QString>("minClient");
        QTest::addColumn<bool>("placeholder");
        for (const char *version : {"8.10", "8.9.13.1", "8.99999999999999999999"})
            QTest::newRow(version) << QString::fromLatin1(version) << true;
        for (const char *version : {"8.9.13", "8.9.13-beta"})
            QTest::newRow(version) << QString::fromLatin1(version) << false;
    }
    void versionGate()
    {
        QFETCH(QString, minClient);
        QFETCH(bool, placeholder);
        QJsonObject description = testsupport::oneSection({json(R"({"type":"text","text":"body"})")});
        description.insert("min_client"_L1, minClient);
        std::unique_ptr<QWidget> root(render::screen(description, {}));
        const QFrame *frame = root->findChild<QFrame *>(u"needsUpdate"_s);
        QVERIFY(labelTexts(root.get()).contains(u"body"_s)); // the screen is still drawn
        QCOMPARE(frame != nullptr, placeholder);
        if (!placeholder)
            return;
        QVERIFY(labelTexts(root.get())
                    .join(u'\n')
                    .contains(u"The unit sent a screen built for Kestro Connect %1 or newer, which "
                              "this app (v8.9.13+cdcc16b) cannot draw."_s.arg(minClient)));
    }

    void fallbacks_data()
    {
        QTest::addColumn<QString>("element");
        QTest::addColumn<bool>("builds");
        QTest::addColumn<bool>("placeholder");
        QTest::addColumn<QStringList>("texts");
        QTest::newRow("unknown leaf") << R"({"type":"hologram"})" << true << true << QStringList();
        QTest::newRow("unknown with items draws them, objects only")
            << R"({"type":"hologram","items":[1,"x",null,{"type":"text","text":"one"},{"type":"text","text":"two"}]})"
            << true << false << QStringList{u"one"_s, u"two"_s};
        QTest::newRow("type not a string") << R"({"type":5})" << false << false << QStringList();
        QTest::newRow("no type, items") << R"({"items":[{"type":"text","text":"kept"}]})" << true << false
                                        << QStringList{u"kept"_s};
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
        const QString all = labelTexts(w.get()).join(u'\n');
        QCOMPARE(all.contains(u"The unit sent element '%1'"_s.arg(el.value("type"_L1).toString())), placeholder);
        for (const QString &t : texts)
            QVERIFY2(labelTexts(w.get()).contains(t), qPrintable(t));
    }

    // Elements nest twelve deep, through the renderer's containers and the primitives' alike, and
    // past that a note stands in. Sections nest six below the top, the seventh is a note, and
    // elements inside a section go on counting from its depth.
    void depthLimits_data()
    {
        QTest::addColumn<QString>("container");
        QTest::addColumn<int>("levels");
        for (const QString &container : {u"section"_s, u"hologram"_s, u"group"_s, u"column"_s, u"layout"_s})
            for (int levels : {12, 13})
                QTest::addRow("%s %d deep", qPrintable(container), levels) << container << levels;
    }
    void depthLimits()
    {
        QFETCH(QString, container);
        QFETCH(int, levels);
        std::unique_ptr<QWidget> w;
        if (container == "section"_L1) { // 6 or 7 sections below the top, 6 groups in the last
            QJsonObject sec{{"label"_L1, u"last"_s}, {"elements"_L1, QJsonArray{nested(6, u"group"_s)}}};
            for (int d = levels - 7; d >= 0; --d)
                sec = QJsonObject{{"label"_L1, u"level %1"_s.arg(d)}, {"sections"_L1, QJsonArray{sec}}};
            w.reset(render::section(sec, {}, 0, nullptr));
            QCOMPARE(labelTexts(w.get()).contains(u"last"_s), levels <= 12);
        } else {
            w = build(nested(levels, container));
        }
        QCOMPARE(labelTexts(w.get()).contains(u"leaf"_s), levels <= 12);
        QCOMPARE(findLabel(w.get(), u"(nested too deeply to draw)"_s) != nullptr, levels > 12);
    }

    void bundleActions()
    {
        const render::Actions actions = app::bundleActions(json(uR"({
            "/b": {"covers": ["Rail", "Lift"], "value": 2}, "/a": {"covers": "Power"}, "/c": {"value": 3}})"_s));
        QVERIFY(!actions.press && !actions.save && !actions.warnBox && !actions.collectFields);
        QCOMPARE(actions.fetch(u"/b"_s).value("value"_L1).toInt(), 2);
        QVERIFY(actions.fetch(u"/unknown"_s).isEmpty() && actions.covered(u"Lift"_s) && actions.covered(u"Power"_s));
        QVERIFY(!actions.covered(u"rail"_s) && !actions.covered(u"Other"_s));
        std::unique_ptr<QWidget> root(render::screen(json(uR"({"sections":[
            {"label":"Rail","elements":[{"type":"text","text":"hidden"}]},
            {"label":"Shown","elements":[{"type":"text","text":"visible"}]}]})"_s),
                                                     actions));
        QVERIFY(!labelTexts(root.get()).contains(u"hidden"_s) && labelTexts(root.get()).contains(u"visible"_s));
    }

    // Unit text reaches a narrow screen as sent: no character inserted, nothing cut but a pill at
    // 40 characters, and a copy gives back the unit's own characters. A long run wraps instead of
    // widening the screen.
    void unitTextAsSent_data()
    {
        QTest::addColumn<QString>("section");
        QTest::addColumn<QString>("shown");
        const QString serial = u"KS3-0142-88-"_s.repeated(6), fingerprint = u"3F:A9:"_s.repeated(16);
        auto in = [](const QString &element) { return uR"({"label":"S","elements":[%1]})"_s.arg(element); };
        QTest::newRow("serial in a text")
            << in(uR"({"type":"text","text":"Serial %1"})"_s.arg(serial)) << u"Serial "_s + serial;
        QTest::newRow("fingerprint as a fact value")
            << in(uR"({"type":"fact","label":"Pin","value":"%1"})"_s.arg(fingerprint)) << fingerprint;
        QTest::newRow("pill cut at 40") << in(uR"({"type":"badge","text":"%1"})"_s.arg(serial))
                                        << serial.left(39) + QChar(0x2026);
    }
    void unitTextAsSent()
    {
        QFETCH(QString, section);
        QFETCH(QString, shown);
        std::unique_ptr<QWidget> root(render::screen(json(uR"({"sections":[%1]})"_s.arg(section)), {}));
        testsupport::layOut(root.get(), 320);
        QVERIFY2(root->layout()->totalMinimumSize().width() <= 320, "the text widens the screen");
        QLabel *label = findLabel(root.get(), shown);
        QVERIFY2(label, qPrintable(labelTexts(root.get()).join(u'\n')));
        QVERIFY(label->textFormat() == Qt::PlainText && label->width() <= 320);
        QTest::keyClick(label, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(label, Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QGuiApplication::clipboard()->text(), shown);
    }

    // Every line of the row is shown inside the row, nothing overlaps, and what follows the row
    // comes after its last line.
    void rowsShowAllTheirLines_data()
    {
        QTest::addColumn<QString>("elements");
        QTest::addColumn<int>("count");
        const QString buttons = uR"({"type":"layout","flow":"row","items":[{"type":"action","label":"Start drive"},
            {"type":"action","label":"Home carriage"},{"type":"action","label":"Jog left"},
            {"type":"action","label":"Jog right"},{"type":"action","label":"Park and lock"}]})"_s;
        const QString reflow = uR"({"type":"layout","flow":"row","min_item_width":200,"items":[
            {"type":"text","text":"Left rail end measured"},{"type":"text","text":"Right rail end measured"},
            {"type":"text","text":"Encoder counts measured"}]})"_s;
        const QString fact = uR"({"type":"fact","label":"Encoder counts at the far rail end after homing",
            "value":"12 884 counts against rail marks 1 to 4 at creep speed, measured"})"_s;
        for (const auto &[name, parent] : kParents) {
            const QString after = parent.contains("grow"_L1) ? u"after"_s : uR"({"type":"text","text":"after"})"_s;
            QTest::addRow("buttons in %s", name) << parent.arg(buttons, after) << 5;
            QTest::addRow("reflow in %s", name) << parent.arg(reflow, after) << 3;
            QTest::addRow("fact in %s", name) << parent.arg(fact, after) << 1;
        }
    }
    void rowsShowAllTheirLines()
    {
        QFETCH(QString, elements);
        QFETCH(int, count);
        std::unique_ptr<QWidget> root = screen(inSection(elements), 330);
        QList<QWidget *> items;
        for (QWidget *w : root->findChildren<QWidget *>())
            if (qobject_cast<QPushButton *>(w) ||
                (qobject_cast<QLabel *>(w) && qobject_cast<QLabel *>(w)->text().endsWith("measured"_L1)))
                items << w;
        QCOMPARE(items.size(), count);
        const QWidget *holder = items.first()->parentWidget();
        const QLabel *after = testsupport::findLabel(root.get(), u"after"_s);
        for (qsizetype i = 0; i < items.size(); ++i) {
            const QWidget *item = items.at(i);
            QVERIFY(item->isVisible() && !item->size().isEmpty());
            QVERIFY2(item->height() >= item->heightForWidth(item->width()), "an item is cut to fewer lines");
            QVERIFY2(holder->rect().contains(item->geometry()), "an item lies outside its row");
            QVERIFY2(inRoot(item, root.get()).bottom() < inRoot(after, root.get()).top(),
                     "an item runs into what follows");
            for (qsizetype j = i + 1; j < items.size(); ++j)
                QVERIFY(!item->geometry().intersects(items.at(j)->geometry()));
        }
    }

    void documentedExampleDraws_data()
    {
        QTest::addColumn<QJsonObject>("example");
        const QList<QJsonObject> blocks = examples();
        for (qsizetype i = 0; i < blocks.size(); ++i)
            QTest::addRow("%d %s", int(i + 1), qPrintable(blocks.at(i).value("type"_L1).toString())) << blocks.at(i);
    }
    void documentedExampleDraws()
    {
        QFETCH(QJsonObject, example);
        const QString type = example.value("type"_L1).toString();
        std::unique_ptr<QWidget> root(render::screen(testsupport::oneSection({example}, u"Example"_s), {}));
        testsupport::layOut(root.get(), 700);
        QVERIFY2(root->findChild<QFrame *>(u"card"_s)->layout()->count() >= 2, "the example drew nothing");
        const QFrame *note = root->findChild<QFrame *>(u"needsUpdate"_s);
        // Panels are drawn by the board layer: until a build has it, a panel may show the note.
        QVERIFY2(!note || type == "panel"_L1, qPrintable(note ? labelTexts(note).join(u' ') : QString()));
    }

    // Every type this client draws, and every field kind, has an example.
    void everyTypeDocumented()
    {
        QVERIFY2(examples().size() > 40, "docs/elements.md has too few examples (or was not found)");
        QSet<QString> types;
        for (const QJsonObject &el : examples())
            types << el.value("type"_L1).toString() +
                         (el.value("type"_L1) == "field"_L1 ? el.value("kind"_L1).toString() : QString());
        QStringList missing;
        for (const QString &t : render::ownTypeNames() + prims::primitiveNames())
            if (!types.contains(t) && t != "field"_L1)
                missing << t;
        for (const QString &k : render::fieldKinds())
            if (!types.contains(u"field"_s + k))
                missing << u"field kind "_s + k;
        QVERIFY2(missing.isEmpty(), qPrintable(u"no example for: "_s + missing.join(u", "_s)));
    }

    void malformedScreensDraw_data()
    {
        QTest::addColumn<quint32>("seed");
        const quint32 base = qEnvironmentVariableIsSet("KESTRO_FUZZ_SEED")
                                 ? quint32(qEnvironmentVariableIntValue("KESTRO_FUZZ_SEED"))
                                 : 20261121u;
        for (quint32 i = 0; i < 200; ++i)
            QTest::addRow("seed %u", base + i) << base + i;
    }
    void malformedScreensDraw()
    {
        QFETCH(quint32, seed);
        Generator gen{QRandomGenerator(seed)};
        QJsonObject description = gen.object(0).toObject();
        QJsonArray sections;
        for (int i = 0, n = gen.below(5); i < n; ++i) {
            QJsonObject section = gen.object(1).toObject();
            QJsonArray elements;
            for (int j = 0, m = gen.below(7); j < m; ++j)
                elements.append(gen.object(1));
            section.insert("elements"_L1, elements);
            sections.append(section);
        }
        description.insert("sections"_L1, sections);
        // Drawing never presses, saves, carries or warns, whatever the description says.
        testsupport::RecordedActions rec;
        render::Actions actions = rec.actions();
        const render::Actions bundle = app::bundleActions({});
        actions.fetch = bundle.fetch;
        actions.covered = bundle.covered;
        std::unique_ptr<QWidget> root(render::screen(description, seed % 2 ? actions : render::Actions()));
        const int width = 280 + int(seed % 9) * 130;
        testsupport::layOut(root.get(), width);
        QCOMPARE(root->width(), width);
        // No value may force the screen wider than a laptop display.
        QVERIFY2(root->layout()->totalMinimumSize().width() <= 1600,
                 qPrintable(QString::number(root->layout()->totalMinimumSize().width())));
        QVERIFY(root->height() > 0 && !root->grab().isNull());
        QVERIFY(rec.presses.isEmpty() && rec.saves.isEmpty() && rec.carries.isEmpty() && rec.warnings.isEmpty());
    }
};

QTEST_MAIN(TestDispatch)
#include "tst_dispatch.moc"
