// The built executable's offline modes, as a screen author runs them: messages, streams, exit
// codes and the PNG they write; and under them the early argument scan, the pixel comparison and
// the screenshot encoder (whatever it writes, a standard decoder reads back pixel for pixel).

#include "app/compare.h"
#include "app/pngwriter.h"
#include "prims/registry.h"
#include "support/testsupport.h"

#include <QBuffer>
#include <QImage>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>

using namespace Qt::StringLiterals;

class TestCli final : public QObject
{
    Q_OBJECT

    struct Result
    {
        int code = -1;
        QString out, err;
    };

    QTemporaryDir m_dir;

    QString write(const QString &name, const QByteArray &bytes)
    {
        const QString path = m_dir.filePath(name);
        return testsupport::writeFile(path, bytes) ? path : QString();
    }

    Result run(const QStringList &args, const QString &envSetting = {})
    {
        QProcess p;
        QProcessEnvironment e = QProcessEnvironment::systemEnvironment();
        e.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        e.insert(u"XDG_CONFIG_HOME"_s, m_dir.filePath(u"config"_s));
        e.insert(u"XDG_CACHE_HOME"_s, m_dir.filePath(u"cache"_s));
        for (const QString &name : {u"KESTRO_RENDER_SCROLL_H"_s, u"KESTRO_FRAME_DEBUG"_s, u"QT_LOGGING_RULES"_s})
            e.remove(name);
        if (!envSetting.isEmpty())
            e.insert(envSetting.section(u'=', 0, 0), envSetting.section(u'=', 1));
        p.setProcessEnvironment(e);
        p.start(QStringLiteral(KESTRO_EXE), args);
        if (!p.waitForFinished(60000))
            qFatal("kestro-connect did not finish");
        return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1,
                QString::fromUtf8(p.readAllStandardOutput()), QString::fromUtf8(p.readAllStandardError())};
    }

    QString save(const QImage &image, const QString &name)
    {
        const QString path = m_dir.filePath(name);
        return image.save(path) ? path : QString();
    }

    // Runs the comparison; returns "code|out|err".
    static QString compare(const QString &pair, double tolerance)
    {
        QString out, err;
        QTextStream outStream(&out), errStream(&err);
        const int code = app::compareImages(pair, tolerance, outStream, errStream);
        return u"%1|%2|%3"_s.arg(code).arg(out, err);
    }

    // Noise: every filter choice and byte value.
    static QImage sample(QSize size, bool alpha)
    {
        QImage image(size, alpha ? QImage::Format_ARGB32 : QImage::Format_RGB32);
        QRandomGenerator rng(quint32(size.width() * 31 + size.height()));
        for (int y = 0; y < size.height(); ++y)
            for (int x = 0; x < size.width(); ++x)
                image.setPixel(x, y, rng.generate() | (alpha ? 0 : 0xFF000000u));
        return image;
    }

    // A section of `lines` text elements.
    QString screen(int lines = 2)
    {
        QByteArray elements;
        for (int i = 0; i < lines; ++i)
            elements += (i ? "," : "") + QByteArray(R"({"type":"text","text":"line )") + QByteArray::number(i) + "\"}";
        return write(u"screen%1.json"_s.arg(lines),
                     R"({"sections":[{"label":"Drive","elements":[)" + elements + "]}]}");
    }

private slots:
    void listingAndVersion()
    {
        QCOMPARE(run({u"--primitives"_s}).out, prims::primitiveNames().join(u'\n') + u'\n');
        QCOMPARE(run({u"--version"_s}).out.trimmed(), u"Kestro Connect 8.9.13+cdcc16b"_s);
    }

    void renderFailures_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("line");
        const QString missing = m_dir.filePath(u"missing.json"_s), png = m_dir.filePath(u"x.png"_s);
        const QString notJson = write(u"bad.json"_s, "{\"sections\": [");
        QTest::newRow("no --out") << QStringList{u"--render"_s, missing} << u"render: --out is required"_s;
        QTest::newRow("unreadable") << QStringList{u"--render"_s, missing, u"--out"_s, png}
                                    << u"render: cannot read "_s + missing;
        QTest::newRow("not JSON") << QStringList{u"--render"_s, notJson, u"--out"_s, png}
                                  << u"render: "_s + notJson + u" is not JSON: unterminated array"_s;
        QTest::newRow("unwritable") << QStringList{u"--render"_s, screen(), u"--out"_s, u"/nonexistent-dir/x.png"_s}
                                    << u"render: cannot write /nonexistent-dir/x.png"_s;
    }
    void renderFailures()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, line);
        const Result r = run(args);
        QCOMPARE(r.code, 2);
        // Qt's own diagnostics (platform notes) may share stderr; the product's line is what counts.
        QVERIFY2(r.err.split(u'\n').contains(line), qPrintable(r.err));
        QVERIFY(r.out.isEmpty() && !QFile::exists(m_dir.filePath(u"x.png"_s)));
    }

    // The default page size, and a size that reads as zero width gives no shot (a zero-width page
    // cannot be grabbed into a PNG).
    void renderSizes()
    {
        const QString out = m_dir.filePath(u"shot.png"_s);
        QCOMPARE(run({u"--render"_s, screen(), u"--out"_s, out}).out, u"rendered %1  1240x900\n"_s.arg(out));
        QCOMPARE(QImage(out).size(), QSize(1240, 900));
        QCOMPARE(run({u"--render"_s, screen(), u"--out"_s, out, u"--size"_s, u"abcx300"_s}).code, 2);
    }

    // A scrolling shot by its switch; the frame trace by its own switch, by Qt's logging rules alone,
    // and not at all without either.
    void scrollingShotAndFrameDiagnostics()
    {
        const QString out = m_dir.filePath(u"scroll.png"_s);
        const Result r =
            run({u"--render"_s, screen(), u"--out"_s, out, u"--size"_s, u"700x900"_s}, u"KESTRO_RENDER_SCROLL_H=250"_s);
        QCOMPARE(r.out, u"rendered %1  700x250 (scroll)\n"_s.arg(out));
        QCOMPARE(QImage(out).size(), QSize(700, 250));
        for (const QString &setting :
             {u"KESTRO_FRAME_DEBUG=1"_s, u"QT_LOGGING_RULES=kestro.frame.debug=true"_s, QString()}) {
            const QString err = run({u"--render"_s, screen(), u"--out"_s, out, u"--size"_s, u"500x200"_s}, setting).err;
            QCOMPARE(err.contains(u"render pass 8: height "_s), !setting.isEmpty());
            QCOMPARE(err.contains(QRegularExpression(u"page 500x200 hint \\d+ hfw -?\\d+"_s)), !setting.isEmpty());
            QVERIFY(!err.contains(u"render pass 24"_s));
        }
    }

    void roundTrip_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<bool>("alpha");
        for (const QSize &size : {QSize(1, 1), QSize(1, 9), QSize(9, 1), QSize(3, 7), QSize(257, 33), QSize(1240, 40)})
            for (bool alpha : {false, true})
                QTest::addRow("%dx%d %d", size.width(), size.height(), int(alpha)) << size << alpha;
    }
    void roundTrip()
    {
        QFETCH(QSize, size);
        QFETCH(bool, alpha);
        const QImage image = sample(size, alpha);
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

    void refusals()
    {
        QBuffer buffer, readOnly;
        QVERIFY(buffer.open(QIODevice::WriteOnly) && readOnly.open(QIODevice::ReadOnly));
        QVERIFY(!app::writePng(QImage(), &buffer) && buffer.size() == 0);
        QVERIFY(!app::writePng(sample({4, 4}, false), &readOnly));
        QVERIFY(!app::writePng(sample({4, 4}, false), nullptr));
    }

    void earlyScan_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("value");
        QTest::newRow("last, no value") << QStringList{"exe", "x", "--compare"} << "(none)";
        QTest::newRow("first wins") << QStringList{"exe", "--compare=1", "--compare", "2"} << "1";
        QTest::newRow("prefix is not the option") << QStringList{"exe", "--compared", "a"} << "(none)";
    }
    void earlyScan()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, value);
        QCOMPARE(app::earlyScan(args, u"compare"_s).value_or(u"(none)"_s), value);
    }

    // Of 1000 pixels, `changed` move by `delta` on `channel` (0 alpha .. 3 blue): a change of 8 or
    // less is noise. The names come with blanks, which are trimmed.
    void tolerance_data()
    {
        QTest::addColumn<int>("changed");
        QTest::addColumn<int>("channel");
        QTest::addColumn<int>("delta");
        QTest::addColumn<int>("otherHeight");
        QTest::addColumn<double>("tolerance");
        QTest::addColumn<QString>("result");
        QTest::newRow("at tolerance passes") << 2 << 1 << 100 << 10 << 0.2 << "0|0.200\n|";
        QTest::newRow("past tolerance fails") << 3 << 1 << 100 << 10 << 0.2 << "1|0.300\n|";
        QTest::newRow("different sizes always fail") << 0 << 0 << 0 << 11 << 100.0 << "1|100.000\n|";
        QTest::newRow("alpha by 8 is noise") << 1 << 0 << 8 << 10 << 0.0 << "0|0.000\n|";
        QTest::newRow("blue by -9 counts") << 1 << 3 << -9 << 10 << 0.0 << "1|0.100\n|";
    }
    void tolerance()
    {
        QFETCH(int, changed);
        QFETCH(int, channel);
        QFETCH(int, delta);
        QFETCH(int, otherHeight);
        QFETCH(double, tolerance);
        QFETCH(QString, result);
        QImage a(100, 10, QImage::Format_ARGB32);
        a.fill(qRgba(100, 100, 100, 200));
        QImage b = a.copy(0, 0, 100, otherHeight);
        int c[4] = {200, 100, 100, 100};
        c[channel] += delta;
        for (int i = 0; i < changed; ++i)
            b.setPixel(i % 100, i / 100, qRgba(c[1], c[2], c[3], c[0]));
        const QString pair = u"  "_s + save(a, u"a.png"_s) + u" , "_s + save(b, u"b.png"_s) + u"\t"_s;
        QCOMPARE(compare(pair, tolerance), result);
    }

    void badNames_data()
    {
        QTest::addColumn<QString>("pair");
        QTest::addColumn<QString>("err");
        QImage five(5, 5, QImage::Format_ARGB32);
        five.fill(Qt::gray);
        const QString good = save(five, u"good.png"_s), junk = write(u"junk.png"_s, "not a png");
        QTest::newRow("three names") << u"a,b,c"_s << u"compare: expected a.png,b.png\n"_s;
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

    // A bundle draws as its bare description; the options reach the comparison in both forms.
    void bundleAndCompareOptions()
    {
        const QByteArray description = R"({"sections":[{"label":"Same","elements":[{"type":"text","text":"x"}]}]})";
        const QString bare = write(u"bare.json"_s, description);
        const QString bundle = write(u"bundle.json"_s, "{\"screen\":" + description + ",\"endpoints\":{}}");
        const QString a = m_dir.filePath(u"a.png"_s), b = m_dir.filePath(u"b.png"_s);
        QCOMPARE(run({u"--render"_s, bare, u"--out"_s, a}).code, 0);
        QCOMPARE(run({u"--render"_s, bundle, u"--out"_s, b}).code, 0);
        Result r = run({u"--compare"_s, a + u',' + b, u"--tolerance"_s, u"0"_s});
        QCOMPARE(r.out + QString::number(r.code), u"0.000\n0"_s);

        QImage one(2, 2, QImage::Format_ARGB32);
        one.fill(Qt::black);
        const QString pair = save(one, u"ca.png"_s) + u',';
        one.setPixel(0, 0, qRgb(255, 255, 255));
        const QString both = pair + save(one, u"cb.png"_s);
        r = run({u"--compare="_s + both, u"--tolerance=nan"_s}); // not finite: 0
        QCOMPARE(r.out + QString::number(r.code), u"25.000\n1"_s);
    }
};

QTEST_GUILESS_MAIN(TestCli)
#include "tst_cli.moc"
