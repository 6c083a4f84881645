// The unit store against real files in a private configuration folder: load rules, exact file
// shapes, pins, settings, the commissioning record, and saves that survive a killed process.

#include "privatehome.h"
#include "units/store.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

QString describe(const units::Unit &u)
{
    return u"%1 name=%2 type=%3 id=%4%5 misses=%6%7%8"_s
        .arg(u.key(), u.name, u.type, u.unit_id, u.manual ? u" manual"_s : QString())
        .arg(u.misses)
        .arg(u.tls ? u" tls"_s : u" http"_s, u.online() ? u" online"_s : u" offline"_s);
}

QStringList describe(const QList<units::Unit> &list)
{
    QStringList out;
    for (const units::Unit &u : list)
        out << describe(u);
    return out;
}

void writeRaw(const QString &name, const QByteArray &bytes)
{
    QFile f(units::configPath(name));
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(bytes);
}

QByteArray readRaw(const QString &name)
{
    QFile f(units::configPath(name));
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Two unit lists of different lengths, so a torn write could never pass for either of them.
QList<units::Unit> saveLoopList(int generation)
{
    QList<units::Unit> list;
    const int count = generation % 2 ? 400 : 250;
    for (int i = 0; i < count; ++i) {
        units::Unit u;
        u.name = u"shuttle-%1-%2"_s.arg(generation % 2).arg(i);
        u.ip = u"10.0.%1.%2"_s.arg(i / 250).arg(i % 250 + 1);
        u.unit_id = u"id-%1"_s.arg(i);
        list << u;
    }
    return list;
}

// Child mode: save forever and say so after each save, until the parent kills us.
int saveLoop()
{
    QStandardPaths::setTestModeEnabled(true);
    for (int generation = 0;; ++generation) {
        units::saveUnits(saveLoopList(generation));
        fputs("saved\n", stdout);
        fflush(stdout);
    }
}

} // namespace

class TestStore final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { unitstest::privateHome(); }
    void init()
    {
        for (const char *name : {"units.json", "pins.json", "settings.json", "stats.json"})
            QFile::remove(units::configPath(QString::fromLatin1(name)));
    }

    void configDirIsCreated()
    {
        const QString dir = units::configDir();
        QVERIFY(QDir(dir).removeRecursively());
        QVERIFY(!QDir(dir).exists());
        QCOMPARE(units::configDir(), dir);
        QVERIFY(QDir(dir).exists());
        QCOMPARE(units::configPath(u"units.json"_s), dir + u"/units.json"_s);
    }

    void unitKey_data()
    {
        QTest::addColumn<QString>("ip");
        QTest::addColumn<int>("port");
        QTest::addColumn<QString>("key");
        QTest::newRow("plain") << u"192.168.4.21"_s << 8090 << u"192.168.4.21:8090"_s;
        QTest::newRow("short port") << u"10.0.0.7"_s << 80 << u"10.0.0.7:80"_s;
        QTest::newRow("zero port") << u"10.0.0.7"_s << 0 << u"10.0.0.7:0"_s;
    }
    void unitKey()
    {
        QFETCH(QString, ip);
        QFETCH(int, port);
        QFETCH(QString, key);
        QCOMPARE(units::unitKey(ip, port), key);
        units::Unit u;
        u.ip = ip;
        u.port = port;
        QCOMPARE(u.key(), key);
    }

    void loadUnits_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QStringList>("expected");
        const QString a = u"10.0.0.7:8090 name=a type=T id=u1 misses=0 tls offline"_s;
        QTest::newRow("missing file") << QByteArray() << QStringList();
        QTest::newRow("not JSON") << QByteArray("[{\"ip\": \"10.0.0.7\"") << QStringList();
        QTest::newRow("object at top") << QByteArray(R"({"ip":"10.0.0.7","port":8090})") << QStringList();
        QTest::newRow("whole unit")
            << QByteArray(
                   R"([{"name":"a","ip":"10.0.0.7","port":8090,"type":"T","unit_id":"u1","manual":false,"misses":0}])")
            << QStringList{a};
        QTest::newRow("manual with misses")
            << QByteArray(R"([{"ip":"10.0.0.8","port":9000,"manual":true,"misses":12}])")
            << QStringList{u"10.0.0.8:9000 name= type= id= manual misses=12 tls offline"_s};
        QTest::newRow("duplicate key, first wins")
            << QByteArray(R"([{"name":"first","ip":"10.0.0.7","port":8090},{"name":"second","ip":"10.0.0.7"}])")
            << QStringList{u"10.0.0.7:8090 name=first type= id= misses=0 tls offline"_s};
        QTest::newRow("same ip, other port")
            << QByteArray(R"([{"ip":"10.0.0.7","port":8090},{"ip":"10.0.0.7","port":8091}])")
            << QStringList{u"10.0.0.7:8090 name= type= id= misses=0 tls offline"_s,
                           u"10.0.0.7:8091 name= type= id= misses=0 tls offline"_s};
        QTest::newRow("bad ports read as 8090")
            << QByteArray(R"([{"ip":"a","port":0},{"ip":"b","port":70000},{"ip":"c","port":"8091"},{"ip":"d"}])")
            << QStringList{
                   u"a:8090 name= type= id= misses=0 tls offline"_s, u"b:8090 name= type= id= misses=0 tls offline"_s,
                   u"c:8090 name= type= id= misses=0 tls offline"_s, u"d:8090 name= type= id= misses=0 tls offline"_s};
        QTest::newRow("port limits kept") << QByteArray(R"([{"ip":"a","port":1},{"ip":"b","port":65535}])")
                                          << QStringList{u"a:1 name= type= id= misses=0 tls offline"_s,
                                                         u"b:65535 name= type= id= misses=0 tls offline"_s};
        QTest::newRow("no ip or empty ip dropped")
            << QByteArray(R"([{"name":"x","port":8090},{"name":"y","ip":""},{"name":"z","ip":"10.0.0.9"}])")
            << QStringList{u"10.0.0.9:8090 name=z type= id= misses=0 tls offline"_s};
        QTest::newRow("wrong types take defaults")
            << QByteArray(R"([{"name":5,"ip":"10.0.0.7","type":[],"unit_id":{},"manual":"yes","misses":"4"}])")
            << QStringList{u"10.0.0.7:8090 name= type= id= misses=0 tls offline"_s};
        QTest::newRow("non-object elements skipped")
            << QByteArray(R"([1, "10.0.0.7", null, {"ip":"10.0.0.7"}])")
            << QStringList{u"10.0.0.7:8090 name= type= id= misses=0 tls offline"_s};
        QTest::newRow("stored tls and state ignored")
            << QByteArray(R"([{"ip":"10.0.0.7","tls":false,"state":{"app":"x"}}])")
            << QStringList{u"10.0.0.7:8090 name= type= id= misses=0 tls offline"_s};
    }
    void loadUnits()
    {
        QFETCH(QByteArray, file);
        QFETCH(QStringList, expected);
        if (!file.isNull())
            writeRaw(u"units.json"_s, file);
        QCOMPARE(describe(units::loadUnits()), expected);
    }

    void saveUnitsShape()
    {
        units::Unit a;
        a.name = u"north-7"_s;
        a.ip = u"10.77.0.21"_s;
        a.port = 8443;
        a.type = u"S2"_s;
        a.unit_id = u"U-1"_s;
        a.manual = true;
        a.misses = 3;
        a.tls = false;
        a.state = QJsonObject{{"app"_L1, "x"_L1}};
        units::Unit b;
        b.ip = u"10.77.0.22"_s;
        units::saveUnits({a, b});

        const QJsonArray array = QJsonDocument::fromJson(readRaw(u"units.json"_s)).array();
        QCOMPARE(array.size(), 2);
        const QJsonObject first = array.at(0).toObject();
        QStringList keys = first.keys();
        keys.sort();
        QCOMPARE(keys, (QStringList{u"ip"_s, u"manual"_s, u"misses"_s, u"name"_s, u"port"_s, u"type"_s, u"unit_id"_s}));
        QCOMPARE(first.value("port"_L1).toInt(), 8443);
        QCOMPARE(first.value("manual"_L1).toBool(), true);
        QCOMPARE(first.value("misses"_L1).toInt(), 3);
        QCOMPARE(array.at(1).toObject().value("ip"_L1).toString(), u"10.77.0.22"_s);

        // Read back: tls and state are not stored, everything else is.
        QCOMPARE(describe(units::loadUnits()),
                 (QStringList{u"10.77.0.21:8443 name=north-7 type=S2 id=U-1 manual misses=3 tls offline"_s,
                              u"10.77.0.22:8090 name= type= id= misses=0 tls offline"_s}));
    }

    void droppedEntryLeavesOnNextSave()
    {
        writeRaw(u"units.json"_s, R"([{"name":"gone"},{"ip":"10.0.0.7"},{"ip":"10.0.0.7"}])");
        units::saveUnits(units::loadUnits());
        const QJsonArray array = QJsonDocument::fromJson(readRaw(u"units.json"_s)).array();
        QCOMPARE(array.size(), 1);
        QCOMPARE(array.at(0).toObject().value("ip"_L1).toString(), u"10.0.0.7"_s);
    }

    void pins_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QString>("pinBefore");
        QTest::addColumn<QString>("otherAfterSet");
        const QString fp = u"ab"_s.repeated(32);
        QTest::newRow("no file") << QByteArray() << QString() << QString();
        QTest::newRow("corrupt file") << QByteArray("{\"10.0.0.7:8090\": ") << QString() << QString();
        QTest::newRow("array file") << QByteArray("[\"10.0.0.7:8090\"]") << QString() << QString();
        QTest::newRow("not a string") << QByteArray(R"({"10.0.0.7:8090": 5, "10.0.0.8:8090": "cd"})") << QString()
                                      << u"cd"_s;
        QTest::newRow("pinned") << QByteArray("{\"10.0.0.7:8090\": \"" + fp.toLatin1() + "\", \"other\": \"x\"}") << fp
                                << u"x"_s;
    }
    void pins()
    {
        QFETCH(QByteArray, before);
        QFETCH(QString, pinBefore);
        QFETCH(QString, otherAfterSet);
        if (!before.isNull())
            writeRaw(u"pins.json"_s, before);
        const QString key = u"10.0.0.7:8090"_s;
        QCOMPARE(units::pinFor(key), pinBefore);

        const QString fresh = u"0123456789abcdef"_s.repeated(4);
        units::setPin(key, fresh);
        QCOMPARE(units::pinFor(key), fresh);
        const QJsonObject pins = QJsonDocument::fromJson(readRaw(u"pins.json"_s)).object();
        QCOMPARE(pins.value(key).toString(), fresh);
        // Other members survive a set, whatever their key.
        const QString other =
            pins.contains("other"_L1) ? pins.value("other"_L1).toString() : pins.value("10.0.0.8:8090"_L1).toString();
        QCOMPARE(other, otherAfterSet);

        units::forgetPin(key);
        QCOMPARE(units::pinFor(key), QString());
        QVERIFY(!QJsonDocument::fromJson(readRaw(u"pins.json"_s)).object().contains(key));
    }

    void forgetPinWritesTheFile()
    {
        units::forgetPin(u"10.0.0.7:8090"_s);
        QCOMPARE(QJsonDocument::fromJson(readRaw(u"pins.json"_s)).object(), QJsonObject());
        QVERIFY(QFile::exists(units::configPath(u"pins.json"_s)));
    }

    void settings_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QJsonObject>("expected");
        QTest::newRow("missing") << QByteArray() << QJsonObject();
        QTest::newRow("corrupt") << QByteArray("{\"theme\": \"Light\"") << QJsonObject();
        QTest::newRow("array") << QByteArray("[1,2]") << QJsonObject();
        QTest::newRow("object") << QByteArray(R"({"theme":"Light","textScale":1.25})")
                                << QJsonObject{{"theme"_L1, "Light"_L1}, {"textScale"_L1, 1.25}};
    }
    void settings()
    {
        QFETCH(QByteArray, file);
        QFETCH(QJsonObject, expected);
        if (!file.isNull())
            writeRaw(u"settings.json"_s, file);
        QCOMPARE(units::loadSettings(), expected);
        // A save replaces the whole file.
        const QJsonObject next{{"soundMuted"_L1, true}};
        units::saveSettings(next);
        QCOMPARE(units::loadSettings(), next);
    }

    void recordCommissioned_data()
    {
        QTest::addColumn<QByteArray>("statsBefore");
        QTest::addColumn<QList<QJsonObject>>("answers");
        QTest::addColumn<QStringList>("uids"); // of the recorded entries, in order

        const auto answer = [](const char *text) { return testsupport::json(text); };
        QTest::newRow("not commissioned")
            << QByteArray() << QList<QJsonObject>{answer(R"({"unit_id":"A","commissioned":false})")} << QStringList();
        QTest::newRow("string yes is not true")
            << QByteArray() << QList<QJsonObject>{answer(R"({"unit_id":"A","commissioned":"yes"})")} << QStringList();
        QTest::newRow("number 1 is not true")
            << QByteArray() << QList<QJsonObject>{answer(R"({"unit_id":"A","commissioned":1})")} << QStringList();
        QTest::newRow("recorded once per uid") << QByteArray()
                                               << QList<QJsonObject>{answer(R"({"unit_id":"A","commissioned":true})"),
                                                                     answer(R"({"unit_id":"B","commissioned":true})"),
                                                                     answer(R"({"unit_id":"A","commissioned":true})")}
                                               << QStringList{u"A"_s, u"B"_s};
        QTest::newRow("empty uid recorded every time")
            << QByteArray()
            << QList<QJsonObject>{answer(R"({"commissioned":true})"), answer(R"({"unit_id":"","commissioned":true})")}
            << QStringList{QString(), QString()};
        QTest::newRow("existing record kept")
            << QByteArray(R"({"commissioned":[{"uid":"A","host":"h","product":"p","steps":3,"at":"x"}],"other":1})")
            << QList<QJsonObject>{answer(R"({"unit_id":"A","commissioned":true})"),
                                  answer(R"({"unit_id":"C","commissioned":true})")}
            << QStringList{u"A"_s, u"C"_s};
        QTest::newRow("corrupt stats start afresh")
            << QByteArray("{\"commissioned\": [")
            << QList<QJsonObject>{answer(R"({"unit_id":"A","commissioned":true})")} << QStringList{u"A"_s};
    }
    void recordCommissioned()
    {
        QFETCH(QByteArray, statsBefore);
        QFETCH(QList<QJsonObject>, answers);
        QFETCH(QStringList, uids);
        if (!statsBefore.isNull())
            writeRaw(u"stats.json"_s, statsBefore);
        for (const QJsonObject &a : answers)
            units::recordCommissioned(a);
        const QJsonArray entries = units::loadStats().value("commissioned"_L1).toArray();
        QStringList got;
        for (const QJsonValue &e : entries)
            got << e.toObject().value("uid"_L1).toString();
        QCOMPARE(got, uids);
    }

    void commissionedEntryShape_data()
    {
        QTest::addColumn<QJsonObject>("answer");
        QTest::addColumn<QJsonValue>("steps");
        QTest::newRow("number") << testsupport::json(R"({"unit_id":"A","hostname":"h1","product":"P","total_count":14,
                                                        "commissioned":true})")
                                << QJsonValue(14);
        QTest::newRow("text copied as it is")
            << testsupport::json(R"({"unit_id":"A","hostname":"h1","product":"P","total_count":"14",
                                   "commissioned":true})")
            << QJsonValue(u"14"_s);
        QTest::newRow("absent") << testsupport::json(R"({"unit_id":"A","hostname":"h1","product":"P",
                                                        "commissioned":true})")
                                << QJsonValue(QJsonValue::Null);
    }
    void commissionedEntryShape()
    {
        QFETCH(QJsonObject, answer);
        QFETCH(QJsonValue, steps);
        units::recordCommissioned(answer);
        const QJsonObject entry = units::loadStats().value("commissioned"_L1).toArray().at(0).toObject();
        QStringList keys = entry.keys();
        keys.sort();
        QCOMPARE(keys, (QStringList{u"at"_s, u"host"_s, u"product"_s, u"steps"_s, u"uid"_s}));
        QCOMPARE(entry.value("uid"_L1).toString(), u"A"_s);
        QCOMPARE(entry.value("host"_L1).toString(), u"h1"_s);
        QCOMPARE(entry.value("product"_L1).toString(), u"P"_s);
        QCOMPARE(entry.value("steps"_L1), steps);
        const QString at = entry.value("at"_L1).toString();
        QVERIFY2(QRegularExpression(u"^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d$"_s).match(at).hasMatch(),
                 qPrintable(at));
    }

    void writeJsonFileFailsQuietly()
    {
        const QString path = units::configDir() + u"/no/such/folder/x.json"_s;
        QVERIFY(!units::writeJsonFile(path, QJsonDocument(QJsonObject{{"a"_L1, 1}})));
        QVERIFY(!QFile::exists(path));
        QCOMPARE(units::readJsonFile(path).isNull(), true);
    }

    void killedWhileSaving_data()
    {
        QTest::addColumn<int>("savesBeforeKill");
        QTest::newRow("first save") << 1;
        QTest::newRow("a few saves") << 3;
        QTest::newRow("many saves") << 12;
        QTest::newRow("more saves") << 40;
    }
    void killedWhileSaving()
    {
        QFETCH(int, savesBeforeKill);
        QProcess child;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"KESTRO_SAVE_LOOP"_s, u"1"_s);
        child.setProcessEnvironment(env);
        child.setProcessChannelMode(QProcess::SeparateChannels);
        child.start(QCoreApplication::applicationFilePath(), {});
        QVERIFY(child.waitForStarted());
        int saves = 0;
        while (saves < savesBeforeKill) {
            QVERIFY2(child.waitForReadyRead(30000), "the saving child stopped talking");
            saves += int(child.readAll().count("saved\n"));
        }
        ::kill(pid_t(child.processId()), SIGKILL);
        QVERIFY(child.waitForFinished());

        // Whatever the moment of the kill, units.json is one whole list or the other.
        const QList<units::Unit> loaded = units::loadUnits();
        QVERIFY2(loaded.size() == 250 || loaded.size() == 400, qPrintable(QString::number(loaded.size())));
        const QJsonArray raw = QJsonDocument::fromJson(readRaw(u"units.json"_s)).array();
        QCOMPARE(raw.size(), loaded.size());
        QCOMPARE(loaded.last().name, u"shuttle-%1-%2"_s.arg(loaded.size() == 400 ? 1 : 0).arg(loaded.size() - 1));
    }
};

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsSet("KESTRO_SAVE_LOOP")) {
        QCoreApplication app(argc, argv);
        return saveLoop();
    }
    QCoreApplication app(argc, argv);
    TestStore test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_store.moc"
