// The whole update check against a release server on 127.0.0.1: HTTPS with a certificate that
// openssl makes at run time and that the updater trusts through its CA seam, the release location
// taken from the file KESTRO_INSTALLATION names, and the installer launcher and quit replaced.
// Every check runs both ways, asked for and silent, and the boxes each one shows are recorded.

#include "app/base/installation.h"
#include "app/base/modal.h"
#include "app/base/theme.h"
#include "support/testsupport.h"
#include "updater/updater.h"

#include <QApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QMessageBox>
#include <QProcess>
#include <QProgressDialog>
#include <QPushButton>
#include <QSignalSpy>
#include <QSslKey>
#include <QSslServer>
#include <QSslSocket>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

struct Route
{
    QByteArray body;
    int status = 200;
    qsizetype stallAfter = -1; // announce the whole body, send this much of it, then go quiet
};

// One request per connection, canned answers by request target, every target recorded.
class ReleaseServer final : public QObject
{
public:
    bool start(const QString &certPath, const QString &keyPath)
    {
        QSslConfiguration ssl = QSslConfiguration::defaultConfiguration();
        ssl.setLocalCertificate(QSslCertificate(read(certPath), QSsl::Pem));
        ssl.setPrivateKey(QSslKey(read(keyPath), QSsl::Ec, QSsl::Pem));
        m_server.setSslConfiguration(ssl);
        connect(&m_server, &QTcpServer::pendingConnectionAvailable, this, [this] {
            while (m_server.hasPendingConnections())
                serve(m_server.nextPendingConnection());
        });
        return !ssl.privateKey().isNull() && m_server.listen(QHostAddress::LocalHost, 0);
    }
    quint16 port() const { return m_server.serverPort(); }
    qsizetype count(const QByteArray &target) const { return seen.count(target); }

    static QByteArray read(const QString &path)
    {
        QFile f(path);
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }

    QHash<QByteArray, Route> routes;
    QByteArrayList seen;

private:
    void serve(QTcpSocket *socket)
    {
        socket->setParent(this);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] {
            if (!socket->canReadLine() || socket->property("answered").toBool())
                return;
            socket->setProperty("answered", true);
            const QByteArray target = socket->readLine().split(' ').value(1);
            seen << target;
            const Route route = routes.value(target, {"no such file", 404});
            const QByteArray head = "HTTP/1.1 " + QByteArray::number(route.status) +
                                    " Canned\r\nContent-Type: application/octet-stream\r\nContent-Length: " +
                                    QByteArray::number(route.body.size()) + "\r\nConnection: close\r\n\r\n";
            if (route.stallAfter >= 0) {
                socket->write(head + route.body.left(route.stallAfter));
                return;
            }
            socket->write(head + route.body);
            socket->disconnectFromHost();
        });
    }

    QSslServer m_server;
};

constexpr auto kRelease = "/rel/";
constexpr auto kInstallerPath = "linux/kestro connect_8.10_amd64.deb";
constexpr auto kInstallerTarget = "/rel/linux/kestro%20connect_8.10_amd64.deb";
constexpr auto kManifestTarget = "/rel/latest.json";
const QString kCurrent = u"8.9.13+cdcc16b"_s;

// latest.json with one app, "kestro-connect", whose "files"."linux" entry is `entry`. (Built as
// JSON objects: moc misreads raw string literals.)
QByteArray manifest(const QString &appVersion, const QJsonObject &entry, const QString &notes = u"Faster polls."_s)
{
    const QJsonObject app{
        {u"version"_s, appVersion}, {u"notes"_s, notes}, {u"files"_s, QJsonObject{{u"linux"_s, entry}}}};
    return QJsonDocument(QJsonObject{{u"apps"_s, QJsonObject{{u"kestro-connect"_s, app}}}}).toJson();
}

QJsonObject linuxEntry(const QString &version, const QString &sha256,
                       const QString &path = QString::fromLatin1(kInstallerPath))
{
    QJsonObject entry{{u"path"_s, path}, {u"sha256"_s, sha256}};
    if (!version.isEmpty())
        entry.insert(u"version"_s, version);
    return entry;
}

QString installerFile()
{
    return updater::Updater::downloadFolder() + u'/' + QString::fromLatin1(kInstallerPath).section(u'/', -1);
}

// What the technician saw: "Title: text", and "|informative text" when there is one.
QString describe(QDialog *dialog)
{
    auto *box = qobject_cast<QMessageBox *>(dialog);
    if (!box)
        return u"not a message box: "_s + dialog->windowTitle();
    QString seen = box->windowTitle() + u": "_s + box->text();
    if (!box->informativeText().isEmpty())
        seen += u'|' + box->informativeText();
    return seen;
}

} // namespace

class TestUpdater final : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    ReleaseServer m_server;
    QSslCertificate m_cert;
    QByteArray m_installer;
    QString m_sha;

    // Boxes and what the seams were asked to do in one check.
    QStringList m_boxes;
    QString m_click = u"Restart to install"_s;
    bool m_launchOk = true;
    QStringList m_launched;
    int m_quits = 0;
    int m_progressShown = 0;

    // Answers every box as it comes, recording it; the ready prompt gets m_click.
    void answerBoxes()
    {
        app::setNextAnswer([this](QDialog *dialog) {
            m_boxes << describe(dialog);
            if (auto *box = qobject_cast<QMessageBox *>(dialog); box && box->windowTitle() == "Update ready"_L1) {
                if (const QString shots = qEnvironmentVariable("KESTRO_SHOT_DIR"); !shots.isEmpty())
                    box->grab().save(shots + u"/update-ready.png"_s);
                for (QAbstractButton *button : box->buttons()) {
                    if (button->text() == m_click)
                        button->click();
                }
            } else {
                dialog->accept();
            }
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

    // Runs one check to its end and returns how it ended.
    static std::optional<updater::Outcome> run(updater::Updater &u, bool interactive)
    {
        QSignalSpy ended(&u, &updater::Updater::finished);
        u.check(interactive);
        if (!QTest::qWaitFor([&] { return !ended.isEmpty(); }, 20000))
            return std::nullopt;
        return ended.first().first().value<updater::Outcome>();
    }

    static QStringList downloadFolderEntries()
    {
        return QDir(updater::Updater::downloadFolder())
            .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
    }

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Show && qobject_cast<QProgressDialog *>(watched))
            ++m_progressShown;
        return false;
    }

private slots:
    void initTestCase()
    {
        testsupport::isolateConfig();
        // The boxes in the program's own look, for the shot that KESTRO_SHOT_DIR asks for.
        QApplication::setStyle(u"Fusion"_s);
        QApplication::setFont(theme::uiFont(10));
        qApp->setStyleSheet(theme::styleSheet());
        // Downloads go below the system's temporary location: make that private too.
        qputenv("TMPDIR", m_dir.filePath(u"tmp"_s).toLocal8Bit());
        QVERIFY(QDir().mkpath(m_dir.filePath(u"tmp"_s)));
        QVERIFY(QDir::tempPath().startsWith(m_dir.path()));

        const QString cert = m_dir.filePath(u"release.pem"_s), key = m_dir.filePath(u"release.key"_s);
        QProcess openssl;
        openssl.start(u"openssl"_s,
                      {u"req"_s, u"-x509"_s, u"-newkey"_s, u"ec"_s, u"-pkeyopt"_s, u"ec_paramgen_curve:prime256v1"_s,
                       u"-nodes"_s, u"-days"_s, u"2"_s, u"-subj"_s, u"/CN=release-test"_s, u"-addext"_s,
                       u"subjectAltName=IP:127.0.0.1"_s, u"-keyout"_s, key, u"-out"_s, cert});
        QVERIFY2(openssl.waitForFinished(60000) && openssl.exitCode() == 0, "openssl could not make a certificate");
        m_cert = QSslCertificate(ReleaseServer::read(cert), QSsl::Pem);
        QVERIFY(!m_cert.isNull());
        QVERIFY(m_server.start(cert, key));

        // The release location, where an installer would put it.
        const QString installation = m_dir.filePath(u"installation.json"_s);
        QFile file(installation);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QUrl base;
        base.setScheme(u"https"_s);
        base.setHost(u"127.0.0.1"_s);
        base.setPort(m_server.port());
        base.setPath(QString::fromLatin1(kRelease));
        file.write(QJsonDocument(QJsonObject{{u"releaseBase"_s, base.toString()}}).toJson());
        file.close();
        qputenv("KESTRO_INSTALLATION", installation.toLocal8Bit());
        QCOMPARE(app::installation().releaseBase.port(), m_server.port());

        // Big enough to arrive in many pieces.
        m_installer.resize(3 << 20);
        for (qsizetype i = 0; i < m_installer.size(); ++i)
            m_installer[i] = char((i * 7919) >> 5);
        m_sha = QString::fromLatin1(QCryptographicHash::hash(m_installer, QCryptographicHash::Sha256).toHex());
        qApp->installEventFilter(this);
    }

    void init()
    {
        m_server.routes.clear();
        m_server.routes[kInstallerTarget] = {m_installer};
        m_server.seen.clear();
        m_boxes.clear();
        m_click = u"Restart to install"_s;
        m_launchOk = true;
        m_launched.clear();
        m_quits = 0;
        m_progressShown = 0;
        QDir(updater::Updater::downloadFolder()).removeRecursively();
        QFile::remove(updater::Updater::downloadFolder());
        answerBoxes();
    }
    void cleanup() { app::setNextAnswer({}); }

    void check_data()
    {
        QTest::addColumn<QByteArray>("latest"); // "%SHA%" stands for the installer's fingerprint
        QTest::addColumn<bool>("trust");        // the release server's certificate
        QTest::addColumn<bool>("blockFolder");  // a file where the download folder goes
        QTest::addColumn<QString>("click");     // on the ready prompt
        QTest::addColumn<bool>("launchOk");
        QTest::addColumn<updater::Outcome>("outcome");
        QTest::addColumn<QStringList>("boxes"); // when asked for; "%PATH%" is the installer's path,
                                                // a trailing "*" stands for the network layer's words
        using O = updater::Outcome;
        const QString ready = u"Update ready: <b>Kestro Connect 8.10</b> is downloaded and ready - you have %1.|"
                              "Faster polls.\n\nInstalling closes the app and reopens the new version."_s.arg(kCurrent);
        const QString latest = u"Updates: You have the latest version (%1)."_s.arg(kCurrent);
        const QString unreachable =
            u"Updates: Could not reach the update server - check the internet connection and try again."_s;
        const QJsonObject good = linuxEntry(u"8.10"_s, u"%SHA%"_s);
        const QString restart = u"Restart to install"_s, later = u"Later"_s;

        QTest::newRow("8.10 is newer than 8.9.13")
            << manifest(u"8.10"_s, good) << true << false << restart << true << O::Installing << QStringList{ready};
        QTest::newRow("8.9.13.0 is not newer") << manifest(u"8.10"_s, linuxEntry(u"8.9.13.0"_s, u"%SHA%"_s)) << true
                                               << false << restart << true << O::Latest << QStringList{latest};
        QTest::newRow("8.9.13 is not newer") << manifest(u"8.9.13"_s, linuxEntry(u"8.9.13"_s, u"%SHA%"_s)) << true
                                             << false << restart << true << O::Latest << QStringList{latest};
        QTest::newRow("8.9.12 is older") << manifest(u"8.9.12"_s, linuxEntry(u"8.9.12"_s, u"%SHA%"_s)) << true << false
                                         << restart << true << O::Latest << QStringList{latest};
        QTest::newRow("the app's version when the entry has none")
            << manifest(u"8.10"_s, linuxEntry(QString(), u"%SHA%"_s), QString()) << true << false << later << true
            << O::Postponed
            << QStringList{ready.section(u'|', 0, 0) + u"|Installing closes the app and reopens the new version."_s};
        QTest::newRow("the entry's version over the app's")
            << manifest(u"8.10"_s, linuxEntry(u"8.9.13"_s, u"%SHA%"_s)) << true << false << restart << true << O::Latest
            << QStringList{latest};
        QTest::newRow("an empty sha256 installs") << manifest(u"8.10"_s, linuxEntry(u"8.10"_s, {})) << true << false
                                                  << restart << true << O::Installing << QStringList{ready};
        QTest::newRow("sha256 in capitals") << manifest(u"8.10"_s, linuxEntry(u"8.10"_s, u"%SHAUP%"_s)) << true << false
                                            << restart << true << O::Installing << QStringList{ready};
        QTest::newRow("a wrong sha256 is never saved")
            << manifest(u"8.10"_s, linuxEntry(u"8.10"_s, QString(64, u'a'))) << true << false << restart << true
            << O::Mismatch
            << QStringList{u"Update: The downloaded installer did not match its published fingerprint, so it was NOT "
                           "installed. Try again later."_s};
        QTest::newRow("installer missing on the server")
            << manifest(u"8.10"_s, linuxEntry(u"8.10"_s, {}, u"linux/gone.deb"_s)) << true << false << restart << true
            << O::DownloadFailed << QStringList{u"Update: The download failed: *"_s};
        QTest::newRow("manifest not JSON") << QByteArray("<html>maintenance</html>") << true << false << restart << true
                                           << O::Unreachable << QStringList{unreachable};
        QTest::newRow("no entry for this app")
            << QByteArray("{\"apps\":{\"kestro-other\":{\"version\":\"9\"}}}") << true << false << restart << true
            << O::Unreachable << QStringList{unreachable};
        QTest::newRow("newer, but nothing for this platform")
            << QByteArray(
                   "{\"apps\":{\"kestro-connect\":{\"version\":\"9\",\"files\":{\"windows\":{\"path\":\"k.exe\"}}}}}")
            << true << false << restart << true << O::Unreachable << QStringList{unreachable};
        QTest::newRow("untrusted certificate") << manifest(u"8.10"_s, good) << false << false << restart << true
                                               << O::Unreachable << QStringList{unreachable};
        QTest::newRow("download folder blocked")
            << manifest(u"8.10"_s, good) << true << true << restart << true << O::SaveFailed
            << QStringList{u"Update: Could not save the installer to %PATH%"_s};
        QTest::newRow("installer does not start")
            << manifest(u"8.10"_s, good) << true << false << restart << false << O::InstallFailed
            << QStringList{ready, u"Update: Could not open the installer: %PATH%"_s};
    }
    void check()
    {
        QFETCH(QByteArray, latest);
        QFETCH(bool, trust);
        QFETCH(bool, blockFolder);
        QFETCH(QString, click);
        QFETCH(bool, launchOk);
        QFETCH(updater::Outcome, outcome);
        QFETCH(QStringList, boxes);
        latest.replace("%SHAUP%", m_sha.toUpper().toLatin1()).replace("%SHA%", m_sha.toLatin1());
        boxes.replaceInStrings(u"%PATH%"_s, installerFile());
        const bool downloads = outcome != updater::Outcome::Latest && outcome != updater::Outcome::Unreachable &&
                               outcome != updater::Outcome::SaveFailed;
        const bool saved = outcome == updater::Outcome::Installing || outcome == updater::Outcome::Postponed ||
                           outcome == updater::Outcome::InstallFailed;

        for (const bool interactive : {true, false}) {
            init();
            m_server.routes[kManifestTarget] = {latest};
            m_click = click;
            m_launchOk = launchOk;
            if (blockFolder) {
                QFile block(updater::Updater::downloadFolder());
                QVERIFY(block.open(QIODevice::WriteOnly));
            }
            QWidget window;
            updater::Updater u(&window, options(trust));
            const auto ended = run(u, interactive);
            QVERIFY2(ended, "the check never ended");
            QCOMPARE(*ended, outcome);

            // Silent checks say nothing until an installer is ready.
            QStringList expected = boxes;
            while (!interactive && !expected.isEmpty() && !expected.first().startsWith("Update ready:"_L1))
                expected.removeFirst();
            QCOMPARE(m_boxes.size(), expected.size());
            for (qsizetype i = 0; i < expected.size(); ++i) {
                if (expected[i].endsWith(u'*'))
                    QVERIFY2(m_boxes[i].startsWith(expected[i].chopped(1)) && m_boxes[i].size() > expected[i].size(),
                             qPrintable(m_boxes[i]));
                else
                    QCOMPARE(m_boxes[i], expected[i]);
            }

            QCOMPARE(m_server.count(kManifestTarget), trust ? 1 : 0); // no handshake, no request
            QCOMPARE(m_server.count(kInstallerTarget) + m_server.count("/rel/linux/gone.deb"), downloads ? 1 : 0);
            QCOMPARE(m_progressShown, interactive && downloads ? 1 : 0);
            if (saved)
                QCOMPARE(ReleaseServer::read(installerFile()), m_installer);
            else if (!blockFolder)
                QCOMPARE(downloadFolderEntries(), QStringList());
            QCOMPARE(m_launched, click == "Later"_L1 || !saved ? QStringList() : QStringList{installerFile()});
            QCOMPARE(m_quits, outcome == updater::Outcome::Installing ? 1 : 0);
            // Kept when put off, and when it would not start (a later check offers it again).
            QCOMPARE(u.readyInstaller(),
                     saved && outcome != updater::Outcome::Installing ? installerFile() : QString());
            QVERIFY(!u.busy());
        }
    }

    void reusesAnInstallerAlreadyHere_data()
    {
        QTest::addColumn<QByteArray>("present"); // in the download folder before the check; null: nothing
        QTest::addColumn<bool>("published");     // the manifest gives a fingerprint
        QTest::addColumn<int>("checks");         // each answered with "Later"
        QTest::addColumn<int>("downloads");
        QTest::newRow("matching fingerprint") << m_installer << true << 1 << 0;
        QTest::newRow("other bytes") << QByteArray("half an installer") << true << 1 << 1;
        QTest::newRow("no fingerprint to match") << m_installer << false << 1 << 1;
        QTest::newRow("put off earlier in this run") << QByteArray() << false << 2 << 1;
    }
    void reusesAnInstallerAlreadyHere()
    {
        QFETCH(QByteArray, present);
        QFETCH(bool, published);
        QFETCH(int, checks);
        QFETCH(int, downloads);
        m_server.routes[kManifestTarget] = {manifest(u"8.10"_s, linuxEntry(u"8.10"_s, published ? m_sha : QString()))};
        m_click = u"Later"_s;
        if (!present.isNull()) {
            QVERIFY(QDir().mkdir(updater::Updater::downloadFolder(),
                                 QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
            QFile f(installerFile());
            QVERIFY(f.open(QIODevice::WriteOnly) && f.write(present) == present.size());
        }
        QWidget window;
        updater::Updater u(&window, options());
        for (int i = 0; i < checks; ++i)
            QCOMPARE(run(u, true).value_or(updater::Outcome::Unreachable), updater::Outcome::Postponed);
        QCOMPARE(m_server.count(kInstallerTarget), downloads);
        QCOMPARE(m_boxes.filter(u"Update ready:"_s).size(), checks);
        QCOMPARE(ReleaseServer::read(installerFile()), m_installer);
    }

    void cancelledDownloadSaysNothing()
    {
        m_server.routes[kManifestTarget] = {manifest(u"8.10"_s, linuxEntry(u"8.10"_s, m_sha))};
        m_server.routes[kInstallerTarget].stallAfter = 200000;
        QWidget window;
        updater::Updater u(&window, options());
        QSignalSpy ended(&u, &updater::Updater::finished);
        u.check(true);
        // The dialog is up before the first byte, and counts the bytes as they come.
        QProgressDialog *progress = nullptr;
        QTRY_VERIFY((progress = window.findChild<QProgressDialog *>()) && progress->isVisible());
        QCOMPARE(progress->windowTitle(), u"Downloading Kestro Connect 8.10..."_s);
        const QLocale locale;
        QTRY_COMPARE(progress->labelText(),
                     locale.formattedDataSize(200000) + u" of "_s + locale.formattedDataSize(m_installer.size()));
        if (const QString shots = qEnvironmentVariable("KESTRO_SHOT_DIR"); !shots.isEmpty())
            progress->grab().save(shots + u"/update-progress.png"_s);
        auto *cancel = progress->findChild<QPushButton *>();
        QCOMPARE(cancel->text(), u"Cancel"_s);
        cancel->click();
        QTRY_COMPARE(ended.size(), 1);
        QCOMPARE(ended.first().first().value<updater::Outcome>(), updater::Outcome::Cancelled);
        QCOMPARE(m_boxes, QStringList());
        QTRY_COMPARE(downloadFolderEntries(), QStringList());
    }

    void stallEndsInAnError_data()
    {
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<bool>("interactive");
        QTest::addColumn<updater::Outcome>("outcome");
        QTest::addColumn<QString>("box");
        const QString failed = u"Update: The download failed: no data arrived for 0.4 seconds"_s;
        QTest::newRow("installer, asked")
            << QByteArray(kInstallerTarget) << true << updater::Outcome::DownloadFailed << failed;
        QTest::newRow("installer, silent")
            << QByteArray(kInstallerTarget) << false << updater::Outcome::DownloadFailed << QString();
        QTest::newRow("manifest, asked")
            << QByteArray(kManifestTarget) << true << updater::Outcome::Unreachable
            << u"Updates: Could not reach the update server - check the internet connection and try again."_s;
    }
    void stallEndsInAnError()
    {
        QFETCH(QByteArray, target);
        QFETCH(bool, interactive);
        QFETCH(updater::Outcome, outcome);
        QFETCH(QString, box);
        m_server.routes[kManifestTarget] = {manifest(u"8.10"_s, linuxEntry(u"8.10"_s, m_sha))};
        m_server.routes[target].stallAfter = 10;
        QWidget window;
        updater::Options o = options();
        o.transferTimeoutMs = 400;
        updater::Updater u(&window, o);
        QCOMPARE(run(u, interactive).value_or(updater::Outcome::Postponed), outcome);
        QCOMPARE(m_boxes, box.isEmpty() ? QStringList() : QStringList{box});
        QCOMPARE(downloadFolderEntries(), QStringList());
    }
};

QTEST_MAIN(TestUpdater)
#include "tst_updater.moc"
