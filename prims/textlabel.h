#pragma once
// The label that shows unit text: plain text, exactly the unit's characters, word-wrapped with a
// word longer than a line broken wherever it must (a serial number or a fingerprint wraps instead
// of widening the screen), and selectable and copyable as sent. Sizes follow QLabel's own rules,
// so a label whose words fit looks and measures as a plain QLabel would.

#include <QLabel>
#include <QTextLayout>

namespace prims {

// The size `text` takes in `font` laid out as a label lays it out: `width` wide with a word longer
// than the width broken where the line ends, or on one line (line breaks aside) when `width` < 0.
QSize textSize(const QFont &font, const QString &text, int width);

class TextLabel final : public QLabel
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TextLabel)

public:
    explicit TextLabel(const QString &text, QWidget *parent = nullptr);

    // Whether the mouse selects the text (on by default); when off, presses go to the parent.
    void setSelectable(bool selectable);
    bool isSelectable() const { return m_selectable; }
    // When on, the label asks for its text on one line (wrapping only when it gets less), where
    // a wrapping QLabel would ask for a narrower, taller box.
    void setPrefersOneLine(bool oneLine);
    // The colour the text is drawn in, whatever style is in force (an application style sheet
    // gives every widget one text colour); invalid, the default: the palette's.
    void setTextColor(const QColor &color);
    QColor textColor() const;

    // A caption in a column of its own at the left, as a form's label beside its value, so that a
    // pair is one widget rather than a row of two: drawn in `font` and `color`, wrapped within
    // `width`, `gap` pixels before the text. The caption is shown, not selected.
    void setCaption(const QString &caption, const QFont &font, const QColor &color, int width, int gap);
    QString caption() const { return m_caption.text; }

    // Selects `length` characters from `start` (clamped to the text).
    void select(int start, int length);
    // The selected characters of text(), as the unit sent them.
    QString selection() const;
    // Puts the selection on the clipboard; returns whether there was one.
    bool copySelection() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    int heightForWidth(int width) const override;

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;

private:
    struct Hints
    {
        QString text;
        bool wrap = false;
        bool valid = false;
        QSize hint;
        QSize minimum;
        int hfwWidth = -1;
        int hfwHeight = 0;
    };

    QSize measure(int width, QTextOption::WrapMode mode) const;
    QSize extras() const;
    // QLabel's size rule: the label's whole size for an outer width (-1: the one it would like).
    QSize sizeForWidth(int width, bool wrap) const;
    const Hints &hints() const;
    QRect documentRect() const;
    // Lays the text out for painting at the current size; returns where the lines start.
    QPointF layOutForPaint();
    int positionAt(const QPoint &point);
    // A selection holds only for the text it was made in.
    bool hasSelection() const { return m_anchor != m_cursor && m_selected == text(); }

    bool m_selectable = true;
    bool m_oneLine = false;
    bool m_selecting = false;
    int m_anchor = 0;
    int m_cursor = 0;
    QString m_selected;
    mutable Hints m_hints;
    // The text's box and widest line unwrapped, for the text and font of m_hints.
    struct Unwrapped
    {
        bool valid = false;
        qreal widest = 0;
        QSize box;
    };
    mutable Unwrapped m_unwrapped;
    // The lines as painted, for the size and text they were laid out for.
    QTextLayout m_layout;
    QSize m_layoutSize;
    QString m_layoutText;
    QPointF m_origin;
    bool m_clip = false;
    QColor m_color;
    struct Caption
    {
        QString text;
        QColor color;
        int height = 0; // laid out once: its width and font are its own
        int room = 0;   // its column and the gap, before the text
        QTextLayout layout;
    } m_caption;
};

} // namespace prims
