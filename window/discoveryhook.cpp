// What the window does with each discovery sweep: merge it into the unit list, save the list,
// log who is online when that changes, update the sidebar, and knock again at once (a long
// sweep) after a sweep that found nobody.

#include "window/window.h"

#include "units/diaglog.h"
#include "window/sidebar.h"

using namespace Qt::StringLiterals;

namespace window {

void Window::onSwept(const units::Discovery::Found &found)
{
    units::mergeSweep(m_units, found);
    units::saveUnits(m_units);
    QStringList online;
    for (const units::Unit &u : std::as_const(m_units))
        if (u.online())
            online << u.key();
    online.sort();
    if (online != m_online) {
        units::logLine(u"discovery: online now [%1]"_s.arg(online.join(u", "_s)));
        m_online = online;
    }
    if (!m_sweptOnce) {
        m_sweptOnce = true;
        m_sidebar->setScanning(false);
    }
    unitsChanged();
    // The selected unit may have been dropped after too many silent sweeps.
    if (!m_selected.isEmpty() && !unit(m_selected))
        deselect();
    if (found.isEmpty())
        m_discovery->sweep(true);
}

} // namespace window
