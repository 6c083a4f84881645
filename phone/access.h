#pragma once
// Turning the phone page on and off: the "Phone access" tool dialog, and the start at program
// start from the saved settings.

class QWidget;

namespace phone {

class Phone;

// Starts `phone` when "phoneEnabled" is true and a "phonePassword" is stored, on "phonePort"
// (8095 when unset). Returns whether it is listening.
bool startFromSettings(Phone &phone);

// The "Phone access" dialog: enable, port and password, applied and saved on "Apply".
void phoneAccess(QWidget *parent, Phone &phone);

} // namespace phone
