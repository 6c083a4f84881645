#pragma once
// "tree" and "list": nested or flat items in Qt item views over a standard item model; selectable,
// copyable with Ctrl+C, sorted by a header click where a tree has "columns", and an item's
// "click" posts through the primitive callbacks.

#include "prims/registry.h"

#include <QJsonObject>

class QWidget;

namespace prims {

// The most items a tree holds (counted over every level) and a list holds.
inline constexpr int kMaxTreeItems = 2000;
inline constexpr int kMaxListItems = 1000;

QWidget *buildTree(const QJsonObject &element, const Callbacks &cb, QWidget *parent);
QWidget *buildList(const QJsonObject &element, const Callbacks &cb, QWidget *parent);

} // namespace prims
