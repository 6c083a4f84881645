#pragma once
// The renderer's own plain containers and drawing types: "divider", "spacer", "group", "column",
// "row", and the drawing types "canvas" and "shape" that sit on the shapes canvas.

#include "render/actions.h"

#include <QJsonObject>

class QWidget;

namespace render {

QWidget *divider(const QJsonObject &element, const Actions &actions, int depth, QWidget *parent);
QWidget *spacer(const QJsonObject &element, const Actions &actions, int depth, QWidget *parent);
QWidget *group(const QJsonObject &element, const Actions &actions, int depth, QWidget *parent);
QWidget *column(const QJsonObject &element, const Actions &actions, int depth, QWidget *parent);
QWidget *row(const QJsonObject &element, const Actions &actions, int depth, QWidget *parent);
QWidget *canvas(const QJsonObject &element, const Actions &actions, int depth, QWidget *parent);
QWidget *shape(const QJsonObject &element, const Actions &actions, int depth, QWidget *parent);

} // namespace render
