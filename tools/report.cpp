#include "tools/report.h"

#include "app/base/theme.h"
#include "prims/json.h"
#include "tools/dialogs.h"
#include "tools/prompts.h"
#include "tools/technician.h"
#include "units/diaglog.h"

#include <QBoxLayout>
#include <QDialog>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace tools {

namespace {

constexpr int kStateWaitMs = 6000;
constexpr int kReportWaitMs = 20000;
const QString kDayPath = u"/api/day"_s;
const QString kTextFilter = u"Text file (*.txt)"_s;

// The report as the unit generates it, asked for in the technician's name.
QByteArray fetchReport(QWidget *parent, units::Api &api)
{
    const QString name = technicianName(parent, true);
    const QString path = u"/api/report?by=%1"_s.arg(QString::fromLatin1(QUrl::toPercentEncoding(name)));
    // A refused or failed request (an error body, a peer whose certificate changed) is no report.
    const units::Api::Reply reply = units::waitFor(api, path, kReportWaitMs);
    return reply.ok ? reply.body : QByteArray();
}

// Asks where to put the report and writes `bytes` there. "Report saved" shows whenever a path was
// chosen, also when the file could not be written: the technician sees where it was meant to go.
void downloadTo(QWidget *parent, const QString &unitLabel, const QByteArray &bytes)
{
    const QString path =
        askSaveFile(parent, u"Save the report"_s, u"commissioning_%1.txt"_s.arg(unitLabel), kTextFilter);
    if (path.isEmpty())
        return;
    saveFile(path, bytes);
    infoBox(parent, u"Report saved"_s, path);
}

// Starts or ends the report with a note; a cancelled note prompt still goes on, with no note.
void startOrEnd(QWidget *parent, units::Api &api, const QString &unitLabel, bool end)
{
    const QString name = technicianName(parent, true);
    const QString note =
        askLines(
            parent, end ? u"End commissioning report"_s : u"Start commissioning report"_s,
            end ? u"Where are you leaving it? Anything the next shift needs - what is outstanding, what to watch."_s
                : u"How are you finding it? State of the aisle, anything handed over. Optional."_s)
            .value_or(QString());
    QJsonObject body{{"action"_L1, end ? u"end"_s : u"start"_s}, {"note"_L1, note}};
    if (!end)
        body.insert("who"_L1, name);
    // The reply is not examined: what the unit recorded shows in the report itself.
    units::waitForPost(api, kDayPath, body, units::timeouts::kTool);
    infoBox(parent, end ? u"Report closed"_s : u"Report started"_s, u"Recorded on %1."_s.arg(unitLabel));
}

void viewReport(QWidget *parent, units::Api &api, const QString &unitLabel)
{
    const theme::Palette &pal = theme::palette();
    const QByteArray received = fetchReport(parent, api);
    QDialog *dialog = makeDialog(parent, u"Commissioning report"_s, 860, 640);
    auto *layout = new QVBoxLayout(dialog);
    layout->addWidget(makeLabel(u"Commissioning report - %1"_s.arg(unitLabel), 13, pal.ink, true));
    layout->addWidget(makeLabel(u"The unit generates this from what it recorded. Edit it here for handover wording - "
                                u"your edits go into the file you save."_s,
                                10, pal.muted));
    QPlainTextEdit *editor = addTextEditor(layout, QString::fromUtf8(received));
    const QList<QPushButton *> buttons =
        addButtonRow(layout, {{}, u"Download report"_s, u"Revert edits"_s, u"Close"_s});
    QPushButton *download = buttons[0];
    QPushButton *revert = buttons[1];
    QPushButton *close = buttons[2];
    QObject::connect(download, &QPushButton::clicked, dialog,
                     [dialog, editor, unitLabel] { downloadTo(dialog, unitLabel, editor->toPlainText().toUtf8()); });
    QObject::connect(revert, &QPushButton::clicked, editor,
                     [editor, received] { editor->setPlainText(QString::fromUtf8(received)); });
    QObject::connect(close, &QPushButton::clicked, dialog, &QDialog::accept);
    runDialog(dialog);
}

} // namespace

void reportCentre(QWidget *parent, units::Api &api, const QString &unitLabel)
{
    if (unitLabel.isEmpty()) {
        infoBox(parent, u"Report"_s, u"Select a unit first."_s);
        return;
    }
    const theme::Palette &pal = theme::palette();
    QDialog *dialog = makeDialog(parent, u"Commissioning report"_s, 520, 0);
    auto *layout = new QVBoxLayout(dialog);
    layout->addWidget(makeLabel(u"Commissioning report - %1"_s.arg(unitLabel), 13, pal.ink, true));

    const units::Api::Reply state = units::waitFor(api, u"/api/state"_s, kStateWaitMs);
    const QJsonObject day = state.ok ? state.json.value("day"_L1).toObject() : QJsonObject();
    const bool open = prims::readTrue(day, "open"_L1);
    layout->addWidget(makeLabel(
        open ? u"Report OPEN since %1 by %2"_s.arg(prims::readText(day, "started"_L1), prims::readText(day, "who"_L1))
             : u"No report started on this unit."_s,
        10, pal.muted));

    auto *startEnd = new QPushButton(open ? u"End commissioning report"_s : u"Start commissioning report"_s);
    startEnd->setProperty("kind", u"primary"_s);
    auto *view = new QPushButton(u"View / edit report"_s);
    auto *download = new QPushButton(u"Download report"_s);
    for (QPushButton *button : {startEnd, view, download})
        layout->addWidget(button);
    addCloseRow(dialog, layout, u"Close"_s);

    // The dialog stays open after each action, its status line as it was when it opened.
    QObject::connect(startEnd, &QPushButton::clicked, dialog,
                     [dialog, &api, unitLabel, open] { startOrEnd(dialog, api, unitLabel, open); });
    QObject::connect(view, &QPushButton::clicked, dialog,
                     [dialog, &api, unitLabel] { viewReport(dialog, api, unitLabel); });
    QObject::connect(download, &QPushButton::clicked, dialog,
                     [dialog, &api, unitLabel] { downloadTo(dialog, unitLabel, fetchReport(dialog, api)); });
    runDialog(dialog);
}

bool confirmDayRoll(QWidget *parent, const QString &unitLabel, const QString &unitKey)
{
    if (unitKey.isEmpty()) {
        infoBox(parent, u"Start a new daily log"_s, u"Select a unit first."_s);
        return false;
    }
    if (askYesNo(parent, u"Start a new daily log?"_s,
                 u"Closes the day that is open on %1 and starts a fresh one. What is already recorded is kept - the "
                 u"log is split, not erased."_s.arg(unitLabel)))
        return true;
    units::logLine(u"confirm cancelled  %1  POST %2"_s.arg(unitKey, kDayPath));
    return false;
}

QJsonObject dayRollBody()
{
    return {{"action"_L1, "roll"_L1}};
}

} // namespace tools
