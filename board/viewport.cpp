#include "board/viewport.h"

#include "app/base/logging.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAbstractSlider>
#include <QAbstractSpinBox>
#include <QApplication>
#include <QComboBox>
#include <QGraphicsProxyWidget>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSlider>
#include <QTabBar>
#include <QTextEdit>
#include <QTimer>
#include <QVBoxLayout>

#include <cmath>

using namespace Qt::StringLiterals;

namespace board {

namespace {

constexpr double kMinZoom = 0.002;
constexpr double kMaxZoom = 2.0;
constexpr int kFitMargin = 8;   // kept free around a fitted screen
constexpr int kFooterRoom = 24; // the zoom row under the view, taken off KESTRO_RENDER_H
constexpr int kMinRoom = 180;
constexpr int kPanThreshold = 8; // pixels, horizontal plus vertical, before a press becomes a pan
constexpr const char *kClearPage =
    "QScrollArea#screenPage{background:transparent;}QScrollArea#screenPage>QWidget>QWidget{background:transparent;}";

bool pressable(const QWidget *w)
{
    return qobject_cast<const QAbstractButton *>(w) || qobject_cast<const QAbstractSlider *>(w) ||
           qobject_cast<const QLineEdit *>(w) || qobject_cast<const QAbstractSpinBox *>(w) ||
           qobject_cast<const QComboBox *>(w) || qobject_cast<const QTextEdit *>(w) ||
           qobject_cast<const QPlainTextEdit *>(w) || qobject_cast<const QTabBar *>(w) ||
           qobject_cast<const QAbstractItemView *>(w) || w->property("pressable").toBool() ||
           (w->testAttribute(Qt::WA_SetCursor) && w->cursor().shape() == Qt::PointingHandCursor);
}

bool draggable(const QWidget *w)
{
    return w->property("draggable").toBool() || !w->property("dragMime").toString().isEmpty();
}

} // namespace

// The graphics view that decides, press by press, whether the screen or the pan gets the mouse.
class BoardView final : public QGraphicsView
{
public:
    BoardView(Viewport *owner, QGraphicsScene *scene)
        : QGraphicsView(scene, owner)
        , m_owner(owner)
    {}

protected:
    void mousePressEvent(QMouseEvent *event) override
    {
        if (event->button() != Qt::LeftButton) {
            QGraphicsView::mousePressEvent(event);
            return;
        }
        const QPoint at = event->position().toPoint();
        qCDebug(lcInput, "VIEW press at %d,%d", at.x(), at.y());
        m_pressAt = at;
        m_last = at;
        m_class = m_owner->classify(at);
        if (m_class == 0) {
            qCDebug(lcInput, "  -> VIEW takes it for a pan");
            startPan();
            event->accept();
            return;
        }
        qCDebug(lcInput, "  -> handed to the scene/proxy (%s)", m_class == 1 ? "press" : "carry");
        QGraphicsView::mousePressEvent(event);
        qCDebug(lcInput, "  <- scene returned, accepted=%d grabber=%d", int(event->isAccepted()),
                int(scene() && scene()->mouseGrabberItem() != nullptr));
    }

    void mouseMoveEvent(QMouseEvent *event) override
    {
        const QPoint at = event->position().toPoint();
        if (!m_panning && m_class == 1 && (event->buttons() & Qt::LeftButton) &&
            (at - m_pressAt).manhattanLength() > kPanThreshold) {
            qCDebug(lcInput, "VIEW takes the gesture over as a pan");
            // The control lets go: its release will not come, so it never clicks.
            if (QGraphicsItem *grabber = scene() ? scene()->mouseGrabberItem() : nullptr)
                grabber->ungrabMouse();
            if (QWidget *held = QApplication::mouseButtons() ? QWidget::mouseGrabber() : nullptr)
                held->releaseMouse();
            releaseHeldButton();
            startPan();
        }
        if (m_panning) {
            panBy(at - m_last);
            m_last = at;
            event->accept();
            return;
        }
        m_last = at;
        QGraphicsView::mouseMoveEvent(event);
    }

    void mouseReleaseEvent(QMouseEvent *event) override
    {
        if (event->button() == Qt::LeftButton) {
            const QPoint at = event->position().toPoint();
            qCDebug(lcInput, "VIEW release at %d,%d panning=%d", at.x(), at.y(), int(m_panning));
            if (m_panning) {
                m_panning = false;
                m_class = -1;
                viewport()->unsetCursor();
                event->accept();
                return;
            }
            m_class = -1;
        }
        QGraphicsView::mouseReleaseEvent(event);
    }

private:
    void startPan()
    {
        m_panning = true;
        viewport()->setCursor(Qt::ClosedHandCursor);
    }

    // A push button that saw the press is still down; set it up again without a click.
    void releaseHeldButton()
    {
        if (!scene())
            return;
        for (QGraphicsItem *item : scene()->items()) {
            auto *proxy = qgraphicsitem_cast<QGraphicsProxyWidget *>(item);
            if (!proxy || !proxy->widget())
                continue;
            for (QAbstractButton *b : proxy->widget()->findChildren<QAbstractButton *>())
                if (b->isDown())
                    b->setDown(false);
        }
    }

    // Content follows the pointer: the view's own bars first, what they cannot take goes to the
    // screen's scroll, at the zoom in force.
    void panBy(QPoint delta)
    {
        QScrollBar *h = horizontalScrollBar();
        QScrollBar *v = verticalScrollBar();
        const int hBefore = h->value();
        const int vBefore = v->value();
        h->setValue(hBefore - delta.x());
        v->setValue(vBefore - delta.y());
        const int leftY = -delta.y() - (v->value() - vBefore);
        if (leftY != 0)
            m_owner->scrollScreenBy(int(std::lround(leftY / std::max(m_owner->zoom(), kMinZoom))));
    }

    Viewport *m_owner;
    QPoint m_pressAt;
    QPoint m_last;
    int m_class = -1;
    bool m_panning = false;
};

Viewport::Viewport(QWidget *parent)
    : QWidget(parent)
    , m_scene(new QGraphicsScene(this))
    , m_page(new QScrollArea)
    , m_host(new QWidget)
    , m_hostBox(new QVBoxLayout(m_host))
{
    setObjectName(u"viewport"_s);
    m_view = new BoardView(this, m_scene);
    m_view->setObjectName(u"boardView"_s);
    m_view->setFrameShape(QFrame::NoFrame);
    m_view->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    m_view->setTransformationAnchor(QGraphicsView::NoAnchor);
    m_view->setResizeAnchor(QGraphicsView::NoAnchor);
    m_view->setRenderHint(QPainter::SmoothPixmapTransform);
    m_view->setStyleSheet(u"QGraphicsView { background: transparent; border: none; }"_s);

    m_page->setObjectName(u"screenPage"_s);
    m_page->setWidgetResizable(true);
    m_page->setFrameShape(QFrame::NoFrame);
    m_page->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_page->setAttribute(Qt::WA_TranslucentBackground);
    m_page->viewport()->setAutoFillBackground(false);
    // The page holds one host for good, and screens come and go inside it: a screen is built
    // in its place and an old one is dropped there, so no tree is ever moved between parents.
    m_host->setObjectName(u"screenHost"_s);
    m_hostBox->setContentsMargins(0, 0, 0, 0);
    m_hostBox->setSpacing(0);
    m_page->setWidget(m_host);
    m_proxy = m_scene->addWidget(m_page);

    m_slider = new QSlider(Qt::Horizontal, this);
    m_slider->setObjectName(u"zoomSlider"_s);
    m_slider->setRange(100, 200);
    m_slider->setFixedWidth(160);
    m_percent = new QLabel(this);
    m_percent->setObjectName(u"zoomPercent"_s);
    m_percent->setMinimumWidth(44);
    m_recenter = new QPushButton(u"Re-center"_s, this);
    m_recenter->setObjectName(u"recenter"_s);
    m_recenter->setFocusPolicy(Qt::NoFocus);

    auto *footer = new QHBoxLayout;
    footer->setContentsMargins(0, 2, 0, 4);
    footer->setSpacing(6);
    footer->addStretch(1);
    auto *sizeLabel = new QLabel(u"size "_s, this);
    sizeLabel->setObjectName(u"zoomCaption"_s);
    footer->addWidget(sizeLabel);
    footer->addWidget(m_slider);
    footer->addWidget(m_percent);
    footer->addWidget(m_recenter);

    auto *box = new QVBoxLayout(this);
    box->setContentsMargins(0, 0, 0, 0);
    box->setSpacing(0);
    box->addWidget(m_view, 1);
    box->addLayout(footer);

    connect(m_slider, &QSlider::valueChanged, this, [this](int value) {
        m_userZoom = std::clamp(value / 100.0, kMinZoom, kMaxZoom);
        applyZoom();
    });
    connect(m_recenter, &QPushButton::clicked, this, &Viewport::recenter);
    applyZoom();
}

Viewport::~Viewport() = default;

QGraphicsView *Viewport::view() const
{
    return m_view;
}

void Viewport::setScreen(QWidget *screen)
{
    if (QWidget *old = m_screen; old && old != screen) {
        old->hide();
        m_hostBox->removeWidget(old);
        old->removeEventFilter(this);
        old->deleteLater();
    }
    m_screen = screen;
    if (screen) {
        keepPageClear();
        if (m_hostBox->indexOf(screen) < 0)
            m_hostBox->addWidget(screen, 1);
        if (!m_remembered.pending)
            m_page->verticalScrollBar()->setValue(0); // a new screen starts at its top
        screen->setAutoFillBackground(false);         // the page shows through, as the view does
        screen->show();
        screen->installEventFilter(this);
    }
    scheduleLayout();
}

void Viewport::keepPageClear()
{
    // A style sheet on the page would put every widget of every screen under the style sheet
    // style, which polishes each one many times slower than the plain style. Without an
    // application sheet the page's palette keeps it clear; with one, only a sheet overrides the
    // application's background for scroll areas.
    const QString sheet = qApp->styleSheet().isEmpty() ? QString() : QString::fromLatin1(kClearPage);
    if (m_page->styleSheet() != sheet)
        m_page->setStyleSheet(sheet);
}

QScrollArea *Viewport::scroller() const
{
    // A screen with its own scroll area scrolls there; a taller plain screen scrolls the page.
    if (m_screen)
        for (QScrollArea *area : m_screen->findChildren<QScrollArea *>())
            if (area->verticalScrollBar()->maximum() > 0)
                return area;
    return m_page;
}

int Viewport::scrollY() const
{
    return scroller()->verticalScrollBar()->value();
}

void Viewport::scrollScreenBy(int dy)
{
    QScrollBar *bar = scroller()->verticalScrollBar();
    bar->setValue(bar->value() + dy);
}

void Viewport::remember()
{
    m_remembered = {true, QPointF(m_view->horizontalScrollBar()->value(), scrollY()), zoom(), 0};
    qCDebug(lcPan, "  remember at=%.1f,%.1f z=%.3f frameH=%d", m_remembered.at.x(), m_remembered.at.y(),
            m_remembered.zoom, height());
}

void Viewport::restore()
{
    if (!m_remembered.pending)
        return;
    qCDebug(lcPan, "RESTORE to %.1f,%.1f z=%.3f frameH=%d", m_remembered.at.x(), m_remembered.at.y(), m_remembered.zoom,
            height());
    m_view->horizontalScrollBar()->setValue(int(m_remembered.at.x()));
    QScrollBar *bar = scroller()->verticalScrollBar();
    bar->setValue(int(m_remembered.at.y()));
    if (bar->value() == int(m_remembered.at.y()) || ++m_remembered.tries > 4)
        m_remembered.pending = false;
    else
        scheduleLayout(); // not laid out to its full height yet
}

void Viewport::settleNow()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
    layOutPage();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
    restore();
}

void Viewport::recenter()
{
    m_userZoom = 0;
    applyZoom();
}

int Viewport::room() const
{
    bool set = false;
    const int forced = m_nested ? 0 : qEnvironmentVariableIntValue("KESTRO_RENDER_H", &set);
    const int allowed = set && forced > 0 ? forced - kFooterRoom : m_view->viewport()->height();
    return std::max(kMinRoom, allowed - kFitMargin);
}

int Viewport::classify(const QPoint &viewPos) const
{
    const QPointF scenePos = m_view->mapToScene(viewPos);
    if (!m_proxy->contains(m_proxy->mapFromScene(scenePos)))
        return 0;
    const QPoint local = m_proxy->mapFromScene(scenePos).toPoint();
    QWidget *hit = m_page->childAt(local);
    for (QWidget *w = hit; w && w != m_page; w = w->parentWidget()) {
        if (draggable(w))
            return 2;
        if (pressable(w))
            return 1;
    }
    return 0;
}

bool Viewport::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_screen && event->type() == QEvent::LayoutRequest)
        scheduleLayout();
    return QWidget::eventFilter(watched, event);
}

void Viewport::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    scheduleLayout();
}

void Viewport::scheduleLayout()
{
    if (m_layoutQueued)
        return;
    m_layoutQueued = true;
    QTimer::singleShot(0, this, [this] {
        m_layoutQueued = false;
        layOutPage();
    });
}

void Viewport::layOutPage()
{
    // The page is as wide as the view offers (never narrower than the screen can shrink) and as
    // tall as the room; what does not fit scrolls inside it.
    const int parentW = parentWidget() ? parentWidget()->width() : width();
    const int offered = std::max(1, m_view->viewport()->width() - kFitMargin);
    const int minW = m_screen ? std::max(m_screen->minimumSizeHint().width(), m_screen->minimumWidth()) : 0;
    const int pageW = std::max(offered, minW);
    const int allowed = room();
    int wants = allowed;
    if (m_screen)
        wants = m_screen->hasHeightForWidth() ? m_screen->heightForWidth(pageW) : m_screen->sizeHint().height();
    const bool stacked = wants > allowed;
    const int pageH = allowed;
    qCDebug(lcFrame, "room: allowed=%d wants=%d frame=%d page=%d spare=%d stacked=%d -> %d", allowed, wants, height(),
            pageH, allowed - wants, int(stacked), pageH);
    m_page->resize(pageW, pageH);
    m_proxy->resize(pageW, pageH);
    m_scene->setSceneRect(0, 0, pageW, pageH);

    // Fit: the page's natural size against the room in the view and its parent's width.
    const double naturalW = pageW;
    const double naturalH = pageH;
    const double fitH = (m_view->viewport()->height() - kFitMargin) / naturalH;
    const double fitW = parentW > 0 && naturalW > 0 ? (parentW - kFitMargin) / naturalW : fitH;
    m_fit = std::clamp(std::min(fitH, fitW), kMinZoom, kMaxZoom);
    if (naturalH <= 0)
        m_fit = 1.0;
    if (m_screen)
        qCDebug(lcFrame, "board: size=%dx%d hint=%dx%d", m_screen->width(), m_screen->height(),
                m_screen->sizeHint().width(), m_screen->sizeHint().height());
    applyZoom();
    restore();
}

void Viewport::applyZoom()
{
    const double z = zoom();
    m_view->resetTransform();
    m_view->scale(z, z);
    const int fitPercent = int(std::lround(m_fit * 100));
    {
        const QSignalBlocker quiet(m_slider);
        m_slider->setRange(std::min(fitPercent, 200), 200);
        m_slider->setValue(int(std::lround(z * 100)));
    }
    m_percent->setText(u"%1%"_s.arg(std::lround(z * 100)));
    const QRectF natural = m_scene->sceneRect();
    qCDebug(lcFrame, "apply: z=%.3f fit=%.3f frameH=%d viewH=%d natural=%.0fx%.0f vpH=%d frameW=%d viewW=%d parentW=%d",
            z, m_fit, height(), m_view->height(), natural.width(), natural.height(), m_view->viewport()->height(),
            width(), m_view->width(), parentWidget() ? parentWidget()->width() : 0);
}

} // namespace board
