#include "prims/tree.h"

#include "app/base/theme.h"
#include "prims/itemview.h"
#include "prims/json.h"
#include "prims/text.h"

#include <QHeaderView>
#include <QListView>
#include <QStandardItemModel>
#include <QTreeView>

#include <cmath>

using namespace Qt::StringLiterals;

namespace prims {

namespace {

// One item of a tree or list as a row of standard items: its "cells" (or its "text") with their
// tones, the item's own tone on the cells without one, its click and tip on every cell.
QList<QStandardItem *> itemRow(const QJsonValue &value, int columns)
{
    QList<Cell> cells;
    QString tone;
    QJsonObject click;
    if (value.isObject()) {
        const QJsonObject o = value.toObject();
        const QJsonArray given = readArray(o, "cells"_L1, std::max(columns, 1));
        if (given.isEmpty()) {
            Cell first = readCell(o);
            cells.append(first);
        } else {
            for (const QJsonValue &c : given)
                cells.append(readCell(c));
        }
        tone = readText(o, "tone"_L1);
        click = readClick(o);
    } else {
        cells.append(readCell(value));
    }
    QList<QStandardItem *> row;
    for (const Cell &c : cells) {
        auto *item = new QStandardItem(c.text);
        item->setEditable(false);
        if (const QString t = c.tone.isEmpty() ? tone : c.tone; !t.isEmpty())
            item->setForeground(theme::toneColor(t));
        const QJsonObject &cellClick = c.click.isEmpty() ? click : c.click;
        if (!cellClick.isEmpty()) {
            item->setData(QVariant(cellClick), kClickRole);
            if (const QString tip = readText(cellClick, "tip"_L1); !tip.isEmpty())
                item->setToolTip(tip);
        }
        item->setData(std::isnan(c.number) ? QVariant(c.text) : QVariant(c.number), kSortRole);
        row.append(item);
    }
    // Every column gets an item, so banding and selection run across the whole row.
    while (row.size() < columns) {
        auto *blank = new QStandardItem;
        blank->setEditable(false);
        blank->setData(QString(), kSortRole);
        if (!click.isEmpty())
            blank->setData(QVariant(click), kClickRole);
        row.append(blank);
    }
    return row;
}

struct TreeFill
{
    QList<Qt::Alignment> aligns; // per column, from the header
    int budget = kMaxTreeItems;
    QList<QModelIndex> expanded;
};

// Adds `items` under `parent`, depth first, until the budget of items is spent.
void addItems(QStandardItemModel *model, QStandardItem *parent, const QJsonArray &items, int depth, TreeFill &fill)
{
    for (const QJsonValue &v : items) {
        if (fill.budget <= 0)
            return;
        --fill.budget;
        const QList<QStandardItem *> row = itemRow(v, int(std::max<qsizetype>(fill.aligns.size(), 1)));
        for (int c = 0; c < int(row.size()) && c < int(fill.aligns.size()); ++c)
            row[c]->setTextAlignment(fill.aligns[c]);
        parent->appendRow(row);
        const QJsonObject o = v.toObject();
        const QJsonArray children = readArray(o, "children"_L1, kMaxTreeItems);
        if (children.isEmpty() || depth >= kMaxDepth)
            continue;
        if (readFlag(o, "expanded"_L1, true))
            fill.expanded.append(model->indexFromItem(row.first()));
        addItems(model, row.first(), children, depth + 1, fill);
    }
}

int treeRowsShown(const QTreeView *view, const QModelIndex &parent, int most)
{
    int count = 0;
    const QAbstractItemModel *model = view->model();
    for (int r = 0; r < model->rowCount(parent) && count < most; ++r) {
        const QModelIndex i = model->index(r, 0, parent);
        ++count;
        if (view->isExpanded(i))
            count += treeRowsShown(view, i, most - count);
    }
    return count;
}

} // namespace

QWidget *buildTree(const QJsonObject &el, const Callbacks &cb, QWidget *parent)
{
    const QJsonArray items = readArray(el, "items"_L1, kMaxTreeItems);
    if (items.isEmpty())
        return nullptr;
    QStringList headers;
    QList<Qt::Alignment> aligns;
    for (const QJsonValue &v : readArray(el, "columns"_L1, 32)) {
        const HeaderColumn c = readHeaderColumn(v);
        headers.append(c.label);
        aligns.append(c.align | Qt::AlignVCenter);
    }

    auto *view = new QTreeView(parent);
    view->setObjectName(u"primTree"_s);
    auto *model = new QStandardItemModel(view);
    model->setSortRole(kSortRole);
    TreeFill fill{aligns, kMaxTreeItems, {}};
    addItems(model, model->invisibleRootItem(), items, 0, fill);
    if (!headers.isEmpty()) {
        model->setHorizontalHeaderLabels(headers);
        for (int c = 0; c < int(aligns.size()); ++c)
            model->setHeaderData(c, Qt::Horizontal, QVariant(aligns[c]), Qt::TextAlignmentRole);
    }

    styleItemView(view);
    view->setModel(model);
    view->setUniformRowHeights(true);
    view->setSelectionBehavior(QAbstractItemView::SelectRows);
    view->setAllColumnsShowFocus(true);
    view->setAnimated(false);
    // Long texts are cut with an ellipsis rather than hiding the last row under a scroll bar.
    view->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    for (const QModelIndex &i : fill.expanded)
        view->expand(i);
    QHeaderView *header = view->header();
    header->setVisible(!headers.isEmpty());
    header->setStretchLastSection(true);
    header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    if (!headers.isEmpty()) {
        for (int c = 0; c + 1 < model->columnCount(); ++c) {
            view->resizeColumnToContents(c);
            header->resizeSection(c, header->sectionSize(c) + 16); // room for the sort mark
        }
        if (readFlag(el, "sortable"_L1, true))
            sortOnHeaderClick(view, header);
    }
    const int rowHeight = std::max(view->sizeHintForRow(0), view->fontMetrics().height() + 8);
    // Expanding a branch adds rows, so a tree keeps its scroll bar at hand.
    const int most = maxRows(el, 12);
    const int shown = treeRowsShown(view, {}, most + 1);
    fitHeight(view, std::min(shown, most) * rowHeight, header, shown > most);
    view->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    copyOnCopyKeys(view);
    postClicks(view, cb);
    return view;
}

QWidget *buildList(const QJsonObject &el, const Callbacks &cb, QWidget *parent)
{
    const QJsonArray items = readArray(el, "items"_L1, kMaxListItems);
    if (items.isEmpty())
        return nullptr;
    auto *view = new QListView(parent);
    view->setObjectName(u"primList"_s);
    auto *model = new QStandardItemModel(view);
    for (const QJsonValue &v : items)
        model->appendRow(itemRow(v, 1).first());
    styleItemView(view);
    view->setModel(model);
    view->setUniformItemSizes(true);
    const int rowHeight = std::max(view->sizeHintForRow(0), view->fontMetrics().height() + 8);
    const int shown = std::min(int(items.size()), maxRows(el, 10));
    fitHeight(view, shown * rowHeight, nullptr, shown < items.size());
    copyOnCopyKeys(view);
    postClicks(view, cb);
    return view;
}

} // namespace prims
