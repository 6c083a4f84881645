#pragma once
// "log": lines of text, each in its own colour, in a fixed-height read-only monospace block that
// opens scrolled to its last line.

#include <QJsonArray>
#include <QJsonObject>

class QWidget;

namespace prims {

QWidget *buildLog(const QJsonObject &element, QWidget *parent);

// The block's rich text: every line escaped and coloured, or the "(nothing yet)" note.
QString logHtml(const QJsonArray &lines, bool wrap);

} // namespace prims
