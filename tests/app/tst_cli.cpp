// The built executable's offline modes, as a screen author runs them: messages, streams, exit
// codes and the PNG they write.

#include "app/base/logging.h"
#include "prims/registry.h"

#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

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
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly) || f.write(bytes) != bytes.size())
            qFatal("cannot write %s", qPrintable(path));
        return path;
    }

    Result run(const QStringList &args, const QString &envSetting = {})
    {
        QProcess p;
        QProcessEnvironment e = QProcessEnvironment::systemEnvironment();
        e.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        e.insert(u"XDG_CONFIG_HOME"_s, m_dir.filePath(u"config"_s));
        e.insert(u"XDG_CACHE_HOME"_s, m_dir.filePath(u"cache"_s));
        e.remove(u"KESTRO_RENDER_SCROLL_H"_s);
        e.remove(u"KESTRO_FRAME_DEBUG"_s);
        e.remove(u"QT_LOGGING_RULES"_s);
        if (!envSetting.isEmpty())
            e.insert(envSetting.section(u'=', 0, 0), envSetting.section(u'=', 1));
        p.setProcessEnvironment(e);
        p.start(QStringLiteral(KESTRO_EXE), args);
        if (!p.waitForFinished(60000))
            qFatal("kestro-connect did not finish");
        return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1,
                QString::fromUtf8(p.readAllStandardOutput()), QString::fromUtf8(p.readAllStandardError())};
    }

    // Qt's own diagnostics (platform notes) may share stderr; the product's line is what counts.
    static bool hasLine(const QString &stream, const QString &line) { return stream.split(u'\n').contains(line); }

    QString screen()
    {
        return write(u"screen.json"_s, R"({"sections":[{"label":"Drive","elements":[
            {"type":"heading","text":"Drive check"},{"type":"text","text":"Runs both rail ends."}]}]})");
    }

private slots:
    void listingHelpAndVersion()
    {
        Result r = run({u"--primitives"_s});
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, prims::primitiveNames().join(u'\n') + u'\n');
        QVERIFY(r.out.startsWith(u"shapes\nlayout\nscroll\ntabs\n"_s) && r.out.endsWith(u"datetime\nspinner\n"_s));

        r = run({u"--help"_s});
        QCOMPARE(r.code, 0);
        QVERIFY(r.out.contains(
            u"Kestro Connect - the commissioning client. The unit describes the screen; this draws it."_s));
        qsizetype at = 0;
        for (const QString &option : {u"--compare <a.png,b.png>"_s, u"--tolerance <percent>"_s, u"--primitives"_s,
                                      u"--render <file>"_s, u"--out <file>"_s, u"--size <WxH>"_s, u"--chrome"_s}) {
            const qsizetype next = r.out.indexOf(option, at);
            QVERIFY2(next > at, qPrintable(option));
            at = next;
        }
        QVERIFY(r.out.contains(u"Percent of pixels allowed to differ (default 0.2)."_s));
        QCOMPARE(run({u"--version"_s}).out.trimmed(), u"Kestro Connect 8.9.13+cdcc16b"_s);
    }

    void renderFailures_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("line");
        const QString missing = m_dir.filePath(u"missing.json"_s), png = m_dir.filePath(u"x.png"_s);
        const QString notJson = write(u"bad.json"_s, "{\"sections\": [");
        QTest::newRow("no --out, even for a missing file")
            << QStringList{u"--render"_s, missing} << u"render: --out is required"_s;
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
        QVERIFY2(hasLine(r.err, line), qPrintable(r.err));
        QVERIFY(r.out.isEmpty());
        QVERIFY(!QFile::exists(m_dir.filePath(u"x.png"_s)));
    }

    void renderSizes_data()
    {
        QTest::addColumn<QString>("size");
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height"); // 0: grows to the content
        QTest::newRow("default") << QString() << 1240 << 900;
        QTest::newRow("width only grows to content") << u"800"_s << 800 << 0;
        QTest::newRow("negative width falls back") << u"-1x500"_s << 1240 << 900;
        QTest::newRow("junk reads as zero: no shot") << u"abcx300"_s << 0 << 300;
    }
    void renderSizes()
    {
        QFETCH(QString, size);
        QFETCH(int, width);
        QFETCH(int, height);
        const QString out = m_dir.filePath(u"shot.png"_s);
        QFile::remove(out);
        QStringList args = {u"--render"_s, screen(), u"--out"_s, out};
        if (!size.isEmpty())
            args << u"--size"_s << size;
        const Result r = run(args);
        QCOMPARE(r.code, width == 0 ? 2 : 0); // a zero-width page cannot be grabbed into a PNG
        if (width == 0)
            return;
        const QImage shot(out);
        QCOMPARE(shot.width(), width);
        if (height)
            QCOMPARE(shot.height(), height);
        else
            QVERIFY2(shot.height() > 50 && shot.height() < 400, qPrintable(QString::number(shot.height())));
        QCOMPARE(r.out, u"rendered %1  %2x%3\n"_s.arg(out).arg(width).arg(shot.height()));
    }

    void tallContentGrowsTheShot()
    {
        QByteArray elements;
        for (int i = 0; i < 80; ++i)
            elements += (i ? "," : "") + QByteArray(R"({"type":"text","text":"line )") + QByteArray::number(i) + "\"}";
        const QString file = write(u"tall.json"_s, R"({"sections":[{"label":"Long","elements":[)" + elements + "]}]}");
        const QString out = m_dir.filePath(u"tall.png"_s);
        QCOMPARE(run({u"--render"_s, file, u"--out"_s, out, u"--size"_s, u"600x300"_s}).code, 0);
        QVERIFY(QImage(out).height() > 1000);
    }

    void scrollingShotAndFrameDiagnostics()
    {
        const QString out = m_dir.filePath(u"scroll.png"_s);
        Result r =
            run({u"--render"_s, screen(), u"--out"_s, out, u"--size"_s, u"700x900"_s}, u"KESTRO_RENDER_SCROLL_H=250"_s);
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, u"rendered %1  700x250 (scroll)\n"_s.arg(out));
        QCOMPARE(QImage(out).size(), QSize(700, 250));

        // The frame trace: by its own switch, by Qt's logging rules alone, and not at all without either.
        for (const QString &setting :
             {u"KESTRO_FRAME_DEBUG=1"_s, u"QT_LOGGING_RULES=kestro.frame.debug=true"_s, QString()}) {
            r = run({u"--render"_s, screen(), u"--out"_s, out, u"--size"_s, u"500x200"_s}, setting);
            QCOMPARE(r.code, 0);
            if (setting.isEmpty()) {
                QVERIFY2(!r.err.contains(u"render pass"_s), qPrintable(r.err));
                continue;
            }
            for (int pass = 0; pass <= 8; ++pass)
                QVERIFY2(r.err.contains(u"render pass %1: height "_s.arg(pass)), qPrintable(setting + r.err));
            QVERIFY(!r.err.contains(u"render pass 24"_s));
            QVERIFY(r.err.contains(QRegularExpression(u"page 500x200 hint \\d+ hfw -?\\d+"_s)));
        }
    }

    // Each debug variable switches on its own category, and only that one.
    void debugSwitches_data()
    {
        QTest::addColumn<QByteArray>("variable");
        QTest::addColumn<int>("category"); // 0 frame, 1 pan, 2 input
        QTest::newRow("frame") << QByteArray("KESTRO_FRAME_DEBUG") << 0;
        QTest::newRow("pan") << QByteArray("KESTRO_PAN_DEBUG") << 1;
        QTest::newRow("input") << QByteArray("KESTRO_INPUT_DEBUG") << 2;
    }

    void debugSwitches()
    {
        QFETCH(QByteArray, variable);
        QFETCH(int, category);
        const QLoggingCategory *categories[] = {&lcFrame(), &lcPan(), &lcInput()};
        qputenv(variable.constData(), "1");
        app::applyDebugSwitches();
        qunsetenv(variable.constData());
        for (int i = 0; i < 3; ++i)
            QCOMPARE(categories[i]->isDebugEnabled(), i == category);
        app::applyDebugSwitches();
        QVERIFY(!categories[category]->isDebugEnabled());
    }

    void bareDescriptionAndBundleDrawAlike()
    {
        const QByteArray description = R"({"sections":[{"label":"Same","elements":[{"type":"text","text":"x"}]}]})";
        const QString bare = write(u"bare.json"_s, description);
        const QString bundle = write(u"bundle.json"_s, "{\"screen\":" + description + ",\"endpoints\":{}}");
        const QString a = m_dir.filePath(u"a.png"_s), b = m_dir.filePath(u"b.png"_s);
        QCOMPARE(run({u"--render"_s, bare, u"--out"_s, a}).code, 0);
        QCOMPARE(run({u"--render"_s, bundle, u"--out"_s, b}).code, 0);
        const Result r = run({u"--compare"_s, a + u',' + b, u"--tolerance"_s, u"0"_s});
        QCOMPARE(r.out, u"0.000\n"_s);
        QCOMPARE(r.code, 0);
    }

    void compareThroughExecutable_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("out");
        QTest::newRow("equals forms") << QStringList{"--compare=@A,@B", "--tolerance=50"} << 0 << "25.000\n";
        QTest::newRow("default tolerance") << QStringList{"--compare", "@A,@B"} << 1 << "25.000\n";
        QTest::newRow("tolerance not a number fails on any pixel")
            << QStringList{"--tolerance=lots", "--compare=@A,@B"} << 1 << "25.000\n";
        QTest::newRow("tolerance nan is 0") << QStringList{"--compare=@A,@B", "--tolerance=nan"} << 1 << "25.000\n";
        QTest::newRow("tolerance inf is 0") << QStringList{"--compare=@A,@B", "--tolerance=inf"} << 1 << "25.000\n";
        QTest::newRow("different sizes, tolerance 100")
            << QStringList{"--compare=@A,@C", "--tolerance=100"} << 1 << "100.000\n";
    }
    void compareThroughExecutable()
    {
        QFETCH(QStringList, args);
        QFETCH(int, code);
        QFETCH(QString, out);
        QImage a(2, 2, QImage::Format_ARGB32);
        a.fill(Qt::black);
        QImage b = a;
        b.setPixel(0, 0, qRgb(255, 255, 255));
        const QString pa = m_dir.filePath(u"ca.png"_s), pb = m_dir.filePath(u"cb.png"_s),
                      pc = m_dir.filePath(u"cc.png"_s);
        QVERIFY(a.save(pa) && b.save(pb) && QImage(3, 3, QImage::Format_ARGB32).save(pc));
        for (QString &arg : args)
            arg.replace(u"@A"_s, pa).replace(u"@B"_s, pb).replace(u"@C"_s, pc);
        const Result r = run(args);
        QCOMPARE(r.out, out);
        QCOMPARE(r.code, code);
    }

    void compareAsLastArgumentIsNotTaken()
    {
        const Result r = run({u"--compare"_s});
        QVERIFY(!r.err.contains(u"compare:"_s));
        QVERIFY(r.out.isEmpty());
        QVERIFY(r.code != 0);
    }
};

QTEST_GUILESS_MAIN(TestCli)
#include "tst_cli.moc"
