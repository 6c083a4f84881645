#pragma once
// What the benchmarks share: the median of timed rounds, and letting the event loop settle after
// a round's work so that the round pays for its layout, painting and deletes.

#include <QCoreApplication>

#include <algorithm>

namespace bench {

// The median of the values (a list or vector of doubles); 0 for none.
template<typename Values> double median(Values v)
{
    if (v.empty())
        return 0;
    std::sort(v.begin(), v.end());
    const auto n = v.size();
    return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

// Lets the event loop lay out and paint, then deletes what was handed to deleteLater: outside a
// running loop a plain processEvents() leaves deferred deletes waiting.
inline void settle()
{
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace bench
