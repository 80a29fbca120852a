// The updater against a real HTTP server on 127.0.0.1, with appcasts and
// files signed at test time by keys that openssl makes.

#include "TestHttpServer.h"

#include "engine/ApplicationIdentity.h"
#include "engine/DiagnosticLog.h"
#include "updates/SparkleUpdaterDelegate.h"
#include "updates/Updater.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using namespace corvina;
using namespace Qt::StringLiterals;
using corvina::test::TestHttpServer;

namespace {

QByteArray runOpenssl(const QStringList& arguments) {
    QProcess openssl;
    openssl.start(u"openssl"_s, arguments);
    if (!openssl.waitForFinished(20000) || openssl.exitCode() != 0) {
        qFatal("openssl %s failed", qPrintable(arguments.join(u' ')));
    }
    return openssl.readAllStandardOutput();
}

// An Ed25519 key in a PEM file, with its public half as the build carries it.
struct SigningKey {
    QString pem;
    QString publicKey;

    SigningKey(const QString& folder, const QString& name)
        : pem(folder + u'/' + name + u".pem"_s) {
        runOpenssl({"genpkey", "-algorithm", "ed25519", "-out", pem});
        // The DER public key ends in the 32 raw bytes.
        const QByteArray der = runOpenssl({"pkey", "-in", pem, "-pubout", "-outform", "DER"});
        publicKey = QString::fromLatin1(der.right(32).toBase64());
    }

    [[nodiscard]] QString sign(const QString& file) const {
        return QString::fromLatin1(
            runOpenssl({"pkeyutl", "-sign", "-inkey", pem, "-rawin", "-in", file}).toBase64());
    }
};

const QByteArray oldProgram = "#!/bin/sh\necho old program\n";

QByteArray appcast(const QString& version, const QUrl& file, qint64 length,
                   const QString& signature) {
    return QStringLiteral(
               "<?xml version='1.0' encoding='utf-8'?><rss version='2.0' "
               "xmlns:sparkle='http://www.andymatuschak.org/xml-namespaces/sparkle'><channel>"
               "<item><title>Corvina %1</title><link>https://example.org/download</link>"
               "<sparkle:version>%1</sparkle:version>"
               "<sparkle:shortVersionString>1.%1</sparkle:shortVersionString>"
               "<enclosure url='%2' length='%3' type='application/octet-stream' "
               "sparkle:edSignature='%4'/></item></channel></rss>")
        .arg(version, file.toString(), QString::number(length), signature)
        .toUtf8();
}

} // namespace

class UpdaterAgainstServerTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    std::optional<SigningKey> m_key;
    std::optional<SigningKey> m_otherKey;
    QByteArray m_newProgram;
    QString m_newProgramFile;
    QString m_appImage;
    QString m_tmp;
    std::unique_ptr<TestHttpServer> m_server;
    QStringList m_log;

    std::unique_ptr<Updater> makeUpdater(const QString& appImage, const QString& key) {
        UpdaterConfiguration config;
        config.feedUrl = m_server->url(u"/appcast.xml"_s);
        config.publicKey = key;
        config.bundleVersion = u"5"_s;
        config.shortVersion = u"1.5"_s;
        config.systemVersion = u"6.1"_s;
        config.appImagePath = appImage;
        return std::make_unique<Updater>(config);
    }

    [[nodiscard]] QUrl fileUrl() const { return m_server->url(u"/new.AppImage"_s); }

    // The feed offers `version` of the new program, signed with the release key.
    void offerSigned(const QString& version) {
        m_server->serve(u"/appcast.xml"_s, {appcast(version, fileUrl(), m_newProgram.size(),
                                                    m_key->sign(m_newProgramFile))});
    }

    [[nodiscard]] QByteArray appImageBytes() const {
        QFile file(m_appImage);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        applyApplicationIdentity();
        m_key.emplace(m_dir.path(), u"release"_s);
        m_otherKey.emplace(m_dir.path(), u"stranger"_s);
        // A program of several network packets, with every byte value.
        for (int i = 0; i < 300000; ++i) {
            m_newProgram.append(static_cast<char>(static_cast<qint64>(i) * 7919 % 251));
        }
        m_newProgramFile = m_dir.filePath(u"new.AppImage"_s);
        QFile file(m_newProgramFile);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(m_newProgram);
        file.close();
        // Downloads go to the temporary folder: this one, so that leftovers show.
        m_tmp = m_dir.filePath(u"tmp"_s);
        QVERIFY(QDir().mkpath(m_tmp));
        qputenv("TMPDIR", m_tmp.toLocal8Bit());
    }

    void init() {
        QSettings().clear();
        m_server = std::make_unique<TestHttpServer>();
        QVERIFY(m_server->isListening());
        m_appImage = m_dir.filePath(u"Corvina.AppImage"_s);
        QFile::remove(m_appImage);
        QFile file(m_appImage);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(oldProgram);
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        m_log.clear();
        setDiagnosticLogSink([this](const QString& line) { m_log << line; });
    }

    void cleanup() {
        setDiagnosticLogSink({});
        // No download leaves anything behind, once the event loop ran.
        QTRY_COMPARE(QDir(m_tmp).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
                     QStringList());
        QCOMPARE(QDir(m_dir.path()).entryList({u".*update*"_s}, QDir::Hidden), QStringList());
    }

    // A newer version lights the badge; a check that then finds nothing
    // (the build caught up) puts it out again.
    void backgroundCheckTellsTheDelegate() {
        const auto updater = makeUpdater(m_appImage, m_key->publicKey);
        SparkleUpdaterDelegate delegate;
        updater->setDelegate(&delegate);
        offerSigned(u"6"_s);

        updater->checkForUpdatesInBackground();
        QVERIFY(!updater->canCheckForUpdates());
        QTRY_VERIFY(delegate.isUpdateAvailable());
        QCOMPARE(delegate.availableUpdateVersion(), "1.6");
        QVERIFY(m_log.contains(u"Найдено обновление: 6"_s));
        QCOMPARE(updater->userDriver()->stage(), UpdateUserDriver::Stage::updateFound);
        updater->userDriver()->remindLater();
        QVERIFY(updater->canCheckForUpdates());

        offerSigned(u"5"_s);
        updater->checkForUpdatesInBackground();
        QTRY_VERIFY(!delegate.isUpdateAvailable());
        QCOMPARE(delegate.availableUpdateVersion(), QString());
        QVERIFY(m_log.contains(u"Обновлений не найдено."_s));
        // Silent: no dialog after a background check that found nothing.
        QCOMPARE(updater->userDriver()->stage(), UpdateUserDriver::Stage::idle);
        QCOMPARE(m_server->requests(u"/new.AppImage"_s), 0);
    }

    void userCheckSaysWhenThereIsNothingAndSkipsOnRequest() {
        const auto updater = makeUpdater(m_appImage, m_key->publicKey);
        m_server->serve(u"/appcast.xml"_s, {appcast("6", fileUrl(), 1, "x")});
        updater->checkForUpdates();
        QTRY_COMPARE(updater->userDriver()->stage(), UpdateUserDriver::Stage::updateFound);
        updater->userDriver()->skipThisVersion();
        QCOMPARE(QSettings().value(u"SUSkippedVersion"_s).toString(), "6");

        updater->checkForUpdates();
        QTRY_COMPARE(updater->userDriver()->stage(), UpdateUserDriver::Stage::noUpdateFound);
    }

    void verifiedUpdateReplacesTheAppImage() {
        const auto updater = makeUpdater(m_appImage, m_key->publicKey);
        QString restartedWith;
        updater->setRestarter([&restartedWith](const QString& path) { restartedWith = path; });
        m_server->serve(u"/new.AppImage"_s, {m_newProgram});
        offerSigned(u"6"_s);
        updater->checkForUpdates();
        QTRY_COMPARE(updater->userDriver()->stage(), UpdateUserDriver::Stage::updateFound);
        updater->userDriver()->installUpdate();
        QTRY_COMPARE(updater->userDriver()->stage(), UpdateUserDriver::Stage::readyToRestart);
        QVERIFY(appImageBytes() == m_newProgram);
        struct stat status {};
        QCOMPARE(::stat(QFile::encodeName(m_appImage).constData(), &status), 0);
        QCOMPARE(status.st_mode & 07777, 0755u);
        QCOMPARE(updater->userDriver()->bytesReceived(), double(m_newProgram.size()));
        updater->userDriver()->restartNow();
        QCOMPARE(restartedWith, m_appImage);
    }

    // Each row: how the feed or the file goes wrong. The AppImage stays as
    // it was, and the dialog says why.
    void nothingUnverifiedIsInstalled_data() {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QString>("message");
        QTest::newRow("file altered after signing")
            << u"altered"_s << u"Signatur des Updates ist ungültig"_s;
        QTest::newRow("signed by another key")
            << u"other key"_s << u"Signatur des Updates ist ungültig"_s;
        QTest::newRow("no signature") << u"unsigned"_s << u"nicht signiert"_s;
        QTest::newRow("signature not base64 of 64 bytes") << u"malformed"_s << u"fehlerhaft"_s;
        QTest::newRow("build without a key") << u"no key"_s << u"keinen Schlüssel"_s;
        QTest::newRow("transfer broken off") << u"truncated"_s << u"Größe"_s;
        QTest::newRow("longer than announced") << u"too long"_s << u"Größe"_s;
        QTest::newRow("file missing") << u"404"_s << u"HTTP 404"_s;
        QTest::newRow("server unreachable") << u"unreachable"_s << u"nicht erreichbar"_s;
        QTest::newRow("plain http elsewhere") << u"insecure"_s << u"nur über https"_s;
    }
    void nothingUnverifiedIsInstalled() {
        QFETCH(QString, fault);
        QFETCH(QString, message);
        const auto updater =
            makeUpdater(m_appImage, fault == u"no key" ? QString() : m_key->publicKey);
        QByteArray served = m_newProgram;
        qsizetype cutAfter = -1;
        qint64 length = m_newProgram.size();
        QString signature = (fault == u"other key" ? *m_otherKey : *m_key).sign(m_newProgramFile);
        QUrl url = fileUrl();
        if (fault == u"altered") {
            served[1000] = static_cast<char>(served[1000] ^ 1);
        } else if (fault == u"unsigned") {
            signature.clear();
        } else if (fault == u"malformed") {
            signature = signature.left(40);
        } else if (fault == u"truncated") {
            cutAfter = served.size() / 2;
        } else if (fault == u"too long") {
            length -= 10;
        } else if (fault == u"404") {
            url = m_server->url(u"/gone.AppImage"_s);
        } else if (fault == u"insecure") {
            url = QUrl(u"http://example.org/new.AppImage"_s);
        }
        m_server->serve(u"/new.AppImage"_s, {served, 200, cutAfter});
        m_server->serve(u"/appcast.xml"_s, {appcast("6", url, length, signature)});
        updater->checkForUpdates();
        QTRY_COMPARE(updater->userDriver()->stage(), UpdateUserDriver::Stage::updateFound);
        if (fault == u"unreachable") {
            m_server->close();
        }
        updater->userDriver()->installUpdate();
        QTRY_COMPARE(updater->userDriver()->stage(), UpdateUserDriver::Stage::failed);
        QVERIFY2(updater->userDriver()->errorMessage().contains(message),
                 qPrintable(updater->userDriver()->errorMessage()));
        QVERIFY(appImageBytes() == oldProgram);
        QVERIFY(updater->canCheckForUpdates());
    }

    void userCheckReportsAFeedThatCannotBeRead_data() {
        QTest::addColumn<QString>("feed");
        QTest::addColumn<QString>("message");
        QTest::newRow("server unreachable") << u"unreachable"_s << u"nicht erreichbar"_s;
        QTest::newRow("not an appcast") << u"html"_s << u"fehlerhaft"_s;
        QTest::newRow("plain http to another host") << u"http://example.org/a.xml"_s << u"https"_s;
    }
    void userCheckReportsAFeedThatCannotBeRead() {
        QFETCH(QString, feed);
        QFETCH(QString, message);
        const auto updater = makeUpdater(m_appImage, m_key->publicKey);
        m_server->serve(u"/appcast.xml"_s, {"<html><body>Wartung</body></html>"});
        if (feed == u"unreachable") {
            m_server->close();
        } else if (feed != u"html") {
            QSettings().setValue(u"SUFeedURL"_s, feed);
        }
        updater->checkForUpdates();
        QTRY_COMPARE(updater->userDriver()->stage(), UpdateUserDriver::Stage::failed);
        QVERIFY2(updater->userDriver()->errorMessage().contains(message),
                 qPrintable(updater->userDriver()->errorMessage()));
    }

    // Installed by a package manager: the program opens the download page
    // and leaves itself alone.
    void packageInstallationOpensTheDownloadPage() {
        const auto updater = makeUpdater(QString(), m_key->publicKey);
        QList<QUrl> opened;
        updater->setUrlOpener([&opened](const QUrl& url) { opened.append(url); });
        offerSigned(u"6"_s);
        updater->checkForUpdates();
        QTRY_COMPARE(updater->userDriver()->stage(), UpdateUserDriver::Stage::updateFound);
        QVERIFY(!updater->userDriver()->installsInPlace());
        updater->userDriver()->installUpdate();
        QCOMPARE(opened, QList<QUrl>{QUrl(u"https://example.org/download"_s)});
        QCOMPARE(m_server->requests(u"/new.AppImage"_s), 0);
        QVERIFY(appImageBytes() == oldProgram);
    }
};

QTEST_GUILESS_MAIN(UpdaterAgainstServerTest)
#include "UpdaterAgainstServerTest.moc"
