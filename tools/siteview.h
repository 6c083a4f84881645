#pragma once
// The two read-only summaries of the known units: the site view (a card per unit with its status
// word) and the commissioning stats (counters, a count by product, the last units finished). They
// read what discovery last stored in each unit record and what stats.json holds; neither asks a
// unit anything.

#include "units/store.h"

#include <QList>

class QWidget;

namespace tools {

// "Site view" of the tool menu.
void siteView(QWidget *parent, const QList<units::Unit> &units);

// "Stats" of the tool menu.
void showStats(QWidget *parent, const QList<units::Unit> &units);

} // namespace tools
