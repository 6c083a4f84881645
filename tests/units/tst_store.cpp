// The units layer without a network, on real files in a private configuration folder: the store's
// load rules and file shapes, saves that survive a killed process, what discovery makes of answers
// and sweeps, and the diagnostics log.

#include "support/testsupport.h"
#include "units/diaglog.h"
#include "units/discovery.h"
#include "units/store.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

using testsupport::readFile;
using testsupport::writeFile;

// "key|name|type|unit_id|misses" per unit, then "|manual", "|http" and "|online" where they apply.
QStringList describe(const QList<units::Unit> &list)
{
    QStringList out;
    for (const units::Unit &u : list)
        out << QStringList{u.key(), u.name, u.type, u.unit_id, QString::number(u.misses)}.join(u'|') +
                   (u.manual ? "|manual"_L1 : ""_L1) + (u.tls ? ""_L1 : "|http"_L1) +
                   (u.online() ? "|online"_L1 : ""_L1);
    return out;
}

bool writeRaw(const QString &name, const QByteArray &bytes)
{
    return writeFile(units::configPath(name), bytes);
}

// Child mode: save two lists of different lengths in turn (so a torn write could pass for neither),
// saying so after each save, until the parent kills us.
int saveLoop()
{
    QStandardPaths::setTestModeEnabled(true);
    for (int generation = 0;; ++generation) {
        QList<units::Unit> list(generation % 2 ? 400 : 250);
        for (int i = 0; i < list.size(); ++i) {
            list[i].name = u"shuttle-%1-%2"_s.arg(generation % 2).arg(i);
            list[i].ip = u"10.0.%1.%2"_s.arg(i / 250).arg(i % 250 + 1);
        }
        units::saveUnits(list);
        fputs("saved\n", stdout);
        fflush(stdout);
    }
}

} // namespace

class TestStore final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }
    void init()
    {
        for (const char *name : {"units.json", "pins.json", "settings.json", "stats.json"})
            QFile::remove(units::configPath(QString::fromLatin1(name)));
    }

    void loadUnits_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("not JSON") << QByteArray("[{\"ip\": \"10.0.0.7\"") << QStringList();
        QTest::newRow("first of a key wins, another port is another unit, stored tls ignored")
            << QByteArray(
                   R"([{"name":"first","ip":"10.0.0.7","port":8090,"tls":false},{"name":"second","ip":"10.0.0.7"},
                             {"name":"third","ip":"10.0.0.7","port":8091,"type":"T","unit_id":"u1","manual":true,"misses":12}])")
            << QStringList{u"10.0.0.7:8090|first|||0"_s, u"10.0.0.7:8091|third|T|u1|12|manual"_s};
        QTest::newRow("no ip dropped, a port out of range takes the default")
            << QByteArray(R"([1, {"name":"x"}, {"name":"y","ip":""}, {"ip":"a","port":70000}])")
            << QStringList{u"a:8090||||0"_s};
    }
    void loadUnits()
    {
        QFETCH(QByteArray, file);
        QFETCH(QStringList, expected);
        QVERIFY(writeRaw(u"units.json"_s, file));
        QCOMPARE(describe(units::loadUnits()), expected); // never http or online
    }

    void savedFiles()
    {
        QList<units::Unit> list(1);
        list[0].ip = u"10.77.0.21"_s;
        list[0].manual = true;
        list[0].tls = false; // neither tls nor state is ever stored
        list[0].state = QJsonObject{{"app"_L1, "x"_L1}};
        units::saveUnits(list);
        const QByteArray file = readFile(units::configPath(u"units.json"_s));
        QCOMPARE(QJsonDocument::fromJson(file).array(),
                 QJsonDocument::fromJson(
                     R"([{"name":"","ip":"10.77.0.21","port":8090,"type":"","unit_id":"","manual":true,"misses":0}])")
                     .array());
        // A corrupt file reads as empty; a pin that is not a string is no pin; forgetting keeps the rest.
        QVERIFY(writeRaw(u"settings.json"_s, "{\"theme\": \"Light\""));
        QCOMPARE(units::loadSettings(), QJsonObject());
        QVERIFY(writeRaw(u"pins.json"_s, R"({"10.0.0.7:8090": 5, "other": "x"})"));
        QCOMPARE(units::pinFor(u"10.0.0.7:8090"_s), QString());
        units::forgetPin(u"10.0.0.7:8090"_s);
        QCOMPARE(QJsonDocument::fromJson(readFile(units::configPath(u"pins.json"_s))).object(),
                 (QJsonObject{{"other"_L1, "x"_L1}}));
    }

    void killedWhileSaving()
    {
        QProcess child;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"KESTRO_SAVE_LOOP"_s, u"1"_s);
        child.setProcessEnvironment(env);
        child.start(QCoreApplication::applicationFilePath(), {});
        QVERIFY(child.waitForStarted());
        for (int saves = 0; saves < 40;) {
            QVERIFY2(child.waitForReadyRead(30000), "the saving child stopped talking");
            saves += int(child.readAll().count("saved\n"));
        }
        ::kill(pid_t(child.processId()), SIGKILL);
        QVERIFY(child.waitForFinished());
        // Whatever the moment of the kill, units.json is one whole list or the other.
        const QList<units::Unit> loaded = units::loadUnits();
        QVERIFY2(loaded.size() == 250 || loaded.size() == 400, qPrintable(QString::number(loaded.size())));
        QCOMPARE(loaded.last().name, u"shuttle-%1-%2"_s.arg(loaded.size() == 400 ? 1 : 0).arg(loaded.size() - 1));
    }

    void mergeSweep_data()
    {
        QTest::addColumn<QByteArray>("before"); // units.json
        QTest::addColumn<QByteArray>("sweeps"); // [[[sender, answer], ...], ...], one list per sweep
        QTest::addColumn<QStringList>("after");
        QTest::newRow("new units; an old unit_id forgotten, tls absent back to https")
            << QByteArray(R"([{"ip":"10.77.0.22","unit_id":"OLD"}])")
            << QByteArray(R"([[["10.77.0.21",{"hostname":"n7","unit_id":"U7","product":"S2","port":8443,"tls":false}],
                             ["10.77.0.22",{"hostname":"b","tls":false}]], [["10.77.0.22",{"hostname":"b"}]]])")
            << QStringList{u"10.77.0.22:8090|b|||0|online"_s, u"10.77.0.21:8443|n7|S2|U7|1|http"_s};
        QTest::newRow("followed by unit_id to a new address, empty names kept, silent one misses")
            << QByteArray(R"([{"ip":"10.77.0.21","name":"old","type":"S1","unit_id":"U","misses":4},
                             {"ip":"10.77.0.30","unit_id":"V"}])")
            << QByteArray(R"([[["10.77.0.40",{"hostname":"","product":"","unit_id":"U","port":9000}]]])")
            << QStringList{u"10.77.0.40:9000|old|S1|U|0|online"_s, u"10.77.0.30:8090|||V|1"_s};
    }
    void mergeSweep()
    {
        QFETCH(QByteArray, before);
        QFETCH(QByteArray, sweeps);
        QFETCH(QStringList, after);
        QVERIFY(writeRaw(u"units.json"_s, before));
        QList<units::Unit> list = units::loadUnits();
        for (const QJsonValue &sweep : QJsonDocument::fromJson(sweeps).array()) {
            units::Discovery::Found found;
            for (const QJsonValue &pair : sweep.toArray())
                found.append({pair[0].toString(), pair[1].toObject()});
            units::mergeSweep(list, found);
        }
        QCOMPARE(describe(list), after);
    }

    // A discovered unit goes on its 31st silent sweep, a manual one never; a commissioned unit that
    // keeps answering is recorded once.
    void agingOut()
    {
        QList<units::Unit> list(2);
        list[0].ip = u"10.77.0.21"_s;
        list[1].ip = u"10.77.0.22"_s;
        list[1].manual = true;
        QVERIFY(writeRaw(u"stats.json"_s, R"({"commissioned":[{"uid":"A"}],"other":1})"));
        const units::Discovery::Found other{{u"10.77.0.99"_s, testsupport::json(R"({"hostname":"o","unit_id":"O",
            "product":"P","total_count":9,"commissioned":true})")}};
        for (int i = 0; i < 30; ++i)
            units::mergeSweep(list, other);
        QCOMPARE(describe(list).join(u' '), u"10.77.0.21:8090||||30 10.77.0.22:8090||||30|manual "
                                            u"10.77.0.99:8090|o|P|O|0|online"_s);
        units::mergeSweep(list, other);
        QCOMPARE(describe(list).join(u' '), u"10.77.0.22:8090||||31|manual 10.77.0.99:8090|o|P|O|0|online"_s);
        const QJsonArray entries = units::loadStats().value("commissioned"_L1).toArray();
        QCOMPARE(entries.size(), 2);
        QCOMPARE(entries.at(1).toObject().value("uid"_L1), QJsonValue(u"O"_s));
    }

    void logLineAndRotation()
    {
        const QString log = units::connectLogPath();
        QCOMPARE(log, units::configDir() + u"/diagnostics/connect.log"_s);
        QFile::remove(log);
        units::logLine(u"reply\nsecond\r\nthird  Förderband"_s);
        const QString line = QString::fromUtf8(readFile(log));
        static const QRegularExpression stamp(u"^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}  "_s);
        QVERIFY2(stamp.match(line).hasMatch(), qPrintable(line));
        QCOMPARE(line.mid(25), u"reply second  third  Förderband\n"_s);

        // The write that takes it to 1 MiB is the last one in the old file, and the next starts afresh.
        const qint64 existing = units::kLogRotateBytes - 36; // 36: stamp, "  ", ten characters, line break
        for (const bool rotates : {false, true}) {
            QVERIFY(writeFile(log + u".1"_s, "older generation\n"));
            QVERIFY(writeFile(log, QByteArray(existing - (rotates ? 1 : 2), 'o') + '\n'));
            units::logLine(u"0123456789"_s);
            QCOMPARE(QFile::exists(log), !rotates);
            QCOMPARE(readFile(log + u".1"_s).endsWith("  0123456789\n"), rotates);
        }
        units::logLine(u"next"_s);
        QVERIFY(readFile(log).endsWith("  next\n"));
        QCOMPARE(QFileInfo(log + u".1"_s).size(), units::kLogRotateBytes);
    }

    void logHelpers()
    {
        // The last screen dump is named after the unit key made safe for a file name; main() turns it on.
        const QString dump = units::diagnosticsDir() + u"/last-screen-.._x_y_1.json"_s;
        QCOMPARE(units::lastScreenPath(u"../x y:1"_s), dump);
        units::saveLastScreen(QJsonObject{{"title"_L1, "two"_L1}}, u"../x y:1"_s);
        QCOMPARE(QJsonDocument::fromJson(readFile(dump)).object(), (QJsonObject{{"title"_L1, "two"_L1}}));
        QCOMPARE(units::shorten(u"  \n a\nb\r\nc\rd \r\n "_s), u"a b  c d"_s);
        QCOMPARE(units::shorten(u"  "_s + u"y"_s.repeated(201)),
                 u"y"_s.repeated(200) +
                     u"..."_s); // No member whose name hints at a secret or a note, in any case, reaches a log line.
        QCOMPARE(units::keysOf(testsupport::json(R"({"pin":1,"passcode":2,"apiToken":3,"speed":4,"PASSWORD":5,
            "wifi_psk":6,"clientSecret":7,"TokenId":8,"Notes":9,"footnote":10,"bypass":11,"pos":12})")),
                 u"pin,pos,speed"_s);
    }
};

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (qEnvironmentVariableIsSet("KESTRO_SAVE_LOOP"))
        return saveLoop();
    qputenv("KESTRO_DUMP_UI", "1");
    TestStore test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_store.moc"
