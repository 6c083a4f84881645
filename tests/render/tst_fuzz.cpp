// Random malformed screen descriptions: every shape of bad input must draw without a crash and
// lay out. The generator knows the element types and the keys builders read, so it reaches deep
// into every builder rather than bouncing off the dispatch. KESTRO_FUZZ_SEED picks other seeds.

#include "app/offline.h"
#include "prims/registry.h"
#include "render/element.h"
#include "render/screen.h"
#include "support/actions.h"
#include "support/testsupport.h"

#include <QJsonArray>
#include <QLayout>
#include <QPixmap>
#include <QRandomGenerator>
#include <QTest>

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
        QJsonObject s{{"min_client"_L1, pick({u"9"_s, u"8.9"_s, u"x"_s, u""_s})}, {"scroll"_L1, scalar()}};
        s.insert("steps"_L1, list(6, [&] {
                     return section(5, {"completed", "current", "locked", "issue", "id", "label"});
                 }));
        s.insert("sections"_L1, chance(90) ? list(5, [&] { return section(0); }) : value(2));
        return s;
    }

private:
    QRandomGenerator m_rng;

    bool chance(int percent) { return int(m_rng.bounded(100)) < percent; }
    int below(int n) { return int(m_rng.bounded(n)); }
    template<typename T> T pick(std::initializer_list<T> items) { return *(items.begin() + below(int(items.size()))); }
    template<typename F> QJsonArray list(int most, F make)
    {
        QJsonArray a;
        for (int i = 0, n = below(most + 1); i < n; ++i)
            a.append(make());
        return a;
    }

    // Numbers past every range, tone and layout words, markup, long runs, and types that are not
    // what a key should hold.
    QJsonValue scalar()
    {
        static const QList<QJsonValue> odd = {std::numeric_limits<double>::quiet_NaN(),
                                              std::numeric_limits<double>::infinity(),
                                              -std::numeric_limits<double>::infinity(),
                                              1e308,
                                              -2e9,
                                              4294967296.0,
                                              true,
                                              false,
                                              QJsonValue(QJsonValue::Null),
                                              QString(),
                                              u"no"_s,
                                              u"1"_s,
                                              u"ok"_s,
                                              u"error"_s,
                                              u"#12ab34"_s,
                                              u"#zz"_s,
                                              u"row"_s,
                                              u"center"_s,
                                              u"between"_s,
                                              u"fill"_s,
                                              u"/api/x"_s,
                                              u"POST"_s,
                                              u"refresh"_s,
                                              u"ERASE"_s,
                                              u"line\nbreak\ttab <b>markup</b> &amp; ünïcödé ✓"_s};
        switch (below(4)) {
        case 0:
            return odd.at(below(int(odd.size())));
        case 1:
            return QString(below(4000) + 1, u'W');
        case 2:
            return below(2000) - 500;
        default:
            return chance(50) ? QJsonValue(m_rng.generateDouble()) : QJsonValue(u"text %1"_s.arg(m_rng.generate()));
        }
    }

    QJsonValue value(int budget)
    {
        if (budget <= 0 || chance(60))
            return scalar();
        if (chance(3)) { // huge flat array
            QJsonArray a;
            for (int i = 0, n = 4000 + below(2000); i < n; ++i)
                a.append(i % 7 ? QJsonValue(i) : scalar());
            return a;
        }
        if (chance(50))
            return list(5, [&] { return value(budget - 1); });
        QJsonObject o;
        for (int i = 0, n = below(5); i < n; ++i)
            o.insert(key(), value(budget - 1));
        return o;
    }

    QString key()
    {
        static const QStringList keys =
            QStringLiteral(
                "type items text label tone size width height id value values min max weights flow tabs stages "
                "points data columns rows path body confirm source shapes viewbox cards actions title detail badge "
                "gap pad align justify grow scroll active sizes state min_item_width open tip item kind style "
                "sound method send_fields clear_fields fit frame_height transform fill stroke defs use d x y w h r "
                "src lines unit delta note outline decimals choices options default placeholder mode on checked "
                "elements sections tween_ms background click hidden visible opacity tween")
                .split(u' ');
        return keys.at(below(int(keys.size())));
    }

    QJsonValue element(int depth)
    {
        static const QStringList types =
            render::ownTypeNames() + prims::primitiveNames() + QStringList{u"Heading"_s, u"unknown_thing"_s, QString()};
        if (chance(4))
            return scalar();
        QJsonObject el;
        if (chance(95))
            el.insert("type"_L1, chance(97) ? QJsonValue(types.at(below(int(types.size())))) : scalar());
        for (int i = 0, n = below(9); i < n; ++i)
            el.insert(key(), value(2));
        // Children where builders look for them, sometimes very deep.
        if (depth < (chance(3) ? 40 : 4) && chance(depth < 3 ? 45 : 25))
            el.insert(pick({"items"_L1, "items"_L1, "actions"_L1, "cards"_L1, "tabs"_L1}),
                      list(4, [&] { return element(depth + 1); }));
        if (depth < 3 && chance(10))
            el.insert("item"_L1, element(depth + 1));
        return el;
    }

    // A section (or a step, with its flags) of elements, with sections inside.
    QJsonValue section(int depth, std::initializer_list<const char *> flags = {"label"})
    {
        QJsonObject s{{"elements"_L1, list(6, [&] { return element(depth); })}};
        for (const char *flag : flags)
            if (chance(50))
                s.insert(QLatin1StringView(flag), scalar());
        if (chance(40))
            s.insert("badge"_L1, QJsonObject{{"label"_L1, scalar()}, {"tone"_L1, scalar()}});
        if (depth < 9 && chance(25))
            s.insert("sections"_L1, list(3, [&] { return section(depth + 1); }));
        return s;
    }
};

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
        for (quint32 i = 0; i < 160; ++i)
            QTest::addRow("seed %u", base + i) << base + i;
    }
    void malformedScreensDraw()
    {
        QFETCH(quint32, seed);
        // Drawing never presses, saves, carries or warns, whatever the description says.
        testsupport::RecordedActions rec;
        render::Actions actions = rec.actions();
        const render::Actions bundle = app::bundleActions({});
        actions.fetch = bundle.fetch;
        actions.covered = bundle.covered;
        std::unique_ptr<QWidget> root(render::screen(Generator(seed).screen(), seed % 2 ? actions : render::Actions()));
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

QTEST_MAIN(TestFuzz)
#include "tst_fuzz.moc"
