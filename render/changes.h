#pragma once
// Which parts of a screen description changed between two polls, and which panel sources it
// names: the window patches panels in place when only their leaves changed.

#include <QJsonValue>
#include <QStringList>

namespace render {

// The paths ("/a/b", "/list/2", "/list[]" for an array that changed length) of the leaves that
// differ; the walk gives up after a little over 200 paths.
QStringList changedLeaves(const QJsonValue &before, const QJsonValue &after);

// Every "source" that starts with "/", once each, in the order first met.
QStringList sourcesIn(const QJsonValue &description);

} // namespace render
