#pragma once
// Sections: the titled cards that make up a screen's body, nested up to six deep.

#include "render/actions.h"

#include <QJsonObject>

class QWidget;

namespace render {

inline constexpr int kMaxSectionDepth = 6;

// None when the section is empty or a panel already covers it.
QWidget *section(const QJsonObject &section, const Actions &actions, int depth, QWidget *parent);

} // namespace render
