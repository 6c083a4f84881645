// The screenshot PNG encoder: whatever it writes, a standard decoder reads back pixel for pixel.

#include "app/pngwriter.h"

#include <QBuffer>
#include <QImage>
#include <QPainter>
#include <QRandomGenerator>
#include <QTest>

class TestPngWriter final : public QObject
{
    Q_OBJECT

    static QImage sample(QSize size, bool alpha, int pattern)
    {
        QImage image(size, alpha ? QImage::Format_ARGB32 : QImage::Format_RGB32);
        QRandomGenerator rng(quint32(size.width() * 31 + size.height() + pattern));
        if (pattern == 1) { // what a screen looks like: flat areas, edges, antialiased text
            image.fill(alpha ? QColor(0, 0, 0, 0) : QColor("#16181B"));
            QPainter p(&image);
            p.setRenderHint(QPainter::Antialiasing);
            p.setBrush(QColor(31, 34, 38, alpha ? 200 : 255));
            p.setPen(QColor("#32373D"));
            p.drawRoundedRect(QRectF(2, 2, size.width() - 4, size.height() - 4), 6, 6);
            p.setPen(QColor("#E6E8EA"));
            p.drawText(QRect(QPoint(0, 0), size), Qt::AlignCenter, QStringLiteral("Drive check 12.4 mm"));
            return image;
        }
        // Pattern 0 is noise (every filter choice and byte value); 2 vertical bands ("up" wins on every row).
        for (int y = 0; y < size.height(); ++y)
            for (int x = 0; x < size.width(); ++x)
                image.setPixel(x, y,
                               pattern == 0 ? rng.generate() | (alpha ? 0 : 0xFF000000u)
                                            : qRgba(x * 7, x * 13, x * 3, alpha ? 255 - x % 256 : 255));
        return image;
    }

private slots:
    void roundTrip_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<bool>("alpha");
        QTest::addColumn<int>("pattern");
        for (const QSize &size : {QSize(1, 1), QSize(1, 9), QSize(9, 1), QSize(3, 7), QSize(257, 33), QSize(1240, 40)})
            for (int pattern = 0; pattern < 3; ++pattern)
                for (bool alpha : {false, true})
                    QTest::addRow("%dx%d %s pattern %d", size.width(), size.height(), alpha ? "rgba" : "rgb", pattern)
                        << size << alpha << pattern;
    }
    void roundTrip()
    {
        QFETCH(QSize, size);
        QFETCH(bool, alpha);
        QFETCH(int, pattern);
        const QImage image = sample(size, alpha, pattern);
        QBuffer buffer;
        QVERIFY(buffer.open(QIODevice::WriteOnly));
        QVERIFY(app::writePng(image, &buffer));
        QImage back;
        QVERIFY(back.loadFromData(buffer.data(), "PNG"));
        QCOMPARE(back.size(), size);
        QCOMPARE(back.hasAlphaChannel(), alpha);
        const QImage::Format format = alpha ? QImage::Format_ARGB32 : QImage::Format_RGB32;
        QCOMPARE(back.convertToFormat(format), image.convertToFormat(format));
    }

    void flatScreensCompressWell()
    {
        QImage image(1240, 900, QImage::Format_RGB32);
        image.fill(QColor("#16181B"));
        QBuffer buffer;
        QVERIFY(buffer.open(QIODevice::WriteOnly));
        QVERIFY(app::writePng(image, &buffer));
        QVERIFY2(buffer.size() < 20000, qPrintable(QString::number(buffer.size())));
    }

    void refusals()
    {
        QBuffer buffer;
        QVERIFY(buffer.open(QIODevice::WriteOnly));
        QVERIFY(!app::writePng(QImage(), &buffer));
        QCOMPARE(buffer.size(), 0);
        QBuffer readOnly;
        QVERIFY(readOnly.open(QIODevice::ReadOnly));
        QVERIFY(!app::writePng(sample({4, 4}, false, 0), &readOnly));
        QVERIFY(!app::writePng(sample({4, 4}, false, 0), nullptr));
    }
};

QTEST_MAIN(TestPngWriter)
#include "tst_pngwriter.moc"
