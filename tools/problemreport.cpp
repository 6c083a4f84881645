#include "tools/problemreport.h"

#include "app/base/installation.h"
#include "app/base/version.h"
#include "tools/desktop.h"
#include "tools/prompts.h"
#include "units/api.h"

#include <QDateTime>
#include <QFile>
#include <QSysInfo>

using namespace Qt::StringLiterals;

namespace tools {

namespace {

// The report goes to the unit the technician selected, wherever the Api happens to point.
units::Api::Target targetOf(const units::Api &api, const QList<units::Unit> &list, const QString &key)
{
    for (const units::Unit &u : list) {
        if (u.key() == key)
            return {u.ip, u.port, u.tls};
    }
    return api.target();
}

} // namespace

std::optional<QStringList> lastNonEmptyLines(const QString &path, int count)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
    if (lines.size() > count)
        lines = lines.mid(lines.size() - qMax(count, 0));
    return lines;
}

QStringList problemReportLines(const QString &whatHappened, const QList<units::Unit> &units, const QString &selectedKey,
                               const QString &unitReport, const QString &errorsLog)
{
    QStringList lines{
        u"KESTRO COMMISSIONING - PROBLEM REPORT"_s,
        u"When      %1"_s.arg(QDateTime::currentDateTime().toString(Qt::ISODate)),
        u"App       Kestro Connect v%1 (qt)"_s.arg(QLatin1StringView(app::kVersion)),
        u"Machine   %1"_s.arg(QSysInfo::machineHostName()),
        u"OS        %1"_s.arg(QSysInfo::prettyProductName()),
        QString(),
        u"WHAT HAPPENED"_s,
        whatHappened,
        QString(),
        u"UNITS ON THE NETWORK"_s,
    };
    for (const units::Unit &u : units)
        lines << u"  %1  %2  %3"_s.arg(u.name, u.online() ? u"online"_s : u"offline"_s, u.key());
    if (!selectedKey.isEmpty())
        lines << u"SELECTED UNIT: %1"_s.arg(selectedKey) << unitReport;
    if (const std::optional<QStringList> errors = lastNonEmptyLines(errorsLog, kRecentErrorLines))
        lines << QString() << u"RECENT ERRORS"_s << *errors;
    return lines;
}

QUrl problemMailUrl(const QString &address, const QString &from, const QString &report)
{
    qsizetype cut = qMin(report.size(), qsizetype(kMailBodyLimit));
    if (cut > 0 && cut < report.size() && report.at(cut - 1).isHighSurrogate())
        --cut; // half a character would reach the mail as a replacement mark
    const QByteArray subject = QUrl::toPercentEncoding(u"Kestro Connect problem - %1"_s.arg(from));
    const QByteArray body = QUrl::toPercentEncoding(report.left(cut));
    return QUrl::fromEncoded(
        "mailto:" + QUrl::toPercentEncoding(address, "@") + "?subject=" + subject + "&body=" + body, QUrl::StrictMode);
}

bool problemReport(QWidget *parent, units::Api &api, const QList<units::Unit> &units, const QString &selectedKey)
{
    const QString what = askLines(parent, u"Report a problem"_s,
                                  u"What happened? A sentence is enough - the app attaches the details itself."_s)
                             .value_or(QString());
    if (what.trimmed().isEmpty())
        return false;

    QString unitReport;
    if (!selectedKey.isEmpty()) {
        // Taken as it comes; a unit that does not answer leaves the entry empty.
        const units::Api::Reply reply =
            units::waitFor(api, targetOf(api, units, selectedKey), u"/api/report"_s, kUnitReportTimeoutMs);
        if (reply.ok)
            unitReport = QString::fromUtf8(reply.body);
    }
    const QString report =
        problemReportLines(what, units, selectedKey, unitReport, app::configPath(u"errors.log"_s)).join(u'\n');
    const QString path = app::configPath(u"problem-report.txt"_s);
    saveFile(path, report.toUtf8());
    openUrl(problemMailUrl(app::installation().supportEmail, QSysInfo::machineHostName(), report));
    infoBox(parent, u"Report saved"_s, path);
    return true;
}

} // namespace tools
