#pragma once
// Turns one element of a screen description into a widget, dispatching on its "type": the
// renderer's own types first, then the primitive registry, then the fallbacks that let a unit
// send types this client does not know yet.

#include "prims/registry.h"
#include "render/actions.h"

#include <QJsonObject>

class QWidget;

namespace render {

// Builds `element` at `depth` (0 directly in a section); none when it draws nothing.
QWidget *element(const QJsonObject &element, const Actions &actions, int depth, QWidget *parent);

// The pair of callbacks the primitives get: send a press (path, body), build a child element.
prims::Callbacks primitiveCallbacks(const Actions &actions);

// The element types the renderer handles before the primitive registry, in lookup order.
QStringList ownTypeNames();

// A builder of one of the renderer's own element types.
using Builder = QWidget *(*)(const QJsonObject &element, const Actions &actions, int depth, QWidget *parent);

// Hands in the builder of an own type whose drawing lives in a layer above the renderer (the
// "panel" element is the board's). False when `type` is not one of the own types.
bool installBuilder(QLatin1StringView type, Builder builder);

} // namespace render
