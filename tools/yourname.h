#pragma once
// "Your name...": forgets the stored name and asks again, so that the technician can change it.

#include <QString>

class QWidget;

namespace tools {

// Removes "techFirst" and "techLast", saves, then asks; returns the new name (empty when the
// prompt was cancelled, which leaves no name stored).
QString changeTechnicianName(QWidget *parent);

} // namespace tools
