#pragma once
// The renderer's own small table "rows": a few banded rows under a header, some highlighted in a
// tone, some cells drawn as pills; and "strip": a compact line of labelled step or status cells,
// drawn like the wizard's step strip.

#include "render/actions.h"

#include <QJsonObject>

class QWidget;

namespace render {

inline constexpr int kMaxRows = 200;
inline constexpr int kMaxRowColumns = 12;
inline constexpr int kMaxStripCells = 24;

QWidget *rows(const QJsonObject &element, const Actions &actions, int depth, QWidget *parent);
QWidget *strip(const QJsonObject &element, const Actions &actions, int depth, QWidget *parent);

} // namespace render
