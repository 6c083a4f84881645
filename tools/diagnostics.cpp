#include "tools/diagnostics.h"

#include "app/base/version.h"
#include "tools/desktop.h"
#include "tools/prompts.h"
#include "units/diaglog.h"

#include <QClipboard>
#include <QDir>
#include <QGuiApplication>
#include <QRegularExpression>
#include <QSysInfo>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace tools {

namespace {

const QString kRemoved = u"[removed]"_s;

bool secretName(const QString &name)
{
    static const QRegularExpression hint(u"pass|psk|secret|token"_s, QRegularExpression::CaseInsensitiveOption);
    return hint.match(name).hasMatch();
}

// Replaces every match whose name (group 1) is secret-like with kRemoved.
QString removeNamed(const QString &text, const QRegularExpression &pattern)
{
    QString out;
    qsizetype from = 0;
    for (auto it = pattern.globalMatch(text); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        if (!secretName(m.captured(1)))
            continue;
        out += QStringView(text).mid(from, m.capturedStart() - from) + kRemoved;
        from = m.capturedEnd();
    }
    return out + QStringView(text).mid(from);
}

} // namespace

QString scrubSecrets(QString line, const QStringList &secrets)
{
    // "name": value, the value a string (escapes and all) or anything up to the next separator.
    static const QRegularExpression member(uR"re("((?:[^"\\]|\\.)*)"\s*:\s*(?:"(?:[^"\\]|\\.)*"?|[^,}\]\s]*))re"_s);
    // name=value or name: value outside JSON (query strings, headers, free text).
    static const QRegularExpression pair(
        uR"re((?<![\w.-])([A-Za-z_][\w.-]*)\s*[=:]\s*(?:"[^"]*"?|'[^']*'?|[^\s,;&]+))re"_s);
    static const QRegularExpression bearer(u"\\bBearer\\s+\\S+"_s, QRegularExpression::CaseInsensitiveOption);
    line = removeNamed(line, member);
    line = removeNamed(line, pair);
    line.replace(bearer, u"Bearer "_s + kRemoved);
    for (const QString &secret : secrets) {
        if (!secret.isEmpty())
            line.replace(secret, kRemoved);
    }
    return line;
}

QString diagnosticsSummary(const QList<units::Unit> &list, const QStringList &secrets)
{
    int answering = 0;
    for (const units::Unit &u : list)
        answering += u.online() ? 1 : 0;
    QStringList lines{
        u"Kestro Connect v%1 (qt)"_s.arg(QLatin1StringView(app::kVersion)),
        u"Machine   %1"_s.arg(QSysInfo::machineHostName()),
        u"OS        %1"_s.arg(QSysInfo::prettyProductName()),
        u"Settings  %1"_s.arg(QDir::toNativeSeparators(units::configDir())),
        u"Log       %1"_s.arg(QDir::toNativeSeparators(units::connectLogPath())),
        u"Units     %1 known, %2 answering discovery"_s.arg(list.size()).arg(answering),
    };
    for (const units::Unit &u : list) {
        lines << u"  %1  %2  %3  %4"_s.arg(u.key(), u.name.isEmpty() ? u"(unnamed)"_s : u.name,
                                           u.online() ? u"online"_s : u"offline"_s, u.tls ? u"https"_s : u"http"_s);
    }
    lines << QString() << u"Last 40 log lines:"_s;
    for (const QString &line : units::tailLines(units::connectLogPath(), kSummaryLogLines))
        lines << scrubSecrets(line, secrets);
    return lines.join(u'\n') + u'\n';
}

QString copyDiagnosticsSummary(const QList<units::Unit> &list, const QStringList &secrets)
{
    const QString summary = diagnosticsSummary(list, secrets);
    QGuiApplication::clipboard()->setText(summary);
    return summary;
}

bool openDiagnosticsFolder()
{
    return openUrl(QUrl::fromLocalFile(units::diagnosticsDir()));
}

void uninstallNote(QWidget *parent)
{
    infoBox(parent, u"Uninstall"_s,
            u"Remove the package the way it was installed, then delete this folder to drop the unit list "
            u"and settings:\n\n%1"_s.arg(QDir::toNativeSeparators(units::configDir())));
}

} // namespace tools
