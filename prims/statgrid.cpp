#include "prims/statgrid.h"

#include "app/base/theme.h"
#include "prims/json.h"
#include "prims/text.h"

#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace prims {

namespace {

constexpr int kMaxTiles = 64;

QFrame *tile(const QJsonObject &item, QWidget *parent)
{
    const theme::Palette &pal = theme::palette();
    auto *cell = new QFrame(parent);
    cell->setObjectName(u"statCell"_s);
    auto *box = new QVBoxLayout(cell);
    box->setContentsMargins(12, 8, 12, 8);
    box->setSpacing(2);
    box->addWidget(textLabel(readText(item, "label"_L1), 9, pal.muted, false, false, cell));

    auto *line = new QHBoxLayout;
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(4);
    const QString value = valueText(item, "value"_L1);
    QLabel *figure = textLabel(value.isEmpty() ? u"-"_s : value, 17,
                               theme::toneColor(readText(item, "tone"_L1, u"body"_s)), true, false, cell);
    figure->setObjectName(u"statValue"_s);
    line->addWidget(figure, 0, Qt::AlignBaseline);
    if (const QString unit = readText(item, "unit"_L1); !unit.isEmpty())
        line->addWidget(textLabel(unit, 10, pal.muted, false, false, cell), 0, Qt::AlignBaseline);
    line->addStretch(1);
    box->addLayout(line);

    if (const QString note = readText(item, "note"_L1); !note.isEmpty())
        box->addWidget(textLabel(note, 8, pal.dim, false, false, cell));
    box->addStretch(1);
    return cell;
}

} // namespace

QWidget *buildStatGrid(const QJsonObject &el, QWidget *parent)
{
    const QJsonArray items = readArray(el, "items"_L1, kMaxTiles);
    if (items.isEmpty())
        return nullptr;
    const theme::Palette &pal = theme::palette();
    const int columns = readInt(el, "columns"_L1, 3, 1, 8);

    auto *grid = new QWidget(parent);
    grid->setStyleSheet(u"QFrame#statCell { background:%1; border:1px solid %2; border-radius:6px; }"_s.arg(
        pal.panel.name(), pal.edge.name()));
    auto *layout = new QGridLayout(grid);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);
    for (qsizetype k = 0; k < items.size(); ++k)
        layout->addWidget(tile(items.at(k).toObject(), grid), int(k / columns), int(k % columns));
    for (int c = 0; c < columns; ++c)
        layout->setColumnStretch(c, 1);
    grid->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
    return grid;
}

} // namespace prims
