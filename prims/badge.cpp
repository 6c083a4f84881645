#include "prims/badge.h"

#include "app/base/theme.h"
#include "prims/json.h"
#include "prims/text.h"

#include <QHBoxLayout>
#include <QLabel>

using namespace Qt::StringLiterals;

namespace prims {

QWidget *buildBadge(const QJsonObject &el, QWidget *parent)
{
    const QString text = readText(el, "text"_L1);
    if (text.isEmpty())
        return nullptr;
    auto *row = new QWidget(parent);
    auto *box = new QHBoxLayout(row);
    box->setContentsMargins(0, 0, 0, 0);
    box->setSpacing(0);
    // The pill keeps its own height in a row a column stretches: a pill, never a tall box.
    box->addWidget(pillLabel(text, theme::toneColor(readName(el, "tone"_L1, u"accent"_s)),
                             readInt(el, "size"_L1, 9, -2000000000, 2000000000), readFlag(el, "outline"_L1, true), row),
                   0, Qt::AlignVCenter);
    box->addStretch(1);
    return row;
}

} // namespace prims
