#include "prims/image.h"

#include "app/base/theme.h"
#include "prims/imagedata.h"
#include "prims/json.h"
#include "prims/text.h"

#include <QLabel>
#include <QPainter>
#include <QPixmap>
#include <QVBoxLayout>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace prims {

FitWidthImage::FitWidthImage(const QImage &image, QWidget *parent)
    : QWidget(parent)
    , m_image(image)
{
    setMinimumWidth(1);
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

int FitWidthImage::heightForWidth(int width) const
{
    if (m_image.isNull() || m_image.width() <= 0)
        return 0;
    return int(qint64(width) * m_image.height() / m_image.width());
}

QSize FitWidthImage::sizeHint() const
{
    const int width = std::min(m_image.width(), kMaxImageWidth);
    return {width, heightForWidth(width)};
}

QSize FitWidthImage::minimumSizeHint() const
{
    return {1, 0};
}

void FitWidthImage::paintEvent(QPaintEvent *)
{
    if (m_image.isNull())
        return;
    QPainter p(this);
    p.setRenderHint(QPainter::SmoothPixmapTransform);
    const int h = std::min(height(), heightForWidth(width()));
    p.drawImage(QRect(0, 0, width(), h), m_image);
}

QImage sizedImage(const QImage &image, const QJsonObject &el)
{
    if (image.isNull())
        return {};
    int width = readInt(el, "width"_L1, 0, 0, kMaxImageWidth);
    int height = readInt(el, "height"_L1, 0, 0, kMaxImageWidth);
    QImage out = image;
    if (width != 0 || height != 0) {
        if (width == 0)
            width = image.width();
        if (height == 0)
            height = image.height();
        const Qt::AspectRatioMode mode =
            readText(el, "fit"_L1) == "stretch"_L1 ? Qt::IgnoreAspectRatio : Qt::KeepAspectRatio;
        out = image.scaled(width, height, mode, Qt::SmoothTransformation);
    }
    if (out.width() > kMaxImageWidth)
        out = out.scaledToWidth(kMaxImageWidth, Qt::SmoothTransformation);
    return out;
}

QWidget *buildImage(const QJsonObject &el, QWidget *parent)
{
    const theme::Palette &pal = theme::palette();
    auto *box = new QWidget(parent);
    auto *column = new QVBoxLayout(box);
    column->setContentsMargins(0, 0, 0, 0);

    const QImage image = decodeImageData(readText(el, "data"_L1));
    if (image.isNull()) {
        auto *none = new QLabel(u"(no image)"_s, box);
        none->setObjectName(u"noImage"_s);
        none->setFont(theme::uiFont(9));
        none->setAlignment(Qt::AlignLeft | Qt::AlignTop);
        none->setStyleSheet(u"color:%1; border:1px dashed %2;padding:14px;"_s.arg(pal.dim.name(), pal.edge.name()));
        column->addWidget(none);
    } else if (readText(el, "fit"_L1) == "width"_L1) {
        auto *fit = new FitWidthImage(image, box);
        fit->setObjectName(u"image"_s);
        column->addWidget(fit);
    } else {
        const QImage shown = sizedImage(image, el);
        auto *picture = new QLabel(box);
        picture->setObjectName(u"image"_s);
        picture->setPixmap(QPixmap::fromImage(shown));
        picture->setFixedSize(shown.size());
        column->addWidget(picture, 0, Qt::AlignLeft);
    }

    const QString caption = readText(el, "caption"_L1);
    if (!caption.isEmpty())
        column->addWidget(textLabel(caption, 9, theme::toneColor(u"muted"_s), false, false, box));
    return box;
}

} // namespace prims
