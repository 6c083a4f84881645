#include "render/element.h"

#include "prims/json.h"
#include "render/buttons.h"
#include "render/containers.h"
#include "render/fields.h"
#include "render/needsupdate.h"
#include "render/rows.h"
#include "render/textual.h"

#include <QFrame>
#include <QVBoxLayout>
#include <QWidget>

#include <span>

namespace render {

namespace {

struct OwnType
{
    const char *name;
    Builder build;
};

// The types the renderer draws itself or hands to a named builder, matched exactly. A row whose
// builder is not there (yet, or not installed by the layer that owns it) falls through to the
// registry and then to the generic fallbacks.
std::span<OwnType> ownTypes()
{
    static OwnType rows[] = {
        {"heading", &heading}, {"text", &text},         {"fact", &fact},     {"chips", &chips},   {"strip", &strip},
        {"shape", &shape},     {"rows", &render::rows}, {"cards", &cards},   {"canvas", &canvas}, {"divider", &divider},
        {"spacer", &spacer},   {"group", &group},       {"column", &column}, {"row", &row},       {"action", &action},
        {"field", &fieldRow},  {"panel", nullptr}, // installed by the board layer
    };
    return rows;
}

QWidget *plainColumn(const QJsonArray &items, const Actions &actions, int depth, QWidget *parent)
{
    auto *column = new QWidget(parent);
    auto *box = new QVBoxLayout(column);
    box->setContentsMargins(0, 0, 0, 0);
    box->setSpacing(6);
    for (const QJsonValue &item : items) {
        if (QWidget *child = element(item.toObject(), actions, depth + 1, column))
            box->addWidget(child);
    }
    return column;
}

} // namespace

bool installBuilder(QLatin1StringView type, Builder builder)
{
    for (OwnType &row : ownTypes()) {
        if (type == QLatin1StringView(row.name)) {
            row.build = builder;
            return true;
        }
    }
    return false;
}

QStringList ownTypeNames()
{
    QStringList names;
    for (const OwnType &row : ownTypes())
        names << QLatin1String(row.name);
    return names;
}

prims::Callbacks primitiveCallbacks(const Actions &actions)
{
    prims::Callbacks cb;
    cb.press = [press = actions.press](const QString &path, const QJsonObject &body) {
        if (!press)
            return;
        Press p;
        p.path = path;
        p.body = body;
        press(p);
    };
    cb.build = [actions](const QJsonObject &child, int depth, QWidget *parent) {
        return element(child, actions, depth, parent);
    };
    return cb;
}

QWidget *element(const QJsonObject &el, const Actions &actions, int depth, QWidget *parent)
{
    if (depth > prims::kMaxDepth)
        return prims::tooDeepNote(parent);

    const QString type = prims::readName(el, QLatin1StringView("type"));

    // A type with a builder draws what its builder gives, possibly nothing (an empty container
    // takes no space). Only types without a builder reach the fallbacks below.
    for (const OwnType &row : ownTypes()) {
        if (row.build && type == QLatin1String(row.name))
            return row.build(el, actions, depth, parent);
    }
    if (const prims::Primitive *row = prims::find(type); row && row->hasBuilder())
        return prims::buildPrimitive(el, primitiveCallbacks(actions), depth, parent);

    const QJsonArray items = prims::readArray(el, QLatin1StringView("items"), 4000);
    if (!items.isEmpty())
        return plainColumn(items, actions, depth, parent);
    if (!type.isEmpty())
        return needsUpdate(QStringLiteral("element '%1'").arg(type), parent);
    return nullptr;
}

} // namespace render
