#include "app/pngwriter.h"

#include <QByteArray>
#include <QIODevice>
#include <QImage>
#include <QtEndian>

#include <array>
#include <cstdlib>

namespace app {

namespace {

const std::array<quint32, 256> &crcTable()
{
    static const std::array<quint32, 256> table = [] {
        std::array<quint32, 256> t{};
        for (quint32 n = 0; n < 256; ++n) {
            quint32 c = n;
            for (int k = 0; k < 8; ++k)
                c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            t[n] = c;
        }
        return t;
    }();
    return table;
}

quint32 crc32(quint32 crc, const char *data, qsizetype size)
{
    const auto &table = crcTable();
    for (qsizetype i = 0; i < size; ++i)
        crc = table[(crc ^ quint8(data[i])) & 0xFF] ^ (crc >> 8);
    return crc;
}

QByteArray bigEndian(quint32 v)
{
    QByteArray bytes(4, Qt::Uninitialized);
    qToBigEndian(v, bytes.data());
    return bytes;
}

QByteArray chunk(const char type[4], const QByteArray &data)
{
    QByteArray out = bigEndian(quint32(data.size()));
    out.append(type, 4);
    out.append(data);
    const quint32 crc = crc32(crc32(0xFFFFFFFFu, type, 4), data.constData(), data.size()) ^ 0xFFFFFFFFu;
    out.append(bigEndian(crc));
    return out;
}

// Filter one row into `out` (filter byte first). Sub subtracts the pixel to the left, Up the
// pixel above; the one with the smaller sum of magnitudes usually compresses better.
void filterRow(const uchar *row, const uchar *above, int bytes, int bpp, uchar *out)
{
    long sub = 0, up = 0;
    for (int i = 0; i < bytes; ++i) {
        const int left = i >= bpp ? row[i - bpp] : 0;
        sub += std::abs(qint8(row[i] - left));
        up += above ? std::abs(qint8(row[i] - above[i])) : sub;
    }
    if (above && up <= sub) {
        out[0] = 2;
        for (int i = 0; i < bytes; ++i)
            out[1 + i] = uchar(row[i] - above[i]);
    } else {
        out[0] = 1;
        for (int i = 0; i < bytes; ++i)
            out[1 + i] = uchar(row[i] - (i >= bpp ? row[i - bpp] : 0));
    }
}

} // namespace

bool writePng(const QImage &source, QIODevice *device)
{
    if (source.isNull() || !device)
        return false;
    const bool alpha = source.hasAlphaChannel();
    const QImage image = source.convertToFormat(alpha ? QImage::Format_RGBA8888 : QImage::Format_RGB888);
    const int bpp = alpha ? 4 : 3;
    const int rowBytes = image.width() * bpp;

    QByteArray raw(qsizetype(rowBytes + 1) * image.height(), Qt::Uninitialized);
    for (int y = 0; y < image.height(); ++y) {
        filterRow(image.constScanLine(y), y > 0 ? image.constScanLine(y - 1) : nullptr, rowBytes, bpp,
                  reinterpret_cast<uchar *>(raw.data()) + qsizetype(y) * (rowBytes + 1));
    }
    // qCompress gives a zlib stream behind a 4-byte length; the stream is what the chunk holds.
    const QByteArray compressed = qCompress(raw, 6).mid(4);

    QByteArray header = bigEndian(quint32(image.width())) + bigEndian(quint32(image.height()));
    header.append(char(8));             // bit depth
    header.append(char(alpha ? 6 : 2)); // colour type: RGBA or RGB
    header.append(3, char(0));          // deflate, adaptive filtering, no interlace

    QByteArray file("\x89PNG\r\n\x1a\n", 8);
    file += chunk("IHDR", header);
    file += chunk("IDAT", compressed);
    file += chunk("IEND", {});
    return device->write(file) == file.size();
}

} // namespace app
