// The viewport in the window's place (inside a parent column): fit and user zoom, the slider and
// "Re-center", what a press on the screen becomes (a click, or a pan past 8 pixels), and the
// position kept across a rebuild.

#include "board/viewport.h"
#include "support/testsupport.h"

#include <QApplication>
#include <QGraphicsView>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QSlider>
#include <QStyle>
#include <QTest>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

// A screen of `rows` plain labels with one button on top, `minWidth` wide at the least.
QWidget *screen(int rows, int minWidth = 0)
{
    auto *w = new QWidget;
    w->setMinimumWidth(minWidth);
    auto *box = new QVBoxLayout(w);
    auto *button = new QPushButton(u"Start"_s, w);
    button->setObjectName(u"start"_s);
    box->addWidget(button, 0, Qt::AlignLeft);
    for (int i = 0; i < rows; ++i)
        box->addWidget(new QLabel(u"Row %1"_s.arg(i), w));
    box->addStretch(1);
    return w;
}

struct Frame
{
    QWidget column;
    board::Viewport *viewport;

    Frame()
    {
        auto *box = new QVBoxLayout(&column);
        box->addWidget(new QLabel(u"heading"_s, &column));
        viewport = new board::Viewport(&column);
        box->addWidget(viewport, 1);
        testsupport::layOut(&column, 900, 700);
    }

    void show(QWidget *s)
    {
        viewport->setScreen(s);
        viewport->settleNow();
        QCoreApplication::processEvents();
    }
};

void send(QWidget *target, QEvent::Type type, QPoint at, Qt::MouseButtons held)
{
    QMouseEvent e(type, at, target->mapToGlobal(at), type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton, held,
                  Qt::NoModifier);
    QApplication::sendEvent(target, &e);
}

} // namespace

class TestViewport : public QObject
{
    Q_OBJECT
private slots:
    void fitAndUserZoom();
    void pressBecomesPanPastEightPixels_data();
    void pressBecomesPanPastEightPixels();
    void rebuildKeepsThePosition();
    void pageStaysClear_data();
    void pageStaysClear();
};

void TestViewport::fitAndUserZoom()
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
    QCOMPARE(f.viewport->view()->transform().m11(), 1.5);
    f.show(screen(5, 3000));
    QCOMPARE(f.viewport->zoom(), 1.5);
    f.viewport->findChild<QPushButton *>(u"recenter"_s)->click();
    QCOMPARE(f.viewport->userZoom(), 0.0);
    QVERIFY(f.viewport->zoom() < 0.35);
    QCOMPARE(slider->value(), qRound(f.viewport->zoom() * 100));
}

void TestViewport::pressBecomesPanPastEightPixels_data()
{
    QTest::addColumn<bool>("onButton");
    QTest::addColumn<QPoint>("move");
    QTest::addColumn<bool>("clicked");
    QTest::newRow("click") << true << QPoint(0, 0) << true;
    QTest::newRow("8 px stays a click") << true << QPoint(5, 3) << true;
    QTest::newRow("9 px becomes a pan") << true << QPoint(5, 4) << false;
    QTest::newRow("empty space pans at once") << false << QPoint(6, 1) << false;
}

void TestViewport::pressBecomesPanPastEightPixels()
{
    QFETCH(bool, onButton);
    QFETCH(QPoint, move);
    QFETCH(bool, clicked);
    Frame f;
    f.viewport->findChild<QSlider *>(u"zoomSlider"_s)->setValue(200); // something to pan
    f.show(screen(80));
    auto *button = f.viewport->screen()->findChild<QPushButton *>(u"start"_s);
    QSignalSpy clicks(button, &QPushButton::clicked);
    QGraphicsView *view = f.viewport->view();
    QWidget *target = view->viewport();
    view->horizontalScrollBar()->setValue(30);
    const int hBefore = view->horizontalScrollBar()->value();
    const QPoint buttonAt = view->mapFromScene(
        QPointF(button->mapTo(f.viewport->findChild<QScrollArea *>(u"screenPage"_s), button->rect().center())));
    const QPoint at = onButton ? buttonAt : QPoint(target->width() - 20, target->height() - 20);
    QCOMPARE(f.viewport->classify(at), onButton ? 1 : 0);

    send(target, QEvent::MouseButtonPress, at, Qt::LeftButton);
    send(target, QEvent::MouseMove, at + move / 2, Qt::LeftButton);
    send(target, QEvent::MouseMove, at + move, Qt::LeftButton);
    send(target, QEvent::MouseButtonRelease, at + move, Qt::NoButton);
    QCOMPARE(clicks.size(), clicked ? 1 : 0);
    // The content follows the pointer from the moment the view has the gesture.
    if (!clicked)
        QCOMPARE(view->horizontalScrollBar()->value(), hBefore - (onButton ? move - move / 2 : move).x());
    QVERIFY(!button->isDown());
}

void TestViewport::rebuildKeepsThePosition()
{
    Frame f;
    f.show(screen(120));
    f.viewport->scrollScreenBy(300);
    QCOMPARE(f.viewport->scrollY(), 300);
    f.viewport->remember();
    f.show(screen(121));
    QCOMPARE(f.viewport->scrollY(), 300);
    // Without remember() a new screen starts at the top.
    f.show(screen(121));
    QCOMPARE(f.viewport->scrollY(), 0);
}

void TestViewport::pageStaysClear_data()
{
    QTest::addColumn<bool>("appSheet");
    QTest::newRow("no application sheet") << false;
    QTest::newRow("application sheet") << true;
}

// The page is clear over any application sheet that paints scroll areas' contents, and puts no
// sheet over a screen's widgets when there is none: that would move every one of them onto the
// style sheet style, the slowest part of setting a screen in.
void TestViewport::pageStaysClear()
{
    QFETCH(bool, appSheet);
    qApp->setStyleSheet(appSheet ? u"QAbstractScrollArea > QWidget > QWidget { background: #ff0000; }"_s : QString());
    {
        Frame f;
        QWidget *s = screen(3);
        f.show(s);
        QCOMPARE(QByteArray(s->style()->metaObject()->className()) == "QStyleSheetStyle", appSheet);
        const QImage shot = f.viewport->view()->viewport()->grab().toImage().convertToFormat(QImage::Format_RGB32);
        int red = 0;
        for (int y = 0; y < shot.height(); ++y)
            for (int x = 0; x < shot.width(); ++x)
                red += shot.pixel(x, y) == qRgb(255, 0, 0);
        QCOMPARE(red, 0);
    }
    qApp->setStyleSheet(QString());
}

QTEST_MAIN(TestViewport)
#include "tst_viewport.moc"
