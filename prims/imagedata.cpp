#include "prims/imagedata.h"

#include <QBuffer>
#include <QByteArray>
#include <QImageReader>

namespace prims {

QImage decodeImageData(const QString &text)
{
    QStringView payload(text);
    if (payload.startsWith(u"data:")) {
        const qsizetype comma = payload.indexOf(u',');
        if (comma < 0)
            return {};
        payload = payload.mid(comma + 1);
    }
    if (payload.isEmpty())
        return {};

    // Base64 is ASCII; anything wider cannot be valid and must not be folded into Latin-1 bytes
    // that happen to decode.
    for (const QChar c : payload) {
        if (c.unicode() > 0x7f)
            return {};
    }
    const auto decoded = QByteArray::fromBase64Encoding(payload.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded || decoded.decoded.isEmpty())
        return {};

    QByteArray bytes = decoded.decoded;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    QImage image;
    if (!reader.read(&image))
        return {};
    return image;
}

} // namespace prims
