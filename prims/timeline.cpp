#include "prims/timeline.h"

#include "app/base/theme.h"
#include "prims/itemview.h"
#include "prims/json.h"

#include <QListView>
#include <QPainter>
#include <QStandardItemModel>

using namespace Qt::StringLiterals;

namespace prims {

namespace {

constexpr int kPadTop = 6;
constexpr int kPadBottom = 8;
constexpr int kPadLeft = 8;
constexpr int kRailGap = 14; // time column to rail, rail to text
constexpr double kDot = 5;

} // namespace

TimelineDelegate::TimelineDelegate(QObject *parent)
    : QStyledItemDelegate(parent)
{}

QSize TimelineDelegate::sizeHint(const QStyleOptionViewItem &, const QModelIndex &index) const
{
    const QFontMetrics text(theme::uiFont(10));
    const bool detail = !index.data(kDetailRole).toString().isEmpty();
    const int height =
        kPadTop + text.height() + (detail ? 2 + QFontMetrics(theme::uiFont(9)).height() : 0) + kPadBottom;
    const int width = kPadLeft + m_timeWidth + 2 * kRailGap + text.horizontalAdvance(index.data().toString()) + 8;
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
    const int textWidth = std::max(0, r.right() - textLeft - 6);
    p->setFont(textFont);
    p->setPen(pal.ink);
    p->drawText(QRect(textLeft, lineTop, textWidth, fm.height()), Qt::AlignLeft | Qt::AlignVCenter,
                fm.elidedText(index.data().toString(), Qt::ElideRight, textWidth));
    const QString detail = index.data(kDetailRole).toString();
    if (!detail.isEmpty()) {
        const QFont small = theme::uiFont(9);
        const QFontMetrics sm(small);
        p->setFont(small);
        p->setPen(pal.muted);
        p->drawText(QRect(textLeft, lineTop + fm.height() + 2, textWidth, sm.height()),
                    Qt::AlignLeft | Qt::AlignVCenter, sm.elidedText(detail, Qt::ElideRight, textWidth));
    }
    p->restore();
}

QWidget *buildTimeline(const QJsonObject &el, const Callbacks &cb, QWidget *parent)
{
    const QJsonArray items = readArray(el, "items"_L1, kMaxTimelineItems);
    if (items.isEmpty())
        return nullptr;
    auto *view = new QListView(parent);
    view->setObjectName(u"primTimeline"_s);
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
        // A narrow view cuts long texts with an ellipsis; the tip holds them whole.
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

    int height = 0;
    const int shown = std::min(int(items.size()), maxRows(el, 8));
    QStyleOptionViewItem option;
    for (int r = 0; r < shown; ++r)
        height += delegate->sizeHint(option, model->index(r, 0)).height();
    fitHeight(view, height, nullptr, shown < items.size());
    copyOnCopyKeys(view);
    postClicks(view, cb);
    return view;
}

} // namespace prims
