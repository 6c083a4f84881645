#pragma once
// "Change site passcode": asks for the new passcode twice, checks it against the one typed in the
// sidebar, sends it to every unit signed in during this run and reports how each one answered.

#include "units/store.h"

#include <QList>
#include <QString>
#include <QStringList>

class QWidget;

namespace units {
class Api;
}

namespace tools {

inline constexpr int kMinPasscodeLength = 8;
inline constexpr int kPasscodeTimeoutMs = 10000;

// The first check that fails, in the order the dialog checks them, or empty when all pass.
QString passcodeProblem(const QString &current, const QString &fresh, const QString &again);

struct PasscodeChange
{
    QString passcode;   // the new passcode; empty when the dialog was closed without a change
    int changed = 0;    // units that took it
    QStringList failed; // units that did not (name, or key when unnamed), in list order
};

// POST /api/password {"current","new"} to each unit of `list` that has a sign-in token in `api`, at
// its own address, port and scheme, all at once; waits for every answer. Status 200 is a change.
PasscodeChange sendPasscode(units::Api &api, const QList<units::Unit> &list, const QString &current,
                            const QString &fresh);

// The whole tool: the dialog, the change on the units, and the "Change site passcode" box. The
// caller puts the result's passcode where the next sign-in reads it when any unit took it.
PasscodeChange changePasscode(QWidget *parent, units::Api &api, const QList<units::Unit> &list,
                              const QString &currentPasscode);

} // namespace tools
