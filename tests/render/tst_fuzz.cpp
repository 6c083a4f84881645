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

// Numbers past every range, tone and layout words, markup, and types that are not what a key holds.
const QList<QJsonValue> kOdd = {std::numeric_limits<double>::quiet_NaN(),
                                std::numeric_limits<double>::infinity(),
                                -1e308,
                                4294967296.0,
                                -2e9,
                                true,
                                QJsonValue(QJsonValue::Null),
                                QString(),
                                u"no"_s,
                                u"1"_s,
                                u"9"_s,
                                u"ok"_s,
                                u"#zz"_s,
                                u"row"_s,
                                u"center"_s,
                                u"between"_s,
                                u"/api/x"_s,
                                u"POST"_s,
                                u"ERASE"_s,
                                u"line\nbreak\ttab <b>markup</b> &amp; ünïcödé ✓"_s};

struct Generator
{
    QRandomGenerator rng;

    int below(int n) { return int(rng.bounded(n)); }

    QJsonValue scalar()
    {
        switch (below(4)) {
        case 0:
            return kOdd.at(below(int(kOdd.size())));
        case 1:
            return QString(below(4000) + 1, u'W');
        case 2:
            return below(2000) - 500;
        default:
            return rng.generateDouble();
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

QTEST_MAIN(TestFuzz)
#include "tst_fuzz.moc"
