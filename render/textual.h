#pragma once
// The renderer's own text elements: "heading", "text", "fact" and "chips".

#include "render/actions.h"

#include <QJsonObject>
#include <QWidget>

namespace render {

QWidget *heading(const QJsonObject &element, const Actions &actions, int depth, QWidget *parent);
QWidget *text(const QJsonObject &element, const Actions &actions, int depth, QWidget *parent);
QWidget *fact(const QJsonObject &element, const Actions &actions, int depth, QWidget *parent);
QWidget *chips(const QJsonObject &element, const Actions &actions, int depth, QWidget *parent);

// A row of small toned chips that wraps onto more lines when narrow; painted, one widget for all.
class ChipFlow final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ChipFlow)

public:
    struct Chip
    {
        QString text;
        QString tone;
    };

    explicit ChipFlow(const QList<Chip> &chips, QWidget *parent = nullptr);

    const QList<Chip> &chips() const { return m_chips; }
    // Where each chip goes at the given width.
    QList<QRect> placeChips(int width) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    static int bottom(const QList<QRect> &rects);

    static constexpr int kPadH = 8;
    static constexpr int kPadV = 2;
    static constexpr int kGap = 6;
    QList<Chip> m_chips;
};

} // namespace render
