#include "prims/table.h"

#include "app/base/theme.h"
#include "prims/itemview.h"
#include "prims/json.h"
#include "prims/text.h"

#include <QAbstractTableModel>
#include <QHeaderView>
#include <QTableView>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace prims {

namespace {

struct Row
{
    QList<Cell> cells;
    QString tone; // tints the whole row
    QJsonObject click;
    int order = 0; // position as sent, to which "no sort" returns
};

class TableModel final : public QAbstractTableModel
{
public:
    TableModel(QList<HeaderColumn> columns, QList<Row> rows, int columnCount, QObject *parent)
        : QAbstractTableModel(parent)
        , m_columns(std::move(columns))
        , m_rows(std::move(rows))
        , m_columnCount(columnCount)
    {}

    int rowCount(const QModelIndex &parent = {}) const override { return parent.isValid() ? 0 : int(m_rows.size()); }
    int columnCount(const QModelIndex &parent = {}) const override { return parent.isValid() ? 0 : m_columnCount; }

    QVariant data(const QModelIndex &index, int role) const override
    {
        if (!index.isValid() || index.row() >= m_rows.size())
            return {};
        const Row &row = m_rows[index.row()];
        const Cell *cell = index.column() < row.cells.size() ? &row.cells[index.column()] : nullptr;
        switch (role) {
        case Qt::DisplayRole:
            return cell ? cell->text : QString();
        case Qt::ForegroundRole:
            if (cell && !cell->tone.isEmpty())
                return theme::toneColor(cell->tone);
            return row.tone.isEmpty() ? QVariant() : QVariant(theme::textTone(row.tone));
        case Qt::BackgroundRole:
            return row.tone.isEmpty() ? QVariant() : QVariant(theme::toneSoft(row.tone));
        case Qt::TextAlignmentRole:
            return index.column() < m_columns.size() ? QVariant(m_columns[index.column()].align | Qt::AlignVCenter)
                                                     : QVariant();
        case Qt::ToolTipRole: {
            const QJsonObject &click = cell && !cell->click.isEmpty() ? cell->click : row.click;
            const QString tip = readText(click, "tip"_L1);
            return tip.isEmpty() ? QVariant() : QVariant(tip);
        }
        case kClickRole: {
            const QJsonObject &click = cell && !cell->click.isEmpty() ? cell->click : row.click;
            return click.isEmpty() ? QVariant() : QVariant(click);
        }
        case kSortRole:
            if (!cell)
                return QString();
            return std::isnan(cell->number) ? QVariant(cell->text) : QVariant(cell->number);
        default:
            return {};
        }
    }

    QVariant headerData(int section, Qt::Orientation orientation, int role) const override
    {
        if (orientation != Qt::Horizontal || section < 0 || section >= m_columns.size())
            return {};
        if (role == Qt::DisplayRole)
            return m_columns[section].label;
        if (role == Qt::TextAlignmentRole)
            return QVariant(m_columns[section].align | Qt::AlignVCenter);
        return {};
    }

    // Sorting moves whole rows; column -1 puts them back in the order they were sent.
    void sort(int column, Qt::SortOrder order) override
    {
        emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
        const QModelIndexList before = persistentIndexList();
        QList<int> orderBefore;
        for (const QModelIndex &i : before)
            orderBefore.append(m_rows[i.row()].order);

        const auto key = [column](const Row &r) -> const Cell * {
            return column >= 0 && column < r.cells.size() ? &r.cells[column] : nullptr;
        };
        std::stable_sort(m_rows.begin(), m_rows.end(), [&](const Row &a, const Row &b) {
            if (column < 0)
                return a.order < b.order;
            const Cell *ca = key(a), *cb = key(b);
            const int c = compareCells(ca ? ca->text : QString(), ca ? ca->number : std::nan(""),
                                       cb ? cb->text : QString(), cb ? cb->number : std::nan(""));
            return order == Qt::AscendingOrder ? c < 0 : c > 0;
        });

        QList<int> whereNow(m_rows.size());
        for (int r = 0; r < int(m_rows.size()); ++r)
            whereNow[m_rows[r].order] = r;
        QModelIndexList after;
        for (qsizetype k = 0; k < before.size(); ++k)
            after.append(index(whereNow[orderBefore[k]], before[k].column()));
        changePersistentIndexList(before, after);
        emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
    }

private:
    QList<HeaderColumn> m_columns;
    QList<Row> m_rows;
    int m_columnCount;
};

Row readRow(const QJsonValue &v, int order)
{
    Row row;
    row.order = order;
    QJsonArray cells;
    if (v.isArray()) {
        cells = v.toArray();
    } else if (v.isObject()) {
        const QJsonObject o = v.toObject();
        cells = readArray(o, "cells"_L1, kMaxTableColumns);
        row.tone = readText(o, "tone"_L1);
        row.click = readClick(o);
    } else {
        cells = QJsonArray{v}; // a bare value is a row of one cell
    }
    const qsizetype n = std::min<qsizetype>(cells.size(), kMaxTableColumns);
    row.cells.reserve(n);
    for (qsizetype i = 0; i < n; ++i)
        row.cells.append(readCell(cells.at(i)));
    return row;
}

} // namespace

QWidget *buildTable(const QJsonObject &el, const Callbacks &cb, QWidget *parent)
{
    const QJsonArray rowValues = readArray(el, "rows"_L1, kMaxTableRows);
    if (rowValues.isEmpty())
        return nullptr;
    QList<HeaderColumn> columns;
    for (const QJsonValue &v : readArray(el, "columns"_L1, kMaxTableColumns))
        columns.append(readHeaderColumn(v));
    QList<Row> rows;
    rows.reserve(rowValues.size());
    int columnCount = int(columns.size());
    for (qsizetype i = 0; i < rowValues.size(); ++i) {
        rows.append(readRow(rowValues.at(i), int(i)));
        columnCount = std::max(columnCount, int(rows.last().cells.size()));
    }
    if (columnCount == 0)
        return nullptr;

    auto *view = new QTableView(parent);
    view->setObjectName(u"primTable"_s);
    styleItemView(view);
    view->setModel(new TableModel(columns, std::move(rows), columnCount, view));
    view->setSelectionBehavior(QAbstractItemView::SelectItems);
    view->setShowGrid(false);
    view->setWordWrap(false);
    view->setCornerButtonEnabled(false);

    const int rowHeight = view->fontMetrics().height() + 10;
    QHeaderView *vertical = view->verticalHeader();
    vertical->hide();
    vertical->setSectionResizeMode(QHeaderView::Fixed);
    vertical->setDefaultSectionSize(rowHeight);

    QHeaderView *header = view->horizontalHeader();
    header->setVisible(!columns.isEmpty());
    header->setHighlightSections(false);
    header->setStretchLastSection(true);
    header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    // Column widths from the first rows only: measuring thousands of rows would cost more than
    // filling them, and a long table's first rows are a fair sample.
    header->setResizeContentsPrecision(100);
    view->resizeColumnsToContents();
    // The last column stretches to the edge; the others get their content, a given width, or 420 at most.
    for (int c = 0; c + 1 < columnCount; ++c) {
        if (c < columns.size() && columns[c].width > 0)
            header->resizeSection(c, columns[c].width);
        else
            header->resizeSection(c, std::min(header->sectionSize(c) + 8, 420));
    }
    if (!columns.isEmpty() && readFlag(el, "sortable"_L1, true))
        sortOnHeaderClick(view, header);

    const int shown = std::min(int(rowValues.size()), maxRows(el, 12));
    fitHeight(view, shown * rowHeight, header, shown < rowValues.size());
    copyOnCopyKeys(view);
    postClicks(view, cb);
    return view;
}

} // namespace prims
