#include "sim/screens.h"

#include "sim/board.h"
#include "sim/flow.h"
#include "sim/ui.h"

#include <QJsonArray>
#include <QtEndian>

using namespace Qt::StringLiterals;
using namespace sim::ui;

namespace sim {

namespace {

const QString kProgress = u"/api/live/progress"_s;
const QString kLog = u"/api/live/log"_s;
const QString kPosition = u"/api/live/position"_s;
const QString kDrawing = u"/api/live/drawing"_s;
const QString kBoard = u"/api/live/board"_s;
constexpr double kRailMm = 48000;

QString mmText(double mm)
{
    return QString::number(mm, 'f', mm == std::floor(mm) ? 0 : 1);
}

QJsonArray speedValues(const QList<double> &speeds)
{
    QJsonArray out;
    for (double v : speeds)
        out.append(v);
    return out;
}

// --- always on top: where the unit stands -------------------------------------------------------

QJsonObject statusSection(const Flow &flow, const UnitInfo &unit)
{
    const QList<double> speeds = flow.held().speeds;
    const double speed = speeds.isEmpty() ? 0 : speeds.last();
    const double before = speeds.size() > 1 ? speeds[speeds.size() - 2] : speed;
    const double delta = std::round((speed - before) * 100) / 100;
    const QString deltaText = delta > 0 ? u"+%1"_s.arg(delta) : QString::number(delta);
    const QString state = flow.commissioned()       ? u"ok"_s
                          : !flow.fault().isEmpty() ? u"error"_s
                          : flow.running()          ? u"busy"_s
                                                    : u"idle"_s;
    const QJsonArray kpis{
        el(u"kpi"_s, {{u"value"_s, u"%1/%2"_s.arg(flow.completedCount()).arg(flow.steps().size())},
                      {u"label"_s, u"Steps done"_s},
                      {u"tone"_s, flow.commissioned() ? u"ok"_s : u"body"_s}}),
        el(u"kpi"_s,
           {{u"value"_s, flow.held().positionMm}, {u"unit"_s, u"mm"_s}, {u"label"_s, u"Position on the rail"_s}}),
        el(u"kpi"_s, {{u"value"_s, speed},
                      {u"unit"_s, u"m/s"_s},
                      {u"delta"_s, speeds.size() > 1 ? deltaText : QString()},
                      {u"label"_s, u"Speed"_s},
                      {u"note"_s, u"last sample"_s}}),
        column({el(u"led"_s, {{u"state"_s, state}, {u"label"_s, u"Drive"_s}, {u"note"_s, flow.held().activity}}),
                el(u"led"_s,
                   {{u"state"_s, flow.fault().isEmpty() ? u"ok"_s : u"error"_s}, {u"label"_s, u"Brake feedback"_s}}),
                el(u"led"_s, {{u"tone"_s, flow.beacon() ? u"warn"_s : u"idle"_s},
                              {u"label"_s, u"Beacon"_s},
                              {u"halo"_s, flow.beacon()}})}),
    };
    const QJsonArray chips{chip(unit.product, u"accent"_s),
                           chip(u"Aisle "_s + flow.identity().value(u"aisle"_s).toString(), u"idle"_s),
                           chip(unit.tls ? u"HTTPS"_s : u"plain HTTP"_s, unit.tls ? u"ok"_s : u"warn"_s)};
    return section(
        unit.hostname,
        {el(u"layout"_s, {{u"flow"_s, u"row"_s}, {u"items"_s, kpis}, {u"min_item_width"_s, 150}}),
         el(u"chips"_s, {{u"items"_s, chips}})},
        badge(flow.commissioned() ? u"COMMISSIONED"_s : u"COMMISSIONING"_s, flow.commissioned() ? u"ok"_s : u"warn"_s));
}

// --- step bodies --------------------------------------------------------------------------------

// Buttons side by side at their natural width (a default row would stretch them across).
QJsonObject buttonRow(const QJsonArray &buttons)
{
    return el(u"layout"_s, {{u"flow"_s, u"row"_s}, {u"align"_s, u"start"_s}, {u"items"_s, buttons}});
}

QJsonObject runButtons(const Flow &flow)
{
    if (!flow.fault().isEmpty())
        return text(u"Clear the fault to carry on."_s, {{u"tone"_s, u"muted"_s}});
    QJsonArray buttons;
    if (flow.running())
        buttons.append(action(u"Stop"_s, u"/api/action/stop"_s, u"danger"_s));
    else
        buttons.append(action(u"Run %1"_s.arg(flow.current().label), u"/api/action/start"_s, u"primary"_s,
                              {{u"sound"_s, u"motion"_s}}));
    return buttonRow(buttons);
}

QJsonArray identityBody(const Flow &flow)
{
    const QJsonObject id = flow.identity();
    return {
        text(u"Name the unit and tell it where it stands. The name goes on every report."_s),
        field(u"input"_s, u"unit_name"_s, u"Unit name"_s,
              {{u"default"_s, id.value(u"unit_name"_s)},
               {u"placeholder"_s, u"e.g. Aisle A shuttle 1"_s},
               {u"carry"_s, true}}),
        field(u"choice"_s, u"aisle"_s, u"Aisle"_s,
              {{u"choices"_s, QJsonArray{u"A"_s, u"B"_s, u"C"_s, u"D"_s}}, {u"default"_s, id.value(u"aisle"_s)}}),
        field(u"slider"_s, u"max_speed"_s, u"Maximum speed (m/s)"_s,
              {{u"min"_s, 1},
               {u"max"_s, 6},
               {u"step"_s, 0.5},
               {u"decimals"_s, 1},
               {u"default"_s, id.value(u"max_speed"_s)}}),
        field(u"number"_s, u"rail_length_mm"_s, u"Rail length"_s,
              {{u"min"_s, 1000},
               {u"max"_s, 120000},
               {u"step"_s, 10},
               {u"unit"_s, u" mm"_s},
               {u"default"_s, id.value(u"rail_length_mm"_s).toDouble(48000)}}),
        field(u"check"_s, u"reverse"_s, u"Rail runs right to left"_s, {{u"default"_s, id.value(u"reverse"_s)}}),
        field(u"multi"_s, u"options"_s, u"Fitted options"_s,
              {{u"choices"_s, QJsonArray{u"Load cell"_s, u"Lift encoder"_s, u"Temperature probe"_s, u"Door switch"_s}},
               {u"default"_s,
                id.value(u"options"_s).isArray() ? id.value(u"options"_s) : QJsonValue(QJsonArray{u"Load cell"_s})},
               {u"rows"_s, 4}}),
        field(u"time"_s, u"shift_start"_s, u"Shift starts"_s,
              {{u"default"_s, id.value(u"shift_start"_s).toString(u"06:00:00"_s)}}),
        field(u"color"_s, u"beacon_color"_s, u"Beacon colour"_s,
              {{u"default"_s, id.value(u"beacon_color"_s).toString(u"#E8A33C"_s)}}),
        // A secret the unit keeps and never sends back: a client must neither carry nor store it.
        field(u"password"_s, u"service_wifi_key"_s, u"Service Wi-Fi key"_s,
              {{u"placeholder"_s, u"Key of the service network"_s}, {u"carry"_s, true}}),
        field(u"textarea"_s, u"site_notes"_s, u"Site notes"_s,
              {{u"placeholder"_s, u"Anything the next technician should know"_s},
               {u"default"_s, id.value(u"site_notes"_s)},
               {u"save_path"_s, u"/api/save/setting"_s},
               {u"carry"_s, true}}),
        el(u"datetime"_s, {{u"id"_s, u"install_date"_s},
                           {u"mode"_s, u"date"_s},
                           {u"label"_s, u"Installed on"_s},
                           {u"value"_s, id.value(u"install_date"_s).toString(u"2026-11-02"_s)}}),
        el(u"toggle"_s, {{u"id"_s, u"beacon"_s},
                         {u"label"_s, u"Beacon"_s},
                         {u"value"_s, flow.beacon()},
                         {u"on_text"_s, u"Flashing"_s},
                         {u"off_text"_s, u"Off"_s},
                         {u"tone"_s, u"warn"_s},
                         {u"click"_s, QJsonObject{{u"path"_s, u"/api/action/beacon"_s}}}}),
        el(u"search"_s, {{u"id"_s, u"fault_query"_s},
                         {u"label"_s, u"Look up a fault"_s},
                         {u"placeholder"_s, u"Fault number or words"_s},
                         {u"submit"_s, QJsonObject{{u"path"_s, u"/api/action/lookup"_s}}}}),
        el(u"tooltip"_s, {{u"tip"_s, u"Set at the factory; quote it when you call support."_s},
                          {u"item"_s, fact(u"Unit id"_s, flow.identity().value(u"unit_id"_s))}}),
        action(u"Save identity"_s, u"/api/save/identity"_s, u"primary"_s,
               {{u"send_fields"_s,
                 QJsonArray{u"unit_name"_s, u"aisle"_s, u"max_speed"_s, u"rail_length_mm"_s, u"reverse"_s, u"options"_s,
                            u"shift_start"_s, u"beacon_color"_s, u"install_date"_s, u"service_wifi_key"_s}},
                {u"sound"_s, u"save"_s}}),
    };
}

QJsonArray driveBody(const Flow &flow)
{
    const double speed = flow.held().speeds.isEmpty() ? 0 : flow.held().speeds.last();
    const int percent = flow.current().ticks ? qRound(100.0 * flow.held().progress / flow.current().ticks) : 0;
    const QJsonArray instruments{
        el(u"gauge"_s,
           {{u"value"_s, speed}, {u"max"_s, 6}, {u"decimals"_s, 1}, {u"unit"_s, u" m/s"_s}, {u"label"_s, u"Speed"_s}}),
        el(u"dial"_s, {{u"value"_s, 31 + flow.held().progress},
                       {u"max"_s, 90},
                       {u"unit"_s, u" °C"_s},
                       {u"label"_s, u"Motor temperature"_s},
                       {u"zones"_s, QJsonArray{QJsonObject{{u"from"_s, 0}, {u"to"_s, 60}, {u"tone"_s, u"ok"_s}},
                                               QJsonObject{{u"from"_s, 60}, {u"to"_s, 75}, {u"tone"_s, u"warn"_s}},
                                               QJsonObject{{u"from"_s, 75}, {u"to"_s, 90}, {u"tone"_s, u"error"_s}}}}}),
        el(u"ring"_s, {{u"value"_s, percent}, {u"caption"_s, u"Calibration"_s}}),
        column({el(u"meter"_s,
                   {{u"value"_s, 82 - flow.held().progress},
                    {u"label"_s, u"Battery"_s},
                    {u"unit"_s, u"%"_s},
                    {u"target"_s, 30},
                    {u"segments"_s, QJsonArray{QJsonObject{{u"from"_s, 0}, {u"to"_s, 20}, {u"tone"_s, u"error"_s}}}}}),
                el(u"sparkline"_s, {{u"values"_s, speedValues(flow.held().speeds)},
                                    {u"unit"_s, u" m/s"_s},
                                    {u"decimals"_s, 2},
                                    {u"label"_s, u"Speed, last samples"_s}}),
                el(u"spinner"_s,
                   {{u"running"_s, flow.running()}, {u"label"_s, flow.running() ? u"Calibrating..."_s : u"Idle"_s}})}),
    };
    return {
        text(u"The shuttle sweeps the rail end to end to learn its length and the encoder scale."_s),
        panel(u"progress"_s, kProgress),
        panel(u"position"_s, kPosition),
        panel(u"shapes"_s, kDrawing),
        panel(u"diagram"_s, kBoard, {{u"min_height"_s, 400}}),
        el(u"layout"_s, {{u"flow"_s, u"row"_s}, {u"items"_s, instruments}, {u"min_item_width"_s, 160}}),
        el(u"chart"_s, {{u"title"_s, u"Speed during calibration"_s},
                        {u"unit"_s, u" m/s"_s},
                        {u"height"_s, 180},
                        {u"series"_s, QJsonArray{QJsonObject{{u"label"_s, u"Carriage speed"_s},
                                                             {u"values"_s, speedValues(flow.held().speeds)},
                                                             {u"kind"_s, u"area"_s},
                                                             {u"tone"_s, u"accent"_s}}}}}),
        runButtons(flow),
        panel(u"log"_s, kLog),
    };
}

QJsonArray ioBody(const Flow &flow)
{
    QJsonArray body;
    if (!flow.fault().isEmpty())
        body.append(
            el(u"alert"_s,
               {{u"tone"_s, u"error"_s},
                {u"title"_s, flow.fault()},
                {u"detail"_s, u"The brake did not report back when released. Check the X4 plug, "
                              u"then clear the fault and run the check again."_s},
                {u"actions"_s, QJsonArray{action(u"Clear fault"_s, u"/api/action/clear_fault"_s, u"primary"_s)}}}));
    const bool faulty = !flow.fault().isEmpty();
    const auto channel = [](const QString &name, const QString &signal, const QString &kind, const QString &state) {
        return QJsonArray{name, signal, kind, state};
    };
    // The beacon output can be switched from its row; the missing brake feedback stands out.
    const QJsonObject beaconRow{
        {u"cells"_s, channel(u"X2.3"_s, u"Beacon"_s, u"output"_s, flow.beacon() ? u"on"_s : u"off"_s)},
        {u"click"_s, QJsonObject{{u"path"_s, u"/api/action/beacon"_s},
                                 {u"body"_s, QJsonObject{{u"value"_s, !flow.beacon()}}},
                                 {u"tip"_s, u"Double-click to switch the beacon"_s}}}};
    QJsonObject brakeRow{
        {u"cells"_s, channel(u"X1.4"_s, u"Brake feedback"_s, u"input"_s, faulty ? u"MISSING"_s : u"ok"_s)}};
    if (faulty)
        brakeRow.insert(u"tone"_s, u"error"_s);
    body.append(el(u"table"_s,
                   {{u"columns"_s, QJsonArray{u"Channel"_s, u"Signal"_s, u"Kind"_s,
                                              QJsonObject{{u"label"_s, u"State"_s}, {u"align"_s, u"right"_s}}}},
                    {u"rows"_s, QJsonArray{channel(u"X1.1"_s, u"Home sensor"_s, u"input"_s, u"on"_s),
                                           channel(u"X1.2"_s, u"End stop left"_s, u"input"_s, u"clear"_s),
                                           channel(u"X1.3"_s, u"End stop right"_s, u"input"_s, u"clear"_s), brakeRow,
                                           channel(u"X2.1"_s, u"Drive enable"_s, u"output"_s, u"on"_s), beaconRow}}}));
    const auto module = [](const QString &name, const QString &address, const QJsonArray &children,
                           const QString &tone = {}) {
        QJsonObject o{{u"cells"_s, QJsonArray{name, address}}, {u"children"_s, children}};
        if (!tone.isEmpty())
            o.insert(u"tone"_s, tone);
        return o;
    };
    const QJsonArray modules{
        module(u"IO bus"_s, QString(),
               {module(u"DIO-8"_s, u"1"_s,
                       {QJsonObject{{u"text"_s, u"X1 inputs"_s}}, QJsonObject{{u"text"_s, u"X2 outputs"_s}}},
                       faulty ? u"error"_s : QString()),
                module(u"AIO-4"_s, u"2"_s, {QJsonObject{{u"text"_s, u"X3 analogue"_s}}})})};
    const QJsonObject lastCheck = faulty ? QJsonObject{{u"text"_s, u"X4 no answer"_s}, {u"tone"_s, u"error"_s}}
                                         : QJsonObject{{u"text"_s, u"X4 ok"_s}, {u"tone"_s, u"ok"_s}};
    body.append(
        el(u"split"_s,
           {{u"items"_s,
             QJsonArray{el(u"tree"_s, {{u"columns"_s, QJsonArray{u"Module"_s, u"Address"_s}}, {u"items"_s, modules}}),
                        el(u"list"_s, {{u"items"_s, QJsonArray{u"X1 toggled"_s, u"X2 read clear"_s, u"X3 read clear"_s,
                                                               lastCheck}}})}}}));
    body.append(
        el(u"keyvalue"_s, {{u"columns"_s, 2},
                           {u"items"_s, QJsonArray{kv(u"Inputs"_s, 8), kv(u"Outputs"_s, 4),
                                                   kv(u"Checked"_s, u"%1 of %2"_s.arg(flow.held().progress).arg(16)),
                                                   kv(u"Faults"_s, faulty ? 1 : 0, faulty ? u"error"_s : u"ok"_s),
                                                   kv(u"Bus"_s, u"picontrol"_s)}}}));
    const auto verdict = [](bool pass) {
        return QJsonObject{
            {u"text"_s, pass ? u"PASS"_s : u"FAIL"_s}, {u"pill"_s, true}, {u"tone"_s, pass ? u"ok"_s : u"error"_s}};
    };
    QJsonObject brakeCircuit{
        {u"cells"_s, QJsonArray{u"Brake feedback"_s, u"24 V"_s, faulty ? u"0 V"_s : u"24 V"_s, verdict(!faulty)}}};
    if (faulty)
        brakeCircuit.insert(u"tone"_s, u"error"_s);
    body.append(
        el(u"rows"_s, {{u"title"_s, u"Safety circuit"_s},
                       {u"columns"_s, QJsonArray{u"Circuit"_s, u"Expected"_s, u"Read"_s,
                                                 QJsonObject{{u"label"_s, u"Result"_s}, {u"align"_s, u"right"_s}}}},
                       {u"rows"_s, QJsonArray{QJsonArray{u"E-stop loop"_s, u"closed"_s, u"closed"_s, verdict(true)},
                                              QJsonArray{u"Light curtain"_s, u"closed"_s, u"closed"_s, verdict(true)},
                                              brakeCircuit}}}));
    body.append(panel(u"progress"_s, kProgress));
    body.append(runButtons(flow));
    body.append(panel(u"log"_s, kLog));
    return body;
}

QJsonObject tab(const QString &label, const QJsonArray &items, const QString &badgeText = {})
{
    QJsonObject t{{u"label"_s, label}, {u"items"_s, items}};
    if (!badgeText.isEmpty())
        t.insert(u"badge"_s, QJsonObject{{u"text"_s, badgeText}});
    return t;
}

QJsonArray loadBody(const Flow &flow)
{
    QJsonArray history;
    for (const Step &s : flow.steps())
        if (s.completed)
            history.append(QJsonObject{{u"time"_s, s.completedAt.mid(11, 5)},
                                       {u"text"_s, QString(s.label + u" done"_s)},
                                       {u"detail"_s, s.completedAt.left(10)},
                                       {u"tone"_s, u"ok"_s}});
    QJsonArray lines;
    for (const QString &l : flow.held().log.mid(qMax(0, flow.held().log.size() - 8)))
        lines.append(l.contains(u"FAULT"_s) ? QJsonValue(QJsonObject{{u"text"_s, l}, {u"tone"_s, u"error"_s}})
                                            : QJsonValue(l));
    const QJsonObject plan = el(u"image"_s, {{u"data"_s, QString::fromLatin1(aislePlanPng())},
                                             {u"width"_s, 384},
                                             {u"caption"_s, u"Aisle A, seen from above"_s}});
    const QJsonObject timeline = el(u"timeline"_s, {{u"items"_s, history}});
    const QJsonObject recent = el(u"log"_s, {{u"lines"_s, lines}, {u"height"_s, 120}});
    return {
        el(u"stat_grid"_s,
           {{u"columns"_s, 3},
            {u"items"_s, QJsonArray{kv(u"Cycles"_s, flow.held().progress * 4),
                                    with(kv(u"Load"_s, 42), {{u"unit"_s, u"kg"_s}, {u"note"_s, u"test weight"_s}}),
                                    with(kv(u"Peak current"_s, 11.2, u"warn"_s),
                                         {{u"unit"_s, u"A"_s}, {u"note"_s, u"the test stops above 12 A"_s}})}}}),
        el(u"tabs"_s, {{u"tabs"_s, QJsonArray{tab(u"Aisle plan"_s, {plan}), tab(u"History"_s, {timeline}),
                                              tab(u"Recent lines"_s, {recent}, QString::number(lines.size()))}}}),
        el(u"scroll"_s, {{u"height"_s, 60},
                         {u"items"_s, QJsonArray{text(u"The load test runs full-speed cycles with the test weight "
                                                      u"on board. Keep the aisle clear."_s),
                                                 text(u"Peak current above 12 A stops the test."_s)}}}),
        panel(u"diagram"_s, kBoard, {{u"min_height"_s, 400}}),
        panel(u"progress"_s, kProgress),
        runButtons(flow),
    };
}

QJsonObject rect(double x, double y, double w, double h, const QString &fill)
{
    return {{u"kind"_s, u"rect"_s}, {u"x"_s, x},      {u"y"_s, y}, {u"w"_s, w}, {u"h"_s, h},
            {u"radius"_s, h / 2},   {u"fill"_s, fill}};
}

// A thin bar of the steps done, drawn on a canvas with its own view box.
QJsonObject stepBar(const Flow &flow)
{
    const double done = 232.0 * flow.completedCount() / flow.steps().size();
    return el(u"canvas"_s, {{u"viewbox"_s, QJsonArray{0, 0, 240, 12}},
                            {u"width"_s, 480},
                            {u"items"_s, QJsonArray{rect(4, 3, 232, 6, u"edge"_s), rect(4, 3, done, 6, u"ok"_s)}}});
}

QJsonArray handoverBody(const Flow &flow)
{
    QJsonArray stages;
    for (const Step &s : flow.steps())
        stages.append(QJsonObject{{u"label"_s, s.label},
                                  {u"state"_s, s.completed             ? u"done"_s
                                               : &s == &flow.current() ? u"now"_s
                                                                       : u"todo"_s}});
    const QJsonArray cards{
        QJsonObject{{u"title"_s, u"STEPS"_s},
                    {u"value"_s, u"%1/%2"_s.arg(flow.completedCount()).arg(flow.steps().size())},
                    {u"tone"_s, u"ok"_s},
                    {u"note"_s, u"done so far"_s}},
        QJsonObject{{u"title"_s, u"RAIL"_s}, {u"value"_s, u"48 m"_s}, {u"note"_s, u"measured"_s}},
        QJsonObject{
            {u"title"_s, u"BEACON"_s},
            {u"value"_s, flow.beacon() ? u"ON"_s : u"OFF"_s},
            {u"tone"_s, flow.beacon() ? u"warn"_s : u"idle"_s},
            {u"actions"_s, QJsonArray{action(flow.beacon() ? u"Switch off"_s : u"Switch on"_s, u"/api/action/beacon"_s,
                                             {}, {{u"body"_s, QJsonObject{{u"value"_s, !flow.beacon()}}}})}}},
    };
    const auto lamp = [](const QString &label) {
        return el(u"shape"_s, {{u"kind"_s, u"ellipse"_s},
                               {u"size"_s, 16},
                               {u"tone"_s, u"ok"_s},
                               {u"label"_s, label},
                               {u"label_tone"_s, u"ok"_s}});
    };
    const QJsonObject lamps =
        with(row({lamp(u"Safety circuit closed"_s), lamp(u"Brake released"_s)}), {{u"weights"_s, QJsonArray{1, 1}}});
    const QJsonObject handOver =
        flow.commissioned()
            ? text(u"Handed over. The unit is in service; its report holds the handover."_s, {{u"tone"_s, u"ok"_s}})
            : el(u"dialog"_s,
                 {{u"title"_s, u"Hand the unit over"_s},
                  {u"detail"_s, u"Finishing marks the unit commissioned and writes the handover into its report."_s},
                  {u"tone"_s, u"ok"_s},
                  {u"actions"_s, QJsonArray{action(u"Finish commissioning"_s, u"/api/action/finish"_s, u"good"_s,
                                                   {{u"confirm"_s, confirm(u"Finish commissioning?"_s,
                                                                           u"The unit goes into service."_s)}})}}});
    return {
        heading(u"Before you hand it over"_s, 13),
        el(u"wizard"_s, {{u"flow"_s, u"row"_s}, {u"stages"_s, stages}}),
        el(u"divider"_s),
        el(u"cards"_s, {{u"cards"_s, cards}}),
        el(u"spacer"_s, {{u"height"_s, 6}}),
        el(u"group"_s, {{u"items"_s, QJsonArray{stepBar(flow), lamps}}}),
        handOver,
    };
}

QJsonArray stepBody(const Flow &flow, const Step &step)
{
    if (&step != &flow.current()) {
        QJsonArray cells;
        for (const Step &s : flow.steps()) {
            const bool now = &s == &flow.current() && !flow.commissioned();
            QJsonObject cell{{u"label"_s, s.label},
                             {u"state"_s, s.completed ? u"done"_s
                                          : now       ? (flow.fault().isEmpty() ? u"now"_s : u"error"_s)
                                                      : u"todo"_s}};
            if (s.completed)
                cell.insert(u"note"_s, s.completedAt.mid(11, 5));
            cells.append(cell);
        }
        return {text(step.completed ? u"%1 was completed at %2."_s.arg(step.label, step.completedAt)
                                    : u"%1 comes later."_s.arg(step.label)),
                el(u"strip"_s, {{u"items"_s, cells}})};
    }
    if (step.id == u"identity"_s)
        return identityBody(flow);
    if (step.id == u"drive"_s)
        return driveBody(flow);
    if (step.id == u"io"_s)
        return ioBody(flow);
    if (step.id == u"load"_s)
        return loadBody(flow);
    return handoverBody(flow);
}

QJsonObject dangerSection(const Flow &flow)
{
    return section(
        u"Service"_s,
        {text(u"Erasing the calibration sends the unit back to the first step."_s, {{u"tone"_s, u"muted"_s}}),
         buttonRow({action(u"Erase calibration"_s, u"/api/action/reset"_s, u"danger"_s,
                           {{u"confirm"_s, confirm(u"Erase the calibration?"_s,
                                                   u"The rail length, encoder scale and IO check are "
                                                   u"forgotten. The unit cannot move until it is "
                                                   u"calibrated again."_s,
                                                   u"ERASE"_s)}}),
                    action(u"Jog -100 mm"_s, u"/api/action/jog"_s, {}, {{u"body"_s, QJsonObject{{u"mm"_s, -100}}}}),
                    action(u"Jog +100 mm"_s, u"/api/action/jog"_s, {}, {{u"body"_s, QJsonObject{{u"mm"_s, 100}}}})})},
        flow.running() ? badge(u"busy"_s, u"busy"_s) : QJsonObject{});
}

QJsonObject commissionedSection(const Flow &flow)
{
    return section(u"Commissioned"_s,
                   {el(u"alert"_s, {{u"tone"_s, u"ok"_s},
                                    {u"title"_s, u"This unit is commissioned"_s},
                                    {u"detail"_s, u"All steps are done. The report holds the handover."_s}}),
                    fact(u"Unit name"_s, flow.identity().value(u"unit_name"_s), u"ok"_s),
                    el(u"badge"_s, {{u"text"_s, u"IN SERVICE"_s}, {u"tone"_s, u"ok"_s}})});
}

} // namespace

QJsonObject screenFor(const Flow &flow, const UnitInfo &unit)
{
    QJsonArray steps;
    for (const Step &s : flow.steps()) {
        const bool current = &s == &flow.current() && !flow.commissioned();
        steps.append(QJsonObject{{u"id"_s, s.id},
                                 {u"label"_s, s.label},
                                 {u"completed"_s, s.completed},
                                 {u"current"_s, current},
                                 {u"locked"_s, !s.completed && !current},
                                 {u"issue"_s, current && !flow.fault().isEmpty()},
                                 {u"elements"_s, stepBody(flow, s)}});
    }
    QJsonArray sections{statusSection(flow, unit)};
    if (flow.commissioned())
        sections.append(commissionedSection(flow));
    sections.append(dangerSection(flow));
    return {{u"min_client"_s, u"8.9"_s}, {u"scroll"_s, true}, {u"steps"_s, steps}, {u"sections"_s, sections}};
}

QJsonObject uiAnswer(const Flow &flow, const UnitInfo &unit, int pollMs, const QJsonObject &toast,
                     const QString &announce)
{
    QJsonObject screen = screenFor(flow, unit);
    const QString title = flow.identity().value(u"unit_name"_s).toString();
    QJsonObject out{
        {u"schema"_s, 1},
        {u"poll_ms"_s, pollMs},
        {u"title"_s, title.isEmpty() ? unit.hostname : title},
        {u"subtitle"_s, flow.commissioned() ? u"Commissioned"_s : flow.current().label},
        {u"signed_in_as"_s, unit.signedInAs},
        {u"badge"_s,
         badge(flow.commissioned() ? u"COMMISSIONED"_s
                                   : u"STEP %1 OF %2"_s.arg(flow.currentIndex() + 1).arg(flow.steps().size()),
               flow.commissioned()       ? u"ok"_s
               : !flow.fault().isEmpty() ? u"error"_s
                                         : u"warn"_s)},
        {u"screen"_s, screen},
    };
    // The offline render reads the header from the screen description itself.
    for (const QString &k : {u"title"_s, u"subtitle"_s, u"badge"_s, u"signed_in_as"_s})
        screen.insert(k, out.value(k));
    out.insert(u"screen"_s, screen);
    if (!toast.isEmpty())
        out.insert(u"toast"_s, toast);
    if (!announce.isEmpty())
        out.insert(u"announce"_s, announce);
    return out;
}

QStringList sourcePaths()
{
    return {kProgress, kLog, kPosition, kDrawing, kBoard};
}

namespace {

QJsonObject drawing(const Flow &flow)
{
    // A pressable region at either rail end that jogs the shuttle, and the arrow that marks it.
    const auto jogHit = [](int x, int mm) {
        const QString tip = u"Jog 500 mm %1"_s.arg(mm < 0 ? u"left"_s : u"right"_s);
        return QJsonObject{
            {u"kind"_s, u"hit"_s},
            {u"x"_s, x},
            {u"y"_s, 30},
            {u"w"_s, 60},
            {u"h"_s, 60},
            {u"click"_s,
             QJsonObject{{u"path"_s, u"/api/action/jog"_s}, {u"body"_s, QJsonObject{{u"mm"_s, mm}}}, {u"tip"_s, tip}}}};
    };
    const auto jogArrow = [](int from, int to) {
        return QJsonObject{{u"kind"_s, u"arrow"_s}, {u"x1"_s, from}, {u"y1"_s, 54},
                           {u"x2"_s, to},           {u"y2"_s, 54},   {u"stroke"_s, u"muted"_s}};
    };
    const double x = 40 + flow.positionMm() / kRailMm * 720;
    const QList<double> speeds = flow.speedHistory();
    QJsonArray items{
        QJsonObject{{u"kind"_s, u"rect"_s},
                    {u"x"_s, 20},
                    {u"y"_s, 70},
                    {u"w"_s, 760},
                    {u"h"_s, 10},
                    {u"radius"_s, 5},
                    {u"fill"_s, u"edge"_s}},
        QJsonObject{{u"kind"_s, u"grid"_s},
                    {u"x"_s, 40},
                    {u"y"_s, 84},
                    {u"w"_s, 720},
                    {u"h"_s, 8},
                    {u"step_x"_s, 72},
                    {u"step_y"_s, 100},
                    {u"stroke"_s, u"dim"_s}},
        QJsonObject{{u"kind"_s, u"label"_s}, {u"x"_s, 20}, {u"y"_s, 96}, {u"text"_s, u"0 m"_s}, {u"size"_s, 9}},
        QJsonObject{{u"kind"_s, u"label"_s}, {u"x"_s, 744}, {u"y"_s, 96}, {u"text"_s, u"48 m"_s}, {u"size"_s, 9}},
        QJsonObject{{u"kind"_s, u"group"_s},
                    {u"id"_s, u"shuttle"_s},
                    {u"transform"_s, QJsonObject{{u"tx"_s, x}}},
                    {u"items"_s, QJsonArray{QJsonObject{{u"kind"_s, u"rect"_s},
                                                        {u"id"_s, u"body"_s},
                                                        {u"x"_s, -28},
                                                        {u"y"_s, 40},
                                                        {u"w"_s, 56},
                                                        {u"h"_s, 28},
                                                        {u"radius"_s, 4},
                                                        {u"fill"_s, flow.fault().isEmpty() ? u"accent"_s : u"error"_s}},
                                            // Centred over the carriage ("x" is the centre), so at
                                            // either rail end it stays inside the drawing.
                                            QJsonObject{{u"kind"_s, u"text"_s},
                                                        {u"x"_s, 0},
                                                        {u"y"_s, 18},
                                                        {u"text"_s, QString(mmText(flow.positionMm()) + u" mm"_s)},
                                                        {u"size"_s, 9},
                                                        {u"align"_s, u"center"_s},
                                                        {u"tone"_s, u"ink"_s}}}}},
        // The speed moves every tick, so it is drawn here rather than in the screen's own figures.
        QJsonObject{{u"kind"_s, u"text"_s},
                    {u"x"_s, 780},
                    {u"y"_s, 2},
                    {u"text"_s, speeds.isEmpty() ? u"Speed -"_s : u"Speed %1 m/s"_s.arg(speeds.last())},
                    {u"size"_s, 9},
                    {u"align"_s, u"right"_s},
                    {u"tone"_s, u"muted"_s}},
        jogHit(0, -500),
        jogHit(740, 500),
        jogArrow(36, 8),
        jogArrow(764, 792),
    };
    return {{u"width"_s, 800}, {u"height"_s, 120}, {u"fit"_s, u"width"_s}, {u"tween_ms"_s, 300}, {u"items"_s, items}};
}

} // namespace

QJsonObject sourcePayload(const Flow &flow, const QString &path)
{
    const Step &step = flow.current();
    if (path == kProgress) {
        QJsonObject p{{u"running"_s, flow.running()},
                      {u"total"_s, qMax(1, step.ticks)},
                      {u"current"_s, step.completed ? qMax(1, step.ticks) : flow.progress()},
                      {u"headline"_s, u"%1 - %2 of %3"_s.arg(step.label).arg(flow.progress()).arg(step.ticks)},
                      {u"label"_s, flow.running() ? u"running"_s : u"waiting for Start"_s},
                      {u"done"_s, step.completed}};
        if (!flow.fault().isEmpty())
            p.insert(u"error"_s, flow.fault());
        return p;
    }
    if (path == kLog) {
        QJsonObject p{{u"running"_s, flow.running()},
                      {u"log"_s, QJsonArray::fromStringList(flow.log())},
                      {u"warnings"_s, QJsonArray::fromStringList(flow.warnings())}};
        if (!flow.fault().isEmpty())
            p.insert(u"error"_s, flow.fault());
        return p;
    }
    if (path == kPosition)
        return {{u"ok"_s, true},
                {u"x_mm"_s, flow.positionMm()},
                {u"state"_s, flow.running() ? u"moving"_s : u"standing"_s}};
    if (path == kDrawing)
        return drawing(flow);
    if (path == kBoard)
        return boardPayload(flow);
    return {};
}

namespace {
void collectSources(const QJsonValue &v, QStringList &out)
{
    if (v.isArray()) {
        for (const QJsonValue &x : v.toArray())
            collectSources(x, out);
    } else if (v.isObject()) {
        const QJsonObject o = v.toObject();
        const QString s = o.value(u"source"_s).toString();
        if (s.startsWith(u'/') && !out.contains(s))
            out.append(s);
        for (const QJsonValue &x : o)
            collectSources(x, out);
    }
}
} // namespace

QJsonObject renderBundle(const Flow &flow, const UnitInfo &unit)
{
    const QJsonObject answer = uiAnswer(flow, unit, 1000);
    const QJsonObject screen = answer.value(u"screen"_s).toObject();
    QStringList sources;
    collectSources(screen, sources);
    QJsonObject endpoints;
    for (const QString &s : sources)
        endpoints.insert(s, sourcePayload(flow, s));
    return {{u"screen"_s, screen}, {u"endpoints"_s, endpoints}};
}

namespace {

quint32 crc32(const QByteArray &data)
{
    quint32 c = 0xFFFFFFFFu;
    for (const char ch : data) {
        c ^= quint8(ch);
        for (int k = 0; k < 8; ++k)
            c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    }
    return c ^ 0xFFFFFFFFu;
}

QByteArray be32(quint32 v)
{
    QByteArray b(4, '\0');
    qToBigEndian(v, b.data());
    return b;
}

QByteArray chunk(const char *type, const QByteArray &data)
{
    const QByteArray typed = QByteArray(type) + data;
    return be32(quint32(data.size())) + typed + be32(crc32(typed));
}

} // namespace

QByteArray aislePlanPng()
{
    // A plan of an aisle: dark floor, racks on both sides, the rail down the middle and the shuttle.
    constexpr int w = 96, h = 48;
    QByteArray raw;
    for (int y = 0; y < h; ++y) {
        raw.append('\0'); // no filter
        for (int x = 0; x < w; ++x) {
            quint8 r = 30, g = 34, b = 40;
            if (y < 12 || y >= 36) {
                const bool slot = (x % 12) < 10 && (y % 12) > 1 && (y % 12) < 10;
                r = slot ? 70 : 50, g = slot ? 88 : 56, b = slot ? 110 : 64;
            } else if (y >= 22 && y < 26) {
                r = 90, g = 96, b = 104;
            }
            if (x >= 60 && x < 72 && y >= 18 && y < 30)
                r = 91, g = 141, b = 184;
            raw.append(char(r)).append(char(g)).append(char(b));
        }
    }
    const QByteArray header = be32(w) + be32(h) + QByteArray("\x08\x02\x00\x00\x00", 5);
    const QByteArray zlib = qCompress(raw).mid(4); // drop Qt's length prefix: the rest is a zlib stream
    const QByteArray png =
        QByteArray("\x89PNG\r\n\x1a\n", 8) + chunk("IHDR", header) + chunk("IDAT", zlib) + chunk("IEND", {});
    return png.toBase64();
}

} // namespace sim
