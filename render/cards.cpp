// The "cards" element: status cards flowing in a wrapping row, each with a title, a big value,
// a note and optionally a row of buttons.

#include "render/buttons.h"

#include "app/base/theme.h"
#include "prims/json.h"
#include "prims/text.h"
#include "prims/wraprow.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QJsonArray>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace render {

namespace {

constexpr int kCardRadius = 6;     // the same corners as the section cards around them
constexpr int kCardMinWidth = 180; // narrow enough for four across a laptop screen

QFrame *cardCell(const QJsonObject &card, const Actions &actions, QWidget *parent)
{
    const theme::Palette &pal = theme::palette();
    const QString tone = prims::readName(card, "tone"_L1, u"idle"_s);
    const QColor accent = tone == "idle"_L1 ? pal.dim : theme::toneColor(tone);

    auto *cell = new QFrame(parent);
    cell->setObjectName(u"cardCell"_s);
    cell->setStyleSheet(u"QFrame#cardCell { background:%1;border:1px solid %2; border-radius:%3px; }"_s.arg(
        pal.panel.name(), accent.name(), QString::number(kCardRadius)));
    cell->setMinimumWidth(kCardMinWidth);
    auto *box = new QVBoxLayout(cell);
    box->setContentsMargins(16, 12, 16, 12);
    box->setSpacing(2);

    box->addWidget(prims::textLabel(prims::readText(card, "title"_L1), 9, pal.muted, true, false, cell));
    box->addWidget(prims::textLabel(prims::valueText(card.value("value"_L1)), 20, accent, true, false, cell));
    if (const QString note = prims::readText(card, "note"_L1); !note.isEmpty())
        box->addWidget(prims::textLabel(note, 9, pal.dim, false, false, cell));

    QWidget *row = nullptr;
    for (const QJsonValue &v : prims::readArray(card, "actions"_L1, 12)) {
        const QJsonObject button = v.toObject();
        const QString type = prims::readText(button, "type"_L1, u"action"_s);
        if (button.isEmpty() || type != "action"_L1)
            continue;
        if (!row) {
            row = new QWidget(cell);
            auto *rowBox = new QHBoxLayout(row);
            rowBox->setContentsMargins(0, 6, 0, 0);
            rowBox->setSpacing(6);
            box->addWidget(row);
        }
        row->layout()->addWidget(actionButton(button, actions, row));
    }
    if (row)
        static_cast<QHBoxLayout *>(row->layout())->addStretch(1);
    box->addStretch(1);
    return cell;
}

} // namespace

QWidget *cards(const QJsonObject &el, const Actions &actions, int, QWidget *parent)
{
    auto *grid = new QWidget(parent);
    grid->setObjectName(u"cards"_s);
    auto *flow = new prims::WrapRow(grid, 0, 12);
    flow->setContentsMargins(0, 4, 0, 0);
    for (const QJsonValue &v : prims::readArray(el, "cards"_L1, 200)) {
        if (v.isObject())
            flow->addWidget(cardCell(v.toObject(), actions, grid));
    }
    return grid;
}

} // namespace render
