#include "board/panels.h"

#include "app/base/logging.h"
#include "app/base/theme.h"
#include "board/logview.h"
#include "board/progress.h"
#include "board/siteboard.h"
#include "board/viewport.h"
#include "prims/canvas.h"
#include "prims/json.h"
#include "prims/text.h"
#include "render/element.h"
#include "render/needsupdate.h"

#include <QBoxLayout>
#include <QPointer>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace panels {

namespace {

constexpr int kMaxMinHeight = 4000;

QWidget *tagged(QWidget *widget, const QString &source, QJsonObject element)
{
    if (!widget)
        return nullptr;
    element.remove("payload"_L1);
    widget->setProperty("panelSource", source);
    widget->setProperty("panelEl", element);
    return widget;
}

void reportRunning(const QJsonObject &payload, const render::Actions &actions)
{
    if (actions.setFlag)
        actions.setFlag(prims::readFlag(payload, "running"_L1, false));
}

QWidget *position(const QJsonObject &payload, QWidget *parent)
{
    const theme::Palette &p = theme::palette();
    if (prims::readTrue(payload, "ok"_L1))
        return panelLabel(u"Live position: %1 mm   (%2)"_s.arg(prims::valueText(payload, "x_mm"_L1),
                                                               prims::valueText(payload, "state"_L1)),
                          10, false, p.muted, parent);
    if (const QString error = prims::valueText(payload, "error"_L1); !error.isEmpty())
        return panelLabel(error, 10, false, p.error, parent);
    return nullptr;
}

QWidget *diagram(const QJsonObject &element, const QString &source, const QJsonObject &payload,
                 const render::Actions &actions, QWidget *parent)
{
    auto *viewport = new board::Viewport(parent);
    viewport->setNested(true);
    viewport->setScreen(board::siteBoard(payload, actions, viewport->screenHost()));
    if (const int min = prims::readInt(element, "min_height"_L1, 0, 0, kMaxMinHeight); min > 0)
        viewport->setMinimumHeight(min);
    viewport->setProperty("panelSource", source);
    return viewport;
}

// Hides `old` and deletes it from the event loop: the update may run inside one of its handlers.
void retire(QWidget *old)
{
    // No longer found by its source while it waits to be deleted.
    old->setProperty("panelSource", QVariant());
    old->hide();
    old->deleteLater();
}

bool updateDiagram(board::Viewport *viewport, const QJsonObject &payload, const render::Actions &actions)
{
    auto *drawn = qobject_cast<board::SiteBoard *>(viewport->screen());
    const bool inPlace = drawn && drawn->update(payload);
    qCDebug(lcInput, "board update: %s", inPlace ? "in place" : "REBUILT (the drawing's shape changed)");
    if (inPlace)
        return true;
    QWidget *fresh = board::siteBoard(payload, actions, viewport->screenHost());
    viewport->setScreen(fresh);
    if (viewport->screen() == fresh)
        return true;
    if (fresh)
        fresh->deleteLater();
    return false;
}

bool redraw(QWidget *old, const QJsonObject &payload, const render::Actions &actions)
{
    QWidget *parent = old->parentWidget();
    QLayout *layout = parent ? parent->layout() : nullptr;
    QJsonObject element = old->property("panelEl").toJsonObject();
    if (!layout || element.isEmpty())
        return false;
    element.insert("payload"_L1, payload);
    QWidget *fresh = draw(element, actions, parent);
    if (!fresh)
        return false;
    auto *box = qobject_cast<QBoxLayout *>(layout);
    const int at = layout->indexOf(old);
    const int stretch = box && at >= 0 ? box->stretch(at) : 0;
    QLayoutItem *item = layout->replaceWidget(old, fresh);
    if (!item) {
        fresh->hide();
        fresh->deleteLater();
        return false;
    }
    delete item;
    if (box && at >= 0)
        box->setStretch(at, stretch);
    // Shown now: a layout shows a new child from the event loop, after a first pass that lays the
    // section out without it and moves everything else of the section twice.
    fresh->show();
    retire(old);
    return true;
}

} // namespace

QWidget *draw(const QJsonObject &element, const render::Actions &actions, QWidget *parent)
{
    const QString kind = prims::readName(element, "panel"_L1);
    const QString source = prims::readText(element, "source"_L1);
    QJsonObject payload = prims::readObject(element, "payload"_L1);
    if (payload.isEmpty() && !source.isEmpty() && actions.fetch)
        payload = actions.fetch(source);

    if (kind == "diagram"_L1)
        return payload.isEmpty() ? nullptr : diagram(element, source, payload, actions, parent);
    if (kind == "shapes"_L1) {
        if (payload.isEmpty())
            return nullptr;
        return tagged(prims::buildShapes(payload, render::primitiveCallbacks(actions), parent), source, element);
    }
    if (kind == "log"_L1) {
        reportRunning(payload, actions);
        return tagged(logPanel(payload, parent), source, element);
    }
    if (kind == "progress"_L1) {
        reportRunning(payload, actions);
        return tagged(progressCard(payload, parent), source, element);
    }
    if (kind == "position"_L1)
        return tagged(position(payload, parent), source, element);
    if (kind.isEmpty())
        return nullptr;
    return render::needsUpdate(u"panel '%1'"_s.arg(kind), parent);
}

bool updateInPlace(QWidget *root, const QString &source, const QJsonObject &payload, const render::Actions &actions)
{
    if (!root || source.isEmpty() || payload.isEmpty())
        return false;
    QWidget *found = nullptr;
    for (QWidget *w : root->findChildren<QWidget *>()) {
        if (w->property("panelSource").toString() == source) {
            found = w;
            break;
        }
    }
    if (!found)
        return false;
    if (auto *viewport = qobject_cast<board::Viewport *>(found))
        return updateDiagram(viewport, payload, actions);
    const QJsonObject element = found->property("panelEl").toJsonObject();
    if (prims::readName(element, "panel"_L1) == "shapes"_L1) {
        auto *canvas = qobject_cast<prims::Canvas *>(found);
        if (!canvas)
            return false;
        canvas->setSpec(payload, true);
        return true;
    }
    return redraw(found, payload, actions);
}

std::optional<QStringList> patchChanged(QWidget *root, const QStringList &changedLeaves, const QJsonObject &endpoints,
                                        const render::Actions &actions)
{
    // The longest source a leaf lies in: "/endpoints/" + source, then the end, "/" or "[]".
    const auto sourceOf = [&endpoints](const QString &leaf) {
        QString best;
        for (auto it = endpoints.begin(); it != endpoints.end(); ++it) {
            const QString head = u"/endpoints/"_s + it.key();
            if (!leaf.startsWith(head) || it.key().size() <= best.size())
                continue;
            const QStringView rest = QStringView(leaf).mid(head.size());
            if (rest.isEmpty() || rest.startsWith(u'/') || rest == u"[]")
                best = it.key();
        }
        return best;
    };
    QStringList sources;
    for (const QString &leaf : changedLeaves) {
        const QString source = sourceOf(leaf);
        if (source.isEmpty())
            return std::nullopt;
        if (!sources.contains(source))
            sources << source;
    }
    if (sources.isEmpty())
        return std::nullopt;
    for (const QString &source : std::as_const(sources)) {
        if (!updateInPlace(root, source, endpoints.value(source).toObject(), actions))
            return std::nullopt;
    }
    return sources;
}

} // namespace panels

namespace board {

void install()
{
    render::installBuilder("panel"_L1, [](const QJsonObject &element, const render::Actions &actions, int,
                                          QWidget *parent) { return panels::draw(element, actions, parent); });
}

} // namespace board
