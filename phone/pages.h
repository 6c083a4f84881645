#pragma once
// The two pages a phone sees: the sign-in form and the view-only status page with a card per
// known unit. Pure functions of their inputs; unit texts are escaped on the way in.

#include "units/store.h"

#include <QByteArray>
#include <QList>
#include <QString>

namespace phone {

// "&" "<" ">" and the double quote as entities; single quotes stay.
QString escapeHtml(const QString &text);

// The style block both pages carry.
QString styleBlock();

// The sign-in form, saying the password was wrong when `wrong`.
QString signInPage(bool wrong);
// The same as UTF-8, made once.
const QByteArray &signInPageBytes(bool wrong);

// The status page: one card per unit in list order, refreshing itself every 10 seconds.
QString statusPage(const QList<units::Unit> &list);

} // namespace phone
