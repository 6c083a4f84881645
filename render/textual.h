#pragma once
// The renderer's own text elements: "heading", "text", "fact" and "chips".

#include "render/actions.h"

#include <QJsonObject>

class QWidget;

namespace render {

QWidget *heading(const QJsonObject &element, const Actions &actions, int depth, QWidget *parent);
QWidget *text(const QJsonObject &element, const Actions &actions, int depth, QWidget *parent);
QWidget *fact(const QJsonObject &element, const Actions &actions, int depth, QWidget *parent);
QWidget *chips(const QJsonObject &element, const Actions &actions, int depth, QWidget *parent);

} // namespace render
