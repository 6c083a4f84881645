// What an installer can set in installation.json, and what a malformed entry leaves alone.

#include "app/base/installation.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class TestInstallation final : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

private slots:
    void readsOverBuiltIns_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("email");
        QTest::addColumn<QString>("base");
        const QString builtInEmail = app::readInstallation(u"/nonexistent"_s).supportEmail;
        const QString builtInBase = app::readInstallation(u"/nonexistent"_s).releaseBase.toString();
        // (moc reads "//" inside raw strings as a comment, hence the escaped quotes.)
        QTest::newRow("both set") << QByteArray("{\"supportEmail\":\"help@site.example\","
                                                "\"releaseBase\":\"https://r.example/kc/\"}")
                                  << u"help@site.example"_s << u"https://r.example/kc/"_s;
        QTest::newRow("folder without its slash")
            << QByteArray("{\"releaseBase\":\"https://r.example/kc\"}") << builtInEmail << u"https://r.example/kc/"_s;
        QTest::newRow("plain http refused")
            << QByteArray("{\"releaseBase\":\"http://r.example/kc/\"}") << builtInEmail << builtInBase;
        QTest::newRow("wrong types") << QByteArray("{\"supportEmail\":7,\"releaseBase\":[\"https://x/\"]}")
                                     << builtInEmail << builtInBase;
        QTest::newRow("not an address") << QByteArray("{\"supportEmail\":\"nobody\"}") << builtInEmail << builtInBase;
        QTest::newRow("not JSON") << QByteArray("{supportEmail") << builtInEmail << builtInBase;
    }

    void readsOverBuiltIns()
    {
        QFETCH(QByteArray, file);
        QFETCH(QString, email);
        QFETCH(QString, base);
        const QString path = m_dir.filePath(u"installation.json"_s);
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(file);
        f.close();
        const app::Installation in = app::readInstallation(path);
        QCOMPARE(in.supportEmail, email);
        QCOMPARE(in.releaseBase.toString(), base);
        QVERIFY(in.releaseBase.scheme() == "https"_L1 && in.releaseBase.path().endsWith(u'/'));
    }
};

QTEST_GUILESS_MAIN(TestInstallation)
#include "tst_installation.moc"
