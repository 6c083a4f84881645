// The tool menu: which tools the window offers, in menu order, and what each entry calls; the
// phone page and the updater that live as long as the window.

#include "window/window.h"

#include "app/base/logging.h"
#include "board/viewport.h"
#include "iotemplates/dialog.h"
#include "iotemplates/sync.h"
#include "phone/access.h"
#include "phone/phone.h"
#include "render/toast.h"
#include "tools/appearance.h"
#include "tools/daysummary.h"
#include "tools/diagnostics.h"
#include "tools/dialogs.h"
#include "tools/faults.h"
#include "tools/passcode.h"
#include "tools/problemreport.h"
#include "tools/report.h"
#include "tools/siteview.h"
#include "tools/technician.h"
#include "updater/updater.h"
#include "window/sidebar.h"

#include <QHash>

#include <functional>

using namespace Qt::StringLiterals;

namespace window {

namespace {

// Menu order: site view and stats, the day's documents, help, this computer's settings, the
// diagnostics, then the phone page, the IO module templates and updates.
const QStringList &menuOrder()
{
    static const QStringList names{
        u"Site view"_s,
        u"Stats"_s,
        u"Day summary"_s,
        u"Report"_s,
        u"Start a new daily log..."_s,
        u"Explain a fault"_s,
        u"Report problem"_s,
        u"Appearance..."_s,
        u"Your name..."_s,
        u"Change site passcode..."_s,
        u"Uninstall this app..."_s,
        u"Open diagnostics folder"_s,
        u"Copy diagnostics summary"_s,
        u"Phone access"_s,
        u"IO module templates"_s,
        u"Check for updates..."_s,
    };
    return names;
}

} // namespace

void Window::startTools()
{
    m_phone = new phone::Phone(this);
    phone::startFromSettings(*m_phone);
    m_phone->setUnits(m_units);
    m_updater = new updater::Updater(this);
    connect(&tools::lookChanges(), &tools::LookChanges::applied, this, &Window::lookChanged);
}

void Window::unitsChanged()
{
    m_sidebar->setUnits(m_units);
    if (m_phone)
        m_phone->setUnits(m_units);
}

void Window::lookChanged()
{
    m_sidebar->restyle();
    if (!m_lastAnswer.isEmpty())
        rebuild(m_lastAnswer);
}

QStringList Window::toolNames() const
{
    return menuOrder();
}

void Window::runTool(const QString &name)
{
    if (!toolNames().contains(name))
        return;
    qCDebug(lcWindow, "tool %s", qPrintable(name));
    const units::Unit *selected = unit(m_selected);
    const QString label = selected ? tools::unitLabel(*selected) : QString();
    const QStringList secrets{m_sidebar->passcode()};

    const QHash<QString, std::function<void()>> run{
        {u"Site view"_s, [&] { tools::siteView(this, m_units); }},
        {u"Stats"_s, [&] { tools::showStats(this, m_units); }},
        {u"Day summary"_s, [&] { tools::daySummary(this, *m_api, m_units, false); }},
        {u"Report"_s, [&] { tools::reportCentre(this, *m_api, label); }},
        {u"Start a new daily log..."_s,
         [&] {
             if (!tools::confirmDayRoll(this, label, m_selected))
                 return;
             render::Press roll;
             roll.path = u"/api/day"_s;
             roll.body = tools::dayRollBody();
             roll.label = name;
             sendPress(roll, kDayRollTimeoutMs);
         }},
        {u"Explain a fault"_s, [&] { tools::faultLookup(this, *m_api, selected); }},
        {u"Report problem"_s, [&] { tools::problemReport(this, *m_api, m_units, m_selected); }},
        {u"Appearance..."_s, [&] { tools::appearance(this); }},
        {u"Your name..."_s, [&] { tools::changeTechnicianName(this); }},
        {u"Change site passcode..."_s,
         [&] {
             const tools::PasscodeChange change = tools::changePasscode(this, *m_api, m_units, m_sidebar->passcode());
             if (!change.passcode.isEmpty())
                 m_sidebar->setPasscode(change.passcode);
         }},
        {u"Uninstall this app..."_s, [&] { tools::uninstallNote(this); }},
        {u"Open diagnostics folder"_s, [] { tools::openDiagnosticsFolder(); }},
        {u"Copy diagnostics summary"_s,
         [&] {
             tools::copyDiagnosticsSummary(m_units, secrets);
             m_toasts->showToast({u"Diagnostics summary copied"_s, u"ok"_s, kDefaultToastMs});
         }},
        {u"Phone access"_s,
         [&] {
             phone::phoneAccess(this, *m_phone);
             m_phone->setUnits(m_units);
         }},
        {u"IO module templates"_s, [&] { iotemplates::ioTemplates(this); }},
        {u"Check for updates..."_s, [&] { m_updater->check(true); }},
    };
    if (const auto it = run.find(name); it != run.end())
        (*it)();
}

void Window::syncIoTemplates()
{
    iotemplates::syncWithUnit(*m_api);
}

} // namespace window
