#pragma once
// Shows a drawn screen inside a zoomable, pannable graphics view, so that a large screen fits any
// window and can be enlarged. The main window shows its screen through one; the diagram panels
// show the site board through another, which is why it lives with the board widgets.
//
// The screen sits on a page as tall as the room the window gives it; a screen taller than that
// scrolls inside the page (its own scroll area, or the page's). A press on empty space pans; a
// press on a control goes to the control, and becomes a pan once it moves more than 8 pixels.

#include <QPointF>
#include <QPointer>
#include <QWidget>

class QGraphicsProxyWidget;
class QGraphicsScene;
class QGraphicsView;
class QLabel;
class QPushButton;
class QScrollArea;
class QSlider;
class QVBoxLayout;

namespace board {

class BoardView;

class Viewport final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Viewport)

public:
    explicit Viewport(QWidget *parent = nullptr);
    ~Viewport() override;

    // Puts `screen` in place of the one shown; the old one is hidden and deleted from the event
    // loop, never while one of its own events is being handled.
    void setScreen(QWidget *screen);
    QWidget *screen() const { return m_screen; }
    // The parent to build the next screen in. A screen built there joins the page as it is;
    // one built elsewhere is moved in, and under a style sheet moving a tree restyles every
    // widget of it.
    QWidget *screenHost() const { return m_host; }

    // Saves the scroll position and zoom before a rebuild; the next screen restores them once
    // it has been laid out.
    void remember();
    // The vertical scroll of the shown screen: the page's, or the screen's own scroll area's.
    int scrollY() const;
    void scrollScreenBy(int dy);
    // Lays the screen out at once (rather than from the event loop) and restores a remembered
    // position; for the window, which logs the scroll after a rebuild.
    void settleNow();

    double fitZoom() const { return m_fit; }
    double userZoom() const { return m_userZoom; }
    // The zoom in force: the user's when set, else the fit.
    double zoom() const { return m_userZoom > 0 ? m_userZoom : m_fit; }
    // Follows the fit again (the "Re-center" button).
    void recenter();

    // The height the screen may fill: KESTRO_RENDER_H when set, else the view's, at least 180.
    int room() const;
    // A viewport inside a screen (a diagram panel) measures its room by its own view: the
    // window's height in KESTRO_RENDER_H is not its to fill.
    void setNested(bool nested) { m_nested = nested; }

    QGraphicsView *view() const;

    // What lies under a point of the view: 0 nothing interactive (pans), 1 a control, 2 a drag.
    int classify(const QPoint &viewPos) const;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void keepPageClear();
    void scheduleLayout();
    void layOutPage();
    void applyZoom();
    void restore();
    QScrollArea *scroller() const;

    BoardView *m_view;
    QGraphicsScene *m_scene;
    QGraphicsProxyWidget *m_proxy = nullptr;
    QScrollArea *m_page;
    QWidget *m_host;
    QVBoxLayout *m_hostBox;
    QPointer<QWidget> m_screen;
    QSlider *m_slider;
    QLabel *m_percent;
    QPushButton *m_recenter;

    double m_fit = 1.0;
    double m_userZoom = 0; // 0: follow the fit; one value for every screen of the run
    bool m_layoutQueued = false;
    bool m_nested = false;

    struct Remembered
    {
        bool pending = false;
        QPointF at; // view's horizontal scroll, screen's vertical scroll
        double zoom = 1.0;
        int tries = 0; // a screen still growing gets a few layout passes to reach the position
    } m_remembered;
};

} // namespace board
