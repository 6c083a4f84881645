// The framed containers: "alert", "dialog", "wizard" and "tooltip", and the surface they sit on.
#include "app/base/theme.h"
#include "prims/containers.h"
#include "prims/json.h"
#include "prims/text.h"

#include <QBoxLayout>
#include <QFrame>
#include <QLabel>
#include <QTextDocument>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace prims {

namespace {

constexpr int kRadius = 6;
int g_surfaceCount = 0;

QLabel *roundMarker(const QString &text, int size, int points, int border, const QColor &color, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setFixedSize(size, size);
    label->setAlignment(Qt::AlignCenter);
    label->setFont(theme::uiFont(points, true));
    label->setStyleSheet(u"color:%1; border:%2px solid %1;border-radius:%3px; background:transparent;"_s.arg(
        color.name(), QString::number(border), QString::number(size / 2)));
    return label;
}

QHBoxLayout *actionRow(const QJsonArray &actions, const Callbacks &cb, int depth, QWidget *owner, int vMargin)
{
    auto *row = new QHBoxLayout;
    row->setContentsMargins(0, vMargin, 0, vMargin);
    row->setSpacing(6);
    for (const QJsonValue &action : actions) {
        if (QWidget *button = buildChild(action, cb, depth, owner))
            row->addWidget(button);
    }
    return row;
}

} // namespace

QFrame *surfaceFrame(const QColor &background, int borderWidth, const QColor &border, QWidget *parent)
{
    auto *frame = new QFrame(parent);
    frame->setFrameShape(QFrame::NoFrame);
    const QString name = u"primSurface%1"_s.arg(++g_surfaceCount);
    frame->setObjectName(name);
    frame->setStyleSheet(u"QFrame#%1 { background:%2;            border:%3px solid %4;            "
                         "border-radius:%5px; }"_s.arg(name, background.name(), QString::number(borderWidth),
                                                       border.name(), QString::number(kRadius)));
    return frame;
}

bool isNeutralTone(const QString &tone)
{
    static const std::array<QLatin1StringView, 9> neutral = {"edge"_L1,    "muted"_L1, "idle"_L1, "dim"_L1, "grey"_L1,
                                                             "surface"_L1, "bg"_L1,    "body"_L1, "ink"_L1};
    const QString lower = tone.toLower();
    return std::find(neutral.cbegin(), neutral.cend(), lower) != neutral.cend();
}

QColor raisedTint(const QString &tone, double fraction)
{
    const QColor grey = theme::palette().grey;
    return isNeutralTone(tone) ? grey : theme::blend(grey, theme::toneColor(tone), fraction);
}

QWidget *buildAlert(const QJsonObject &el, const Callbacks &cb, int depth, QWidget *parent)
{
    const QString title = readText(el, "title"_L1);
    const QString detail = readText(el, "detail"_L1);
    if (title.isEmpty() && detail.isEmpty())
        return nullptr;
    const QString tone = readName(el, "tone"_L1, u"accent"_s);
    const QColor color = theme::toneColor(tone);

    QFrame *frame = surfaceFrame(raisedTint(tone, 0.10), 1, color, parent);
    auto *outer = new QHBoxLayout(frame);
    outer->setContentsMargins(0, 0, 14, 0);
    outer->setSpacing(10);

    auto *band = new QFrame(frame);
    band->setObjectName(u"alertBand"_s);
    band->setFixedWidth(5);
    band->setStyleSheet(u"QFrame#alertBand { background:%1;border-top-left-radius:%2px;"
                        "border-bottom-left-radius:%2px; border:none; }"_s.arg(color.name(), QString::number(kRadius)));
    outer->addWidget(band);

    auto *body = new QWidget(frame);
    auto *column = new QVBoxLayout(body);
    column->setContentsMargins(0, 8, 0, 8);
    column->setSpacing(2);
    if (!title.isEmpty()) {
        const QString icon = readText(el, "icon"_L1);
        column->addWidget(textLabel(icon.isEmpty() ? title : icon + u' ' + title, 11, color, true, false, body));
    }
    if (!detail.isEmpty())
        column->addWidget(textLabel(detail, 10, theme::palette().ink, false, false, body));
    outer->addWidget(body, 1);

    const QJsonArray actions = readArray(el, "actions"_L1, 8);
    if (!actions.isEmpty()) {
        auto *holder = new QWidget(frame);
        QHBoxLayout *row = actionRow(actions, cb, depth, holder, 8);
        holder->setLayout(row);
        outer->addWidget(holder, 0, Qt::AlignVCenter);
    }
    return frame;
}

QWidget *buildDialog(const QJsonObject &el, const Callbacks &cb, int depth, QWidget *parent)
{
    if (!readFlag(el, "open"_L1, true))
        return nullptr;
    const QString title = readText(el, "title"_L1);
    const QString detail = readText(el, "detail"_L1);
    const QJsonArray items = readArray(el, "items"_L1, 4000);
    const QJsonArray actions = readArray(el, "actions"_L1, 16);
    if (title.isEmpty() && detail.isEmpty() && items.isEmpty() && actions.isEmpty())
        return nullptr;
    const QString tone = readName(el, "tone"_L1, u"accent"_s);
    const QColor color = theme::toneColor(tone);

    QFrame *frame = surfaceFrame(raisedTint(tone, 0.08), isNeutralTone(tone) ? 1 : 2, color, parent);
    auto *box = new QVBoxLayout(frame);
    box->setContentsMargins(14, 10, 14, 10);
    box->setSpacing(6);
    if (!title.isEmpty())
        box->addWidget(textLabel(title, 12, color, true, false, frame));
    if (!detail.isEmpty())
        box->addWidget(textLabel(detail, 10, theme::palette().ink, false, false, frame));

    // "grow" on the dialog names one item by position; otherwise items say it themselves.
    const std::optional<int> growIndex = readOptionalInt(el, "grow"_L1, -1, 4000);
    bool grew = false;
    for (qsizetype i = 0; i < items.size(); ++i) {
        QWidget *child = buildChild(items.at(i), cb, depth, frame);
        if (!child)
            continue;
        const bool grows = growIndex ? i == *growIndex : readTrue(items.at(i).toObject(), "grow"_L1);
        setGrows(child, grows);
        box->addWidget(child, grows ? 1 : 0);
        grew = grew || grows;
    }
    if (!grew)
        box->addStretch(1);

    if (!actions.isEmpty()) {
        QHBoxLayout *row = actionRow(actions, cb, depth, frame, 0);
        row->setContentsMargins(0, 0, 0, 0);
        row->insertStretch(0, 1);
        box->addLayout(row);
    }
    return frame;
}

QWidget *buildWizard(const QJsonObject &el, const Callbacks &cb, int depth, QWidget *parent)
{
    const QJsonArray stages = readArray(el, "stages"_L1, 64);
    if (stages.isEmpty())
        return nullptr;
    const bool row = readText(el, "flow"_L1, u"column"_s) == "row"_L1;
    const theme::Palette &p = theme::palette();

    auto *wizard = new QWidget(parent);
    auto *outer = new QVBoxLayout(wizard);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(6);
    auto *strip = new QBoxLayout(row ? QBoxLayout::LeftToRight : QBoxLayout::TopToBottom);
    strip->setContentsMargins(0, 0, 0, 0);
    strip->setSpacing(row ? 0 : 4);
    outer->addLayout(strip);

    QJsonObject current;
    bool haveCurrent = false;
    int number = 0;
    for (const QJsonValue &value : stages) {
        if (!value.isObject())
            continue;
        const QJsonObject stage = value.toObject();
        ++number;
        const QString state = readText(stage, "state"_L1, u"todo"_s);
        if (!haveCurrent && state == "now"_L1) {
            current = stage;
            haveCurrent = true;
        }

        QString mark = QString::number(number);
        QString markTone = u"idle"_s;
        if (state == "done"_L1) {
            mark = u"\u2713"_s;
            markTone = u"ok"_s;
        } else if (state == "now"_L1) {
            markTone = u"accent"_s;
        } else if (state == "blocked"_L1) {
            mark = u"!"_s;
            markTone = u"error"_s;
        }

        auto *stageRow = new QHBoxLayout;
        stageRow->setContentsMargins(0, 0, 0, 0);
        stageRow->setSpacing(8);
        stageRow->addWidget(roundMarker(mark, 22, 9, 2, theme::toneColor(markTone), wizard), 0, Qt::AlignTop);
        auto *texts = new QVBoxLayout;
        texts->setContentsMargins(0, 2, 0, 0);
        texts->setSpacing(1);
        const QColor labelColor = state == "todo"_L1 ? theme::toneColor(u"muted"_s) : p.ink;
        texts->addWidget(textLabel(readText(stage, "label"_L1), 10, labelColor, state == "now"_L1, false, wizard));
        const QString detail = readText(stage, "detail"_L1);
        if (!row && !detail.isEmpty())
            texts->addWidget(textLabel(detail, 9, theme::toneColor(u"muted"_s), false, false, wizard));
        stageRow->addLayout(texts, 1);
        strip->addLayout(stageRow, row ? 1 : 0);
    }

    const QJsonArray items = readArray(current, "items"_L1, 4000);
    if (!items.isEmpty()) {
        QFrame *frame = surfaceFrame(p.surface, 1, p.edge, wizard);
        auto *box = new QVBoxLayout(frame);
        box->setContentsMargins(12, 8, 12, 8);
        box->setSpacing(6);
        int built = 0;
        for (const QJsonValue &item : items) {
            if (QWidget *child = buildChild(item, cb, depth, frame)) {
                box->addWidget(child);
                ++built;
            }
        }
        if (built > 0)
            outer->addWidget(frame);
        else
            delete frame;
    }
    return wizard;
}

QWidget *buildTooltip(const QJsonObject &el, const Callbacks &cb, int depth, QWidget *parent)
{
    const QString tip = readText(el, "tip"_L1);
    const QString label = readText(el, "label"_L1);
    const QJsonValue itemValue = el.value("item"_L1);
    if (tip.isEmpty() && label.isEmpty() && !itemValue.isObject())
        return nullptr;

    auto *holder = new QWidget(parent);
    auto *row = new QHBoxLayout(holder);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(6);
    QWidget *item = itemValue.isObject() ? buildChild(itemValue, cb, depth, holder) : nullptr;
    if (item)
        row->addWidget(item, 1);
    else if (!label.isEmpty() && !itemValue.isObject())
        row->addWidget(textLabel(label, 10, theme::palette().ink, false, false, holder), 1);
    else
        row->addStretch(1);

    QLabel *marker = roundMarker(u"?"_s, 16, 8, 1, theme::toneColor(readName(el, "tone"_L1, u"muted"_s)), holder);
    marker->setObjectName(u"tipMarker"_s);
    row->addWidget(marker, 0, Qt::AlignTop);
    if (!tip.isEmpty()) {
        // A tool tip that looks like markup is drawn as markup: this one shows the tip as typed.
        const QString shown = Qt::convertFromPlainText(tip, Qt::WhiteSpaceNormal);
        holder->setToolTip(shown);
        marker->setToolTip(shown);
        if (item)
            item->setToolTip(shown);
    }
    return holder;
}

} // namespace prims
