#pragma once
// A layout that flows its items into lines, each line justified to the full width; it has a
// height for every width, so rows of buttons or cards never clip or overlap when narrow.

#include <QLayout>
#include <QList>

namespace prims {

class WrapRow final : public QLayout
{
    Q_OBJECT

public:
    // `spacing` is used both between items and between lines.
    explicit WrapRow(QWidget *parent = nullptr, int margin = 0, int spacing = 6);
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

    QList<QLayoutItem *> m_items;

    Q_DISABLE_COPY_MOVE(WrapRow)
};

} // namespace prims
