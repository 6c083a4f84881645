// The diagnostics log on real files: line format, rotation at 1 MiB, the field helpers that keep
// secrets out of it, tailLines, and the last-screen cache switch.

#include "units/diaglog.h"
#include "unitstest.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

class TestDiagLog final : public QObject
{
    Q_OBJECT

    QString m_log;

private slots:
    void initTestCase()
    {
        testsupport::isolateConfig();
        m_log = units::connectLogPath();
        QCOMPARE(m_log, units::configDir() + u"/diagnostics/connect.log"_s);
    }
    void init()
    {
        QFile::remove(m_log);
        QFile::remove(m_log + u".1"_s);
    }

    void fieldHelpers()
    {
        // shorten: one line, trimmed, then cut to the limit with "..." after.
        QCOMPARE(units::shorten(u"  \n a\nb\r\nc\rd \r\n "_s), u"a b  c d"_s);
        QCOMPARE(units::shorten(u"x"_s.repeated(200)), u"x"_s.repeated(200));
        QCOMPARE(units::shorten(u"  "_s + u"y"_s.repeated(201)), u"y"_s.repeated(200) + u"..."_s);
        QCOMPARE(units::shorten(u"abc"_s, 0), u"..."_s);
        // keysOf: no member whose name hints at a secret or a note, in any case, reaches a log line.
        QCOMPARE(units::keysOf(testsupport::json(R"({"pin":1,"passcode":2,"apiToken":3,"speed":4,"PASSWORD":5,
            "wifi_psk":6,"clientSecret":7,"TokenId":8,"Notes":9,"footnote":10,"bypass":11,"pos":12})")),
                 u"pin,pos,speed"_s);
        QCOMPARE(units::keysOf({}), QString());
    }

    void logLine()
    {
        units::logLine(u"first"_s);
        units::logLine(u"reply\nsecond\r\nthird  Förderband"_s);
        const QStringList lines = QString::fromUtf8(unitstest::readFile(m_log)).split(u'\n');
        QCOMPARE(lines.size(), 3); // two lines and the final line break
        static const QRegularExpression stamp(u"^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}  "_s);
        QVERIFY2(stamp.match(lines.at(1)).hasMatch(), qPrintable(lines.at(1)));
        QCOMPARE(lines.at(0).mid(25), u"first"_s);
        QCOMPARE(lines.at(1).mid(25), u"reply second  third  Förderband"_s);
    }

    void rotation_data()
    {
        QTest::addColumn<qint64>("existing"); // bytes already in connect.log
        QTest::addColumn<bool>("rotates");
        const qint64 entry = 25 + 10 + 1; // stamp, "  ", the ten-character text, line break
        QTest::newRow("one byte short") << units::kLogRotateBytes - entry - 1 << false;
        QTest::newRow("reaches 1 MiB exactly") << units::kLogRotateBytes - entry << true;
    }
    void rotation()
    {
        QFETCH(qint64, existing);
        QFETCH(bool, rotates);
        QVERIFY(unitstest::writeFile(m_log + u".1"_s, "older generation\n"));
        QVERIFY(unitstest::writeFile(m_log, QByteArray(existing - 1, 'o') + '\n'));
        units::logLine(u"0123456789"_s);
        if (!rotates) {
            QCOMPARE(QFileInfo(m_log).size(), existing + 36);
            QCOMPARE(unitstest::readFile(m_log + u".1"_s), "older generation\n");
            return;
        }
        // The write that took it to 1 MiB is the last one in the old file, and the next starts afresh.
        QVERIFY(!QFile::exists(m_log));
        const QByteArray old = unitstest::readFile(m_log + u".1"_s);
        QCOMPARE(old.size(), existing + 36);
        QVERIFY(old.endsWith("  0123456789\n"));
        units::logLine(u"next"_s);
        const QByteArray fresh = unitstest::readFile(m_log);
        QVERIFY(fresh.endsWith("  next\n") && fresh.count('\n') == 1);
        QCOMPARE(unitstest::readFile(m_log + u".1"_s), old);
    }

    void tailLines()
    {
        const QString path = units::diagnosticsDir() + u"/tail.txt"_s;
        const auto tail = [&](const QByteArray &file, int count) {
            return unitstest::writeFile(path, file) ? units::tailLines(path, count) : QStringList{u"unwritten"_s};
        };
        QCOMPARE(units::tailLines(path + u".missing"_s, 40), QStringList());
        QCOMPARE(tail("", 40), QStringList());
        QCOMPARE(tail("a\nb\n", 40), (QStringList{u"a"_s, u"b"_s}));
        QCOMPARE(tail("a\nb\nc", 2), (QStringList{u"b"_s, u"c"_s}));       // no final line break
        QCOMPARE(tail("a\n\nc\r\n", 2), (QStringList{QString(), u"c"_s})); // blank line kept, CR dropped
        QCOMPARE(tail("a\n", 0), QStringList());
        QCOMPARE(tail("Förder\n", 1), QStringList{u"Förder"_s});
    }

    void lastScreen()
    {
        // Named after the unit key made safe for a file name.
        const QString dir = units::diagnosticsDir();
        QCOMPARE(units::lastScreenPath(QString()), dir + u"/last-screen-none.json"_s);
        QCOMPARE(units::lastScreenPath(u"../x y:1"_s), dir + u"/last-screen-.._x_y_1.json"_s);
        const QString path = dir + u"/last-screen-10.77.0.21_8090.json"_s;
        // main() sets KESTRO_DUMP_UI for this run; a child started without it writes nothing.
        units::saveLastScreen(QJsonObject{{"title"_L1, "one"_L1}}, u"10.77.0.21:8090"_s);
        units::saveLastScreen(QJsonObject{{"title"_L1, "two"_L1}}, u"10.77.0.21:8090"_s);
        QCOMPARE(QJsonDocument::fromJson(unitstest::readFile(path)).object(), (QJsonObject{{"title"_L1, "two"_L1}}));
        for (const bool wanted : {false, true}) {
            QFile::remove(path);
            QProcess child;
            QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
            env.remove(u"KESTRO_DUMP_UI"_s);
            if (wanted)
                env.insert(u"KESTRO_DUMP_UI"_s, u"1"_s);
            env.insert(u"KESTRO_DIAG_CHILD"_s, u"1"_s);
            child.setProcessEnvironment(env);
            child.start(QCoreApplication::applicationFilePath(), {});
            QVERIFY(child.waitForFinished(60000) && child.exitCode() == 0);
            QCOMPARE(QFile::exists(path), wanted);
        }
    }
};

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (qEnvironmentVariableIsSet("KESTRO_DIAG_CHILD")) {
        QStandardPaths::setTestModeEnabled(true);
        units::saveLastScreen(QJsonObject{{"title"_L1, "child"_L1}}, u"10.77.0.21:8090"_s);
        return 0;
    }
    qputenv("KESTRO_DUMP_UI", "1");
    TestDiagLog test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_diaglog.moc"
