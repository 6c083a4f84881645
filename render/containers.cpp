#include "render/containers.h"

#include "app/base/theme.h"
#include "prims/canvas.h"
#include "prims/containers.h"
#include "prims/json.h"
#include "prims/registry.h"
#include "prims/text.h"
#include "render/element.h"

#include <QBoxLayout>
#include <QFrame>
#include <QLabel>
#include <QScrollArea>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace render {

namespace {

// A scroll area that is as tall as its content up to a limit, and scrolls beyond it.
class CappedScroll final : public QScrollArea
{
public:
    CappedScroll(int maxHeight, QWidget *parent)
        : QScrollArea(parent)
        , m_maxHeight(maxHeight)
    {}

    QSize sizeHint() const override
    {
        QSize hint = QScrollArea::sizeHint();
        if (const QWidget *content = widget()) {
            const int w = viewport()->width() > 0 ? viewport()->width() : content->sizeHint().width();
            const int h = content->hasHeightForWidth() ? content->heightForWidth(w) : content->sizeHint().height();
            hint.setHeight(std::min(m_maxHeight, h));
        }
        return hint;
    }

private:
    int m_maxHeight;
    Q_DISABLE_COPY_MOVE(CappedScroll)
};

// Children of "items" in a box; weights are stretch factors; "max_height" scrolls beyond it.
QWidget *box(const QJsonObject &el, const Actions &actions, int depth, QWidget *parent, bool horizontal,
             const QString &title)
{
    const QJsonArray items = prims::readArray(el, "items"_L1, 4000);
    const QJsonArray weights = prims::readArray(el, "weights"_L1, 4000);
    const prims::Callbacks cb = primitiveCallbacks(actions);

    auto *holder = new QWidget(parent);
    auto *layout = new QBoxLayout(horizontal ? QBoxLayout::LeftToRight : QBoxLayout::TopToBottom, holder);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(prims::readInt(el, "gap"_L1, horizontal ? 8 : 6, 0, 200));
    if (!title.isEmpty())
        layout->addWidget(prims::textLabel(title, 11, theme::textTone(u"body"_s), true, false, holder));

    int built = 0;
    bool weighted = false;
    for (qsizetype i = 0; i < items.size(); ++i) {
        QWidget *child = prims::buildChild(items.at(i), cb, depth, holder);
        if (!child)
            continue;
        const int weight = prims::childWeight(weights, i, 0);
        weighted = weighted || weight > 0;
        layout->addWidget(child, weight);
        ++built;
    }
    if (built == 0) {
        delete holder;
        return nullptr;
    }
    // Without weights the children keep their natural sizes, packed to the start.
    if (!weighted)
        layout->addStretch(1);

    const int maxHeight = prims::readInt(el, "max_height"_L1, 0, 0, 8000);
    if (maxHeight <= 0)
        return holder;
    auto *area = new CappedScroll(std::max(40, maxHeight), parent);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setMaximumHeight(std::max(40, maxHeight));
    area->setStyleSheet(u"QScrollArea{background:transparent;}QScrollArea>QWidget>QWidget{background:transparent;}"_s);
    holder->setParent(area);
    area->setWidget(holder);
    return area;
}

// Whether a shape element gives its own paint: a tone, or a fill or stroke as a tone or an object.
bool namesPaint(const QJsonObject &el)
{
    auto given = [&el](QLatin1StringView key) {
        return !prims::readName(el, key).isEmpty() || !prims::readObject(el, key).isEmpty();
    };
    return given("tone"_L1) || given("fill"_L1) || given("stroke"_L1);
}

} // namespace

QWidget *divider(const QJsonObject &el, const Actions &, int, QWidget *parent)
{
    const QColor color = theme::toneColor(prims::readName(el, "tone"_L1, u"edge"_s));
    const QString label = prims::readText(el, "label"_L1);
    auto line = [&color](QWidget *owner) {
        auto *frame = new QFrame(owner);
        frame->setFixedHeight(1);
        frame->setStyleSheet(u"background:%1; border:none;"_s.arg(color.name()));
        return frame;
    };
    auto *holder = new QWidget(parent);
    auto *layout = new QHBoxLayout(holder);
    const int space = prims::readInt(el, "space"_L1, 4, 0, 100);
    layout->setContentsMargins(0, space, 0, space);
    layout->setSpacing(8);
    layout->addWidget(line(holder), 1, Qt::AlignVCenter);
    if (!label.isEmpty()) {
        // A titled divider: the text sits between two short rules.
        QLabel *text = prims::textLabel(label, 9, theme::textTone(u"muted"_s), true, false, holder);
        text->setWordWrap(false);
        layout->addWidget(text, 0);
        layout->addWidget(line(holder), 1, Qt::AlignVCenter);
    }
    holder->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    return holder;
}

QWidget *spacer(const QJsonObject &el, const Actions &, int, QWidget *parent)
{
    auto *gap = new QWidget(parent);
    const int size = prims::readInt(el, "size"_L1, 12, 0, 400);
    if (prims::readFlag(el, "grow"_L1, false)) {
        gap->setMinimumHeight(size);
        gap->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Expanding);
    } else {
        gap->setFixedHeight(size);
        gap->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    }
    return gap;
}

QWidget *group(const QJsonObject &el, const Actions &actions, int depth, QWidget *parent)
{
    return box(el, actions, depth, parent, false, prims::readText(el, "title"_L1));
}

QWidget *column(const QJsonObject &el, const Actions &actions, int depth, QWidget *parent)
{
    return box(el, actions, depth, parent, false, {});
}

QWidget *row(const QJsonObject &el, const Actions &actions, int depth, QWidget *parent)
{
    const QString axis = prims::readText(el, "axis"_L1, u"row"_s);
    const bool vertical = axis == "column"_L1 || axis == "vertical"_L1 || axis == "y"_L1;
    return box(el, actions, depth, parent, !vertical, {});
}

QWidget *canvas(const QJsonObject &el, const Actions &actions, int, QWidget *parent)
{
    QJsonObject spec = el;
    // A drawing fills the width it gets unless it names its own fit.
    if (prims::readName(el, "fit"_L1).isEmpty())
        spec.insert("fit"_L1, u"width"_s);
    const QJsonArray viewbox = prims::readArray(el, "viewbox"_L1, 4);
    QPointF origin;
    int maxWidth = 0;
    if (viewbox.size() == 4) {
        const double w = prims::readNumber(viewbox.at(2), 0);
        const double h = prims::readNumber(viewbox.at(3), 0);
        if (std::isfinite(w) && std::isfinite(h) && w > 0 && h > 0) {
            origin = QPointF(prims::readNumber(viewbox.at(0), 0), prims::readNumber(viewbox.at(1), 0));
            spec.insert("width"_L1, w);
            spec.insert("height"_L1, h);
            // With a view box, "width" is how wide the drawing may grow on screen.
            maxWidth = prims::readInt(el, "width"_L1, 0, 0, 8000);
        }
    }
    auto *drawing = new prims::Canvas(parent);
    drawing->setPressHandler(primitiveCallbacks(actions).press);
    drawing->setSpec(spec, false);
    drawing->setOrigin(origin);
    drawing->setMaxDrawHeight(prims::readInt(el, "frame_height"_L1, 0, 0, 8000));
    if (maxWidth > 0)
        drawing->setMaximumWidth(maxWidth);
    return drawing;
}

QWidget *shape(const QJsonObject &el, const Actions &actions, int, QWidget *parent)
{
    const int size = prims::readInt(el, "size"_L1, 14, 4, 200);
    const QString kind = prims::readText(el, "kind"_L1, u"ellipse"_s);
    // The element itself is the one shape item, drawn in a size-by-size box.
    QJsonObject item = el;
    item.remove("type"_L1);
    item.remove("label"_L1);
    item.insert("kind"_L1, kind);
    if (kind == "line"_L1 || kind == "arrow"_L1) {
        item.insert("x1"_L1, 1);
        item.insert("y1"_L1, size / 2.0);
        item.insert("x2"_L1, size - 1);
        item.insert("y2"_L1, size / 2.0);
        item.insert("head"_L1, prims::readNumber(el, "head"_L1, size / 2.0));
    } else {
        item.insert("x"_L1, 1);
        item.insert("y"_L1, 1);
        item.insert("w"_L1, size - 2);
        item.insert("h"_L1, size - 2);
        if (!namesPaint(el))
            item.insert("tone"_L1, u"accent"_s);
    }
    QJsonObject spec{{"width"_L1, size}, {"height"_L1, size}, {"items"_L1, QJsonArray{item}}};

    auto *holder = new QWidget(parent);
    auto *layout = new QHBoxLayout(holder);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    auto *drawing = new prims::Canvas(holder);
    drawing->setPressHandler(primitiveCallbacks(actions).press);
    drawing->setSpec(spec, false);
    drawing->setFixedSize(size, size);
    layout->addWidget(drawing, 0, Qt::AlignVCenter);
    const QString label = prims::readText(el, "label"_L1);
    if (!label.isEmpty()) {
        const QColor color = theme::textTone(prims::readName(el, "label_tone"_L1, u"body"_s));
        layout->addWidget(prims::textLabel(label, 10, color, false, false, holder), 1, Qt::AlignVCenter);
    } else {
        layout->addStretch(1);
    }
    return holder;
}

} // namespace render
