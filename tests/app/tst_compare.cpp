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

    static QImage filled(QSize size, QRgb colour)
    {
        QImage image(size, QImage::Format_ARGB32);
        image.fill(colour);
        return image;
    }

    struct Run
    {
        int code;
        QString out, err;
    };
    static Run compare(const QString &pair, double tolerance)
    {
        Run run;
        QTextStream out(&run.out), err(&run.err);
        run.code = app::compareImages(pair, tolerance, out, err);
        return run;
    }

private slots:
    void earlyScan_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<bool>("found");
        QTest::addColumn<QString>("value");
        QTest::newRow("separate value") << QStringList{u"exe"_s, u"--compare"_s, u"a,b"_s} << true << u"a,b"_s;
        QTest::newRow("equals form") << QStringList{u"exe"_s, u"--compare=a,b"_s} << true << u"a,b"_s;
        QTest::newRow("empty after equals") << QStringList{u"exe"_s, u"--compare="_s} << true << QString();
        QTest::newRow("last, no value") << QStringList{u"exe"_s, u"x"_s, u"--compare"_s} << false << QString();
        QTest::newRow("single dash") << QStringList{u"exe"_s, u"-compare"_s, u"a,b"_s} << false << QString();
        QTest::newRow("other case") << QStringList{u"exe"_s, u"--Compare=a,b"_s} << false << QString();
        QTest::newRow("program name ignored") << QStringList{u"--compare=x"_s} << false << QString();
        QTest::newRow("first wins") << QStringList{u"exe"_s, u"--compare=1"_s, u"--compare"_s, u"2"_s} << true
                                    << u"1"_s;
        QTest::newRow("value may look like an option")
            << QStringList{u"exe"_s, u"--compare"_s, u"--tolerance"_s} << true << u"--tolerance"_s;
        QTest::newRow("prefix is not the option") << QStringList{u"exe"_s, u"--compared"_s, u"a"_s} << false
                                                  << QString();
    }
    void earlyScan()
    {
        QFETCH(QStringList, args);
        QFETCH(bool, found);
        QFETCH(QString, value);
        const auto result = app::earlyScan(args, u"compare"_s);
        QCOMPARE(result.has_value(), found);
        if (found)
            QCOMPARE(*result, value);
    }

    // One pixel of a 10x10 image changed by `delta` on one channel: 1 % of the pixels.
    void noiseThreshold_data()
    {
        QTest::addColumn<int>("channel"); // 0 alpha, 1 red, 2 green, 3 blue
        QTest::addColumn<int>("delta");
        QTest::addColumn<QString>("percent");
        for (int channel = 0; channel < 4; ++channel) {
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
        const QRgb base = qRgba(100, 100, 100, 200);
        QImage a = filled({10, 10}, base);
        QImage b = a;
        int c[4] = {qAlpha(base), qRed(base), qGreen(base), qBlue(base)};
        c[channel] += delta;
        b.setPixel(3, 4, qRgba(c[1], c[2], c[3], c[0]));
        const Run run = compare(save(a, u"a.png"_s) + u',' + save(b, u"b.png"_s), 100);
        QCOMPARE(run.out, percent + u'\n');
        QCOMPARE(run.code, 0);
    }

    void allChannelsBy8IsNoise()
    {
        QImage a = filled({4, 4}, qRgba(50, 60, 70, 255));
        QImage b = filled({4, 4}, qRgba(58, 68, 78, 247));
        const Run run = compare(save(a, u"a.png"_s) + u',' + save(b, u"b.png"_s), 0);
        QCOMPARE(run.out, u"0.000\n"_s);
        QCOMPARE(run.code, 0);
    }

    void tolerance_data()
    {
        QTest::addColumn<int>("changed"); // of 1000 pixels
        QTest::addColumn<double>("tolerance");
        QTest::addColumn<QString>("out");
        QTest::addColumn<int>("code");
        QTest::newRow("identical") << 0 << 0.0 << u"0.000\n"_s << 0;
        QTest::newRow("at tolerance passes") << 2 << 0.2 << u"0.200\n"_s << 0;
        QTest::newRow("past tolerance fails") << 3 << 0.2 << u"0.300\n"_s << 1;
        QTest::newRow("three decimals") << 1 << 0.0 << u"0.100\n"_s << 1;
        QTest::newRow("all differ") << 1000 << 100.0 << u"100.000\n"_s << 0;
    }
    void tolerance()
    {
        QFETCH(int, changed);
        QFETCH(double, tolerance);
        QFETCH(QString, out);
        QFETCH(int, code);
        QImage a = filled({100, 10}, qRgb(0, 0, 0));
        QImage b = a;
        for (int i = 0; i < changed; ++i)
            b.setPixel(i % 100, i / 100, qRgb(255, 255, 255));
        const Run run = compare(save(a, u"a.png"_s) + u',' + save(b, u"b.png"_s), tolerance);
        QCOMPARE(run.out, out);
        QCOMPARE(run.code, code);
        QVERIFY(run.err.isEmpty());
    }

    void differentSizesAlwaysFail()
    {
        const QString a = save(filled({10, 10}, qRgb(1, 2, 3)), u"a.png"_s);
        const QString b = save(filled({10, 11}, qRgb(1, 2, 3)), u"b.png"_s);
        const Run run = compare(a + u',' + b, 100);
        QCOMPARE(run.out, u"100.000\n"_s);
        QCOMPARE(run.code, 1);
    }

    void badNames_data()
    {
        QTest::addColumn<QString>("pair");
        QTest::addColumn<QString>("err");
        QTest::newRow("one name") << u"a.png"_s << u"compare: expected a.png,b.png\n"_s;
        QTest::newRow("three names") << u"a,b,c"_s << u"compare: expected a.png,b.png\n"_s;
        QTest::newRow("empty") << QString() << u"compare: expected a.png,b.png\n"_s;
        QTest::newRow("first unreadable, untrimmed in message")
            << u" /nonexistent/x.png ,/nonexistent/y.png"_s << u"compare: cannot read  /nonexistent/x.png \n"_s;
    }
    void badNames()
    {
        QFETCH(QString, pair);
        QFETCH(QString, err);
        const Run run = compare(pair, 0.2);
        QCOMPARE(run.code, 2);
        QCOMPARE(run.err, err);
        QVERIFY(run.out.isEmpty());
    }

    void namesAreTrimmed()
    {
        const QString a = save(filled({5, 5}, qRgb(9, 9, 9)), u"a.png"_s);
        const Run run = compare(u"  "_s + a + u" , "_s + a + u"\t"_s, 0);
        QCOMPARE(run.code, 0);
        QCOMPARE(run.out, u"0.000\n"_s);
    }

    void secondUnreadable()
    {
        const QString a = save(filled({5, 5}, qRgb(9, 9, 9)), u"a.png"_s);
        const QString junk = m_dir.filePath(u"junk.png"_s);
        QFile f(junk);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("not a png");
        f.close();
        const Run run = compare(a + u',' + junk, 0);
        QCOMPARE(run.code, 2);
        QCOMPARE(run.err, u"compare: cannot read "_s + junk + u'\n');
    }
};

QTEST_GUILESS_MAIN(TestCompare)
#include "tst_compare.moc"
