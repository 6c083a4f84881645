#include "prims/registry.h"

#include "app/base/theme.h"
#include "prims/badge.h"
#include "prims/canvas.h"
#include "prims/chart.h"
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
#include "prims/spinner.h"
#include "prims/statgrid.h"
#include "prims/table.h"
#include "prims/text.h"
#include "prims/timeline.h"
#include "prims/toggle.h"
#include "prims/tree.h"

#include <QLabel>

namespace prims {

std::span<const Primitive> registry()
{
    static const Primitive rows[] = {
        {"shapes", WidgetBuilder{&buildShapes}},      {"layout", ContainerBuilder{&buildLayout}},
        {"scroll", ContainerBuilder{&buildScroll}},   {"tabs", ContainerBuilder{&buildTabs}},
        {"split", ContainerBuilder{&buildSplit}},     {"dialog", ContainerBuilder{&buildDialog}},
        {"wizard", ContainerBuilder{&buildWizard}},   {"tooltip", ContainerBuilder{&buildTooltip}},
        {"alert", ContainerBuilder{&buildAlert}},     {"gauge", PaintedBuilder{&buildGauge}},
        {"dial", PaintedBuilder{&buildDial}},         {"ring", PaintedBuilder{&buildRing}},
        {"meter", PaintedBuilder{&buildMeter}},       {"sparkline", PaintedBuilder{&buildSparkline}},
        {"chart", PaintedBuilder{&buildChart}},       {"timeline", WidgetBuilder{&buildTimeline}},
        {"led", PaintedBuilder{&buildLed}},           {"badge", PaintedBuilder{&buildBadge}},
        {"kpi", PaintedBuilder{&buildKpi}},           {"stat_grid", PaintedBuilder{&buildStatGrid}},
        {"table", WidgetBuilder{&buildTable}},        {"tree", WidgetBuilder{&buildTree}},
        {"list", WidgetBuilder{&buildList}},          {"keyvalue", PaintedBuilder{&buildKeyValue}},
        {"log", PaintedBuilder{&buildLog}},           {"image", PaintedBuilder{&buildImage}},
        {"toggle", WidgetBuilder{&buildToggle}},      {"search", WidgetBuilder{&buildSearch}},
        {"datetime", PaintedBuilder{&buildDateTime}}, {"spinner", PaintedBuilder{&buildSpinner}},
    };
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
    if (!row->hasBuilder())
        return nullptr;
    switch (row->kind()) {
    case Kind::Painted:
        return std::get<PaintedBuilder>(row->build)(element, parent);
    case Kind::Widget:
        return std::get<WidgetBuilder>(row->build)(element, cb, parent);
    case Kind::Container:
        return std::get<ContainerBuilder>(row->build)(element, cb, depth, parent);
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
