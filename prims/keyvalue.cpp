#include "prims/keyvalue.h"

#include "app/base/theme.h"
#include "prims/json.h"
#include "prims/text.h"

#include <QGridLayout>
#include <QLabel>

using namespace Qt::StringLiterals;

namespace prims {

QWidget *buildKeyValue(const QJsonObject &el, QWidget *parent)
{
    const QJsonArray items = readArray(el, "items"_L1, 1000);
    if (items.isEmpty())
        return nullptr;
    const int columns = readInt(el, "columns"_L1, 1, 1, 6);
    const int labelWidth = readInt(el, "label_width"_L1, 112, 40, 500);

    auto *box = new QWidget(parent);
    auto *grid = new QGridLayout(box);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(14);
    grid->setVerticalSpacing(4);
    const QColor muted = theme::toneColor(u"muted"_s);
    for (qsizetype k = 0; k < items.size(); ++k) {
        const QJsonObject item = items.at(k).toObject();
        const int row = int(k / columns);
        const int pair = int(k % columns);
        QLabel *label = textLabel(readText(item, "label"_L1), 10, muted, false, false, box);
        label->setWordWrap(false);
        label->setFixedWidth(labelWidth);
        label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
        grid->addWidget(label, row, 2 * pair, Qt::AlignLeft | Qt::AlignTop);
        QLabel *value = textLabel(valueText(item, "value"_L1), 10,
                                  theme::toneColor(readName(item, "tone"_L1, u"body"_s)), true, false, box);
        grid->addWidget(value, row, 2 * pair + 1);
    }
    for (int pair = 0; pair < columns; ++pair)
        grid->setColumnStretch(2 * pair + 1, 1);
    return box;
}

} // namespace prims
