#include "render/textual.h"

#include "app/theme.h"
#include "prims/json.h"
#include "prims/text.h"

#include <QHBoxLayout>
#include <QLabel>

using namespace Qt::StringLiterals;

namespace render {

QWidget *heading(const QJsonObject &el, const Actions &, int, QWidget *parent)
{
    const int size = prims::readInt(el, "size"_L1, 14, 8, 28);
    return prims::textLabel(prims::readText(el, "text"_L1), size,
                            theme::toneColor(prims::readText(el, "tone"_L1)), true, false, parent);
}

QWidget *text(const QJsonObject &el, const Actions &, int, QWidget *parent)
{
    const bool mono = prims::readFlag(el, "mono"_L1, false);
    const int size = prims::readInt(el, "size"_L1, 10, 7, mono ? 28 : 48);
    QLabel *label = prims::textLabel(prims::readText(el, "text"_L1), size,
                                     theme::textTone(prims::readText(el, "tone"_L1)),
                                     prims::readFlag(el, "bold"_L1, false), mono, parent);
    label->setWordWrap(prims::readFlag(el, "wrap"_L1, true));
    const QString align = prims::readText(el, "align"_L1);
    if (align == "center"_L1)
        label->setAlignment(Qt::AlignHCenter | Qt::AlignVCenter);
    else if (align == "right"_L1)
        label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    if (el.contains("width"_L1))
        label->setFixedWidth(prims::readInt(el, "width"_L1, 0, 0, 4000));
    return label;
}

QWidget *fact(const QJsonObject &el, const Actions &, int, QWidget *parent)
{
    auto *row = new QWidget(parent);
    auto *box = new QHBoxLayout(row);
    box->setContentsMargins(0, 0, 0, 0);
    box->setSpacing(10);
    QLabel *label = prims::textLabel(prims::readText(el, "label"_L1), 10, theme::palette().muted, false, false, row);
    label->setWordWrap(false);
    label->setMinimumWidth(140);
    label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    box->addWidget(label, 0, Qt::AlignTop);
    const QString tone = prims::readText(el, "tone"_L1, u"body"_s);
    box->addWidget(prims::textLabel(prims::valueText(el.value("value"_L1)), 10, theme::toneColor(tone), true,
                                    false, row),
                   1);
    return row;
}

QWidget *chips(const QJsonObject &el, const Actions &, int, QWidget *parent)
{
    const QJsonArray items = prims::readArray(el, "items"_L1, 64);
    auto *row = new QWidget(parent);
    auto *box = new QHBoxLayout(row);
    box->setContentsMargins(0, 0, 0, 0);
    box->setSpacing(6);
    for (const QJsonValue &v : items) {
        const QJsonObject chip = v.toObject();
        const QString text = prims::readText(chip, "text"_L1);
        if (text.isEmpty())
            continue;
        const QString tone = prims::readText(chip, "tone"_L1, u"idle"_s);
        auto *label = new QLabel(text, row);
        label->setFont(theme::uiFont(8, true));
        label->setStyleSheet(u"color:%1; background:%2; border-radius:8px; padding:2px 8px;"_s.arg(
            theme::toneColor(tone).name(), theme::toneSoft(tone).name()));
        box->addWidget(label);
    }
    box->addStretch(1);
    return row;
}

} // namespace render
