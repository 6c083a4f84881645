// Panels on real widget trees: what each kind draws, and the update in place that the window's
// poll loop relies on (same widget kept, only the first panel of a source, empty payloads
// refused, a replacement in the same place with the same stretch), the log view's bounds and the
// site board's in-place update.

#include "app/base/theme.h"
#include "board/logview.h"
#include "board/panels.h"
#include "board/progress.h"
#include "board/siteboard.h"
#include "board/viewport.h"
#include "prims/canvas.h"
#include "prims/textlabel.h"
#include "support/testsupport.h"

#include <QBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QScrollBar>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QJsonObject progressPanel(const QString &source, const QJsonObject &payload = {})
{
    QJsonObject el{{u"type"_s, u"panel"_s}, {u"panel"_s, u"progress"_s}, {u"source"_s, source}};
    if (!payload.isEmpty())
        el.insert(u"payload"_s, payload);
    return el;
}

QJsonObject steps(int current, int total, const QString &headline = {})
{
    return {{u"current"_s, current}, {u"total"_s, total}, {u"headline"_s, headline}};
}

QJsonObject boardPayload(double carriageMm, const QString &state = u"ok"_s, int tiles = 3)
{
    QJsonArray row;
    for (int i = 0; i < tiles; ++i)
        row.append(QJsonObject{{u"id"_s, u"A-%1"_s.arg(i)}, {u"label"_s, u"A-%1"_s.arg(i)}, {u"state"_s, state}});
    return {{u"rows"_s, QJsonArray{QJsonObject{{u"id"_s, u"upper"_s}, {u"label"_s, u"Upper"_s}, {u"tiles"_s, row}}}},
            {u"track"_s, QJsonObject{{u"length_mm"_s, 48000}, {u"carriage_mm"_s, carriageMm}}}};
}

QString headlineOf(QWidget *panel)
{
    const QList<QLabel *> labels = panel->findChildren<QLabel *>();
    return labels.isEmpty() ? QString() : labels.first()->text();
}

// A section-like parent: a column of a heading, the panels, and a footer.
struct Column
{
    QWidget widget;
    QVBoxLayout *box = new QVBoxLayout(&widget);

    QWidget *add(const QJsonObject &element, int stretch = 0)
    {
        QWidget *w = panels::draw(element, render::Actions{}, &widget);
        box->addWidget(w, stretch);
        return w;
    }
};

QWidget *panelOf(QWidget *root, const QString &source)
{
    for (QWidget *w : root->findChildren<QWidget *>())
        if (w->property("panelSource").toString() == source && w->isVisibleTo(root))
            return w;
    return nullptr;
}

} // namespace

class TestPanels : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { board::install(); }

    // A board or a canvas takes the new payload itself: the widget on screen stays the same.
    void updateKeepsWidget_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QJsonObject>("before");
        QTest::addColumn<QJsonObject>("after");
        QTest::newRow("diagram") << "diagram" << boardPayload(1000) << boardPayload(24000, u"busy"_s);
        const auto shapes = [](double x) {
            return QJsonObject{{u"width"_s, 200},
                               {u"height"_s, 40},
                               {u"tween_ms"_s, 200},
                               {u"items"_s, QJsonArray{QJsonObject{{u"kind"_s, u"rect"_s},
                                                                   {u"id"_s, u"cart"_s},
                                                                   {u"x"_s, x},
                                                                   {u"y"_s, 0},
                                                                   {u"w"_s, 20},
                                                                   {u"h"_s, 20}}}}};
        };
        QTest::newRow("shapes") << "shapes" << shapes(10) << shapes(120);
    }
    void updateKeepsWidget()
    {
        QFETCH(QString, kind);
        QFETCH(QJsonObject, before);
        QFETCH(QJsonObject, after);
        Column column;
        QWidget *panel = column.add({{u"panel"_s, kind}, {u"source"_s, u"/live"_s}, {u"payload"_s, before}});
        QVERIFY(panel);
        testsupport::layOut(&column.widget, 800, 500);
        QWidget *inner = kind == "diagram"_L1 ? qobject_cast<board::Viewport *>(panel)->screen() : panel;
        QWidget *tile = inner->findChild<QWidget *>(u"tile:A-1"_s);
        QVERIFY(panels::updateInPlace(&column.widget, u"/live"_s, after, {}));
        QCOMPARE(panelOf(&column.widget, u"/live"_s), panel);
        if (kind == "diagram"_L1) {
            QCOMPARE(qobject_cast<board::Viewport *>(panel)->screen(), inner);
            QCOMPARE(inner->findChild<QWidget *>(u"tile:A-1"_s), tile);
            QCOMPARE(tile->property("tone").toString(), u"busy"_s);
        } else {
            QCOMPARE(qobject_cast<prims::Canvas *>(panel)->designWidth(), 200.0);
            QCOMPARE(qobject_cast<prims::Canvas *>(panel)->tweenMs(), 200);
        }
    }

    // A board whose shape changed is drawn anew inside the same viewport.
    void boardOfAnotherShapeIsReplaced()
    {
        Column column;
        auto *viewport = qobject_cast<board::Viewport *>(
            column.add({{u"panel"_s, u"diagram"_s}, {u"source"_s, u"/b"_s}, {u"payload"_s, boardPayload(0)}}));
        QVERIFY(viewport);
        QPointer<QWidget> old = viewport->screen();
        QVERIFY(panels::updateInPlace(&column.widget, u"/b"_s, boardPayload(0, u"ok"_s, 4), {}));
        QVERIFY(viewport->screen() != old);
        QVERIFY(viewport->screen()->findChild<QWidget *>(u"tile:A-3"_s));
    }

    // Two panels of one source: the update reaches the first found only.
    void onlyFirstOfSourceUpdated()
    {
        Column column;
        column.add(progressPanel(u"/p"_s, steps(1, 4, u"first"_s)));
        QWidget *second = column.add(progressPanel(u"/p"_s, steps(1, 4, u"second"_s)));
        QVERIFY(panels::updateInPlace(&column.widget, u"/p"_s, steps(2, 4, u"new"_s), {}));
        QCOMPARE(headlineOf(column.box->itemAt(0)->widget()), u"new"_s);
        QCOMPARE(column.box->itemAt(1)->widget(), second);
        QCOMPARE(headlineOf(second), u"second"_s);
    }

    // Nothing to update with, or nowhere to update: refused, and the screen is as it was.
    void refused_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QJsonObject>("payload");
        QTest::addColumn<bool>("noRoot");
        QTest::newRow("empty payload") << "/p" << QJsonObject{} << false;
        QTest::newRow("empty source") << "" << steps(3, 4) << false;
        QTest::newRow("unknown source") << "/other" << steps(3, 4) << false;
        QTest::newRow("no root") << "/p" << steps(3, 4) << true;
    }
    void refused()
    {
        QFETCH(QString, source);
        QFETCH(QJsonObject, payload);
        QFETCH(bool, noRoot);
        Column column;
        QWidget *panel = column.add(progressPanel(u"/p"_s, steps(1, 4)));
        QVERIFY(!panels::updateInPlace(noRoot ? nullptr : &column.widget, source, payload, {}));
        QCOMPARE(column.box->itemAt(0)->widget(), panel);
        QCOMPARE(headlineOf(panel), u"Step 1 of 4"_s);
        QVERIFY(!panel->isHidden());
    }

    // A rebuilt panel takes the old one's place and stretch, shown at once (so that the column is
    // not laid out once without it, moving everything else twice); the old one is hidden, then
    // deleted.
    void replacementKeepsPlaceAndStretch()
    {
        Column column;
        column.box->addWidget(new QLabel(u"above"_s, &column.widget));
        QPointer<QWidget> old = column.add(progressPanel(u"/p"_s, steps(1, 4)), 3);
        auto *below = new QLabel(u"below"_s, &column.widget);
        column.box->addWidget(below, 1);
        testsupport::layOut(&column.widget, 600, 400);
        const QRect belowAt = below->geometry();
        QVERIFY(panels::updateInPlace(&column.widget, u"/p"_s, steps(3, 4), {}));
        QWidget *fresh = column.box->itemAt(1)->widget();
        QVERIFY(fresh != old);
        QVERIFY(fresh->isVisible());
        column.box->activate();
        QCOMPARE(below->geometry(), belowAt);
        QCOMPARE(column.box->stretch(1), 3);
        QCOMPARE(column.box->count(), 3);
        QCOMPARE(headlineOf(fresh), u"Step 3 of 4"_s);
        QCOMPARE(fresh->property("panelSource").toString(), u"/p"_s);
        QVERIFY(old && old->isHidden());
        QTRY_VERIFY(old.isNull());
    }

    // 200 lines stop at the upper bound and scroll; 2 lines sit at the lower one without a bar.
    void logHeight_data()
    {
        QTest::addColumn<int>("lines");
        QTest::addColumn<int>("height");
        QTest::addColumn<bool>("scrolls");
        QTest::newRow("2 lines") << 2 << panels::kLogMinHeight << false;
        QTest::newRow("200 lines") << 200 << panels::kLogMaxHeight << true;
    }
    void logHeight()
    {
        QFETCH(int, lines);
        QFETCH(int, height);
        QFETCH(bool, scrolls);
        QJsonArray log;
        for (int i = 0; i < lines; ++i)
            log.append(u"line %1 of the calibration run"_s.arg(i));
        Column column;
        column.add({{u"panel"_s, u"log"_s}, {u"source"_s, u"/l"_s}, {u"payload"_s, QJsonObject{{u"log"_s, log}}}});
        testsupport::layOut(&column.widget, 700);
        auto *view = column.widget.findChild<panels::LogView *>();
        QVERIFY(view);
        QCOMPARE(view->height(), height);
        QCOMPARE(view->verticalScrollBarPolicy(), scrolls ? Qt::ScrollBarAsNeeded : Qt::ScrollBarAlwaysOff);
        QCOMPARE(view->verticalScrollBar()->isVisible(), scrolls);
    }

    void progressAndPosition_data()
    {
        QTest::addColumn<QJsonObject>("element");
        QTest::addColumn<QString>("text"); // empty: nothing drawn
        QTest::addColumn<double>("fill");
        const auto panel = [](const char *kind, const QJsonObject &payload) {
            return QJsonObject{{u"panel"_s, QString::fromLatin1(kind)}, {u"payload"_s, payload}};
        };
        QTest::newRow("total 0") << panel("progress", steps(0, 0)) << "" << 0.0;
        QTest::newRow("7 of 5 fills") << panel("progress", steps(7, 5)) << "Step 7 of 5" << 1.0;
        QTest::newRow("stopped") << panel("progress", {{u"total"_s, 4}, {u"current"_s, 1}, {u"error"_s, 17}})
                                 << "Step 1 of 4 - stopped: 17" << 0.25;
        QTest::newRow("complete") << panel("progress", {{u"total"_s, 2}, {u"current"_s, 2}, {u"done"_s, true}})
                                  << "Step 2 of 2 - complete" << 1.0;
        QTest::newRow("position 1234.5") << panel("position",
                                                  {{u"ok"_s, true}, {u"x_mm"_s, 1234.5}, {u"state"_s, u"moving"_s}})
                                         << "Live position: 1234.5 mm   (moving)" << -1.0;
        QTest::newRow("position 1200") << panel("position", {{u"ok"_s, true}, {u"x_mm"_s, 1200.0}})
                                       << "Live position: 1200 mm   ()" << -1.0;
        QTest::newRow("position error") << panel("position", {{u"ok"_s, false}, {u"error"_s, u"encoder lost"_s}})
                                        << "encoder lost" << -1.0;
    }
    void progressAndPosition()
    {
        QFETCH(QJsonObject, element);
        QFETCH(QString, text);
        QFETCH(double, fill);
        QWidget parent;
        QWidget *w = panels::draw(element, {}, &parent);
        QCOMPARE(w != nullptr, !text.isEmpty());
        if (!w)
            return;
        auto *label = qobject_cast<QLabel *>(w);
        QCOMPARE(label ? label->text() : headlineOf(w), text);
        if (auto *rail = w->findChild<panels::Rail *>())
            QCOMPARE(rail->fill(), fill);
    }

    // A kind this client does not know shows the needs-update notice; "running" reaches the flag.
    void unknownKindAndRunning()
    {
        QWidget parent;
        QWidget *notice = panels::draw({{u"panel"_s, u"heatmap"_s}}, {}, &parent);
        QVERIFY(notice && notice->objectName() == u"needsUpdate"_s);
        QVERIFY(!panels::draw({{u"panel"_s, u""_s}}, {}, &parent));
        QList<bool> flags;
        render::Actions actions;
        actions.setFlag = [&flags](bool on) { flags << on; };
        actions.fetch = [](const QString &path) {
            return path == u"/l"_s ? QJsonObject{{u"running"_s, true}} : QJsonObject{};
        };
        panels::draw({{u"panel"_s, u"log"_s}, {u"source"_s, u"/l"_s}}, actions, &parent);
        panels::draw({{u"panel"_s, u"progress"_s}, {u"source"_s, u"/x"_s}}, actions, &parent);
        QCOMPARE(flags, (QList<bool>{true, false}));
    }

    // Only changes inside sources' answers are patched; anything else asks for a rebuild.
    void patchChanged_data()
    {
        QTest::addColumn<QStringList>("leaves");
        QTest::addColumn<QStringList>("patched"); // empty: rebuild
        QTest::newRow("progress leaf") << QStringList{u"/endpoints//p/current"_s} << QStringList{u"/p"_s};
        QTest::newRow("log grew") << QStringList{u"/endpoints//p/current"_s, u"/endpoints//p2/log[]"_s}
                                  << QStringList{u"/p"_s, u"/p2"_s};
        QTest::newRow("screen leaf") << QStringList{u"/endpoints//p/current"_s, u"/screen/title"_s} << QStringList{};
        QTest::newRow("prefix of a source") << QStringList{u"/endpoints//pa/x"_s} << QStringList{};
        QTest::newRow("source not drawn") << QStringList{u"/endpoints//nowhere/x"_s} << QStringList{};
    }
    void patchChanged()
    {
        QFETCH(QStringList, leaves);
        QFETCH(QStringList, patched);
        Column column;
        column.add(progressPanel(u"/p"_s, steps(1, 4)));
        column.add({{u"panel"_s, u"log"_s}, {u"source"_s, u"/p2"_s}});
        const QJsonObject endpoints{{u"/p"_s, steps(2, 4)},
                                    {u"/p2"_s, QJsonObject{{u"log"_s, QJsonArray{u"a"_s}}}},
                                    {u"/nowhere"_s, steps(1, 2)}};
        const std::optional<QStringList> result = panels::patchChanged(&column.widget, leaves, endpoints, {});
        QCOMPARE(result.value_or(QStringList{}), patched);
    }

    // A board updated a thousand times in place keeps its widgets (the memory is in the benchmark).
    // The track grows to hold its wrapped label and its marks' labels rather than cut them.
    void trackHoldsItsTexts_data()
    {
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("mark");
        QTest::newRow("long label") << u"Upper rail between the north lift and the far buffer stop"_s << u"M1"_s;
        QTest::newRow("long mark") << u"Rail"_s << u"Reference mark at the north lift landing, level 4"_s;
    }
    void trackHoldsItsTexts()
    {
        QFETCH(QString, label);
        QFETCH(QString, mark);
        QJsonObject payload = boardPayload(0);
        payload.insert(u"track"_s,
                       QJsonObject{{u"length_mm"_s, 48000},
                                   {u"label"_s, label},
                                   {u"marks"_s, QJsonArray{QJsonObject{{u"at_mm"_s, 6000}, {u"label"_s, mark}}}}});
        board::SiteBoard drawn(payload, {});
        const auto *track = drawn.findChild<QWidget *>(u"track"_s);
        QVERIFY(track);
        const int labelH = prims::textSize(theme::uiFont(9, true), label, 110).height();
        const int markH = prims::textSize(theme::uiFont(8), mark, 120).height();
        QVERIFY(track->height() >= labelH && track->height() >= 22 + 10 + markH); // rail at 22, marks 10 below
    }

    void boardUpdatesDoNotGrow()
    {
        board::SiteBoard drawn(boardPayload(0), {});
        const qsizetype widgets = drawn.findChildren<QObject *>().size();
        for (int i = 0; i < 1000; ++i)
            QVERIFY(drawn.update(boardPayload(i * 48, i % 2 ? u"busy"_s : u"ok"_s)));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(drawn.findChildren<QObject *>().size(), widgets);
        QCOMPARE(drawn.findChild<QWidget *>(u"tile:A-0"_s)->property("tone").toString(), u"busy"_s);
        QVERIFY(!drawn.update(boardPayload(0, u"ok"_s, 5)));
    }
};

QTEST_MAIN(TestPanels)
#include "tst_panels.moc"
