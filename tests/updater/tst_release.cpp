// The rules that need no server: the version order and what a manifest offers this platform.

#include "support/testsupport.h"
#include "updater/release.h"

#include <QTest>

using namespace Qt::StringLiterals;

class TestRelease final : public QObject
{
    Q_OBJECT

private slots:
    void versionOrder_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<int>("order"); // of a against b
        QTest::newRow("minor 10 after 9") << u"8.10"_s << u"8.9.13"_s << 1;
        QTest::newRow("missing component is 0") << u"8.9.13.0"_s << u"8.9.13"_s << 0;
        QTest::newRow("fourth component counts") << u"8.9.13.1"_s << u"8.9.13"_s << 1;
        QTest::newRow("older patch") << u"8.9.12"_s << u"8.9.13"_s << -1;
        QTest::newRow("build suffix left out") << u"8.9.13"_s << u"8.9.13+cdcc16b"_s << 0;
        QTest::newRow("suffixes never order") << u"8.9.13+zzz"_s << u"8.9.13+aaa"_s << 0;
        QTest::newRow("suffix after a newer version") << u"8.9.14+0a1"_s << u"8.9.13+cdcc16b"_s << 1;
        QTest::newRow("non-numeric is 0") << u"8.x.14"_s << u"8.0.13"_s << 1;
        QTest::newRow("pre-release tag is non-numeric") << u"8.9.13-rc1"_s << u"8.9.13"_s << -1;
        QTest::newRow("signs are not digits") << u"8.-1"_s << u"8.0"_s << 0;
        QTest::newRow("major decides") << u"9"_s << u"8.99.99"_s << 1;
        QTest::newRow("beyond 32 bits") << u"8.99999999999"_s << u"8.4294967296"_s << 1;
        QTest::newRow("empty is 0") << QString() << u"0.0"_s << 0;
    }
    void versionOrder()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QFETCH(int, order);
        QCOMPARE(updater::compareVersions(a, b), order);
        QCOMPARE(updater::compareVersions(b, a), -order);
        QCOMPARE(updater::isNewer(a, b), order > 0);
    }

    void readsRelease_data()
    {
        QTest::addColumn<QByteArray>("manifest");
        QTest::addColumn<QString>("platform");
        QTest::addColumn<QString>("expected"); // "version|path|sha256|notes", or "none"
        const QByteArray both = R"({"apps":{"kc":{"version":"8.10","notes":"Faster polls.","files":{
            "linux":{"version":"8.11","path":"linux/kc_8.11.deb","sha256":" AB12 "},
            "windows":{"path":"win/kc.exe","sha256":"cd34"}}}}})";
        QTest::newRow("platform entry first") << both << u"linux"_s << u"8.11|linux/kc_8.11.deb|AB12|Faster polls."_s;
        QTest::newRow("falls back to the app's version")
            << both << u"windows"_s << u"8.10|win/kc.exe|cd34|Faster polls."_s;
        QTest::newRow("no entry for the platform") << both << u"mac"_s << u"8.10|||Faster polls."_s;
        QTest::newRow("wrong types read as empty")
            << QByteArray(R"({"apps":{"kc":{"version":8,"notes":[],"files":{"linux":{"version":9,"path":{}}}}}})")
            << u"linux"_s << u"|||"_s;
        QTest::newRow("other app only") << QByteArray(R"({"apps":{"other":{"version":"9"}}})") << u"linux"_s
                                        << u"none"_s;
        QTest::newRow("empty app object") << QByteArray(R"({"apps":{"kc":{}}})") << u"linux"_s << u"none"_s;
        QTest::newRow("apps not an object") << QByteArray(R"({"apps":["kc"]})") << u"linux"_s << u"none"_s;
    }
    void readsRelease()
    {
        QFETCH(QByteArray, manifest);
        QFETCH(QString, platform);
        QFETCH(QString, expected);
        const auto release = updater::readRelease(testsupport::json(manifest.constData()), u"kc"_s, platform);
        const QString seen =
            release ? QStringList{release->version, release->path, release->sha256, release->notes}.join(u'|')
                    : u"none"_s;
        QCOMPARE(seen, expected);
    }

    void installerNames_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("url");
        QTest::newRow("nested") << u"linux/kc_8.10_amd64.deb"_s << u"kc_8.10_amd64.deb"_s
                                << u"https://r.example/kc/linux/kc_8.10_amd64.deb"_s;
        QTest::newRow("segments encoded")
            << u"8.10 beta/kc #2?.deb"_s << u"kc #2?.deb"_s << u"https://r.example/kc/8.10%20beta/kc%20%232%3F.deb"_s;
        QTest::newRow("leading and doubled slashes")
            << u"/linux//kc.deb"_s << u"kc.deb"_s << u"https://r.example/kc/linux/kc.deb"_s;
        QTest::newRow("folder only") << u"linux/"_s << QString() << u"https://r.example/kc/linux"_s;
        QTest::newRow("dot-dot") << u"linux/.."_s << QString() << u"https://r.example/kc/linux/.."_s;
        QTest::newRow("backslash") << u"win\\kc.exe"_s << QString() << u"https://r.example/kc/win%5Ckc.exe"_s;
    }
    void installerNames()
    {
        QFETCH(QString, path);
        QFETCH(QString, name);
        QFETCH(QString, url);
        QCOMPARE(updater::installerFileName(path), name);
        QCOMPARE(QString::fromLatin1(updater::installerUrl(QUrl(u"https://r.example/kc/"_s), path).toEncoded()), url);
    }
};

QTEST_GUILESS_MAIN(TestRelease)
#include "tst_release.moc"
