#include "tools/siteview.h"

#include "app/base/theme.h"
#include "prims/json.h"
#include "tools/dialogs.h"

#include <QBoxLayout>
#include <QDialog>
#include <QFrame>
#include <QHash>
#include <QJsonArray>
#include <QLabel>
#include <QScrollArea>

using namespace Qt::StringLiterals;

namespace tools {

namespace {

constexpr int kGroupGap = 8; // above each heading of the stats, so its rows read as a group

// What a unit's discovery answer says, read with the defaults a missing or mistyped key takes.
struct Reported
{
    bool commissioned = false;
    qint32 completed = 0;
    qint32 total = 0;
    QString activity;
};

Reported reported(const QJsonObject &state)
{
    return {prims::readTrue(state, "commissioned"_L1), state.value("completed_count"_L1).toInt(0),
            state.value("total_count"_L1).toInt(0), prims::readText(state, "activity_detail"_L1)};
}

// The site's sums wrap as 32-bit signed integers do, the way the units count them.
qint32 add32(qint32 sum, qint32 value)
{
    return qint32(quint32(sum) + quint32(value));
}

// The status word and the detail text of a card, decided in this order; an activity wins over
// everything, a commissioned unit's too.
std::pair<QString, QString> statusOf(const units::Unit &unit)
{
    const Reported r = reported(unit.state);
    std::pair<QString, QString> status;
    if (!unit.online())
        status = {u"OFFLINE"_s, u"Not answering discovery."_s};
    else if (r.commissioned)
        status = {u"COMMISSIONED"_s, u"Nothing left to do on this unit."_s};
    else
        status = {u"WAITING"_s, u"%1 of %2 done"_s.arg(r.completed).arg(r.total)};
    if (!r.activity.isEmpty())
        status = {u"RUNNING"_s, r.activity};
    return status;
}

QFrame *card(const units::Unit &unit)
{
    const theme::Palette &pal = theme::palette();
    const auto [word, detail] = statusOf(unit);
    auto *frame = new QFrame;
    frame->setObjectName(u"card"_s);
    auto *box = new QVBoxLayout(frame);
    box->addWidget(makeLabel(unitLabel(unit), 12, pal.ink, true));
    box->addWidget(makeLabel(word, 9, pal.accent, true));
    box->addWidget(makeLabel(u"%1 - %2   -   %3"_s.arg(unit.key(), unit.type, detail), 9, pal.muted));
    return frame;
}

} // namespace

void siteView(QWidget *parent, const QList<units::Unit> &units)
{
    const theme::Palette &pal = theme::palette();
    QDialog *dialog = makeDialog(parent, u"Site view"_s, 720, 560);
    auto *layout = new QVBoxLayout(dialog);

    qint32 answering = 0;
    qint32 commissioned = 0;
    qint32 stepsLeft = 0;
    for (const units::Unit &unit : units) {
        if (!unit.online())
            continue;
        const Reported r = reported(unit.state);
        ++answering;
        if (r.commissioned)
            ++commissioned;
        else
            stepsLeft = add32(stepsLeft, qint32(quint32(r.total) - quint32(r.completed)));
    }
    layout->addWidget(makeLabel(u"Site view"_s, 14, pal.ink, true));
    layout->addWidget(
        makeLabel(u"%1 unit(s) answering - %2 commissioned, %3 step(s) left across the site."_s.arg(answering)
                      .arg(commissioned)
                      .arg(stepsLeft),
                  10, pal.muted));

    auto *scroll = new QScrollArea;
    scroll->setWidgetResizable(true);
    auto *inner = new QWidget;
    auto *cards = new QVBoxLayout(inner);
    cards->setSpacing(8);
    for (const units::Unit &unit : units)
        cards->addWidget(card(unit));
    cards->addStretch(1);
    scroll->setWidget(inner);
    layout->addWidget(scroll, 1);

    addCloseRow(dialog, layout, u"Close"_s);
    runDialog(dialog);
}

void showStats(QWidget *parent, const QList<units::Unit> &units)
{
    const theme::Palette &pal = theme::palette();
    QDialog *dialog = makeDialog(parent, u"Commissioning stats"_s, 470, 0);
    auto *layout = new QVBoxLayout(dialog);

    const QJsonArray finished = units::loadStats().value("commissioned"_L1).toArray();
    qint32 commissionedNow = 0;
    qint32 inProgress = 0;
    qint32 stepsRecorded = 0;
    for (const units::Unit &unit : units) {
        if (!unit.online())
            continue;
        const Reported r = reported(unit.state);
        ++(r.commissioned ? commissionedNow : inProgress);
        stepsRecorded = add32(stepsRecorded, r.completed);
    }
    // Products in the order they were first recorded: stable from one run to the next.
    QStringList products;
    QHash<QString, qint32> counts;
    for (const QJsonValue &entry : finished) {
        const QString product = prims::readText(entry.toObject(), "product"_L1);
        if (!counts.contains(product))
            products << product;
        ++counts[product];
    }

    addStatRow(layout, u"Units commissioned (all time)"_s, QString::number(qint32(finished.size())));
    addStatRow(layout, u"Commissioned and online now"_s, QString::number(commissionedNow));
    addStatRow(layout, u"Still in progress"_s, QString::number(inProgress));
    addStatRow(layout, u"Steps recorded across online units"_s, QString::number(stepsRecorded));

    layout->addSpacing(kGroupGap);
    layout->addWidget(makeLabel(u"By product"_s, 11, pal.ink, true));
    if (products.isEmpty())
        layout->addWidget(makeLabel(u"   nothing recorded yet"_s, 9, pal.dim));
    for (const QString &product : std::as_const(products))
        addStatRow(layout, u"   "_s + (product.isEmpty() ? u"(unnamed)"_s : product),
                   QString::number(counts.value(product)));

    layout->addSpacing(kGroupGap);
    layout->addWidget(makeLabel(u"Recently finished"_s, 11, pal.ink, true));
    if (finished.isEmpty())
        layout->addWidget(makeLabel(u"   none yet"_s, 9, pal.dim));
    for (qsizetype i = std::max<qsizetype>(0, finished.size() - 6); i < finished.size(); ++i) {
        const QJsonObject entry = finished.at(i).toObject();
        layout->addWidget(makeLabel(u"   %1  -  %2 steps  -  %3"_s.arg(prims::readText(entry, "host"_L1),
                                                                       QString::number(entry.value("steps"_L1).toInt()),
                                                                       prims::readText(entry, "at"_L1)),
                                    9, pal.muted));
    }

    addCloseRow(dialog, layout, u"Close"_s);
    runDialog(dialog);
}

} // namespace tools
