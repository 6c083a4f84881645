// Random malformed screen descriptions: every shape of bad input must draw without a crash and
// lay out. The generator knows the element types and the keys builders read, so it reaches deep
// into every builder rather than bouncing off the dispatch.

#include "app/offline.h"
#include "prims/registry.h"
#include "render/element.h"
#include "render/screen.h"
#include "support/testsupport.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QLayout>
#include <QPixmap>
#include <QRandomGenerator>
#include <QTest>

#include <cmath>
#include <limits>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

class Generator
{
public:
    explicit Generator(quint32 seed)
        : m_rng(seed)
    {}

    QJsonObject screen()
    {
        QJsonObject s;
        maybe(s, "min_client"_L1, [&] { return pick<QJsonValue>({u"9"_s, u"8.9"_s, u"x"_s, 3, QJsonArray()}); });
        maybe(s, "scroll"_L1, [&] { return scalar(); });
        maybe(s, "steps"_L1, [&] { return list([&] { return QJsonValue(step()); }, 6); });
        s.insert("sections"_L1, chance(90) ? list([&] { return QJsonValue(section(0)); }, 5) : value(2));
        return s;
    }

private:
    QRandomGenerator m_rng;

    bool chance(int percent) { return int(m_rng.bounded(100)) < percent; }
    int below(int n) { return int(m_rng.bounded(n)); }

    template<typename T> T pick(std::initializer_list<T> items) { return *(items.begin() + below(int(items.size()))); }

    template<typename F> void maybe(QJsonObject &o, QLatin1StringView key, F make)
    {
        if (chance(50))
            o.insert(key, make());
    }

    template<typename F> QJsonArray list(F make, int most)
    {
        QJsonArray a;
        const int n = below(most + 1);
        for (int i = 0; i < n; ++i)
            a.append(make());
        return a;
    }

    QString text()
    {
        switch (below(8)) {
        case 0:
            return {};
        case 1:
            return QString(below(4000) + 1, u'W');
        case 2:
            return pick({u"ok"_s, u"warn"_s, u"error"_s, u"busy"_s, u"accent"_s, u"idle"_s, u"#12ab34"_s, u"#zz"_s});
        case 3:
            return pick({u"row"_s, u"column"_s, u"center"_s, u"end"_s, u"between"_s, u"fill"_s, u"width"_s});
        case 4:
            return u"line\nbreak\ttab <b>markup</b> &amp; ünïcödé ✓"_s;
        case 5:
            return pick({u"/api/x"_s, u"/api/ui"_s, u"POST"_s, u"get"_s, u"refresh"_s, u"ERASE"_s});
        default:
            return u"text %1"_s.arg(m_rng.generate());
        }
    }

    QJsonValue number()
    {
        switch (below(8)) {
        case 0:
            return std::numeric_limits<double>::quiet_NaN();
        case 1:
            return std::numeric_limits<double>::infinity();
        case 2:
            return -std::numeric_limits<double>::infinity();
        case 3:
            return pick({1e308, -1e308, 2e9, -2e9, 4294967296.0});
        case 4:
            return -below(1000);
        case 5:
            return m_rng.generateDouble();
        default:
            return below(2000);
        }
    }

    QJsonValue scalar()
    {
        switch (below(5)) {
        case 0:
            return number();
        case 1:
            return text();
        case 2:
            return chance(50);
        case 3:
            return QJsonValue(QJsonValue::Null);
        default:
            return pick<QJsonValue>({u"true"_s, u"no"_s, u"1"_s, u"0"_s});
        }
    }

    QJsonValue value(int budget)
    {
        if (budget <= 0 || chance(60))
            return scalar();
        if (chance(50)) {
            if (chance(5)) { // huge flat array
                QJsonArray a;
                for (int i = 0, n = 4000 + below(2000); i < n; ++i)
                    a.append(i % 7 ? QJsonValue(i) : QJsonValue(text()));
                return a;
            }
            return list([&] { return value(budget - 1); }, 5);
        }
        QJsonObject o;
        for (int i = 0, n = below(5); i < n; ++i)
            o.insert(key(), value(budget - 1));
        return o;
    }

    QString key()
    {
        static const QStringList keys =
            QStringLiteral(
                "type items text label tone size width height id value values min max weights flow tabs stages points "
                "data columns rows path body confirm source shapes viewbox cards actions title detail badge gap pad "
                "align "
                "justify grow scroll active sizes state min_item_width open tip item kind style sound method "
                "send_fields "
                "clear_fields fit frame_height transform fill stroke defs use d x y w h r src lines unit delta note "
                "outline decimals choices options default placeholder mode on checked elements sections tween_ms "
                "background click hidden visible opacity tween")
                .split(u' ');
        return keys.at(below(int(keys.size())));
    }

    QString elementType()
    {
        static const QStringList types =
            render::ownTypeNames() + prims::primitiveNames() + QStringList{u"Heading"_s, u"unknown_thing"_s, QString()};
        return types.at(below(int(types.size())));
    }

    QJsonValue element(int depth)
    {
        if (chance(4))
            return scalar();
        QJsonObject el;
        if (chance(95))
            el.insert("type"_L1, chance(97) ? QJsonValue(elementType()) : scalar());
        for (int i = 0, n = below(9); i < n; ++i)
            el.insert(key(), value(2));
        // Children where builders look for them, sometimes very deep.
        const int limit = chance(3) ? 40 : 4;
        if (depth < limit && chance(depth < 3 ? 45 : 25)) {
            const QLatin1StringView childKey = pick({"items"_L1, "items"_L1, "actions"_L1, "cards"_L1});
            el.insert(childKey, list([&] { return element(depth + 1); }, 4));
        }
        if (depth < 3 && chance(15)) {
            el.insert("tabs"_L1,
                      list(
                          [&] {
                              return QJsonValue(QJsonObject{{"label"_L1, text()},
                                                            {"items"_L1, list([&] { return element(depth + 2); }, 3)}});
                          },
                          3));
        }
        if (depth < 3 && chance(10))
            el.insert("item"_L1, element(depth + 1));
        return el;
    }

    QJsonObject section(int depth)
    {
        QJsonObject s;
        maybe(s, "label"_L1, [&] { return chance(80) ? QJsonValue(text()) : scalar(); });
        maybe(s, "badge"_L1, [&] {
            return chance(80) ? QJsonValue(QJsonObject{{"label"_L1, text()}, {"tone"_L1, text()}}) : scalar();
        });
        s.insert("elements"_L1, list([&] { return element(0); }, 6));
        if (depth < 9 && chance(25))
            s.insert("sections"_L1, list([&] { return QJsonValue(section(depth + 1)); }, 3));
        return s;
    }

    QJsonObject step()
    {
        QJsonObject s;
        for (const char *flag : {"completed", "current", "locked", "issue"})
            maybe(s, QLatin1StringView(flag), [&] { return scalar(); });
        maybe(s, "id"_L1, [&] { return scalar(); });
        maybe(s, "label"_L1, [&] { return QJsonValue(text()); });
        maybe(s, "elements"_L1, [&] { return QJsonValue(list([&] { return element(0); }, 3)); });
        return s;
    }
};

// Actions that a press or a save may call during layout; none of them may be reached by drawing.
render::Actions recordingActions(int *calls)
{
    render::Actions a = app::bundleActions({});
    a.press = [calls](const render::Press &) { ++*calls; };
    a.save = [calls](const QString &, const QJsonObject &) { ++*calls; };
    a.warnBox = [calls](const QString &, const QString &) { ++*calls; };
    a.collectFields = [](const QStringList &) { return QJsonObject(); };
    a.stateValue = [](const QString &) { return QVariant(); };
    a.carried = [](const QString &) { return QString(); };
    return a;
}

// The innermost widget that asks for more than `limit` pixels of width, named for the failure message.
QString widestCulprit(const QWidget *root, int limit)
{
    const QWidget *culprit = nullptr;
    for (const QWidget *w : root->findChildren<QWidget *>())
        culprit = std::max(w->minimumSizeHint().width(), w->minimumWidth()) > limit ? w : culprit;
    const auto *label = qobject_cast<const QLabel *>(culprit);
    return !culprit ? u"none"_s
                    : u"%1 '%2' text '%3'"_s.arg(QLatin1String(culprit->metaObject()->className()),
                                                 culprit->objectName(), label ? label->text().left(60) : QString());
}

} // namespace

class TestFuzz final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }

    void malformedScreensDraw_data()
    {
        QTest::addColumn<quint32>("seed");
        const quint32 base = qEnvironmentVariableIsSet("KESTRO_FUZZ_SEED")
                                 ? quint32(qEnvironmentVariableIntValue("KESTRO_FUZZ_SEED"))
                                 : 20261121u;
        const int rounds =
            qEnvironmentVariableIsSet("KESTRO_FUZZ_ROUNDS") ? qEnvironmentVariableIntValue("KESTRO_FUZZ_ROUNDS") : 120;
        for (int i = 0; i < rounds; ++i)
            QTest::addRow("seed %u", base + quint32(i)) << base + quint32(i);
    }
    void malformedScreensDraw()
    {
        QFETCH(quint32, seed);
        Generator gen(seed);
        const QJsonObject description = gen.screen();
        // KESTRO_FUZZ_DUMP=folder keeps each description, to draw a failing one with --render.
        if (const QString dump = qEnvironmentVariable("KESTRO_FUZZ_DUMP"); !dump.isEmpty()) {
            QFile f(dump + u"/fuzz-%1.json"_s.arg(seed));
            if (f.open(QIODevice::WriteOnly))
                f.write(QJsonDocument(description).toJson());
        }
        int calls = 0;
        const render::Actions actions = seed % 2 ? recordingActions(&calls) : render::Actions();
        std::unique_ptr<QWidget> root(render::screen(description, actions));
        QVERIFY(root);
        const int width = 280 + int(seed % 9) * 130;
        testsupport::layOut(root.get(), width);
        QCOMPARE(root->width(), width);
        // No value may force the screen wider than a laptop display.
        const int minimum = root->layout()->totalMinimumSize().width();
        QVERIFY2(minimum <= 1600,
                 qPrintable(u"minimum width %1, from %2"_s.arg(minimum).arg(widestCulprit(root.get(), 1600))));
        QVERIFY(root->height() > 0);
        QVERIFY(!root->grab().isNull());
        QCOMPARE(calls, 0);
    }

    // Random values where elements should be: every element type against every kind of junk.
    void everyTypeWithJunk_data()
    {
        QTest::addColumn<QString>("type");
        for (const QString &type : render::ownTypeNames() + prims::primitiveNames())
            QTest::newRow(qPrintable(type)) << type;
    }
    void everyTypeWithJunk()
    {
        QFETCH(QString, type);
        for (quint32 seed = 1; seed <= 8; ++seed) {
            QJsonObject el = Generator(seed * 7919u).screen();
            el.insert("type"_L1, type);
            const QJsonValue junk = Generator(seed).screen().value("sections"_L1);
            for (const char *k : {"items", "value", "values", "text", "label", "tabs", "stages", "shapes", "cards"})
                el.insert(QLatin1StringView(k), seed % 3 ? junk : QJsonValue(QString(3000, u'x')));
            std::unique_ptr<QWidget> holder(new QWidget);
            QWidget *w = render::element(el, render::Actions(), int(seed % 14), holder.get());
            if (w)
                QCOMPARE(w->parentWidget(), holder.get());
            testsupport::layOut(holder.get(), 400);
        }
    }
};

QTEST_MAIN(TestFuzz)
#include "tst_fuzz.moc"
