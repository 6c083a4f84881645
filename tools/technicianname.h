#pragma once
// The technician's name that goes on reports: "techFirst" and "techLast" from the settings, asked
// for once with the "Your name" prompt when both are empty and asking is allowed.

#include <QString>

class QWidget;

namespace tools {

QString technicianName(QWidget *parent, bool ask);

} // namespace tools
