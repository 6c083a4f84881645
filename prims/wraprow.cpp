#include "prims/wraprow.h"

#include <QWidget>

#include <algorithm>

namespace prims {

namespace {

int itemHeight(const QLayoutItem *item, int width)
{
    return item->hasHeightForWidth() ? item->heightForWidth(width) : item->sizeHint().height();
}

// `total` in `parts` equal shares, rounded as a box layout rounds equal stretches, so that a
// grid line of equal cells is the line a box layout would give.
QList<int> equalShares(int total, int parts)
{
    QList<int> shares;
    const qint64 space = qint64(std::max(0, total)) * 256;
    qint64 owed = 0;
    for (int i = 0; i < parts; ++i) {
        owed += space / parts;
        const int share = int(owed % 256 < 128 ? owed / 256 : owed / 256 + 1);
        shares.append(share);
        owed -= qint64(share) * 256;
    }
    return shares;
}

} // namespace

WrapRow::WrapRow(QWidget *parent, int margin, int spacing, Fill fill)
    : QLayout(parent)
    , m_fill(fill)
{
    setContentsMargins(margin, margin, margin, margin);
    setSpacing(spacing);
}

WrapRow::~WrapRow()
{
    while (QLayoutItem *item = takeAt(0))
        delete item;
}

void WrapRow::addItem(QLayoutItem *item)
{
    m_items.append(item);
}

int WrapRow::count() const
{
    return int(m_items.size());
}

QLayoutItem *WrapRow::itemAt(int index) const
{
    return index >= 0 && index < m_items.size() ? m_items.at(index) : nullptr;
}

QLayoutItem *WrapRow::takeAt(int index)
{
    return index >= 0 && index < m_items.size() ? m_items.takeAt(index) : nullptr;
}

Qt::Orientations WrapRow::expandingDirections() const
{
    return {};
}

bool WrapRow::hasHeightForWidth() const
{
    return true;
}

int WrapRow::heightForWidth(int width) const
{
    return flow(QRect(0, 0, width, 0), false);
}

QList<QLayoutItem *> WrapRow::visibleItems() const
{
    QList<QLayoutItem *> visible;
    for (QLayoutItem *item : m_items) {
        if (!item->isEmpty())
            visible.append(item);
    }
    return visible;
}

QSize WrapRow::minimumSize() const
{
    // Justified rows (of buttons) keep every item's preferred size; the others let an item go
    // down to its own minimum width, where a wrapping text breaks between its words.
    QSize size;
    for (const QLayoutItem *item : visibleItems()) {
        const QSize hint = item->sizeHint();
        const int width = m_fill == Fill::Justify ? hint.width() : item->minimumSize().width();
        size = size.expandedTo(QSize(width, hint.height()));
    }
    const QMargins m = contentsMargins();
    return size + QSize(m.left() + m.right(), m.top() + m.bottom());
}

QSize WrapRow::sizeHint() const
{
    // One line of everything is what the row would like; heightForWidth answers when it wraps.
    const QList<QLayoutItem *> items = visibleItems();
    int width = 0;
    int widest = 0;
    int height = 0;
    for (const QLayoutItem *item : items) {
        const QSize hint = item->sizeHint();
        width += hint.width();
        widest = std::max(widest, hint.width());
        height = std::max(height, hint.height());
    }
    if (m_fill == Fill::Grid)
        width = widest * int(items.size());
    if (items.size() > 1)
        width += int(items.size() - 1) * gap();
    const QMargins m = contentsMargins();
    return {width + m.left() + m.right(), height + m.top() + m.bottom()};
}

void WrapRow::setGeometry(const QRect &rect)
{
    QLayout::setGeometry(rect);
    flow(rect, true);
}

int WrapRow::gap() const
{
    const int s = spacing();
    return s >= 0 ? s : 0;
}

int WrapRow::flow(const QRect &rect, bool place) const
{
    const QRect area = rect.marginsRemoved(contentsMargins());
    const int space = gap();
    const int width = std::max(0, area.width());
    const QList<QLayoutItem *> items = visibleItems();
    const qsizetype n = items.size();

    // The lines as [begin, end) ranges of items, with the width each item gets.
    struct Line
    {
        qsizetype begin;
        qsizetype end;
        QList<int> widths;
    };
    QList<Line> lines;
    if (m_fill == Fill::Grid && n > 0) {
        int widest = 0;
        for (const QLayoutItem *item : items)
            widest = std::max(widest, item->sizeHint().width());
        const int columns = int(std::clamp<qsizetype>((width + space) / std::max(1, widest + space), 1, n));
        const QList<int> shares = equalShares(width - (columns - 1) * space, columns);
        for (qsizetype begin = 0; begin < n; begin += columns) {
            const qsizetype end = std::min(n, begin + columns);
            lines.append({begin, end, shares.mid(0, end - begin)});
        }
    }
    for (qsizetype i = 0; m_fill != Fill::Grid && i < n;) {
        // Take items while the running width fits; the first item of a line always goes in.
        auto wanted = [&](qsizetype k) {
            const int w = items.at(k)->sizeHint().width();
            return m_fill == Fill::Pack ? std::min(w, width) : w;
        };
        qsizetype end = i;
        int used = 0;
        while (end < n) {
            const int next = end == i ? wanted(end) : used + space + wanted(end);
            if (end > i && next > width)
                break;
            used = next;
            ++end;
        }
        Line line{i, end, {}};
        if (m_fill == Fill::Pack) {
            for (qsizetype k = i; k < end; ++k)
                line.widths.append(wanted(k));
        } else {
            // Justified: the spare width shared out, the last item reaching the right edge.
            const int count = int(end - i);
            const int spare = std::max(0, width - used);
            int x = 0;
            for (qsizetype k = i; k < end; ++k) {
                int w = wanted(k) + spare / count;
                if (k == end - 1)
                    w = std::max(0, width - x);
                line.widths.append(w);
                x += w + space;
            }
        }
        lines.append(line);
        i = end;
    }

    int y = area.y();
    for (const Line &line : lines) {
        // A justified line keeps its items' preferred height at the least (cards look alike
        // across a row); every line is as tall as its items need at the widths they get.
        int lineHeight = 0;
        for (qsizetype k = line.begin; k < line.end; ++k) {
            const int need = itemHeight(items.at(k), line.widths.at(k - line.begin));
            const int least = m_fill == Fill::Justify ? items.at(k)->sizeHint().height() : 0;
            lineHeight = std::max({lineHeight, need, least});
        }
        if (place) {
            int x = area.x();
            for (qsizetype k = line.begin; k < line.end; ++k) {
                const int w = line.widths.at(k - line.begin);
                if (m_fill == Fill::Pack) {
                    const int h = std::min(lineHeight, itemHeight(items.at(k), w));
                    items.at(k)->setGeometry(QRect(x, y + (lineHeight - h) / 2, w, h));
                } else {
                    items.at(k)->setGeometry(QRect(x, y, w, lineHeight));
                }
                x += w + space;
            }
        }
        y += lineHeight + space;
    }
    const QMargins m = contentsMargins();
    const int used = lines.isEmpty() ? 0 : y - space - area.y();
    return std::max(0, used) + m.top() + m.bottom();
}

} // namespace prims
