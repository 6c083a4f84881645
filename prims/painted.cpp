#include "prims/painted.h"

#include "app/base/theme.h"
#include "prims/json.h"
#include "prims/text.h"

#include <QLabel>
#include <QPainter>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace prims {

Painted::Painted(const QJsonObject &element, Painter painter, int height, QWidget *parent)
    : QWidget(parent)
    , m_element(element)
    , m_painter(std::move(painter))
{
    setMinimumHeight(height);
    setMaximumHeight(height);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QSize Painted::sizeHint() const
{
    return {std::max(minimumWidth(), 120), minimumHeight()};
}

void Painted::paintEvent(QPaintEvent *)
{
    if (!m_painter)
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    m_painter(painter, rect(), m_element);
}

QWidget *captioned(QWidget *widget, const QString &caption, QWidget *parent)
{
    if (caption.isEmpty() || !widget)
        return widget;
    auto *box = new QWidget(parent);
    // A container that sizes its children leaves this one its own width.
    box->setMinimumWidth(widget->minimumWidth());
    auto *column = new QVBoxLayout(box);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(2);
    column->addWidget(widget);
    QLabel *label = textLabel(caption, 9, theme::toneColor(u"muted"_s), false, false, box);
    label->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    column->addWidget(label);
    return box;
}

QRectF inkRect(const QFontMetricsF &fm, const QRectF &box, int flags, const QString &text)
{
    const qreal advance = fm.horizontalAdvance(text);
    qreal x = box.left();
    if (flags & Qt::AlignHCenter)
        x = box.center().x() - advance / 2;
    else if (flags & Qt::AlignRight)
        x = box.right() - advance;
    qreal baseline = box.top() + (box.height() - fm.height()) / 2 + fm.ascent();
    if (flags & Qt::AlignTop)
        baseline = box.top() + fm.ascent();
    else if (flags & Qt::AlignBottom)
        baseline = box.bottom() - fm.descent();
    return fm.tightBoundingRect(text).translated(x, baseline);
}

void drawFitted(QPainter &p, const QRectF &box, int flags, const QString &text, QFont font,
                const std::function<bool(const QRectF &ink)> &fits)
{
    constexpr qreal kSmallest = 6;
    QString shown = text;
    for (;;) {
        const QFontMetricsF fm(font, p.device());
        if (fits(inkRect(fm, box, flags, shown)))
            break;
        if (font.pointSizeF() > kSmallest) {
            font.setPointSizeF(std::max(kSmallest, font.pointSizeF() - 1));
            continue;
        }
        // At the smallest size, the longest start of the text that fits, marked as cut.
        qreal width = fm.horizontalAdvance(shown);
        while (width > 0 && !fits(inkRect(fm, box, flags, shown))) {
            width -= std::max<qreal>(1, width / 16);
            shown = fm.elidedText(text, Qt::ElideRight, width);
        }
        break;
    }
    p.setFont(font);
    p.drawText(box, flags, shown);
}

double rangeFraction(double value, double min, double max)
{
    if (!(max > min) || !std::isfinite(value))
        return 0.0;
    const double f = (value - min) / (max - min);
    if (!std::isfinite(f))
        return f > 0 ? 1.0 : 0.0;
    return std::clamp(f, 0.0, 1.0);
}

double valueFraction(const QJsonObject &element)
{
    return rangeFraction(readNumber(element, "value"_L1, 0.0), readNumber(element, "min"_L1, 0.0),
                         readNumber(element, "max"_L1, 100.0));
}

QString valueWithUnit(const QJsonObject &element)
{
    const int decimals = readInt(element, "decimals"_L1, 0, 0, 6);
    return QString::number(readNumber(element, "value"_L1, 0.0), 'f', decimals) + readText(element, "unit"_L1);
}

int sixteenths(double degrees)
{
    return int(std::lround(degrees * 16.0));
}

} // namespace prims
