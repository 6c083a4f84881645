#pragma once
// The one table of drawing primitives: each row a type name, a calling kind and one builder.
// The element dispatch and "--primitives" both read it; adding a primitive means its own file
// plus its row here.

#include <QJsonObject>
#include <QStringList>

#include <functional>
#include <span>
#include <variant>

class QWidget;

namespace prims {

// What the renderer lends to the primitives: a way to send a press (path, body) and a way to
// build a child element at a given depth.
struct Callbacks
{
    std::function<void(const QString &path, const QJsonObject &body)> press;
    std::function<QWidget *(const QJsonObject &element, int depth, QWidget *parent)> build;
};

enum class Kind { Painted = 0, Widget = 1, Container = 2 };

using PaintedBuilder = QWidget *(*)(const QJsonObject &element, QWidget *parent);
using WidgetBuilder = QWidget *(*)(const QJsonObject &element, const Callbacks &cb, QWidget *parent);
using ContainerBuilder = QWidget *(*)(const QJsonObject &element, const Callbacks &cb, int depth, QWidget *parent);

// A row's builder; which of the three it is decides the row's kind, so the two cannot disagree.
// A row whose builder is not written yet holds a null pointer of its kind.
using Builder = std::variant<PaintedBuilder, WidgetBuilder, ContainerBuilder>;

struct Primitive
{
    const char *name;
    Builder build;

    Kind kind() const { return Kind(build.index()); }
    bool hasBuilder() const
    {
        return std::visit([](auto builder) { return builder != nullptr; }, build);
    }
};

inline constexpr int kMaxDepth = 12;

std::span<const Primitive> registry();
QStringList primitiveNames();
// The row of that exact (case-sensitive) type name, or none.
const Primitive *find(const QString &type);

// Builds the element through its registry row; none for an empty or unknown type or a row
// without a builder. A depth over the limit gives the too-deep note instead.
QWidget *buildPrimitive(const QJsonObject &element, const Callbacks &cb, int depth, QWidget *parent);

// Builds one child of a container that sits at `depth`; none when the child is not an object.
QWidget *buildChild(const QJsonValue &child, const Callbacks &cb, int depth, QWidget *parent);

// The note that stands where nesting went too deep.
QWidget *tooDeepNote(QWidget *parent, const QString &tone = QStringLiteral("warn"));

} // namespace prims
