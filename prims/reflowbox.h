#pragma once
// A box layout that puts its items side by side while they fit and stacks them when the width
// is too small, answering height for width for whichever arrangement the width gives.

#include <QBoxLayout>

namespace prims {

class ReflowBox final : public QBoxLayout
{
    Q_OBJECT

public:
    explicit ReflowBox(int minItemWidth, QWidget *parent = nullptr);
    ~ReflowBox() override;

    int minItemWidth() const { return m_minItemWidth; }
    // Whether the items would be stacked at this outer width.
    bool stacksAt(int width) const;

    bool hasHeightForWidth() const override;
    int heightForWidth(int width) const override;
    QSize minimumSize() const override;
    void setGeometry(const QRect &rect) override;

private:
    QList<QLayoutItem *> visibleItems() const;

    int m_minItemWidth = 0;

    Q_DISABLE_COPY_MOVE(ReflowBox)
};

} // namespace prims
