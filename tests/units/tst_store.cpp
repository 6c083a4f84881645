// The unit store against real files in a private configuration folder: load rules, exact file
// shapes, pins, settings, the commissioning record, and saves that survive a killed process.

#include "unitstest.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

bool writeRaw(const QString &name, const QByteArray &bytes)
{
    return unitstest::writeFile(units::configPath(name), bytes);
}

QByteArray readRaw(const QString &name)
{
    return unitstest::readFile(units::configPath(name));
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
            list[i].unit_id = u"id-%1"_s.arg(i);
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

    void configDirIsCreated()
    {
        const QString dir = units::configDir();
        QVERIFY(QDir(dir).removeRecursively());
        QCOMPARE(units::configPath(u"units.json"_s), dir + u"/units.json"_s);
        QVERIFY(QDir(dir).exists());
    }

    void loadUnits_data()
    {
        QTest::addColumn<QByteArray>("file"); // null: no file
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("missing file") << QByteArray() << QStringList();
        QTest::newRow("not JSON") << QByteArray("[{\"ip\": \"10.0.0.7\"") << QStringList();
        QTest::newRow("object at top") << QByteArray(R"({"ip":"10.0.0.7","port":8090})") << QStringList();
        QTest::newRow("whole unit, stored tls and state ignored")
            << QByteArray(R"([{"name":"a","ip":"10.0.0.7","port":8443,"type":"T","unit_id":"u1","manual":true,
                             "misses":12,"tls":false,"state":{"app":"x"}}])")
            << QStringList{u"10.0.0.7:8443|a|T|u1|12|manual"_s};
        QTest::newRow("first of a key wins, another port is another unit")
            << QByteArray(R"([{"name":"first","ip":"10.0.0.7","port":8090},{"name":"second","ip":"10.0.0.7"},
                             {"name":"third","ip":"10.0.0.7","port":8091}])")
            << QStringList{u"10.0.0.7:8090|first|||0"_s, u"10.0.0.7:8091|third|||0"_s};
        QTest::newRow("ports outside 1..65535 or not numbers read as 8090")
            << QByteArray(R"([{"ip":"a","port":0},{"ip":"b","port":70000},{"ip":"c","port":"8091"},
                             {"ip":"d","port":1},{"ip":"e","port":65535}])")
            << QStringList{u"a:8090||||0"_s, u"b:8090||||0"_s, u"c:8090||||0"_s, u"d:1||||0"_s, u"e:65535||||0"_s};
        QTest::newRow("no ip dropped, wrong types take defaults")
            << QByteArray(R"([1, null, "10.0.0.8", {"name":"x","port":8090}, {"name":"y","ip":""},
                             {"name":5,"ip":"10.0.0.9","type":[],"unit_id":{},"manual":"yes","misses":"4"}])")
            << QStringList{u"10.0.0.9:8090||||0"_s};
    }
    void loadUnits()
    {
        QFETCH(QByteArray, file);
        QFETCH(QStringList, expected);
        if (!file.isNull())
            QVERIFY(writeRaw(u"units.json"_s, file));
        QCOMPARE(unitstest::describe(units::loadUnits()), expected); // never http or online
    }

    void saveUnitsShape()
    {
        QVERIFY(writeRaw(u"units.json"_s, R"([{"name":"north-7","ip":"10.77.0.21","port":8443,"type":"S2",
            "unit_id":"U-1","manual":true,"misses":3}, {"ip":"10.77.0.22"}, {"ip":"10.77.0.22"}, {"name":"no ip"}])"));
        QList<units::Unit> list = units::loadUnits();
        QCOMPARE(list.size(), 2);
        list[0].tls = false; // neither is ever stored
        list[0].state = QJsonObject{{"app"_L1, "x"_L1}};
        units::saveUnits(list);
        const QByteArray file = readRaw(u"units.json"_s);
        QVERIFY2(file.startsWith("[\n    {\n"), file.constData()); // indented
        QCOMPARE(QJsonDocument::fromJson(file).array(),
                 unitstest::jsonArray(R"([{"name":"north-7","ip":"10.77.0.21","port":8443,"type":"S2","unit_id":"U-1",
                                          "manual":true,"misses":3},
                                         {"name":"","ip":"10.77.0.22","port":8090,"type":"","unit_id":"",
                                          "manual":false,"misses":0}])"));
    }

    void pins()
    {
        const QString key = u"10.0.0.7:8090"_s;
        QVERIFY(writeRaw(u"pins.json"_s, "{\"10.0.0.7:8090\": "));
        QCOMPARE(units::pinFor(key), QString()); // corrupt file
        QVERIFY(writeRaw(u"pins.json"_s, R"({"10.0.0.7:8090": 5, "other": "x"})"));
        QCOMPARE(units::pinFor(key), QString()); // not a string
        units::setPin(key, u"ab"_s.repeated(32));
        QCOMPARE(units::pinFor(key), u"ab"_s.repeated(32));
        units::forgetPin(key);
        QCOMPARE(QJsonDocument::fromJson(readRaw(u"pins.json"_s)).object(), (QJsonObject{{"other"_L1, "x"_L1}}));
    }

    void settings()
    {
        QVERIFY(writeRaw(u"settings.json"_s, "{\"theme\": \"Light\""));
        QCOMPARE(units::loadSettings(), QJsonObject());
        QVERIFY(writeRaw(u"settings.json"_s, R"({"theme":"Light","textScale":1.25})"));
        QCOMPARE(units::loadSettings(), (QJsonObject{{"theme"_L1, "Light"_L1}, {"textScale"_L1, 1.25}}));
        units::saveSettings(QJsonObject{{"soundMuted"_L1, true}}); // replaces the whole file
        QCOMPARE(units::loadSettings(), (QJsonObject{{"soundMuted"_L1, true}}));
    }

    void recordCommissioned()
    {
        QVERIFY(writeRaw(u"stats.json"_s, R"({"commissioned":[{"uid":"A","host":"h","at":"x"}],"other":1})"));
        const QJsonArray answers = unitstest::jsonArray(R"([
            {"unit_id":"B","commissioned":false}, {"unit_id":"B","commissioned":"yes"},
            {"unit_id":"B","commissioned":1}, {"unit_id":"B"}, {"unit_id":"A","commissioned":true},
            {"unit_id":"B","hostname":"h1","product":"P","total_count":14,"commissioned":true,"stage":"io"},
            {"unit_id":"B","hostname":"h2","commissioned":true}, {"unit_id":"C","total_count":"14","commissioned":true},
            {"commissioned":true}, {"unit_id":"","commissioned":true}])");
        for (const QJsonValue &a : answers)
            units::recordCommissioned(a.toObject());
        const QJsonObject stats = units::loadStats();
        QCOMPARE(stats.value("other"_L1), QJsonValue(1));
        // Once per uid (an empty one every time), only for a true "commissioned", steps copied as they are.
        QJsonArray entries = stats.value("commissioned"_L1).toArray();
        for (qsizetype i = 1; i < entries.size(); ++i) {
            QJsonObject e = entries.at(i).toObject();
            const QString at = e.take("at"_L1).toString();
            QVERIFY2(QRegularExpression(u"^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d$"_s).match(at).hasMatch(),
                     qPrintable(at));
            entries[i] = e;
        }
        QCOMPARE(entries, unitstest::jsonArray(R"([{"uid":"A","host":"h","at":"x"},
                                        {"uid":"B","host":"h1","product":"P","steps":14},
                                        {"uid":"C","host":"","product":"","steps":"14"},
                                        {"uid":"","host":"","product":"","steps":null},
                                        {"uid":"","host":"","product":"","steps":null}])"));
    }

    void writeJsonFileFailsQuietly()
    {
        const QString path = units::configDir() + u"/no/such/folder/x.json"_s;
        QVERIFY(!units::writeJsonFile(path, QJsonDocument(QJsonObject{{"a"_L1, 1}})));
        QVERIFY(!QFile::exists(path));
        QVERIFY(units::readJsonFile(path).isNull());
    }

    void killedWhileSaving_data()
    {
        QTest::addColumn<int>("savesBeforeKill");
        QTest::newRow("first save") << 1;
        QTest::newRow("many saves") << 40;
    }
    void killedWhileSaving()
    {
        QFETCH(int, savesBeforeKill);
        QProcess child;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"KESTRO_SAVE_LOOP"_s, u"1"_s);
        child.setProcessEnvironment(env);
        child.start(QCoreApplication::applicationFilePath(), {});
        QVERIFY(child.waitForStarted());
        for (int saves = 0; saves < savesBeforeKill;) {
            QVERIFY2(child.waitForReadyRead(30000), "the saving child stopped talking");
            saves += int(child.readAll().count("saved\n"));
        }
        ::kill(pid_t(child.processId()), SIGKILL);
        QVERIFY(child.waitForFinished());

        // Whatever the moment of the kill, units.json is one whole list or the other.
        const QList<units::Unit> loaded = units::loadUnits();
        QVERIFY2(loaded.size() == 250 || loaded.size() == 400, qPrintable(QString::number(loaded.size())));
        QCOMPARE(unitstest::jsonArray(readRaw(u"units.json"_s)).size(), loaded.size());
        QCOMPARE(loaded.last().name, u"shuttle-%1-%2"_s.arg(loaded.size() == 400 ? 1 : 0).arg(loaded.size() - 1));
    }
};

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (qEnvironmentVariableIsSet("KESTRO_SAVE_LOOP"))
        return saveLoop();
    TestStore test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_store.moc"
