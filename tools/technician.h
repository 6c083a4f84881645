#pragma once
// The technician's name, which the reports and summaries carry: kept in settings.json as
// "techFirst" and "techLast", asked for once when none is stored.

#include <QString>

class QWidget;

namespace tools {

// The stored name ("techFirst" and "techLast" joined by a blank, trimmed). When none is stored and
// `ask` is set (and there is a parent), asks for it and stores it; empty when nothing was given.
QString technicianName(QWidget *parent, bool ask);

// The tool menu's "Your name...": forgets the stored name and asks again.
QString changeTechnicianName(QWidget *parent);

} // namespace tools
