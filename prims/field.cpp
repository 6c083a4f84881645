#include "prims/field.h"

#include "app/base/theme.h"
#include "prims/text.h"

#include <QLabel>
#include <QVBoxLayout>
#include <QVariant>
#include <QWidget>

using namespace Qt::StringLiterals;

namespace prims {

void setFieldId(QWidget *input, const QString &id)
{
    if (!input || id.isEmpty())
        return;
    input->setObjectName(u"field:"_s + id);
    input->setProperty("fieldId", id);
}

QWidget *fieldLabel(QWidget *input, const QString &label, QWidget *parent)
{
    if (label.isEmpty() || !input)
        return input;
    auto *box = new QWidget(parent);
    auto *column = new QVBoxLayout(box);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(3);
    column->addWidget(textLabel(label, 9, theme::toneColor(u"muted"_s), false, false, box));
    column->addWidget(input);
    return box;
}

} // namespace prims
