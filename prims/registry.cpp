#include "prims/registry.h"

#include "app/theme.h"
#include "prims/badge.h"
#include "prims/canvas.h"
#include "prims/containers.h"
#include "prims/datetime.h"
#include "prims/dial.h"
#include "prims/gauge.h"
#include "prims/image.h"
#include "prims/json.h"
#include "prims/keyvalue.h"
#include "prims/kpi.h"
#include "prims/led.h"
#include "prims/log.h"
#include "prims/meter.h"
#include "prims/ring.h"
#include "prims/search.h"
#include "prims/text.h"
#include "prims/toggle.h"

#include <QLabel>

namespace prims {

const std::array<Primitive, 30> &registry()
{
    static const std::array<Primitive, 30> rows = {{
        {"shapes", Kind::Widget, nullptr, &buildShapes},
        {"layout", Kind::Container, nullptr, nullptr, &buildLayout},
        {"scroll", Kind::Container, nullptr, nullptr, &buildScroll},
        {"tabs", Kind::Container, nullptr, nullptr, &buildTabs},
        {"split", Kind::Container, nullptr, nullptr, &buildSplit},
        {"dialog", Kind::Container, nullptr, nullptr, &buildDialog},
        {"wizard", Kind::Container, nullptr, nullptr, &buildWizard},
        {"tooltip", Kind::Container, nullptr, nullptr, &buildTooltip},
        {"alert", Kind::Container, nullptr, nullptr, &buildAlert},
        {"gauge", Kind::Painted, &buildGauge},
        {"dial", Kind::Painted, &buildDial},
        {"ring", Kind::Painted, &buildRing},
        {"meter", Kind::Painted, &buildMeter},
        {"sparkline", Kind::Painted},
        {"chart", Kind::Painted},
        {"timeline", Kind::Widget},
        {"led", Kind::Painted, &buildLed},
        {"badge", Kind::Painted, &buildBadge},
        {"kpi", Kind::Painted, &buildKpi},
        {"stat_grid", Kind::Painted},
        {"table", Kind::Widget},
        {"tree", Kind::Widget},
        {"list", Kind::Widget},
        {"keyvalue", Kind::Painted, &buildKeyValue},
        {"log", Kind::Painted, &buildLog},
        {"image", Kind::Painted, &buildImage},
        {"toggle", Kind::Widget, nullptr, &buildToggle},
        {"search", Kind::Widget, nullptr, &buildSearch},
        {"datetime", Kind::Painted, &buildDateTime},
        {"spinner", Kind::Painted},
    }};
    return rows;
}

QStringList primitiveNames()
{
    QStringList names;
    for (const Primitive &row : registry())
        names << QLatin1String(row.name);
    return names;
}

const Primitive *find(const QString &type)
{
    for (const Primitive &row : registry()) {
        if (type == QLatin1String(row.name))
            return &row;
    }
    return nullptr;
}

QWidget *tooDeepNote(QWidget *parent, const QString &tone)
{
    auto *label = new QLabel(QStringLiteral("(nested too deeply to draw)"), parent);
    label->setFont(theme::uiFont(10));
    label->setStyleSheet(QStringLiteral("color:%1;").arg(theme::toneColor(tone).name()));
    return label;
}

QWidget *buildPrimitive(const QJsonObject &element, const Callbacks &cb, int depth, QWidget *parent)
{
    if (depth > kMaxDepth)
        return tooDeepNote(parent);
    const QString type = readText(element, QLatin1StringView("type"));
    if (type.isEmpty())
        return nullptr;
    const Primitive *row = find(type);
    if (!row)
        return nullptr;
    switch (row->kind) {
    case Kind::Painted:
        return row->painted ? row->painted(element, parent) : nullptr;
    case Kind::Widget:
        return row->widget ? row->widget(element, cb, parent) : nullptr;
    case Kind::Container:
        return row->container ? row->container(element, cb, depth, parent) : nullptr;
    }
    return nullptr;
}

QWidget *buildChild(const QJsonValue &child, const Callbacks &cb, int depth, QWidget *parent)
{
    if (!child.isObject())
        return nullptr;
    if (depth >= kMaxDepth)
        return tooDeepNote(parent);
    if (!cb.build)
        return nullptr;
    return cb.build(child.toObject(), depth + 1, parent);
}

} // namespace prims
