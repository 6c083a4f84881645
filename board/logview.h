#pragma once
// The log panel: warnings worth checking, the step's log lines in a view that grows with its text
// between two bounds and scrolls past the upper one, and the step's error. Also the word-wrapping
// label and the card frames the other panels share.

#include <QJsonObject>
#include <QPlainTextEdit>

class QColor;
class QFrame;
class QVBoxLayout;

namespace prims {
class TextLabel;
}

namespace panels {

// The log's height bounds in pixels; past the upper one the view scrolls.
inline constexpr int kLogMinHeight = 96;
inline constexpr int kLogMaxHeight = 220;

class LogView final : public QPlainTextEdit
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(LogView)

public:
    explicit LogView(QWidget *parent = nullptr);

    // The lines, or "nothing logged yet" in italics when there are none; scrolled to the end.
    void setLines(const QStringList &lines);

protected:
    void resizeEvent(QResizeEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    void fitHeight();
};

// A word-wrapping panel label without a border, in the interface font.
prims::TextLabel *panelLabel(const QString &text, int points, bool bold, const QColor &color, QWidget *parent);
// A "card" or "panel" frame with its vertical box (margins 14, 10, 14, 10).
QFrame *cardFrame(const QString &name, QWidget *parent, QVBoxLayout **box);

// The log panel of a "log" payload.
QWidget *logPanel(const QJsonObject &payload, QWidget *parent);

} // namespace panels
