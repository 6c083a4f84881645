// The board layer on real widget trees: panels, their update in place for the window's poll loop,
// the log view's bounds, the site board, tiles, rows and row buttons fed synthesized mouse and drop
// events, and the viewport in the window's place (fit and user zoom, click or pan, the position
// kept across a rebuild, a page that stays clear under any style sheet).

#include "app/base/modal.h"
#include "app/base/theme.h"
#include "board/dragdrop.h"
#include "board/logview.h"
#include "board/panels.h"
#include "board/progress.h"
#include "board/siteboard.h"
#include "board/viewport.h"
#include "prims/textlabel.h"
#include "support/widgets.h"

#include <QBoxLayout>
#include <QDialog>
#include <QDrag>
#include <QGraphicsView>
#include <QMimeData>
#include <QPointer>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QSlider>
#include <QStyle>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QJsonObject progressPanel(const QString &source, const QJsonObject &payload)
{
    return {{u"panel"_s, u"progress"_s}, {u"source"_s, source}, {u"payload"_s, payload}};
}

QJsonObject steps(int current, int total, const QString &headline = {})
{
    return {{u"current"_s, current}, {u"total"_s, total}, {u"headline"_s, headline}};
}

// A board of one row of `tiles` tiles in `state`, its carriage at `carriageMm`.
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

// A section-like parent: a column of panels.
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

// A tile whose drag is recorded instead of run: no drop loop in a test.
struct RecordingTile final : board::Draggable
{
    QByteArray dragged;
    void runDrag(QDrag *drag) override
    {
        dragged = drag->pixmap().isNull() ? "no picture" : drag->mimeData()->data(QLatin1StringView(board::kDragMime));
        drag->deleteLater();
    }
};

void mouse(QWidget *w, QEvent::Type type, QPoint at, Qt::MouseButtons held)
{
    const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent event(type, at, w->mapToGlobal(at), button, held, Qt::NoModifier);
    QApplication::sendEvent(w, &event);
}

// A screen of `rows` plain labels with one button on top, `minWidth` wide at the least.
QWidget *screen(int rows, int minWidth = 0)
{
    auto *w = new QWidget;
    w->setMinimumWidth(minWidth);
    auto *box = new QVBoxLayout(w);
    box->addWidget(new QPushButton(u"Start"_s, w), 0, Qt::AlignLeft);
    for (int i = 0; i < rows; ++i)
        box->addWidget(new QLabel(u"Row %1"_s.arg(i), w));
    box->addStretch(1);
    return w;
}

// The viewport as the window has it: in a column, under a heading.
struct Frame : Column
{
    board::Viewport *viewport = new board::Viewport(&widget);

    Frame()
    {
        box->addWidget(new QLabel(u"heading"_s, &widget));
        box->addWidget(viewport, 1);
        testsupport::layOut(&widget, 900, 700);
    }

    void show(QWidget *s)
    {
        viewport->setScreen(s);
        viewport->settleNow();
        QCoreApplication::processEvents();
    }
};

} // namespace

class TestBoard : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { board::install(); }
    void cleanup()
    {
        app::setNextAnswer({});
        qApp->setStyleSheet(QString());
    }

    // A board or a canvas takes the new payload itself: the widget on screen stays the same. A
    // board of another shape is drawn anew inside the same viewport.
    void updateKeepsWidget_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QJsonObject>("before");
        QTest::addColumn<QJsonObject>("after");
        QTest::addColumn<bool>("sameInside");
        QTest::newRow("diagram") << "diagram" << boardPayload(1000) << boardPayload(24000, u"busy"_s) << true;
        QTest::newRow("another shape") << "diagram" << boardPayload(0) << boardPayload(0, u"busy"_s, 4) << false;
        const char *shape = R"({"width":200,"items":[{"kind":"rect","id":"c","x":%1,"y":0,"w":20,"h":20}]})";
        QTest::newRow("shapes") << "shapes" << testsupport::json(QString::fromLatin1(shape).arg(10))
                                << testsupport::json(QString::fromLatin1(shape).arg(120)) << true;
    }
    void updateKeepsWidget()
    {
        QFETCH(QString, kind);
        QFETCH(QJsonObject, before);
        QFETCH(QJsonObject, after);
        QFETCH(bool, sameInside);
        Column column;
        QWidget *panel = column.add({{u"panel"_s, kind}, {u"source"_s, u"/live"_s}, {u"payload"_s, before}});
        testsupport::layOut(&column.widget, 800, 500);
        auto *view = qobject_cast<board::Viewport *>(panel);
        const auto inside = [view, panel] { return view ? view->screen() : panel; };
        QPointer<QWidget> was = inside(), tile = inside()->findChild<QWidget *>(u"tile:A-1"_s);
        QVERIFY(panels::updateInPlace(&column.widget, u"/live"_s, after, {}));
        QCOMPARE(column.box->itemAt(0)->widget(), panel);
        QCOMPARE(inside() == was, sameInside);
        if (view) {
            QCOMPARE(inside()->findChild<QWidget *>(u"tile:A-1"_s) == tile, sameInside);
            QCOMPARE(inside()->findChild<QWidget *>(u"tile:A-1"_s)->property("tone").toString(), u"busy"_s);
        }
    }

    // Two panels of one source: an update reaches the first found only. Nothing to update with, or
    // nowhere to update: refused, the screen as it was.
    void updateReachesFirstOfSource()
    {
        Column column;
        QWidget *first = column.add(progressPanel(u"/p"_s, steps(1, 4, u"first"_s)));
        QWidget *second = column.add(progressPanel(u"/p"_s, steps(1, 4, u"second"_s)));
        QVERIFY(!panels::updateInPlace(&column.widget, u"/p"_s, {}, {}));
        QVERIFY(!panels::updateInPlace(&column.widget, u"/other"_s, steps(3, 4), {}));
        QVERIFY(!panels::updateInPlace(nullptr, u"/p"_s, steps(3, 4), {}));
        QCOMPARE(column.box->itemAt(0)->widget(), first);
        QCOMPARE(headlineOf(first), u"first"_s);
        QVERIFY(panels::updateInPlace(&column.widget, u"/p"_s, steps(2, 4, u"new"_s), {}));
        QCOMPARE(headlineOf(column.box->itemAt(0)->widget()), u"new"_s);
        QCOMPARE(column.box->itemAt(1)->widget(), second);
        QCOMPARE(headlineOf(second), u"second"_s);
    }

    // A rebuilt panel takes the old one's place and stretch, shown at once (not laid out once
    // without it, moving everything else twice); the old one is hidden, then deleted.
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
        QVERIFY(fresh != old && fresh->isVisible());
        column.box->activate();
        QCOMPARE(below->geometry(), belowAt);
        QCOMPARE(column.box->stretch(1), 3);
        QCOMPARE(headlineOf(fresh), u"Step 3 of 4"_s);
        QVERIFY(old && old->isHidden());
        QTRY_VERIFY(old.isNull());
    }

    // 200 lines stop at the upper bound and scroll; 2 lines sit at the lower one without a bar.
    void logHeight_data()
    {
        QTest::addColumn<int>("lines");
        QTest::addColumn<int>("height");
        QTest::newRow("2 lines") << 2 << panels::kLogMinHeight;
        QTest::newRow("200 lines") << 200 << panels::kLogMaxHeight;
    }
    void logHeight()
    {
        QFETCH(int, lines);
        QFETCH(int, height);
        QJsonArray log;
        for (int i = 0; i < lines; ++i)
            log.append(u"line %1 of the calibration run"_s.arg(i));
        Column column;
        column.add({{u"panel"_s, u"log"_s}, {u"source"_s, u"/l"_s}, {u"payload"_s, QJsonObject{{u"log"_s, log}}}});
        testsupport::layOut(&column.widget, 700);
        auto *view = column.widget.findChild<panels::LogView *>();
        QCOMPARE(view->height(), height);
        QCOMPARE(view->verticalScrollBar()->isVisible(), lines > 2);
    }

    // What progress and position panels say; a kind this client does not know says it needs updating.
    void panelTexts_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("payload");
        QTest::addColumn<QString>("text"); // empty: nothing drawn; the needs-update notice: its name
        QTest::addColumn<double>("fill");
        QTest::newRow("total 0") << "progress"
                                 << R"({"current":0,"total":0})"
                                 << "" << 0.0;
        QTest::newRow("7 of 5 fills") << "progress"
                                      << R"({"current":7,"total":5})"
                                      << "Step 7 of 5" << 1.0;
        QTest::newRow("stopped") << "progress"
                                 << R"({"current":1,"total":4,"error":17})"
                                 << "Step 1 of 4 - stopped: 17" << 0.25;
        QTest::newRow("complete") << "progress"
                                  << R"({"current":2,"total":2,"done":true})"
                                  << "Step 2 of 2 - complete" << 1.0;
        QTest::newRow("position") << "position"
                                  << R"({"ok":true,"x_mm":1234.5,"state":"moving"})"
                                  << "Live position: 1234.5 mm   (moving)" << -1.0;
        QTest::newRow("position error") << "position"
                                        << R"({"ok":false,"error":"encoder lost"})"
                                        << "encoder lost" << -1.0;
        QTest::newRow("unknown kind") << "heatmap"
                                      << "{}"
                                      << "needsUpdate" << -1.0;
    }
    void panelTexts()
    {
        QFETCH(QString, kind);
        QFETCH(QString, payload);
        QFETCH(QString, text);
        QFETCH(double, fill);
        QWidget parent;
        QWidget *w = panels::draw({{u"panel"_s, kind}, {u"payload"_s, testsupport::json(payload)}}, {}, &parent);
        QCOMPARE(w != nullptr, !text.isEmpty());
        if (!w)
            return;
        auto *label = qobject_cast<QLabel *>(w);
        QCOMPARE(w->objectName() == u"needsUpdate"_s ? w->objectName() : label ? label->text() : headlineOf(w), text);
        if (auto *rail = w->findChild<panels::Rail *>())
            QCOMPARE(rail->fill(), fill);
    }

    // Only changes inside sources' answers are patched; anything else asks for a rebuild.
    void patchChanged_data()
    {
        QTest::addColumn<QStringList>("leaves");
        QTest::addColumn<QStringList>("patched"); // empty: rebuild
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
        const QJsonObject endpoints = testsupport::json(
            R"({"/p":{"current":2,"total":4},"/p2":{"log":["a"]},"/nowhere":{"current":1,"total":2}})");
        QCOMPARE(panels::patchChanged(&column.widget, leaves, endpoints, {}).value_or(QStringList{}), patched);
    }

    // A board updated a thousand times in place keeps its widgets (the memory is in the benchmark).
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

    // The rail grows to hold its wrapped label and its marks' labels rather than cut them.
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

    // A tap posts with its sound, released on the tile; a move of 12 pixels drags instead, with a picture.
    void tapOrDrag_data()
    {
        QTest::addColumn<QPoint>("move");
        QTest::addColumn<QPoint>("release");
        QTest::addColumn<bool>("posts");
        QTest::addColumn<bool>("drags");
        QTest::newRow("11 px is a tap") << QPoint(6, 5) << QPoint(46, 35) << true << false;
        QTest::newRow("12 px drags") << QPoint(6, 6) << QPoint(46, 36) << false << true;
        QTest::newRow("released outside") << QPoint(0, 0) << QPoint(200, 30) << false << false;
    }
    void tapOrDrag()
    {
        QFETCH(QPoint, move);
        QFETCH(QPoint, release);
        QFETCH(bool, posts);
        QFETCH(bool, drags);
        RecordingTile tile;
        tile.resize(80, 60);
        QList<testsupport::Posted> posted;
        QStringList sounds;
        tile.setPress(u"/api/tile"_s, {{u"slot"_s, 4}});
        tile.setDragPayload({{u"from"_s, u"A-04"_s}});
        tile.setCallbacks(testsupport::recording(&posted).press, [&sounds](const QString &s) { sounds << s; });
        const QPoint down(40, 30);
        mouse(&tile, QEvent::MouseButtonPress, down, Qt::LeftButton);
        if (!move.isNull())
            mouse(&tile, QEvent::MouseMove, down + move, Qt::LeftButton);
        // Even where a release reaches the tile after a drag, it is not a tap.
        mouse(&tile, QEvent::MouseButtonRelease, release, Qt::NoButton);
        const QList<testsupport::Posted> tap{{u"/api/tile"_s, {{u"slot"_s, 4}}}};
        QCOMPARE(posted, posts ? tap : QList<testsupport::Posted>{});
        QCOMPARE(sounds, posts ? QStringList{u"select"_s} : QStringList{});
        QCOMPARE(tile.dragged, drags ? QByteArray(R"({"from":"A-04"})") : QByteArray());
    }

    // The dropped keys win over the row's own, every other key of both stays; an unreadable drop
    // posts the row's own body.
    void dropMerges()
    {
        board::DropRow row;
        row.resize(300, 50);
        row.setElement(testsupport::json(R"({"path":"/api/move","body":{"level":"upper","slot":1}})"));
        QList<testsupport::Posted> posted;
        QStringList sounds;
        row.setCallbacks(testsupport::recording(&posted).press, [&sounds](const QString &s) { sounds << s; });
        for (const QByteArray dropped : {R"({"slot":7,"from":"A-04"})", "{nope"}) {
            QMimeData mime;
            mime.setData(QLatin1StringView(board::kDragMime), dropped);
            // The application delivers a drop only to the widget that took the drag's entry.
            QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(&row, &enter);
            QDropEvent drop(QPointF(10, 10), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(&row, &drop);
            QVERIFY(drop.isAccepted());
        }
        QCOMPARE(sounds, (QStringList{u"place"_s, u"place"_s}));
        QCOMPARE(posted, (QList<testsupport::Posted>{
                             {u"/api/move"_s, testsupport::json(R"({"level":"upper","slot":7,"from":"A-04"})")},
                             {u"/api/move"_s, testsupport::json(R"({"level":"upper","slot":1})")}}));
    }

    // The row button that asks for a confirmation posts its body only once confirmed.
    void rowButton()
    {
        QList<QJsonObject> sent;
        QStringList cancelled;
        render::Actions actions;
        actions.press = [&sent](const render::Press &p) { sent << p.body; };
        actions.logLine = [&cancelled](const QString &l) { cancelled << l; };
        QWidget parent;
        QPushButton *button = board::rowActionButton(
            testsupport::json(R"({"label":"×","path":"/api/empty","body":{"slot":3},"confirm":{"title":"Empty?"}})"),
            actions, &parent);
        app::setNextAnswer([](QDialog *box) { box->reject(); });
        button->click();
        QCOMPARE(sent.size(), 0);
        QCOMPARE(cancelled.size(), 1);
        app::setNextAnswer([](QDialog *box) { box->findChild<QPushButton *>(u"confirmButton"_s)->click(); });
        button->click();
        QCOMPARE(sent, QList<QJsonObject>{testsupport::json(R"({"slot":3})")});
    }

    void fitZoomAndPosition()
    {
        Frame f;
        // A screen that fits is shown at its size; the view never enlarges past 200 %.
        f.show(screen(3));
        QVERIFY(f.viewport->fitZoom() > 0.9 && f.viewport->fitZoom() <= 2.0);
        QCOMPARE(f.viewport->zoom(), f.viewport->fitZoom());
        auto *slider = f.viewport->findChild<QSlider *>(u"zoomSlider"_s);
        QCOMPARE(slider->maximum(), 200);

        // A screen wider than the window is fitted down to it.
        f.show(screen(3, 2000));
        const double fit = f.viewport->fitZoom();
        QVERIFY2(fit < 0.5 && fit > 0.3, qPrintable(QString::number(fit)));
        QCOMPARE(slider->minimum(), qRound(fit * 100));
        QCOMPARE(f.viewport->findChild<QLabel *>(u"zoomPercent"_s)->text(), u"%1%"_s.arg(qRound(fit * 100)));

        // The slider's zoom holds for every later screen; Re-center fits again.
        slider->setValue(150);
        QCOMPARE(f.viewport->zoom(), 1.5);
        f.show(screen(5, 3000));
        QCOMPARE(f.viewport->zoom(), 1.5);
        f.viewport->findChild<QPushButton *>(u"recenter"_s)->click();
        QCOMPARE(f.viewport->userZoom(), 0.0);
        QVERIFY(f.viewport->zoom() < 0.35);
        QCOMPARE(slider->value(), qRound(f.viewport->zoom() * 100));

        // A rebuild keeps the position it was asked to remember; without that a screen starts at the top.
        f.show(screen(120));
        f.viewport->scrollScreenBy(300);
        f.viewport->remember();
        f.show(screen(121));
        QCOMPARE(f.viewport->scrollY(), 300);
        f.show(screen(121));
        QCOMPARE(f.viewport->scrollY(), 0);
    }

    void pressBecomesPanPastEightPixels_data()
    {
        QTest::addColumn<bool>("onButton");
        QTest::addColumn<QPoint>("move");
        QTest::addColumn<bool>("clicked");
        QTest::newRow("8 px stays a click") << true << QPoint(5, 3) << true;
        QTest::newRow("9 px becomes a pan") << true << QPoint(5, 4) << false;
        QTest::newRow("empty space pans at once") << false << QPoint(6, 1) << false;
    }
    void pressBecomesPanPastEightPixels()
    {
        QFETCH(bool, onButton);
        QFETCH(QPoint, move);
        QFETCH(bool, clicked);
        Frame f;
        f.viewport->findChild<QSlider *>(u"zoomSlider"_s)->setValue(200); // something to pan
        f.show(screen(80));
        auto *button = f.viewport->screen()->findChild<QPushButton *>();
        QSignalSpy clicks(button, &QPushButton::clicked);
        QGraphicsView *view = f.viewport->view();
        QWidget *target = view->viewport();
        view->horizontalScrollBar()->setValue(30);
        const int hBefore = view->horizontalScrollBar()->value();
        const QPoint buttonAt = view->mapFromScene(
            QPointF(button->mapTo(f.viewport->findChild<QScrollArea *>(u"screenPage"_s), button->rect().center())));
        const QPoint at = onButton ? buttonAt : QPoint(target->width() - 20, target->height() - 20);
        QCOMPARE(f.viewport->classify(at), onButton ? 1 : 0);

        mouse(target, QEvent::MouseButtonPress, at, Qt::LeftButton);
        mouse(target, QEvent::MouseMove, at + move / 2, Qt::LeftButton);
        mouse(target, QEvent::MouseMove, at + move, Qt::LeftButton);
        mouse(target, QEvent::MouseButtonRelease, at + move, Qt::NoButton);
        QCOMPARE(clicks.size(), clicked ? 1 : 0);
        // The content follows the pointer from the moment the view has the gesture.
        if (!clicked)
            QCOMPARE(view->horizontalScrollBar()->value(), hBefore - (onButton ? move - move / 2 : move).x());
        QVERIFY(!button->isDown());
    }

    // The page is clear over an application sheet that paints scroll areas' contents, and without
    // one puts no sheet over a screen's widgets (the style sheet style is the slowest to set in).
    void pageStaysClear_data()
    {
        QTest::addColumn<bool>("appSheet");
        QTest::newRow("no application sheet") << false;
        QTest::newRow("application sheet") << true;
    }
    void pageStaysClear()
    {
        QFETCH(bool, appSheet);
        qApp->setStyleSheet(appSheet ? u"QAbstractScrollArea > QWidget > QWidget { background: #ff0000; }"_s
                                     : QString());
        Frame f;
        QWidget *s = screen(3);
        f.show(s);
        QCOMPARE(QByteArray(s->style()->metaObject()->className()) == "QStyleSheetStyle", appSheet);
        const QImage shot = f.viewport->view()->viewport()->grab().toImage().convertToFormat(QImage::Format_RGB32);
        const auto *pixels = reinterpret_cast<const QRgb *>(shot.constBits());
        QCOMPARE(std::count(pixels, pixels + shot.width() * shot.height(), qRgb(255, 0, 0)), 0);
    }
};

QTEST_MAIN(TestBoard)
#include "tst_board.moc"
