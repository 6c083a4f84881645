#pragma once
// The one door every modal box, prompt and file dialog of the program goes through, so that a test can answer a box
// the way a technician would (by clicking or typing into the real widgets) instead of blocking.

#include <functional>

class QDialog;

namespace app {

// Called with the box once it is running; it must accept, reject or close the box.
using Answer = std::function<void(QDialog *box)>;

// The next modal box calls `answer` instead of waiting for a person. One answer per box.
void setNextAnswer(Answer answer);

// Runs `box` modally and returns its result (QDialog::Accepted or Rejected, or the clicked
// button's code for a message box).
int execModal(QDialog *box);

} // namespace app
