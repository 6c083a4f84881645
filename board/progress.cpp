#include "board/progress.h"

#include "app/base/theme.h"
#include "board/logview.h"
#include "prims/json.h"
#include "prims/text.h"
#include "prims/textlabel.h"

#include <QFrame>
#include <QPainter>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace panels {

namespace {
constexpr int kRailHeight = 14;
constexpr int kMaxCount = 1'000'000'000;
} // namespace

Rail::Rail(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(u"rail"_s);
    setFixedHeight(kRailHeight);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void Rail::setFill(double fraction, const QColor &color)
{
    m_fill = std::isfinite(fraction) ? std::clamp(fraction, 0.0, 1.0) : 0.0;
    m_color = color;
    update();
}

void Rail::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    const QRectF track = QRectF(rect()).adjusted(0.5, 2.5, -0.5, -2.5);
    const qreal radius = track.height() / 2;
    painter.setBrush(theme::palette().edge);
    painter.drawRoundedRect(track, radius, radius);
    if (m_fill <= 0)
        return;
    QRectF filled = track;
    filled.setWidth(std::max(track.height(), track.width() * m_fill));
    painter.setBrush(m_color);
    painter.drawRoundedRect(filled, radius, radius);
}

QWidget *progressCard(const QJsonObject &payload, QWidget *parent)
{
    const int total = prims::readInt(payload, "total"_L1, 0, -kMaxCount, kMaxCount);
    if (total < 1)
        return nullptr;
    const int current = prims::readInt(payload, "current"_L1, 0, -kMaxCount, kMaxCount);
    const QString error = prims::valueText(payload, "error"_L1);
    QString headline = prims::valueText(payload, "headline"_L1);
    if (headline.isEmpty())
        headline = u"Step %1 of %2"_s.arg(current).arg(total);
    if (error.isEmpty() && prims::readTrue(payload, "done"_L1))
        headline += u" - complete"_s;
    else if (!error.isEmpty())
        headline += u" - stopped: "_s + error;

    const theme::Palette &p = theme::palette();
    QVBoxLayout *box = nullptr;
    QFrame *card = cardFrame(u"card"_s, parent, &box);
    box->addWidget(panelLabel(headline, 11, false, p.ink, card));
    auto *rail = new Rail(card);
    rail->setFill(double(current) / total, error.isEmpty() ? p.accent : p.error);
    box->addWidget(rail);
    if (const QString label = prims::valueText(payload, "label"_L1); !label.isEmpty())
        box->addWidget(panelLabel(label, 9, false, p.muted, card));
    return card;
}

} // namespace panels
