// The canvas widget: reading the drawing, sizing, hit testing and the tween. The drawing of each
// shape kind is in canvaspaint.cpp.
#include "prims/canvas.h"

#include "prims/canvasnode.h"
#include "prims/imagedata.h"
#include "prims/json.h"

#include <QEvent>
#include <QHelpEvent>
#include <QMouseEvent>
#include <QResizeEvent>
#include <QToolTip>

#include <algorithm>
#include <chrono>
#include <cmath>

using namespace Qt::StringLiterals;

namespace prims {

namespace {

constexpr int kMaxItems = kCanvasMaxItems;

double clampedNumber(const QJsonObject &o, QLatin1StringView key, double def, double lo, double hi)
{
    const double v = readNumber(o, key, def);
    return std::isfinite(v) ? std::clamp(v, lo, hi) : lo;
}

} // namespace

Canvas::Canvas(QWidget *parent)
    : QWidget(parent)
    , m_clock([] {
        return qint64(
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
                .count());
    })
{
    m_tweenTimer.setInterval(16);
    connect(&m_tweenTimer, &QTimer::timeout, this, [this] {
        if (tweenProgress() >= 1) {
            m_tweenTimer.stop();
            m_previous.clear();
            m_frameValid = false;
        }
        update();
    });
}

Canvas::~Canvas() = default;

void Canvas::invalidateFrame()
{
    m_frameValid = false;
    update();
}

void Canvas::setSpec(const QJsonObject &element, bool relayout)
{
    const QJsonArray oldItems = m_items;
    m_element = element;
    m_width = clampedNumber(element, "width"_L1, 400, 1, 8000);
    m_height = clampedNumber(element, "height"_L1, 200, 1, 8000);
    m_fitWidth = readText(element, "fit"_L1) == "width"_L1;
    m_defs = readObject(element, "defs"_L1);
    m_items = readArray(element, "items"_L1, kMaxItems);
    m_tweenMs = readInt(element, "tween_ms"_L1, 0, 0, 2000);
    m_background = canvasTone(element, "background"_L1);
    compile(this);

    m_previous.clear();
    m_tweenTimer.stop();
    if (m_tweenMs > 0 && !oldItems.isEmpty()) {
        indexPrevious(oldItems, 0);
        if (!m_previous.isEmpty()) {
            m_tweenStart = m_clock();
            m_tweenTimer.start();
        }
    }

    setSizePolicy(m_fitWidth ? QSizePolicy::Expanding : QSizePolicy::Preferred, QSizePolicy::Fixed);
    QSizePolicy policy = sizePolicy();
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
    setMaximumWidth(m_fitWidth ? QWIDGETSIZE_MAX : std::min(1600, int(std::lround(m_width))));
    setCursor(anyClickable() ? Qt::PointingHandCursor : Qt::ArrowCursor);
    if (relayout) {
        setFixedHeight(heightForWidth(width()));
        updateGeometry();
    }
    invalidateFrame();
}

void Canvas::setOrigin(QPointF origin)
{
    m_origin = QPointF(canvasLimited(origin.x()), canvasLimited(origin.y()));
    invalidateFrame();
}

void Canvas::setMaxDrawHeight(int pixels)
{
    m_maxDrawHeight = std::max(0, pixels);
    updateGeometry();
    invalidateFrame();
}

double Canvas::scaleFor(int width) const
{
    double scale = 1;
    if (m_width > 0 && width >= 1) {
        scale = width / m_width;
        scale = m_fitWidth ? std::clamp(scale, 0.02, 2.5) : std::min(scale, 1.0);
    }
    if (m_maxDrawHeight > 0 && scale * m_height > m_maxDrawHeight)
        scale = m_maxDrawHeight / m_height;
    return scale;
}

bool Canvas::hasHeightForWidth() const
{
    return true;
}

int Canvas::heightForWidth(int width) const
{
    // std::round rounds halves away from zero.
    return std::max(1, int(std::round(scaleFor(width) * m_height)));
}

QSize Canvas::sizeHint() const
{
    const int w = std::min(1600, int(std::lround(m_width)));
    return {w, heightForWidth(w)};
}

QSize Canvas::minimumSizeHint() const
{
    return {1, 1};
}

const Canvas::HitRegion *Canvas::regionAt(QPointF pos) const
{
    for (auto it = m_regions.crbegin(); it != m_regions.crend(); ++it) {
        if (!it->transform.isInvertible())
            continue;
        if (it->rect.contains(it->transform.inverted().map(pos)))
            return &*it;
    }
    return nullptr;
}

void Canvas::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    m_frameValid = false;
    // Splitters and scroll areas do not ask for height for width; a minimum height keeps the
    // drawing whole inside them as well.
    if (minimumHeight() != maximumHeight()) {
        const int wanted = heightForWidth(width());
        if (minimumHeight() != wanted)
            setMinimumHeight(wanted);
    }
}

void Canvas::mousePressEvent(QMouseEvent *event)
{
    const HitRegion *region = regionAt(event->position());
    if (region && !region->path.isEmpty() && m_press) {
        event->accept();
        // Copies: the press may replace this canvas's spec.
        const QString path = region->path;
        const QJsonObject body = region->body;
        m_press(path, body);
        return;
    }
    QWidget::mousePressEvent(event);
}

bool Canvas::event(QEvent *event)
{
    if (event->type() == QEvent::ToolTip) {
        auto *help = static_cast<QHelpEvent *>(event);
        const HitRegion *region = regionAt(help->pos());
        if (region && !region->tip.isEmpty())
            QToolTip::showText(help->globalPos(), region->tip, this);
        else
            QToolTip::hideText();
        return true;
    }
    return QWidget::event(event);
}

void Canvas::setClock(Clock clock)
{
    if (clock)
        m_clock = std::move(clock);
}

double Canvas::tweenProgress() const
{
    if (m_tweenMs <= 0 || m_previous.isEmpty())
        return 1;
    return std::clamp(double(m_clock() - m_tweenStart) / m_tweenMs, 0.0, 1.0);
}

void Canvas::indexPrevious(const QJsonArray &items, int depth)
{
    for (const QJsonValue &value : items) {
        if (m_previous.size() >= kMaxItems)
            return;
        const QJsonObject item = value.toObject();
        const QString id = readText(item, "id"_L1);
        if (!id.isEmpty() && !m_previous.contains(id))
            m_previous.insert(id, item);
        if (readText(item, "kind"_L1) == "group"_L1 && depth < kCanvasTweenDepth)
            indexPrevious(readArray(item, "items"_L1, kMaxItems), depth + 1);
    }
}

QJsonObject Canvas::resolveUse(const QJsonObject &item, int depth) const
{
    if (depth >= kCanvasMaxNesting || readText(item, "kind"_L1) != "use"_L1)
        return item;
    const QJsonObject base = readObject(m_defs, QLatin1StringView(readText(item, "ref"_L1).toLatin1()));
    if (base.isEmpty())
        return {};
    QJsonObject merged = resolveUse(base, depth + 1);
    for (auto it = item.constBegin(); it != item.constEnd(); ++it) {
        if (it.key() != "kind"_L1 && it.key() != "ref"_L1)
            merged.insert(it.key(), it.value());
    }
    return merged;
}

bool Canvas::clickableIn(const QJsonArray &items, int depth) const
{
    for (const QJsonValue &value : items) {
        const QJsonObject item = resolveUse(value.toObject(), 0);
        if (!readObject(item, "click"_L1).isEmpty())
            return true;
        if (readText(item, "kind"_L1) == "group"_L1 && depth < kCanvasMaxNesting &&
            clickableIn(readArray(item, "items"_L1, kMaxItems), depth + 1))
            return true;
    }
    return false;
}

bool Canvas::anyClickable() const
{
    return clickableIn(m_items, 0);
}

QImage Canvas::image(const QString &data) const
{
    const auto found = m_images.constFind(data);
    if (found != m_images.cend())
        return *found;
    const QImage decoded = decodeImageData(data);
    if (m_images.size() > 64)
        m_images.clear();
    m_images.insert(data, decoded);
    return decoded;
}

QWidget *buildShapes(const QJsonObject &element, const Callbacks &cb, QWidget *parent)
{
    auto *canvas = new Canvas(parent);
    canvas->setPressHandler(cb.press);
    canvas->setSpec(element, false);
    return canvas;
}

} // namespace prims
