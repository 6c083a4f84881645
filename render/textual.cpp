#include "render/textual.h"

#include "app/base/theme.h"
#include "prims/containers.h"
#include "prims/json.h"
#include "prims/text.h"
#include "prims/textlabel.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>

using namespace Qt::StringLiterals;

namespace render {

QWidget *heading(const QJsonObject &el, const Actions &, int, QWidget *parent)
{
    const int size = prims::readInt(el, "size"_L1, 14, 8, 28);
    return prims::textLabel(prims::readText(el, "text"_L1), size, theme::toneColor(prims::readName(el, "tone"_L1)),
                            true, false, parent);
}

QWidget *text(const QJsonObject &el, const Actions &, int, QWidget *parent)
{
    const bool mono = prims::readFlag(el, "mono"_L1, false);
    const int size = prims::readInt(el, "size"_L1, 10, 7, mono ? 28 : 48);
    QLabel *label =
        prims::textLabel(prims::readText(el, "text"_L1), size, theme::textTone(prims::readName(el, "tone"_L1)),
                         prims::readFlag(el, "bold"_L1, false), mono, parent);
    label->setWordWrap(prims::readFlag(el, "wrap"_L1, true));
    const QString align = prims::readText(el, "align"_L1);
    if (align == "center"_L1)
        label->setAlignment(Qt::AlignHCenter | Qt::AlignVCenter);
    else if (align == "right"_L1)
        label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    if (const auto width = prims::readOptionalInt(el, "width"_L1, 0, 4000))
        label->setFixedWidth(*width);
    return label;
}

QWidget *fact(const QJsonObject &el, const Actions &, int, QWidget *parent)
{
    // One widget for the pair: the value's label, with the name painted in a column of 150
    // pixels at its left. A screen holds many facts, and every widget costs its share of each
    // rebuild. Both sit at the top; a wrapped value or name keeps every line.
    const QString tone = prims::readName(el, "tone"_L1, u"body"_s);
    prims::TextLabel *value =
        prims::textLabel(prims::valueText(el.value("value"_L1)), 10, theme::toneColor(tone), true, false, parent);
    value->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    value->setCaption(prims::readText(el, "label"_L1), theme::uiFont(10, false), theme::palette().muted, 150, 10);
    value->setObjectName(u"fact"_s);
    prims::setGrows(value, false);
    return value;
}

QWidget *chips(const QJsonObject &el, const Actions &, int, QWidget *parent)
{
    QList<ChipFlow::Chip> list;
    for (const QJsonValue &v : prims::readArray(el, "items"_L1, 64)) {
        const QJsonObject chip = v.toObject();
        const QString text = prims::readText(chip, "text"_L1);
        if (!text.isEmpty())
            list.append({text, prims::readName(chip, "tone"_L1, u"idle"_s)});
    }
    return new ChipFlow(list, parent);
}

ChipFlow::ChipFlow(const QList<Chip> &chips, QWidget *parent)
    : QWidget(parent)
    , m_chips(chips)
{
    setFont(theme::uiFont(8, true));
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

QList<QRect> ChipFlow::placeChips(int width) const
{
    // A chip wider than the whole row takes the row's width and wraps its text onto more lines.
    const QFontMetrics fm(font());
    const int oneLine = fm.height() + 2 * kPadV;
    const int row = std::max(width, 1);
    QList<QRect> rects;
    int x = 0, y = 0, lineHeight = 0;
    for (const Chip &chip : m_chips) {
        const int natural = fm.horizontalAdvance(chip.text) + 2 * kPadH + 1;
        const int w = std::min(natural, row);
        const int h = natural <= row ? oneLine : prims::textSize(font(), chip.text, w - 2 * kPadH).height() + 2 * kPadV;
        if (x > 0 && x + w > width) {
            x = 0;
            y += lineHeight + kGap;
            lineHeight = 0;
        }
        rects.append(QRect(x, y, w, h));
        x += w + kGap;
        lineHeight = std::max(lineHeight, h);
    }
    return rects;
}

int ChipFlow::bottom(const QList<QRect> &rects)
{
    int most = 0;
    for (const QRect &r : rects)
        most = std::max(most, r.bottom() + 1);
    return most;
}

QSize ChipFlow::sizeHint() const
{
    const QList<QRect> rects = placeChips(QWIDGETSIZE_MAX);
    return rects.isEmpty() ? QSize(0, 0) : QSize(rects.last().right() + 1, bottom(rects));
}

QSize ChipFlow::minimumSizeHint() const
{
    int widest = 0;
    for (const QRect &r : placeChips(QWIDGETSIZE_MAX))
        widest = std::max(widest, r.width());
    return {std::min(widest, 240), sizeHint().height()};
}

int ChipFlow::heightForWidth(int width) const
{
    return bottom(placeChips(width));
}

void ChipFlow::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QList<QRect> rects = placeChips(width());
    const double round = (fontMetrics().height() + 2 * kPadV - 1) / 2.0;
    QTextOption wrapped(Qt::AlignCenter);
    wrapped.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    for (qsizetype i = 0; i < rects.size(); ++i) {
        const QRectF r = QRectF(rects[i]).adjusted(0.5, 0.5, -0.5, -0.5);
        p.setPen(Qt::NoPen);
        p.setBrush(theme::toneSoft(m_chips[i].tone));
        p.drawRoundedRect(r, std::min(round, r.height() / 2), std::min(round, r.height() / 2));
        p.setPen(theme::toneColor(m_chips[i].tone));
        if (rects[i].height() <= fontMetrics().height() + 2 * kPadV)
            p.drawText(rects[i], Qt::AlignCenter, m_chips[i].text);
        else
            p.drawText(QRectF(rects[i]).adjusted(kPadH, kPadV, -kPadH, -kPadV), m_chips[i].text, wrapped);
    }
}

} // namespace render
