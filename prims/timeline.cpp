#include "prims/timeline.h"

#include "app/base/theme.h"
#include "prims/itemview.h"
#include "prims/json.h"
#include "prims/textlabel.h"

#include <QListView>
#include <QPainter>
#include <QResizeEvent>
#include <QStandardItemModel>
#include <QTextOption>

using namespace Qt::StringLiterals;

namespace prims {

namespace {

constexpr int kPadTop = 6;
constexpr int kPadBottom = 8;
constexpr int kPadLeft = 8;
constexpr int kRailGap = 14; // time column to rail, rail to text
constexpr double kDot = 5;
constexpr int kDetailGap = 2;

// The width an event's text wraps in, for a view whose items are `viewWidth` wide; 0 when the
// view has no width yet (the text is then measured on one line).
int textWidthIn(int viewWidth, int timeWidth)
{
    return viewWidth > 0 ? std::max(1, viewWidth - (kPadLeft + timeWidth + 2 * kRailGap) - 6) : 0;
}

int wrappedHeight(const QFont &font, const QString &text, int width)
{
    return textSize(font, text, width > 0 ? width : -1).height();
}

void drawWrapped(QPainter *p, const QRect &box, const QString &text)
{
    QTextOption option(Qt::AlignLeft | Qt::AlignTop);
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    p->drawText(QRectF(box), text, option);
}

// A list view that keeps its first rows in sight as its width changes their wrapped heights.
class TimelineView final : public QListView
{
public:
    TimelineView(int shown, bool scrolls, QWidget *parent)
        : QListView(parent)
        , m_shown(shown)
        , m_scrolls(scrolls)
    {}

    void refit()
    {
        int height = 0;
        QStyleOptionViewItem option;
        initViewItemOption(&option);
        for (int r = 0; model() && r < std::min(m_shown, model()->rowCount()); ++r)
            height += itemDelegate()->sizeHint(option, model()->index(r, 0)).height();
        fitHeight(this, height, nullptr, m_scrolls);
    }

protected:
    void resizeEvent(QResizeEvent *event) override
    {
        QListView::resizeEvent(event);
        if (event->size().width() != event->oldSize().width()) {
            // A list view lays its items out again on a change of height only; their heights
            // follow the width here.
            scheduleDelayedItemsLayout();
            refit();
        }
    }

private:
    int m_shown;
    bool m_scrolls;
};

} // namespace

TimelineDelegate::TimelineDelegate(QObject *parent)
    : QStyledItemDelegate(parent)
{}

QSize TimelineDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    // Text and detail wrap in the width the view gives its items, whole, never cut.
    // Until the view is shown at the width its layout gave it (a hidden view gets its resize when
    // shown), the text is measured on one line.
    const auto *view = qobject_cast<const QAbstractItemView *>(option.widget);
    const int viewWidth = view && view->isVisible() ? view->viewport()->width() : 0;
    const int wrapAt = textWidthIn(viewWidth, m_timeWidth);
    const QString text = index.data().toString();
    const QString detail = index.data(kDetailRole).toString();
    int height = kPadTop + wrappedHeight(theme::uiFont(10), text, wrapAt) + kPadBottom;
    if (!detail.isEmpty())
        height += kDetailGap + wrappedHeight(theme::uiFont(9), detail, wrapAt);
    // As wide as the view once it has a width: the text wraps there rather than scrolling sideways.
    const int width = viewWidth > 0 ? viewWidth
                                    : kPadLeft + m_timeWidth + 2 * kRailGap +
                                          QFontMetrics(theme::uiFont(10)).horizontalAdvance(text) + 8;
    return {width, height};
}

void TimelineDelegate::paint(QPainter *p, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    const theme::Palette &pal = theme::palette();
    const QRect r = option.rect;
    p->save();
    p->setRenderHint(QPainter::Antialiasing);
    const QColor ground =
        option.state & QStyle::State_Selected ? theme::blend(pal.row, pal.accent, pal.dark ? 0.35 : 0.28) : pal.row;
    p->fillRect(r, ground);

    const QFont textFont = theme::uiFont(10);
    const QFontMetrics fm(textFont);
    const int lineTop = r.top() + kPadTop;
    const double railX = r.left() + kPadLeft + m_timeWidth + kRailGap + 0.5;
    const double dotY = lineTop + fm.height() / 2.0;

    const QString time = index.data(kTimeRole).toString();
    if (!time.isEmpty()) {
        p->setFont(theme::monoFont(9));
        p->setPen(pal.muted);
        p->drawText(QRect(r.left() + kPadLeft, lineTop, m_timeWidth, fm.height()), Qt::AlignRight | Qt::AlignVCenter,
                    time);
    }

    // The rail joins the dots: from the first dot down, and up to the last.
    const int rows = index.model()->rowCount(index.parent());
    p->setPen(QPen(pal.edge, 2));
    const double top = index.row() == 0 ? dotY : r.top();
    const double bottom = index.row() == rows - 1 ? dotY : r.bottom() + 1;
    if (bottom > top)
        p->drawLine(QPointF(railX, top), QPointF(railX, bottom));
    p->setPen(QPen(ground, 2));
    p->setBrush(theme::toneColor(index.data(kToneRole).toString()));
    p->drawEllipse(QPointF(railX, dotY), kDot, kDot);

    const int textLeft = int(railX) + kRailGap;
    const int textWidth = std::max(1, textWidthIn(r.width(), m_timeWidth)); // as measured
    const QString text = index.data().toString();
    const int textHeight = wrappedHeight(textFont, text, textWidth);
    p->setFont(textFont);
    p->setPen(pal.ink);
    drawWrapped(p, QRect(textLeft, lineTop, textWidth, textHeight), text);
    const QString detail = index.data(kDetailRole).toString();
    if (!detail.isEmpty()) {
        const QFont small = theme::uiFont(9);
        p->setFont(small);
        p->setPen(pal.muted);
        drawWrapped(
            p, QRect(textLeft, lineTop + textHeight + kDetailGap, textWidth, wrappedHeight(small, detail, textWidth)),
            detail);
    }
    p->restore();
}

QWidget *buildTimeline(const QJsonObject &el, const Callbacks &cb, QWidget *parent)
{
    const QJsonArray items = readArray(el, "items"_L1, kMaxTimelineItems);
    if (items.isEmpty())
        return nullptr;
    const int shown = std::min(int(items.size()), maxRows(el, 8));
    auto *view = new TimelineView(shown, shown < items.size(), parent);
    view->setObjectName(u"primTimeline"_s);
    view->setResizeMode(QListView::Adjust);
    view->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto *model = new QStandardItemModel(view);
    auto *delegate = new TimelineDelegate(view);
    const QFontMetrics mono(theme::monoFont(9));
    int timeWidth = 0;
    for (const QJsonValue &v : items) {
        const QJsonObject o = v.toObject();
        const QString time = readText(o, "time"_L1);
        const QString text = readText(o, "text"_L1);
        const QString detail = readText(o, "detail"_L1);
        auto *item = new QStandardItem(text);
        item->setEditable(false);
        item->setData(time, TimelineDelegate::kTimeRole);
        item->setData(detail, TimelineDelegate::kDetailRole);
        item->setData(readText(o, "tone"_L1, u"accent"_s), TimelineDelegate::kToneRole);
        QStringList copy{time, text};
        if (!detail.isEmpty())
            copy.append(detail);
        item->setData(copy.join(u'\t'), kCopyRole);
        // The tip holds the event's texts (or its click's own tip).
        QString tip = copy.mid(1).join(u'\n');
        if (const QJsonObject click = readClick(o); !click.isEmpty()) {
            item->setData(QVariant(click), kClickRole);
            if (const QString clickTip = readText(click, "tip"_L1); !clickTip.isEmpty())
                tip = clickTip;
        }
        item->setToolTip(tip);
        model->appendRow(item);
        timeWidth = std::max(timeWidth, mono.horizontalAdvance(time));
    }
    delegate->setTimeWidth(timeWidth);
    styleItemView(view);
    view->setAlternatingRowColors(false);
    view->setModel(model);
    view->setItemDelegate(delegate);

    view->refit();
    copyOnCopyKeys(view);
    postClicks(view, cb);
    return view;
}

} // namespace prims
