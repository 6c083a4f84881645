#include "prims/wraprow.h"

#include <QWidget>

#include <algorithm>

namespace prims {

WrapRow::WrapRow(QWidget *parent, int margin, int spacing)
    : QLayout(parent)
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

QSize WrapRow::minimumSize() const
{
    QSize size;
    for (const QLayoutItem *item : m_items) {
        if (!item->isEmpty())
            size = size.expandedTo(item->sizeHint());
    }
    const QMargins m = contentsMargins();
    return size + QSize(m.left() + m.right(), m.top() + m.bottom());
}

QSize WrapRow::sizeHint() const
{
    // One line of everything is what the row would like; heightForWidth answers when it wraps.
    int width = 0;
    int height = 0;
    int visible = 0;
    for (const QLayoutItem *item : m_items) {
        if (item->isEmpty())
            continue;
        const QSize hint = item->sizeHint();
        width += hint.width();
        height = std::max(height, hint.height());
        ++visible;
    }
    if (visible > 1)
        width += (visible - 1) * gap();
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
    const int right = area.x() + std::max(0, area.width());

    QList<QLayoutItem *> visible;
    for (QLayoutItem *item : m_items) {
        if (!item->isEmpty())
            visible.append(item);
    }

    int y = area.y();
    int total = 0;
    qsizetype i = 0;
    while (i < visible.size()) {
        // Take items while the running width fits; the first item of a line always goes in.
        qsizetype end = i;
        int used = 0;
        int lineHeight = 0;
        while (end < visible.size()) {
            const int w = visible.at(end)->sizeHint().width();
            const int next = end == i ? w : used + space + w;
            if (end > i && next > area.width())
                break;
            used = next;
            lineHeight = std::max(lineHeight, visible.at(end)->sizeHint().height());
            ++end;
        }
        const int n = int(end - i);
        if (place) {
            int widths = 0;
            for (qsizetype k = i; k < end; ++k)
                widths += visible.at(k)->sizeHint().width();
            const int spare = std::max(0, area.width() - (n - 1) * space - widths);
            const int extra = spare / n;
            int x = area.x();
            for (qsizetype k = i; k < end; ++k) {
                int w = visible.at(k)->sizeHint().width() + extra;
                if (k == end - 1)
                    w = std::max(0, right - x);
                visible.at(k)->setGeometry(QRect(x, y, w, lineHeight));
                x += w + space;
            }
        }
        y += lineHeight + space;
        total += lineHeight + space;
        i = end;
    }
    const QMargins m = contentsMargins();
    return std::max(0, total - space) + m.top() + m.bottom();
}

} // namespace prims
