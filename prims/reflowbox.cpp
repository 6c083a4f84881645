#include "prims/reflowbox.h"

#include <algorithm>

namespace prims {

namespace {

int itemHeight(const QLayoutItem *item, int width)
{
    return item->hasHeightForWidth() ? item->heightForWidth(width) : item->sizeHint().height();
}

} // namespace

ReflowBox::ReflowBox(int minItemWidth, QWidget *parent)
    : QBoxLayout(QBoxLayout::LeftToRight, parent)
    , m_minItemWidth(std::max(0, minItemWidth))
{}

ReflowBox::~ReflowBox() = default;

QList<QLayoutItem *> ReflowBox::visibleItems() const
{
    QList<QLayoutItem *> items;
    for (int i = 0; i < count(); ++i) {
        QLayoutItem *item = itemAt(i);
        // Stretches and hidden widgets take no part in the decision.
        if (item && !item->isEmpty() && !item->spacerItem())
            items.append(item);
    }
    return items;
}

bool ReflowBox::stacksAt(int width) const
{
    const QList<QLayoutItem *> items = visibleItems();
    const int n = int(items.size());
    if (n < 2)
        return false;
    int minimums = 0;
    for (const QLayoutItem *item : items)
        minimums += item->minimumSize().width();
    const QMargins m = contentsMargins();
    const int needed = std::max(n * m_minItemWidth, minimums) + (n - 1) * std::max(0, spacing()) + m.left() + m.right();
    return width < needed;
}

bool ReflowBox::hasHeightForWidth() const
{
    // Stacking changes the height with the width even when no item has a height for width.
    return true;
}

int ReflowBox::heightForWidth(int width) const
{
    const bool stack = stacksAt(width);
    const bool stackedNow = direction() == QBoxLayout::TopToBottom;
    if (stack == stackedNow && QBoxLayout::hasHeightForWidth())
        return QBoxLayout::heightForWidth(width);

    const QList<QLayoutItem *> items = visibleItems();
    const QMargins m = contentsMargins();
    const int usable = std::max(0, width - m.left() - m.right());
    const int space = std::max(0, spacing());
    const int n = int(items.size());
    int height = 0;
    if (n > 0 && stack) {
        for (const QLayoutItem *item : items)
            height += itemHeight(item, usable);
        height += (n - 1) * space;
    } else if (n > 0) {
        const int each = std::max(0, (usable - (n - 1) * space) / n);
        for (const QLayoutItem *item : items)
            height = std::max(height, itemHeight(item, each));
    }
    return height + m.top() + m.bottom();
}

QSize ReflowBox::minimumSize() const
{
    const QSize own = QBoxLayout::minimumSize();
    if (direction() == QBoxLayout::TopToBottom)
        return own;
    int widest = 0;
    for (const QLayoutItem *item : visibleItems())
        widest = std::max(widest, item->minimumSize().width());
    const QMargins m = contentsMargins();
    // Side by side the row may shrink to its widest item; below the stacking width it reflows.
    return {widest + m.left() + m.right(), own.height()};
}

void ReflowBox::setGeometry(const QRect &rect)
{
    const QBoxLayout::Direction wanted = stacksAt(rect.width()) ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight;
    if (direction() != wanted)
        setDirection(wanted);
    QBoxLayout::setGeometry(rect);
}

} // namespace prims
