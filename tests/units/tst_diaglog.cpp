// The diagnostics log on real files: line format, one line per entry, rotation at 1 MiB, the
// field helpers that keep secrets out of it, tailLines, and the last-screen cache switch.

#include "privatehome.h"
#include "units/diaglog.h"
#include "units/store.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QByteArray readAll(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void writeAll(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    if (f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        f.write(bytes);
}

} // namespace

class TestDiagLog final : public QObject
{
    Q_OBJECT

    QString m_log;

private slots:
    void initTestCase()
    {
        unitstest::privateHome();
        m_log = units::connectLogPath();
        QCOMPARE(m_log, units::configDir() + u"/diagnostics/connect.log"_s);
        QVERIFY(QDir(units::diagnosticsDir()).exists());
    }
    void init()
    {
        QFile::remove(m_log);
        QFile::remove(m_log + u".1"_s);
    }

    void shorten_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("limit");
        QTest::addColumn<QString>("expected");
        QTest::newRow("short") << u"refused"_s << 200 << u"refused"_s;
        QTest::newRow("line breaks") << u"a\nb\r\nc\rd"_s << 200 << u"a b  c d"_s;
        QTest::newRow("trimmed") << u"  \n spaced \r\n "_s << 200 << u"spaced"_s;
        QTest::newRow("exactly the limit") << u"x"_s.repeated(200) << 200 << u"x"_s.repeated(200);
        QTest::newRow("250 characters") << u"y"_s.repeated(250) << 200 << u"y"_s.repeated(200) + u"..."_s;
        QTest::newRow("cut after trimming") << u"  "_s + u"z"_s.repeated(201) << 200 << u"z"_s.repeated(200) + u"..."_s;
        QTest::newRow("empty") << QString() << 200 << QString();
        QTest::newRow("limit 0") << u"abc"_s << 0 << u"..."_s;
    }
    void shorten()
    {
        QFETCH(QString, text);
        QFETCH(int, limit);
        QFETCH(QString, expected);
        QCOMPARE(units::shorten(text, limit), expected);
    }

    void keysOf_data()
    {
        QTest::addColumn<QByteArray>("object");
        QTest::addColumn<QString>("keys");
        QTest::newRow("secrets left out")
            << QByteArray(R"({"pin":1,"passcode":2,"apiToken":3,"speed":4})") << u"pin,speed"_s;
        QTest::newRow("every hint, any case")
            << QByteArray(R"({"PASSWORD":1,"wifi_psk":2,"clientSecret":3,"TokenId":4,"Notes":5,"footnote":6,"id":7})")
            << u"id"_s;
        QTest::newRow("innocent look-alikes kept")
            << QByteArray(R"({"passage":1,"bypass":2,"speed":3,"pos":4})") << u"pos,speed"_s;
        QTest::newRow("none") << QByteArray("{}") << QString();
        QTest::newRow("only secrets") << QByteArray(R"({"password":"s3cret"})") << QString();
    }
    void keysOf()
    {
        QFETCH(QByteArray, object);
        QFETCH(QString, keys);
        QCOMPARE(units::keysOf(QJsonDocument::fromJson(object).object()), keys);
    }

    void lineFormat_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("written");
        QTest::newRow("plain") << u"login  10.77.0.21:8090 -> 200  41 ms"_s
                               << u"login  10.77.0.21:8090 -> 200  41 ms"_s;
        QTest::newRow("line breaks") << u"reply\nsecond\r\nthird"_s << u"reply second  third"_s;
        QTest::newRow("unicode") << u"confirm cancelled  k  Förderband"_s << u"confirm cancelled  k  Förderband"_s;
    }
    void lineFormat()
    {
        QFETCH(QString, text);
        QFETCH(QString, written);
        units::logLine(u"first"_s);
        units::logLine(text);
        const QString content = QString::fromUtf8(readAll(m_log));
        const QStringList lines = content.split(u'\n');
        QCOMPARE(lines.size(), 3); // two lines and the final line break
        QCOMPARE(lines.last(), QString());
        static const QRegularExpression stamp(u"^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}  "_s);
        QVERIFY2(stamp.match(lines.at(1)).hasMatch(), qPrintable(lines.at(1)));
        QCOMPARE(lines.at(1).mid(25), written);
        QVERIFY(lines.at(0).endsWith(u"  first"_s));
    }

    void rotation_data()
    {
        QTest::addColumn<qint64>("existing"); // bytes already in connect.log
        QTest::addColumn<bool>("rotates");
        const qint64 entry = 25 + 10 + 1; // stamp, "  ", the ten-character text, line break
        QTest::newRow("well below") << qint64(1000) << false;
        QTest::newRow("one byte short") << units::kLogRotateBytes - entry - 1 << false;
        QTest::newRow("reaches 1 MiB exactly") << units::kLogRotateBytes - entry << true;
        QTest::newRow("already past") << units::kLogRotateBytes + 10 << true;
    }
    void rotation()
    {
        QFETCH(qint64, existing);
        QFETCH(bool, rotates);
        writeAll(m_log + u".1"_s, "older generation\n");
        writeAll(m_log, QByteArray(existing - 1, 'o') + '\n');
        units::logLine(u"0123456789"_s);
        if (!rotates) {
            QCOMPARE(QFileInfo(m_log).size(), existing + 36);
            QCOMPARE(readAll(m_log + u".1"_s), "older generation\n");
            return;
        }
        // The write that took it to 1 MiB is the last one in the old file...
        QVERIFY(!QFile::exists(m_log));
        const QByteArray old = readAll(m_log + u".1"_s);
        QCOMPARE(old.size(), existing + 36);
        QVERIFY(old.endsWith("  0123456789\n"));
        // ...and the next one starts a fresh log.
        units::logLine(u"next"_s);
        const QByteArray fresh = readAll(m_log);
        QCOMPARE(fresh.count('\n'), 1);
        QVERIFY(fresh.endsWith("  next\n"));
        QCOMPARE(readAll(m_log + u".1"_s), old);
    }

    void tailLines_data()
    {
        QTest::addColumn<QByteArray>("file"); // null: no file
        QTest::addColumn<int>("count");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("missing file") << QByteArray() << 40 << QStringList();
        QTest::newRow("empty file") << QByteArray("") << 40 << QStringList();
        QTest::newRow("fewer than asked") << QByteArray("a\nb\n") << 40 << QStringList{u"a"_s, u"b"_s};
        QTest::newRow("last two") << QByteArray("a\nb\nc\nd\n") << 2 << QStringList{u"c"_s, u"d"_s};
        QTest::newRow("no final line break") << QByteArray("a\nb\nc") << 2 << QStringList{u"b"_s, u"c"_s};
        QTest::newRow("blank line kept") << QByteArray("a\n\nc\n") << 2 << QStringList{QString(), u"c"_s};
        QTest::newRow("CRLF") << QByteArray("a\r\nb\r\n") << 5 << QStringList{u"a"_s, u"b"_s};
        QTest::newRow("count 0") << QByteArray("a\n") << 0 << QStringList();
        QTest::newRow("utf-8") << QByteArray("Förder\n") << 1 << QStringList{u"Förder"_s};
    }
    void tailLines()
    {
        QFETCH(QByteArray, file);
        QFETCH(int, count);
        QFETCH(QStringList, expected);
        const QString path = units::diagnosticsDir() + u"/tail.txt"_s;
        QFile::remove(path);
        if (!file.isNull())
            writeAll(path, file);
        QCOMPARE(units::tailLines(path, count), expected);
    }

    void tailOfTheLog()
    {
        for (int i = 0; i < 50; ++i)
            units::logLine(u"entry %1"_s.arg(i));
        const QStringList tail = units::tailLines(m_log, 40);
        QCOMPARE(tail.size(), 40);
        QVERIFY(tail.first().endsWith(u"  entry 10"_s));
        QVERIFY(tail.last().endsWith(u"  entry 49"_s));
    }

    void lastScreen_data()
    {
        QTest::addColumn<QString>("unitKey");
        QTest::addColumn<QString>("fileName");
        QTest::newRow("no unit") << QString() << u"last-screen-none.json"_s;
        QTest::newRow("unit key") << u"10.77.0.21:8090"_s << u"last-screen-10.77.0.21_8090.json"_s;
        QTest::newRow("odd characters") << u"../x y:1"_s << u"last-screen-.._x_y_1.json"_s;
    }
    void lastScreen()
    {
        QFETCH(QString, unitKey);
        QFETCH(QString, fileName);
        const QString path = units::diagnosticsDir() + u'/' + fileName;
        QCOMPARE(units::lastScreenPath(unitKey), path);
        QFile::remove(path);
        units::saveLastScreen(QJsonObject{{"title"_L1, "one"_L1}}, unitKey);
        units::saveLastScreen(QJsonObject{{"title"_L1, "two"_L1}}, unitKey);
        // The cache is written only when the environment asked for it (main() sets it for this run).
        QCOMPARE(QJsonDocument::fromJson(readAll(path)).object(), (QJsonObject{{"title"_L1, "two"_L1}}));
    }

    void lastScreenOffByDefault()
    {
        const QString path = units::lastScreenPath(u"10.77.0.99:8090"_s);
        QFile::remove(path);
        QProcess child;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.remove(u"KESTRO_DUMP_UI"_s);
        env.insert(u"KESTRO_DIAG_CHILD"_s, u"1"_s);
        child.setProcessEnvironment(env);
        child.start(QCoreApplication::applicationFilePath(), {});
        QVERIFY(child.waitForFinished(60000));
        QCOMPARE(child.exitCode(), 0);
        QVERIFY(!QFile::exists(path));
        // The same child with the switch set does write it, so the check above means something.
        env.insert(u"KESTRO_DUMP_UI"_s, u"1"_s);
        child.setProcessEnvironment(env);
        child.start(QCoreApplication::applicationFilePath(), {});
        QVERIFY(child.waitForFinished(60000));
        QCOMPARE(child.exitCode(), 0);
        QVERIFY(QFile::exists(path));
    }
};

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (qEnvironmentVariableIsSet("KESTRO_DIAG_CHILD")) {
        QStandardPaths::setTestModeEnabled(true);
        units::saveLastScreen(QJsonObject{{"title"_L1, "child"_L1}}, u"10.77.0.99:8090"_s);
        return 0;
    }
    qputenv("KESTRO_DUMP_UI", "1");
    TestDiagLog test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_diaglog.moc"
