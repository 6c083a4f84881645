#pragma once
// The offline pixel comparison of two PNG files, and the early argument scan that finds it
// before any application object exists.

#include <QString>
#include <QStringList>

#include <optional>

class QImage;
class QTextStream;

namespace app {

// The value of "--name VALUE" or "--name=VALUE" among args (args[0] is the program); the first
// match wins. "--name" as the last argument counts as absent.
std::optional<QString> earlyScan(const QStringList &args, const QString &name);

// The tolerance in percent from the "--tolerance" text: 0.2 when absent, 0 for text that is not
// a finite number.
double toleranceFrom(const std::optional<QString> &text);

// Compares "a.png,b.png"; prints the differing-pixel percentage on `out`. Returns the exit code:
// 0 within tolerance, 1 past it or of different sizes, 2 for bad names or unreadable images.
int compareImages(const QString &pair, double tolerancePercent, QTextStream &out, QTextStream &err);

// The share of pixels, in percent, where any channel differs by 9 or more (up to 8 is noise).
// Both images must have the same size.
double differingPercent(const QImage &a, const QImage &b);

} // namespace app
