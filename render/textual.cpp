#include "render/textual.h"

#include "app/base/theme.h"
#include "prims/json.h"
#include "prims/text.h"

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
    auto *row = new QWidget(parent);
    auto *box = new QHBoxLayout(row);
    box->setContentsMargins(0, 0, 0, 0);
    box->setSpacing(10);
    QLabel *label = prims::textLabel(prims::readText(el, "label"_L1), 10, theme::palette().muted, false, false, row);
    label->setFixedWidth(150);
    label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    box->addWidget(label, 0, Qt::AlignTop);
    const QString tone = prims::readName(el, "tone"_L1, u"body"_s);
    box->addWidget(
        prims::textLabel(prims::valueText(el.value("value"_L1)), 10, theme::toneColor(tone), true, false, row), 1,
        Qt::AlignTop);
    // Extra height from a growing parent goes below the pair, never between label and value.
    row->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
    return row;
}

QWidget *chips(const QJsonObject &el, const Actions &, int, QWidget *parent)
{
    QList<ChipFlow::Chip> list;
    for (const QJsonValue &v : prims::readArray(el, "items"_L1, 64)) {
        const QJsonObject chip = v.toObject();
        const QString text = prims::readText(chip, "text"_L1);
        if (!text.isEmpty())
            list.append({prims::capped(text, 60), prims::readName(chip, "tone"_L1, u"idle"_s)});
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
    const QFontMetrics fm(font());
    const int h = fm.height() + 2 * kPadV;
    QList<QRect> rects;
    int x = 0, y = 0;
    for (const Chip &chip : m_chips) {
        const int w = std::min(fm.horizontalAdvance(chip.text) + 2 * kPadH + 1, std::max(width, 1));
        if (x > 0 && x + w > width) {
            x = 0;
            y += h + kGap;
        }
        rects.append(QRect(x, y, w, h));
        x += w + kGap;
    }
    return rects;
}

QSize ChipFlow::sizeHint() const
{
    const QList<QRect> rects = placeChips(QWIDGETSIZE_MAX);
    return rects.isEmpty() ? QSize(0, 0) : QSize(rects.last().right() + 1, rects.last().bottom() + 1);
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
    const QList<QRect> rects = placeChips(width);
    return rects.isEmpty() ? 0 : rects.last().bottom() + 1;
}

void ChipFlow::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QList<QRect> rects = placeChips(width());
    for (qsizetype i = 0; i < rects.size(); ++i) {
        const QRectF r = QRectF(rects[i]).adjusted(0.5, 0.5, -0.5, -0.5);
        p.setPen(Qt::NoPen);
        p.setBrush(theme::toneSoft(m_chips[i].tone));
        p.drawRoundedRect(r, r.height() / 2, r.height() / 2);
        p.setPen(theme::toneColor(m_chips[i].tone));
        // Only a chip wider than the whole row is cut; rounding must not elide a chip that fits.
        const QString &full = m_chips[i].text;
        const int room = rects[i].width() - 2 * kPadH;
        const QString text =
            fontMetrics().horizontalAdvance(full) <= room ? full : fontMetrics().elidedText(full, Qt::ElideRight, room);
        p.drawText(rects[i], Qt::AlignCenter, text);
    }
}

} // namespace render
