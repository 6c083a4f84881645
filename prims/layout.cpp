// "layout", "scroll", "split" and "tabs": the containers that arrange children without a frame.
#include "app/base/theme.h"
#include "prims/containers.h"
#include "prims/json.h"
#include "prims/reflowbox.h"
#include "prims/text.h"
#include "prims/wraprow.h"

#include <QAbstractButton>
#include <QBoxLayout>
#include <QScrollArea>
#include <QSplitter>
#include <QTabBar>
#include <QTabWidget>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace prims {

namespace {

constexpr int kMaxChildren = 4000;

QScrollArea *plainScrollArea(QWidget *content, QWidget *parent)
{
    auto *area = new QScrollArea(parent);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    content->setParent(area);
    area->setWidget(content);
    return area;
}

// A scroll area that asks for its content's whole height; it only scrolls when squeezed.
class NaturalScroll final : public QScrollArea
{
public:
    explicit NaturalScroll(QWidget *parent)
        : QScrollArea(parent)
    {}

    QSize sizeHint() const override
    {
        QSize hint = QScrollArea::sizeHint();
        if (const QWidget *content = widget()) {
            const int w = viewport()->width() > 0 ? viewport()->width() : content->sizeHint().width();
            const int h = content->hasHeightForWidth() ? content->heightForWidth(w) : content->sizeHint().height();
            hint.setHeight(h + 2 * frameWidth());
        }
        return hint;
    }

private:
    Q_DISABLE_COPY_MOVE(NaturalScroll)
};

struct Child
{
    QWidget *widget;
    int weight;
    bool grows;
};

Qt::Alignment crossAlignment(const QString &align, bool row)
{
    if (align == "start"_L1)
        return row ? Qt::AlignTop : Qt::AlignLeft;
    if (align == "center"_L1)
        return row ? Qt::AlignVCenter : Qt::AlignHCenter;
    if (align == "end"_L1)
        return row ? Qt::AlignBottom : Qt::AlignRight;
    return {};
}

} // namespace

void setGrows(QWidget *child, bool grows)
{
    const QSizePolicy::Policy keep = child->hasHeightForWidth() ? QSizePolicy::Preferred : QSizePolicy::Maximum;
    setVerticalPolicy(child, grows ? QSizePolicy::Expanding : keep);
}

void setHorizontalPolicy(QWidget *widget, QSizePolicy::Policy policy)
{
    QSizePolicy p = widget->sizePolicy();
    p.setHorizontalPolicy(policy);
    widget->setSizePolicy(p);
}

void setVerticalPolicy(QWidget *widget, QSizePolicy::Policy policy)
{
    QSizePolicy p = widget->sizePolicy();
    p.setVerticalPolicy(policy);
    widget->setSizePolicy(p);
}

int childWeight(const QJsonArray &weights, qsizetype index, int defaultWeight)
{
    if (index < 0 || index >= weights.size())
        return defaultWeight;
    return clampToInt(readNumber(weights.at(index), defaultWeight), 0, 1000);
}

QWidget *buildLayout(const QJsonObject &el, const Callbacks &cb, int depth, QWidget *parent)
{
    const bool row = readText(el, "flow"_L1, u"column"_s) == "row"_L1;
    const QJsonArray items = readArray(el, "items"_L1, kMaxChildren);
    const QJsonArray weights = readArray(el, "weights"_L1, kMaxChildren);
    const QString align = readText(el, "align"_L1);
    const QString justify = readText(el, "justify"_L1);
    const int gap = readInt(el, "gap"_L1, 6, 0, 200);
    const int pad = readInt(el, "pad"_L1, 0, 0, 200);
    const int minItemWidth = row ? readInt(el, "min_item_width"_L1, 0, 0, 4000) : 0;

    auto *container = new QWidget(parent);
    const bool fill = align.isEmpty() || align == "fill"_L1;
    const int defaultWeight = fill ? 1 : 0;

    QList<Child> children;
    for (qsizetype i = 0; i < items.size(); ++i) {
        QWidget *child = buildChild(items.at(i), cb, depth, container);
        if (!child)
            continue;
        const int weight = childWeight(weights, i, defaultWeight);
        if (fill && weight >= 1) {
            if (!row) {
                setVerticalPolicy(child, QSizePolicy::Expanding);
            } else if (qobject_cast<QAbstractButton *>(child)) {
                setHorizontalPolicy(child, QSizePolicy::Expanding);
                child->setMinimumWidth(child->sizeHint().width());
            } else {
                setHorizontalPolicy(child, QSizePolicy::Ignored);
                // An instrument wider than that keeps the width its size asks for.
                child->setMinimumWidth(std::max(240, child->minimumWidth()));
            }
        }
        const bool grows = !row && readTrue(items.at(i).toObject(), "grow"_L1);
        children.append({child, weight, grows});
    }
    if (children.isEmpty()) {
        delete container;
        return nullptr;
    }

    const bool anyGrows = std::any_of(children.cbegin(), children.cend(), [](const Child &c) { return c.grows; });
    if (anyGrows) {
        for (Child &c : children) {
            setGrows(c.widget, c.grows);
            c.weight = c.grows ? std::max(1, c.weight) : 0;
        }
    }

    const bool allButtons = std::all_of(children.cbegin(), children.cend(), [](const Child &c) {
        return qobject_cast<QAbstractButton *>(c.widget) != nullptr;
    });
    if (row && fill && children.size() >= 2 && minItemWidth == 0 && allButtons) {
        // Buttons in a filled row flow onto as many justified lines as the width needs.
        auto *wrap = new WrapRow(container, pad, gap);
        for (const Child &c : children) {
            setHorizontalPolicy(c.widget, QSizePolicy::Expanding);
            c.widget->setMinimumWidth(0);
            wrap->addWidget(c.widget);
        }
        // Its height comes from its width (the lines it needs), never from its one-line hint.
        container->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    } else {
        QBoxLayout *box = nullptr;
        if (row && minItemWidth > 0)
            box = new ReflowBox(minItemWidth, container);
        else
            box = new QBoxLayout(row ? QBoxLayout::LeftToRight : QBoxLayout::TopToBottom, container);
        box->setContentsMargins(pad, pad, pad, pad);
        box->setSpacing(gap);

        const bool distribute = !fill && !anyGrows;
        const bool lead = distribute && (justify == "end"_L1 || justify == "center"_L1);
        const bool between = distribute && justify == "between"_L1;
        const bool trail = distribute && justify != "end"_L1 && justify != "between"_L1;
        if (lead)
            box->addStretch(1);
        const Qt::Alignment cross = crossAlignment(align, row);
        for (qsizetype i = 0; i < children.size(); ++i) {
            box->addWidget(children.at(i).widget, children.at(i).weight, cross);
            if (between && i + 1 < children.size())
                box->addStretch(1);
        }
        if (trail)
            box->addStretch(1);
    }

    if (!readFlag(el, "scroll"_L1, false))
        return container;
    if (const auto height = readOptionalInt(el, "height"_L1, 40, 4000)) {
        QScrollArea *area = plainScrollArea(container, parent);
        area->setFixedHeight(*height);
        return area;
    }
    auto *area = new NaturalScroll(parent);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    container->setParent(area);
    area->setWidget(container);
    area->setStyleSheet(u"QScrollArea{background:transparent;}QScrollArea>QWidget>QWidget{background:transparent;}"_s);
    return area;
}

QWidget *buildScroll(const QJsonObject &el, const Callbacks &cb, int depth, QWidget *parent)
{
    const QJsonArray items = readArray(el, "items"_L1, kMaxChildren);
    if (items.isEmpty())
        return nullptr;
    auto *content = new QWidget;
    auto *box = new QVBoxLayout(content);
    box->setContentsMargins(0, 0, 0, 0);
    box->setSpacing(6);
    for (const QJsonValue &item : items) {
        if (QWidget *child = buildChild(item, cb, depth, content))
            box->addWidget(child);
    }
    QScrollArea *area = plainScrollArea(content, parent);
    area->setFixedHeight(readInt(el, "height"_L1, 200, 40, 4000));
    return area;
}

QWidget *buildSplit(const QJsonObject &el, const Callbacks &cb, int depth, QWidget *parent)
{
    const bool row = readText(el, "flow"_L1, u"row"_s) == "row"_L1;
    const QJsonArray items = readArray(el, "items"_L1, 32);
    const QJsonArray sizes = readArray(el, "sizes"_L1, 32);
    auto *splitter = new QSplitter(row ? Qt::Horizontal : Qt::Vertical, parent);
    splitter->setChildrenCollapsible(false);
    splitter->setHandleWidth(6);
    splitter->setStyleSheet(u"QSplitter::handle { background:%1; }"_s.arg(theme::palette().edge.name()));
    for (const QJsonValue &item : items) {
        if (QWidget *child = buildChild(item, cb, depth, splitter))
            splitter->addWidget(child);
    }
    if (splitter->count() == 0) {
        delete splitter;
        return nullptr;
    }
    for (int i = 0; i < splitter->count(); ++i)
        splitter->setStretchFactor(i, childWeight(sizes, i, 1));
    return splitter;
}

QWidget *buildTabs(const QJsonObject &el, const Callbacks &cb, int depth, QWidget *parent)
{
    const QJsonArray tabs = readArray(el, "tabs"_L1, 64);
    if (tabs.isEmpty())
        return nullptr;
    const theme::Palette &p = theme::palette();
    auto *widget = new QTabWidget(parent);
    widget->setDocumentMode(true);
    // The pane draws its own border; the bar's base line would draw a second, lighter one.
    widget->tabBar()->setDrawBase(false);
    widget->setStyleSheet(u"QTabWidget::pane { border:1px solid %1; border-radius:5px;                   "
                          "background:%2; }QTabBar::tab { background:%3; color:%4; padding:5px 12px;               "
                          "border:1px solid %1; border-bottom:none;               "
                          "border-top-left-radius:5px;               border-top-right-radius:5px;               "
                          "margin-right:2px; }QTabBar::tab:selected { background:%2; color:%5; }"_s.arg(
                              p.edge.name(), p.surface.name(), p.grey.name(), p.muted.name(), p.accent.name()));
    for (const QJsonValue &tab : tabs) {
        if (!tab.isObject())
            continue;
        const QJsonObject entry = tab.toObject();
        auto *page = new QWidget(widget);
        auto *box = new QVBoxLayout(page);
        box->setContentsMargins(12, 8, 12, 8);
        box->setSpacing(6);
        for (const QJsonValue &item : readArray(entry, "items"_L1, kMaxChildren)) {
            if (QWidget *child = buildChild(item, cb, depth, page))
                box->addWidget(child);
        }
        box->addStretch(1);
        QString title = readText(entry, "label"_L1, u"-"_s);
        const QJsonObject badge = readObject(entry, "badge"_L1);
        if (!badge.isEmpty())
            title += "  "_L1 + readText(badge, "text"_L1);
        widget->addTab(page, buttonText(title));
    }
    if (widget->count() == 0) {
        delete widget;
        return nullptr;
    }
    widget->setCurrentIndex(readInt(el, "active"_L1, 0, 0, widget->count() - 1));
    return widget;
}

} // namespace prims
