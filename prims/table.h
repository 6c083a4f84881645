#pragma once
// "table": rows of cells under an optional header, in a Qt table view over a small model of its
// own (one record per row, not an item object per cell), so thousands of rows fill quickly.
// Cells are selectable and copyable, a header click sorts, a row or cell "click" posts.

#include "prims/registry.h"

#include <QJsonObject>

class QWidget;

namespace prims {

// The most rows and columns a table keeps.
inline constexpr int kMaxTableRows = 5000;
inline constexpr int kMaxTableColumns = 32;

QWidget *buildTable(const QJsonObject &element, const Callbacks &cb, QWidget *parent);

} // namespace prims
