#include "render/rows.h"

#include "prims/wraprow.h"

#include "app/base/theme.h"
#include "prims/itemview.h"
#include "prims/json.h"
#include "prims/text.h"

#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace render {

namespace {

// A cell of "rows": the value-to-text rule for plain values; an object may add "tone", "bold" and
// "pill" (drawn as a pill in its tone).
QWidget *rowsCell(const QJsonValue &v, Qt::Alignment align, QWidget *parent)
{
    const theme::Palette &pal = theme::palette();
    const prims::Cell cell = prims::readCell(v);
    const QJsonObject o = v.toObject();
    auto *box = new QWidget(parent);
    auto *layout = new QHBoxLayout(box);
    layout->setContentsMargins(10, 6, 10, 6);
    layout->setSpacing(0);
    if (prims::readFlag(o, "pill"_L1, false) && !cell.text.isEmpty()) {
        if (align & (Qt::AlignRight | Qt::AlignHCenter))
            layout->addStretch(1);
        layout->addWidget(
            prims::pillLabel(cell.text, theme::toneColor(cell.tone.isEmpty() ? u"accent"_s : cell.tone), 9, true, box));
        if (!(align & Qt::AlignRight))
            layout->addStretch(1);
        return box;
    }
    QLabel *label = prims::textLabel(cell.text, 10, cell.tone.isEmpty() ? pal.ink : theme::toneColor(cell.tone),
                                     prims::readFlag(o, "bold"_L1, false), false, box);
    label->setAlignment(align | Qt::AlignVCenter);
    layout->addWidget(label, 1);
    return box;
}

QColor highlightColor(const QString &tone)
{
    const theme::Palette &pal = theme::palette();
    const QColor soft = theme::toneSoft(tone);
    // Tones without a soft colour of their own (the accent) tint the surface instead.
    return soft == pal.grey ? theme::blend(pal.surface, theme::toneColor(tone), pal.dark ? 0.18 : 0.12) : soft;
}

struct StripCell
{
    QString label;
    QString state;
    QString tone;
    QString tag;
    QString note;
};

// A cell's state, the tone it is drawn in and the tag over its label; any other state is a step
// still to come ("idle", "STEP n").
struct StateLook
{
    QLatin1StringView state;
    const char16_t *tone;
    const char16_t *tag;
};
constexpr StateLook kStateLooks[] = {
    {"done"_L1, u"ok", u"DONE"},    {"now"_L1, u"accent", u"NOW"},       {"error"_L1, u"error", u"PROBLEM"},
    {"warn"_L1, u"warn", u"CHECK"}, {"skipped"_L1, u"idle", u"SKIPPED"},
};

const StateLook *lookOf(const QString &state)
{
    for (const StateLook &look : kStateLooks)
        if (state == look.state)
            return &look;
    return nullptr;
}

QString stateTone(const QString &state)
{
    const StateLook *look = lookOf(state);
    return look ? QString::fromUtf16(look->tone) : u"idle"_s;
}

QString stateTag(const QString &state, int position)
{
    const StateLook *look = lookOf(state);
    return look ? QString::fromUtf16(look->tag) : u"STEP %1"_s.arg(position);
}

} // namespace

QWidget *rows(const QJsonObject &el, const Actions &, int, QWidget *parent)
{
    // A row is an array of cells or an object with "cells"; anything else is no row.
    QJsonArray rowValues;
    for (const QJsonValue &v : prims::readArray(el, "rows"_L1, kMaxRows))
        if (v.isArray() || v.isObject())
            rowValues.append(v);
    if (rowValues.isEmpty())
        return nullptr;
    const theme::Palette &pal = theme::palette();
    QList<prims::HeaderColumn> columns;
    for (const QJsonValue &v : prims::readArray(el, "columns"_L1, kMaxRowColumns))
        columns.append(prims::readHeaderColumn(v));

    auto *block = new QWidget(parent);
    block->setObjectName(u"rows"_s);
    auto *outer = new QVBoxLayout(block);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(6);
    if (const QString title = prims::readText(el, "title"_L1); !title.isEmpty())
        outer->addWidget(prims::textLabel(title, 10, pal.ink, true, false, block));

    auto *frame = new QFrame(block);
    frame->setObjectName(u"rowsFrame"_s);
    frame->setStyleSheet(u"QFrame#rowsFrame { background:%1; border:1px solid %2; border-radius:6px; }"
                         "QFrame#rowsHeader { background:%3; border:none; border-bottom:1px solid %2;"
                         " border-top-left-radius:5px; border-top-right-radius:5px; }"
                         "QFrame#rowBand { background:%1; border:none; }"
                         "QFrame#rowBandAlt { background:%4; border:none; }"_s.arg(pal.row.name(), pal.edge.name(),
                                                                                   pal.grey.name(), pal.rowAlt.name()));
    auto *grid = new QGridLayout(frame);
    grid->setContentsMargins(1, 1, 1, 1);
    grid->setSpacing(0);

    QList<QJsonArray> cells;
    int columnCount = int(columns.size());
    for (const QJsonValue &v : rowValues) {
        const QJsonArray line = v.isArray() ? v.toArray() : prims::readArray(v.toObject(), "cells"_L1, kMaxRowColumns);
        cells.append(line);
        columnCount = std::max(columnCount, int(std::min<qsizetype>(line.size(), kMaxRowColumns)));
    }
    if (columnCount == 0) {
        delete block;
        return nullptr;
    }
    const auto alignOf = [&](int c) { return c < columns.size() ? columns[c].align : Qt::AlignLeft; };

    int gridRow = 0;
    if (!columns.isEmpty()) {
        auto *band = new QFrame(frame);
        band->setObjectName(u"rowsHeader"_s);
        grid->addWidget(band, 0, 0, 1, columnCount);
        for (int c = 0; c < columns.size(); ++c) {
            QLabel *head = prims::textLabel(columns[c].label, 9, pal.muted, true, false, frame);
            head->setContentsMargins(10, 5, 10, 5);
            head->setAlignment(alignOf(c) | Qt::AlignVCenter);
            grid->addWidget(head, 0, c);
        }
        gridRow = 1;
    }
    for (qsizetype r = 0; r < rowValues.size(); ++r, ++gridRow) {
        const QJsonObject rowObject = rowValues.at(r).toObject();
        const QString tone = prims::readText(rowObject, "tone"_L1);
        const bool highlight = prims::readFlag(rowObject, "highlight"_L1, !tone.isEmpty());
        auto *band = new QFrame(frame);
        if (highlight) {
            const QString t = tone.isEmpty() ? u"accent"_s : tone;
            band->setObjectName(u"rowHighlight"_s);
            band->setStyleSheet(u"QFrame#rowHighlight { background:%1; border:none; border-left:3px solid %2; }"_s.arg(
                highlightColor(t).name(), theme::toneColor(t).name()));
        } else {
            band->setObjectName(r % 2 ? u"rowBandAlt"_s : u"rowBand"_s);
        }
        grid->addWidget(band, gridRow, 0, 1, columnCount);
        const QJsonArray &line = cells[r];
        for (int c = 0; c < columnCount && c < line.size(); ++c)
            grid->addWidget(rowsCell(line.at(c), alignOf(c), frame), gridRow, c);
    }
    for (int c = 0; c < columnCount; ++c)
        grid->setColumnStretch(c, 1);
    outer->addWidget(frame);
    block->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
    return block;
}

QWidget *strip(const QJsonObject &el, const Actions &, int, QWidget *parent)
{
    const QJsonArray items = prims::readArray(el, "items"_L1, kMaxStripCells);
    if (items.isEmpty())
        return nullptr;
    const theme::Palette &pal = theme::palette();
    auto *line = new QWidget(parent);
    line->setObjectName(u"strip"_s);
    // Equal columns that go on in more lines when narrow, as the step strip does.
    auto *box = new prims::WrapRow(line, 0, 6, prims::WrapRow::Fill::Grid);
    for (qsizetype i = 0; i < items.size(); ++i) {
        if (!items.at(i).isObject())
            continue; // nothing to show: not an empty cell
        const QJsonObject o = items.at(i).toObject();
        StripCell cell;
        cell.label = prims::readText(o, "label"_L1);
        cell.state = prims::readText(o, "state"_L1, u"todo"_s);
        cell.tone = prims::readText(o, "tone"_L1, stateTone(cell.state));
        cell.tag = prims::readText(o, "tag"_L1, stateTag(cell.state, int(i) + 1));
        cell.note = prims::readText(o, "note"_L1);

        // As in the step strip: done, failed and current cells on their tone, the rest neutral.
        QColor background = pal.surface;
        QColor border = pal.edge;
        if (cell.state == "now"_L1 || cell.tone == "accent"_L1) {
            background = theme::blend(pal.surface, theme::toneColor(cell.tone), 0.16);
            border = theme::toneColor(cell.tone);
        } else if (cell.tone != "idle"_L1) {
            background = highlightColor(cell.tone);
            border = theme::toneColor(cell.tone);
        }
        auto *frame = new QFrame(line);
        frame->setObjectName(u"stripCell"_s);
        frame->setStyleSheet(u"QFrame#stripCell { background:%1; border:1px solid %2; border-radius:6px; }"_s.arg(
            background.name(), border.name()));
        auto *column = new QVBoxLayout(frame);
        column->setContentsMargins(9, 5, 9, 5);
        column->setSpacing(1);
        if (!cell.tag.isEmpty())
            column->addWidget(prims::textLabel(cell.tag, 8, theme::toneColor(cell.tone), true, false, frame));
        column->addWidget(
            prims::textLabel(cell.label, 9, cell.state == "done"_L1 ? pal.muted : pal.ink, false, false, frame));
        if (!cell.note.isEmpty())
            column->addWidget(prims::textLabel(cell.note, 8, pal.dim, false, false, frame));
        column->addStretch(1);
        box->addWidget(frame);
    }
    if (box->count() == 0) {
        delete line;
        return nullptr;
    }
    return line;
}

} // namespace render
