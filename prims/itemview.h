#pragma once
// What the item-view primitives ("table", "tree", "list", "timeline") and the multi-choice field
// share: their look from the theme, Ctrl+C copying the selected cells as tab-separated text, a
// height that fits the rows up to a cap (the view scrolls beyond it), header clicks that sort,
// and items that post their "click" through the primitive callbacks.

#include "prims/registry.h"

#include <QColor>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

class QAbstractItemView;
class QHeaderView;

namespace prims {

// The data roles the item views use beside the display text.
inline constexpr int kClickRole = Qt::UserRole + 1; // the item's "click" object, when it has a path
inline constexpr int kSortRole = Qt::UserRole + 2;  // a number for numeric cells, else the text
inline constexpr int kCopyRole = Qt::UserRole + 3;  // what Ctrl+C copies, when not the display text

// One cell as a screen sends it: a plain value (shown by the value-to-text rule), or an object with
// "text" (or "value"), "tone" and "click".
struct Cell
{
    QString text;
    double number; // NaN unless the cell is a number or a text that is one
    QString tone;
    QJsonObject click;
};
Cell readCell(const QJsonValue &value);

// A header column as a screen sends it: a plain text, or an object with "label", "align" ("left",
// "right" or "center"; the alignment is horizontal only) and "width" (pixels, 0 for the content's).
struct HeaderColumn
{
    QString label;
    Qt::Alignment align = Qt::AlignLeft;
    int width = 0;
};
HeaderColumn readHeaderColumn(const QJsonValue &value);

// The "click" under `key` of `o` when it names a path; else an empty object.
QJsonObject readClick(const QJsonObject &o);

// Orders two cells as a header click does: numbers by value and before texts, texts naturally
// ("X2" before "X10"), case aside.
int compareCells(const QString &aText, double aNumber, const QString &bText, double bNumber);

// The theme's look for an item view: banded rows, a muted header, the accent for the selection.
void styleItemView(QAbstractItemView *view);

// The selected items as text: one line per row, cells separated by tabs, in the order shown.
QString selectionText(const QAbstractItemView *view);
// Ctrl+C (the platform's copy keys) copies selectionText() to the clipboard.
void copyOnCopyKeys(QAbstractItemView *view);

// Makes the view exactly tall enough for its header and `contentHeight` of rows. A view that
// `scrolls` (more rows than it shows) keeps its scroll bar, and its width hint counts it.
void fitHeight(QAbstractItemView *view, int contentHeight, const QHeaderView *header = nullptr, bool scrolls = false);

// The rows a view shows before it scrolls: "max_rows" of the element, 1 to 100.
int maxRows(const QJsonObject &element, int def);

// A click on a header sorts by that column, a second click the other way; nothing sorts on its own.
void sortOnHeaderClick(QAbstractItemView *view, QHeaderView *header);

// An item carrying a click posts its path and body when activated (double-click or Enter).
void postClicks(QAbstractItemView *view, const Callbacks &cb);

} // namespace prims
