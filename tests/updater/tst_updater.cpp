// The updater: the version order and the installer's name and address as tables, then whole checks
// against an HTTPS release server on 127.0.0.1 that the updater trusts through its CA seam, with
// the launcher and quit replaced. Each check runs asked-for and silent, every box recorded.

#include "app/base/installation.h"
#include "app/base/modal.h"
#include "support/httpserver.h"
#include "support/testsupport.h"
#include "updater/updater.h"

#include <QApplication>
#include <QDir>
#include <QJsonDocument>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using testsupport::readFile;
using updater::Outcome;

namespace {

constexpr auto kInstallerPath = "linux/kestro connect_8.10_amd64.deb";
constexpr auto kInstallerTarget = "/rel/linux/kestro%20connect_8.10_amd64.deb";
constexpr auto kManifestTarget = "/rel/latest.json";

// latest.json with the app "kestro-connect" whose "files"."linux" entry has this version and
// fingerprint. (Built as JSON objects: moc misreads raw string literals.)
QByteArray manifest(const QString &appVersion, const QString &fileVersion, const QString &sha256)
{
    QJsonObject file{{u"path"_s, QString::fromLatin1(kInstallerPath)}, {u"sha256"_s, sha256}};
    if (!fileVersion.isEmpty())
        file.insert(u"version"_s, fileVersion);
    const QJsonObject app{
        {u"version"_s, appVersion}, {u"notes"_s, u"Faster polls."_s}, {u"files"_s, QJsonObject{{u"linux"_s, file}}}};
    return QJsonDocument(QJsonObject{{u"apps"_s, QJsonObject{{u"kestro-connect"_s, app}}}}).toJson();
}

QString installerFile()
{
    return updater::Updater::downloadFolder() + u'/' + QString::fromLatin1(kInstallerPath).section(u'/', -1);
}

QStringList downloadFolderEntries()
{
    return QDir(updater::Updater::downloadFolder()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
}

} // namespace

class TestUpdater final : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    testsupport::HttpServer m_server{true};
    QSslCertificate m_cert;
    QByteArray m_installer;
    QString m_sha;

    // What one check showed and asked the seams to do.
    QStringList m_boxes; // "Title: text", and "|informative text" when there is one
    QString m_click;     // on the ready prompt
    bool m_launchOk = true;
    QStringList m_launched;
    int m_quits = 0;

    void answerBoxes()
    {
        app::setNextAnswer([this](QDialog *dialog) {
            auto *box = qobject_cast<QMessageBox *>(dialog);
            m_boxes << (box ? box->windowTitle() + u": "_s + box->text() +
                                  (box->informativeText().isEmpty() ? QString() : u'|' + box->informativeText())
                            : u"not a message box"_s);
            for (QAbstractButton *button : box ? box->buttons() : QList<QAbstractButton *>())
                if (button->text() == m_click)
                    button->click();
            answerBoxes();
        });
    }

    updater::Options options(bool trust = true)
    {
        updater::Options o;
        if (trust)
            o.extraCaCertificates = {m_cert};
        o.launch = [this](const QString &path) {
            m_launched << path;
            return m_launchOk;
        };
        o.quit = [this] { ++m_quits; };
        return o;
    }

    static Outcome run(updater::Updater &u, bool interactive)
    {
        QSignalSpy ended(&u, &updater::Updater::finished);
        u.check(interactive);
        if (!QTest::qWaitFor([&] { return !ended.isEmpty(); }, 20000))
            qWarning("the check never ended");
        return ended.isEmpty() ? Outcome(-1) : ended.first().first().value<Outcome>();
    }

    qsizetype hits(const char *target) const
    {
        return std::count_if(m_server.seen.begin(), m_server.seen.end(),
                             [&](const testsupport::Seen &r) { return r.target == target; });
    }

private slots:
    void initTestCase()
    {
        testsupport::isolateConfig();
        // Downloads go below the system's temporary location: a private one.
        qputenv("TMPDIR", m_dir.filePath(u"tmp"_s).toLocal8Bit());
        QVERIFY(QDir().mkpath(m_dir.filePath(u"tmp"_s)) && QDir::tempPath().startsWith(m_dir.path()));

        const QString cert = m_dir.filePath(u"release.pem"_s), key = m_dir.filePath(u"release.key"_s);
        QVERIFY2(testsupport::makeCertificate(m_dir.path(), u"release"_s, u"IP:127.0.0.1"_s),
                 "openssl could not make a certificate");
        m_cert = QSslCertificate(readFile(cert), QSsl::Pem);
        QVERIFY(m_server.useCertificate(m_cert, QSslKey(readFile(key), QSsl::Ec, QSsl::Pem)) && m_server.listen());

        // The release location, where an installer would put it.
        const QString installation = m_dir.filePath(u"installation.json"_s);
        const QString base = u"https://127.0.0.1:%1/rel/"_s.arg(m_server.port());
        QVERIFY(testsupport::writeFile(installation, QJsonDocument(QJsonObject{{u"releaseBase"_s, base}}).toJson()));
        qputenv("KESTRO_INSTALLATION", installation.toLocal8Bit());
        QCOMPARE(app::installation().releaseBase.port(), m_server.port());

        m_installer.resize(3 << 20); // many pieces on the way
        for (qsizetype i = 0; i < m_installer.size(); ++i)
            m_installer[i] = char((i * 7919) >> 5);
        m_sha = QString::fromLatin1(QCryptographicHash::hash(m_installer, QCryptographicHash::Sha256).toHex());
    }

    void init()
    {
        m_server.routes = {{kInstallerTarget, {.body = m_installer}}};
        m_server.seen.clear();
        m_boxes.clear();
        m_click = u"Restart to install"_s;
        m_launchOk = true;
        m_launched.clear();
        m_quits = 0;
        QDir(updater::Updater::downloadFolder()).removeRecursively();
        QFile::remove(updater::Updater::downloadFolder());
        answerBoxes();
    }
    void cleanup() { app::setNextAnswer({}); }

    void versionOrder_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<int>("order"); // of a against b
        QTest::newRow("minor 10 after 9") << u"8.10"_s << u"8.9.13"_s << 1;
        QTest::newRow("build suffix left out") << u"8.9.13"_s << u"8.9.13+cdcc16b"_s << 0;
        QTest::newRow("beyond 32 bits") << u"8.99999999999"_s << u"8.4294967296"_s << 1;
    }
    void versionOrder()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QFETCH(int, order);
        QCOMPARE(updater::compareVersions(a, b), order);
        QCOMPARE(updater::compareVersions(b, a), -order);
    }

    void installerNames_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("name"); // empty: not a file name
        QTest::addColumn<QString>("url");
        QTest::newRow("segments encoded")
            << u"8.10 beta/kc #2?.deb"_s << u"kc #2?.deb"_s << u"https://r.example/kc/8.10%20beta/kc%20%232%3F.deb"_s;
        QTest::newRow("dot-dot") << u"linux/.."_s << QString() << u"https://r.example/kc/linux/.."_s;
        QTest::newRow("backslash") << u"w\\kc.exe"_s << QString() << u"https://r.example/kc/w%5Ckc.exe"_s;
    }
    void installerNames()
    {
        QFETCH(QString, path);
        QFETCH(QString, name);
        QFETCH(QString, url);
        QCOMPARE(updater::installerFileName(path), name);
        QCOMPARE(QString::fromLatin1(updater::installerUrl(QUrl(u"https://r.example/kc/"_s), path).toEncoded()), url);
    }

    void check_data()
    {
        QTest::addColumn<QByteArray>("latest"); // "%SHA%" stands for the installer's fingerprint
        QTest::addColumn<QString>("setup");     // untrusted, blocked folder, present, no launch, stall <target>
        QTest::addColumn<Outcome>("outcome");
        QTest::addColumn<QStringList>("boxes"); // when asked for; %PATH% is the installer's path
        const QString ready =
            u"Update ready: <b>Kestro Connect 8.10</b> is downloaded and ready - you have "
            "8.9.13+cdcc16b.|Faster polls.\n\nInstalling closes the app and reopens the new version."_s;
        const QStringList latest{u"Updates: You have the latest version (8.9.13+cdcc16b)."_s};
        const QStringList unreachable{
            u"Updates: Could not reach the update server - check the internet connection and try again."_s};
        const QByteArray good = manifest(u"8.10"_s, u"8.10"_s, u"%SHA%"_s);

        QTest::newRow("8.10 is newer than 8.9.13") << good << QString() << Outcome::Installing << QStringList{ready};
        QTest::newRow("8.9.13.0 is not newer")
            << manifest(u"8.10"_s, u"8.9.13.0"_s, u"%SHA%"_s) << QString() << Outcome::Latest << latest;
        // Put off: the installer already here (same fingerprint) is offered again, not fetched again.
        QTest::newRow("the app's version when the entry has none, installer already here")
            << manifest(u"8.10"_s, {}, u"%SHA%"_s) << u"present"_s << Outcome::Postponed << QStringList{ready};
        QTest::newRow("a wrong sha256 is never saved")
            << manifest(u"8.10"_s, u"8.10"_s, QString(64, u'a')) << QString() << Outcome::Mismatch
            << QStringList{u"Update: The downloaded installer did not match its published fingerprint, so it was NOT "
                           "installed. Try again later."_s};
        QTest::newRow("installer stalls")
            << good << u"stall /rel/linux/kestro%20connect_8.10_amd64.deb"_s << Outcome::DownloadFailed
            << QStringList{u"Update: The download failed: no data arrived for 0.4 seconds"_s};
        QTest::newRow("manifest not JSON") << QByteArray("<html>") << QString() << Outcome::Unreachable << unreachable;
        QTest::newRow("untrusted certificate") << good << u"untrusted"_s << Outcome::Unreachable << unreachable;
        QTest::newRow("download folder blocked") << good << u"blocked"_s << Outcome::SaveFailed
                                                 << QStringList{u"Update: Could not save the installer to %PATH%"_s};
        QTest::newRow("installer does not start")
            << good << u"no launch"_s << Outcome::InstallFailed
            << QStringList{ready, u"Update: Could not open the installer: %PATH%"_s};
    }
    void check()
    {
        QFETCH(QByteArray, latest);
        QFETCH(QString, setup);
        QFETCH(Outcome, outcome);
        QFETCH(QStringList, boxes);
        latest.replace("%SHA%", m_sha.toLatin1());
        boxes.replaceInStrings(u"%PATH%"_s, installerFile());
        const bool downloads = outcome != Outcome::Latest && outcome != Outcome::Unreachable &&
                               outcome != Outcome::SaveFailed && setup != "present"_L1;
        const bool saved =
            outcome == Outcome::Installing || outcome == Outcome::Postponed || outcome == Outcome::InstallFailed;

        for (const bool interactive : {true, false}) {
            init();
            m_server.routes[kManifestTarget] = {.body = latest};
            if (setup.startsWith("stall "_L1))
                m_server.routes[setup.mid(6).toLatin1()].stallAfter = 10;
            if (setup == "blocked"_L1)
                QVERIFY(QFile(updater::Updater::downloadFolder()).open(QIODevice::WriteOnly));
            if (setup == "present"_L1) {
                m_click = u"Later"_s;
                QVERIFY(QDir().mkdir(updater::Updater::downloadFolder(),
                                     QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
                QVERIFY(testsupport::writeFile(installerFile(), m_installer));
            }
            m_launchOk = setup != "no launch"_L1;
            updater::Options o = options(setup != "untrusted"_L1);
            o.transferTimeoutMs = setup.startsWith("stall "_L1) ? 400 : 60000;
            QWidget window;
            updater::Updater u(&window, o);
            QCOMPARE(run(u, interactive), outcome);

            // Silent checks say nothing until an installer is ready.
            QStringList expected = boxes;
            while (!interactive && !expected.isEmpty() && !expected.first().startsWith("Update ready:"_L1))
                expected.removeFirst();
            QCOMPARE(m_boxes, expected);

            QCOMPARE(hits(kManifestTarget), setup == "untrusted"_L1 ? 0 : 1); // no handshake
            QCOMPARE(m_server.seen.size() - hits(kManifestTarget), downloads ? 1 : 0);
            if (saved)
                QCOMPARE(readFile(installerFile()), m_installer);
            else if (setup != "blocked"_L1)
                QCOMPARE(downloadFolderEntries(), QStringList()); // not even a partial file
            QCOMPARE(m_launched, saved && m_click != "Later"_L1 ? QStringList{installerFile()} : QStringList());
            QCOMPARE(m_quits, outcome == Outcome::Installing ? 1 : 0);
            // Kept when put off, and when it would not start (a later check offers it again).
            QCOMPARE(u.readyInstaller(), saved && outcome != Outcome::Installing ? installerFile() : QString());
        }
    }

    void cancelledDownloadSaysNothing()
    {
        m_server.routes[kManifestTarget] = {.body = manifest(u"8.10"_s, u"8.10"_s, m_sha)};
        m_server.routes[kInstallerTarget].stallAfter = 200000;
        QWidget window;
        updater::Updater u(&window, options());
        QSignalSpy ended(&u, &updater::Updater::finished);
        u.check(true);
        QProgressDialog *progress = nullptr;
        QTRY_VERIFY((progress = window.findChild<QProgressDialog *>()) && progress->isVisible());
        QTRY_VERIFY(progress->labelText().contains(u" of "_s)); // pieces arrived before the press
        progress->findChild<QPushButton *>()->click();
        QTRY_COMPARE(ended.size(), 1);
        QCOMPARE(ended.first().first().value<Outcome>(), Outcome::Cancelled);
        QCOMPARE(m_boxes, QStringList());
        QTRY_COMPARE(downloadFolderEntries(), QStringList());
    }
};

QTEST_MAIN(TestUpdater)
#include "tst_updater.moc"
