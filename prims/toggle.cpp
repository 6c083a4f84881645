#include "prims/toggle.h"

#include "app/base/theme.h"
#include "prims/field.h"
#include "prims/json.h"

#include <QPainter>
#include <QVariant>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace prims {

namespace {

constexpr int kTrackWidth = 38;
constexpr int kTrackHeight = 20;
constexpr int kTextGap = 8;

} // namespace

Switch::Switch(const QString &onText, const QString &offText, const QColor &onColor, QWidget *parent)
    : QAbstractButton(parent)
    , m_onText(onText)
    , m_offText(offText)
    , m_onColor(onColor)
{
    setCheckable(true);
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::StrongFocus);
    setFont(theme::uiFont(10));
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    // Keep the accessible text in step with what the switch shows.
    connect(this, &QAbstractButton::toggled, this, [this] {
        setText(stateText());
        updateGeometry();
    });
    setText(stateText());
}

QString Switch::stateText() const
{
    return isChecked() ? m_onText : m_offText;
}

QSize Switch::sizeHint() const
{
    // Wide enough for either text, so flipping never moves the neighbours.
    const QFontMetrics fm(font());
    const int textWidth = std::max(fm.horizontalAdvance(m_onText), fm.horizontalAdvance(m_offText));
    return {kTrackWidth + (textWidth > 0 ? kTextGap + textWidth : 0) + 4, std::max(kTrackHeight + 4, fm.height() + 4)};
}

QSize Switch::minimumSizeHint() const
{
    return sizeHint();
}

bool Switch::hitButton(const QPoint &pos) const
{
    return rect().contains(pos);
}

void Switch::paintEvent(QPaintEvent *)
{
    const theme::Palette &pal = theme::palette();
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);

    const bool on = isChecked();
    const QRectF track(2.5, (height() - kTrackHeight) / 2.0 + 0.5, kTrackWidth - 1, kTrackHeight - 1);
    const double radius = track.height() / 2.0;

    if (hasFocus()) {
        p.setPen(QPen(theme::blend(pal.accent, pal.bg, 0.35), 2));
        p.setBrush(Qt::NoBrush);
        p.drawRoundedRect(track.adjusted(-2, -2, 2, 2), radius + 2, radius + 2);
    }

    // An off track on the light theme needs a touch more weight than the raised grey to read as a control.
    QColor fill = on ? m_onColor : (pal.dark ? pal.grey : theme::blend(pal.grey, pal.controlEdge, 0.45));
    QColor edge = on ? m_onColor.darker(115) : pal.controlEdge;
    if (isDown()) {
        fill = theme::blend(fill, pal.ink, 0.08);
    }
    if (!isEnabled()) {
        fill = theme::blend(fill, pal.bg, 0.5);
        edge = theme::blend(edge, pal.bg, 0.5);
    }
    p.setPen(QPen(edge, 1));
    p.setBrush(fill);
    p.drawRoundedRect(track, radius, radius);

    // The knob: a light disc with a faint shadow, at the right end when on.
    const double knobRadius = radius - 3;
    const double cx = on ? track.right() - radius : track.left() + radius;
    const QPointF centre(cx, track.center().y());
    QColor shadow = Qt::black;
    shadow.setAlpha(pal.dark ? 90 : 45);
    p.setPen(Qt::NoPen);
    p.setBrush(shadow);
    p.drawEllipse(centre + QPointF(0, 1), knobRadius, knobRadius);
    const QColor knob = pal.dark ? (on ? pal.ink : pal.muted) : pal.surface;
    p.setBrush(knob);
    p.setPen(pal.dark ? Qt::NoPen : QPen(theme::blend(pal.controlEdge, pal.surface, 0.3), 0.8));
    p.drawEllipse(centre, knobRadius, knobRadius);

    const QString text = stateText();
    if (!text.isEmpty()) {
        p.setFont(font());
        p.setPen(on ? m_onColor : pal.muted);
        const QRectF textRect(track.right() + kTextGap, 0, width() - track.right() - kTextGap, height());
        p.drawText(textRect, Qt::AlignLeft | Qt::AlignVCenter, text);
    }
}

QJsonObject toggleBody(const QJsonObject &el, bool on)
{
    QJsonObject body = readObject(readObject(el, "click"_L1), "body"_L1);
    body.insert(u"value"_s, on);
    return body;
}

QWidget *buildToggle(const QJsonObject &el, const Callbacks &cb, QWidget *parent)
{
    auto *sw = new Switch(readText(el, "on_text"_L1, u"On"_s), readText(el, "off_text"_L1, u"Off"_s),
                          theme::toneColor(readName(el, "tone"_L1, u"accent"_s)), parent);
    sw->setChecked(readFlag(el, "value"_L1, false));
    setFieldId(sw, readText(el, "id"_L1));

    const QJsonObject click = readObject(el, "click"_L1);
    if (!click.isEmpty() && cb.press) {
        sw->setProperty("pressSound", u"selector"_s);
        const QString path = readText(click, "path"_L1);
        QObject::connect(sw, &QAbstractButton::toggled, sw,
                         [el, path, press = cb.press](bool on) { press(path, toggleBody(el, on)); });
    }
    return fieldLabel(sw, readText(el, "label"_L1), parent);
}

} // namespace prims
