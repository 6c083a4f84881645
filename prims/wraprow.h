#pragma once
// A layout that flows its items into lines; it has a height for every width, so rows of buttons,
// cards, steps or a figure with its unit never clip, overlap or squeeze a word when narrow.

#include <QLayout>
#include <QList>

namespace prims {

class WrapRow final : public QLayout
{
    Q_OBJECT

public:
    // How the items of a line share its width.
    enum class Fill {
        // Preferred widths, the spare shared out, the line's last item ending on the right edge.
        Justify,
        // One width for all, as many to a line as the widest item's preferred width allows: the
        // lines form columns.
        Grid,
        // Preferred widths (at most the line's), packed to the left, each item at its own height
        // centred in its line.
        Pack,
    };

    // `spacing` is used both between items and between lines.
    explicit WrapRow(QWidget *parent = nullptr, int margin = 0, int spacing = 6, Fill fill = Fill::Justify);
    ~WrapRow() override;

    void addItem(QLayoutItem *item) override;
    int count() const override;
    QLayoutItem *itemAt(int index) const override;
    QLayoutItem *takeAt(int index) override;

    Qt::Orientations expandingDirections() const override;
    bool hasHeightForWidth() const override;
    int heightForWidth(int width) const override;
    QSize minimumSize() const override;
    QSize sizeHint() const override;
    void setGeometry(const QRect &rect) override;

private:
    // Lays the items out in `rect` (placing them only when `place`); returns the height used.
    int flow(const QRect &rect, bool place) const;
    int gap() const;
    QList<QLayoutItem *> visibleItems() const;

    QList<QLayoutItem *> m_items;
    Fill m_fill = Fill::Justify;

    Q_DISABLE_COPY_MOVE(WrapRow)
};

} // namespace prims
