#include "prims/spinner.h"

#include "app/base/theme.h"
#include "prims/json.h"
#include "prims/text.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QTimerEvent>

using namespace Qt::StringLiterals;

namespace prims {

namespace {

constexpr int kTickMs = 50; // 20 frames a second: smooth enough for a busy mark, cheap to paint
constexpr int kStepDegrees = 24;

} // namespace

Spinner::Spinner(int size, const QColor &color, bool running, QWidget *parent)
    : QWidget(parent)
    , m_color(color)
    , m_size(size)
    , m_running(running)
{
    setFixedSize(size + 4, size + 4);
}

QSize Spinner::sizeHint() const
{
    return {m_size + 4, m_size + 4};
}

void Spinner::showEvent(QShowEvent *event)
{
    if (m_running)
        m_timer.start(kTickMs, this);
    QWidget::showEvent(event);
}

void Spinner::hideEvent(QHideEvent *event)
{
    m_timer.stop();
    QWidget::hideEvent(event);
}

void Spinner::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId()) {
        QWidget::timerEvent(event);
        return;
    }
    // A hidden ancestor does not always hide its children's events in time; never paint unseen.
    if (!isVisible()) {
        m_timer.stop();
        return;
    }
    m_angle = (m_angle - kStepDegrees + 360) % 360;
    update();
}

void Spinner::paintEvent(QPaintEvent *)
{
    const theme::Palette &pal = theme::palette();
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const double pen = std::max(2.0, m_size / 8.0);
    const QRectF box = QRectF(rect()).adjusted(2 + pen / 2, 2 + pen / 2, -2 - pen / 2, -2 - pen / 2);
    p.setBrush(Qt::NoBrush);
    p.setPen(QPen(m_running ? pal.edge : pal.dim, pen));
    p.drawEllipse(box);
    if (!m_running)
        return;
    p.setPen(QPen(m_color, pen, Qt::SolidLine, Qt::RoundCap));
    p.drawArc(box, m_angle * 16, 100 * 16);
}

QWidget *buildSpinner(const QJsonObject &el, QWidget *parent)
{
    const bool running = readFlag(el, "running"_L1, true);
    auto *spinner = new Spinner(readInt(el, "size"_L1, 18, 10, 64),
                                theme::toneColor(readText(el, "tone"_L1, u"accent"_s)), running);
    const QString label = readText(el, "label"_L1);
    if (label.isEmpty()) {
        spinner->setParent(parent);
        return spinner;
    }
    auto *row = new QWidget(parent);
    auto *box = new QHBoxLayout(row);
    box->setContentsMargins(0, 0, 0, 0);
    box->setSpacing(8);
    spinner->setParent(row);
    box->addWidget(spinner, 0, Qt::AlignVCenter);
    box->addWidget(textLabel(label, 10, running ? theme::palette().ink : theme::palette().muted, false, false, row), 1,
                   Qt::AlignVCenter);
    return row;
}

} // namespace prims
