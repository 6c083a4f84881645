// The early argument scan and the pixel comparison.

#include "app/compare.h"

#include <QImage>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>

using namespace Qt::StringLiterals;

class TestCompare final : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    QString save(const QImage &image, const QString &name)
    {
        const QString path = m_dir.filePath(name);
        if (!image.save(path))
            qFatal("cannot save %s", qPrintable(path));
        return path;
    }

    // Runs the comparison; returns "code|out|err".
    static QString compare(const QString &pair, double tolerance)
    {
        QString out, err;
        QTextStream outStream(&out), errStream(&err);
        const int code = app::compareImages(pair, tolerance, outStream, errStream);
        return u"%1|%2|%3"_s.arg(code).arg(out, err);
    }

private slots:
    void earlyScan_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<bool>("found");
        QTest::addColumn<QString>("value");
        QTest::newRow("separate value") << QStringList{"exe", "--compare", "a,b"} << true << "a,b";
        QTest::newRow("equals form") << QStringList{"exe", "--compare=a,b"} << true << "a,b";
        QTest::newRow("empty after equals") << QStringList{"exe", "--compare="} << true << "";
        QTest::newRow("last, no value") << QStringList{"exe", "x", "--compare"} << false << "";
        QTest::newRow("single dash") << QStringList{"exe", "-compare", "a,b"} << false << "";
        QTest::newRow("program name ignored") << QStringList{"--compare=x"} << false << "";
        QTest::newRow("first wins") << QStringList{"exe", "--compare=1", "--compare", "2"} << true << "1";
        QTest::newRow("value may look like an option")
            << QStringList{"exe", "--compare", "--tolerance"} << true << "--tolerance";
        QTest::newRow("prefix is not the option") << QStringList{"exe", "--compared", "a"} << false << "";
    }
    void earlyScan()
    {
        QFETCH(QStringList, args);
        QFETCH(bool, found);
        QFETCH(QString, value);
        QCOMPARE(app::earlyScan(args, u"compare"_s), found ? std::optional<QString>(value) : std::nullopt);
    }

    // One pixel of a 10x10 image changed by `delta` on one channel (or all four): 1 % of the pixels.
    void noiseThreshold_data()
    {
        QTest::addColumn<int>("channel"); // 0 alpha, 1 red, 2 green, 3 blue, 4 all
        QTest::addColumn<int>("delta");
        QTest::addColumn<QString>("percent");
        for (int channel = 0; channel < 5; ++channel) {
            QTest::addRow("channel %d by 8", channel) << channel << 8 << u"0.000"_s;
            QTest::addRow("channel %d by 9", channel) << channel << 9 << u"1.000"_s;
            QTest::addRow("channel %d by -9", channel) << channel << -9 << u"1.000"_s;
        }
    }
    void noiseThreshold()
    {
        QFETCH(int, channel);
        QFETCH(int, delta);
        QFETCH(QString, percent);
        QImage a(10, 10, QImage::Format_ARGB32);
        a.fill(qRgba(100, 100, 100, 200));
        QImage b = a;
        int c[4] = {200, 100, 100, 100};
        for (int i = 0; i < 4; ++i)
            c[i] += (channel == i || channel == 4) ? delta : 0;
        b.setPixel(3, 4, qRgba(c[1], c[2], c[3], c[0]));
        const int code = percent == u"0.000"_s ? 0 : 1; // tolerance 0: any counted pixel fails
        QCOMPARE(compare(save(a, u"a.png"_s) + u',' + save(b, u"b.png"_s), 0), u"%1|%2\n|"_s.arg(code).arg(percent));
    }

    // `changed` of 1000 pixels differ; the names come with blanks around them, which are trimmed.
    void tolerance_data()
    {
        QTest::addColumn<int>("changed");
        QTest::addColumn<int>("otherHeight");
        QTest::addColumn<double>("tolerance");
        QTest::addColumn<QString>("result");
        QTest::newRow("identical") << 0 << 10 << 0.0 << "0|0.000\n|";
        QTest::newRow("at tolerance passes") << 2 << 10 << 0.2 << "0|0.200\n|";
        QTest::newRow("past tolerance fails") << 3 << 10 << 0.2 << "1|0.300\n|";
        QTest::newRow("all differ") << 1000 << 10 << 100.0 << "0|100.000\n|";
        QTest::newRow("different sizes always fail") << 0 << 11 << 100.0 << "1|100.000\n|";
    }
    void tolerance()
    {
        QFETCH(int, changed);
        QFETCH(int, otherHeight);
        QFETCH(double, tolerance);
        QFETCH(QString, result);
        QImage a(100, 10, QImage::Format_ARGB32);
        a.fill(Qt::black);
        QImage b(100, otherHeight, QImage::Format_ARGB32);
        b.fill(Qt::black);
        for (int i = 0; i < changed; ++i)
            b.setPixel(i % 100, i / 100, qRgb(255, 255, 255));
        const QString pair = u"  "_s + save(a, u"a.png"_s) + u" , "_s + save(b, u"b.png"_s) + u"\t"_s;
        QCOMPARE(compare(pair, tolerance), result);
    }

    void badNames_data()
    {
        QTest::addColumn<QString>("pair");
        QTest::addColumn<QString>("err");
        QImage five(5, 5, QImage::Format_ARGB32);
        five.fill(Qt::gray);
        const QString good = save(five, u"good.png"_s), junk = m_dir.filePath(u"junk.png"_s);
        QFile f(junk);
        if (!f.open(QIODevice::WriteOnly) || f.write("not a png") != 9)
            qFatal("cannot write %s", qPrintable(junk));
        const QString expected = u"compare: expected a.png,b.png\n"_s;
        QTest::newRow("one name") << u"a.png"_s << expected;
        QTest::newRow("three names") << u"a,b,c"_s << expected;
        QTest::newRow("empty") << QString() << expected;
        QTest::newRow("first unreadable, untrimmed in message")
            << u" /nonexistent/x.png ,/nonexistent/y.png"_s << u"compare: cannot read  /nonexistent/x.png \n"_s;
        QTest::newRow("second not a PNG") << good + u',' + junk << u"compare: cannot read "_s + junk + u'\n';
    }
    void badNames()
    {
        QFETCH(QString, pair);
        QFETCH(QString, err);
        QCOMPARE(compare(pair, 0.2), u"2||"_s + err);
    }
};

QTEST_GUILESS_MAIN(TestCompare)
#include "tst_compare.moc"
