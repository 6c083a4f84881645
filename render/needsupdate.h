#pragma once
// The polite placeholder that stands where this client cannot draw what the unit sent.

class QFrame;
class QString;
class QWidget;

namespace render {

QFrame *needsUpdate(const QString &subject, QWidget *parent = nullptr);

} // namespace render
