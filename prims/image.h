#pragma once
// "image": an embedded picture at a chosen size or fitted to the width, with an optional caption.

#include <QImage>
#include <QJsonObject>
#include <QWidget>

namespace prims {

QWidget *buildImage(const QJsonObject &element, QWidget *parent);

// The picture at the size it is shown: "width"/"height" (0 = its own), kept in proportion unless
// "fit" is "stretch", and never wider than 1600 pixels.
QImage sizedImage(const QImage &image, const QJsonObject &element);

inline constexpr int kMaxImageWidth = 1600;

// A picture scaled to whatever width its layout gives it, with the height that keeps its shape.
class FitWidthImage final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FitWidthImage)

public:
    explicit FitWidthImage(const QImage &image, QWidget *parent = nullptr);

    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QImage m_image;
};

} // namespace prims
