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
using corvina::test::TestHttpServer;

namespace {

QByteArray runOpenssl(const QStringList& arguments) {
    QProcess openssl;
    openssl.start(QStringLiteral("openssl"), arguments);
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
        : pem(folder + u'/' + name + QStringLiteral(".pem")) {
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

    Updater* makeUpdater(QObject* parent, const QString& appImage, const QString& key) {
        UpdaterConfiguration config;
        config.feedUrl = m_server->url(QStringLiteral("/appcast.xml"));
        config.publicKey = key;
        config.bundleVersion = QStringLiteral("5");
        config.shortVersion = QStringLiteral("1.5");
        config.systemVersion = QStringLiteral("6.1");
        config.appImagePath = appImage;
        return new Updater(config, parent);
    }

    [[nodiscard]] QByteArray appImageBytes() const {
        QFile file(m_appImage);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        applyApplicationIdentity();
        m_key.emplace(m_dir.path(), QStringLiteral("release"));
        m_otherKey.emplace(m_dir.path(), QStringLiteral("stranger"));
        // A program of several network packets, with every byte value.
        for (int i = 0; i < 300000; ++i) {
            m_newProgram.append(static_cast<char>(static_cast<qint64>(i) * 7919 % 251));
        }
        m_newProgramFile = m_dir.filePath(QStringLiteral("new.AppImage"));
        QFile file(m_newProgramFile);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(m_newProgram);
        file.close();
        // Downloads go to the temporary folder: this one, so that leftovers show.
        m_tmp = m_dir.filePath(QStringLiteral("tmp"));
        QVERIFY(QDir().mkpath(m_tmp));
        qputenv("TMPDIR", m_tmp.toLocal8Bit());
    }

    void init() {
        QSettings().clear();
        m_server = std::make_unique<TestHttpServer>();
        QVERIFY(m_server->isListening());
        m_appImage = m_dir.filePath(QStringLiteral("Corvina.AppImage"));
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
        QCOMPARE(QDir(m_dir.path()).entryList({QStringLiteral(".*update*")}, QDir::Hidden),
                 QStringList());
    }

    // A newer version lights the badge; a check that then finds nothing
    // (the build caught up) puts it out again.
    void backgroundCheckTellsTheDelegate() {
        QObject owner;
        Updater* updater = makeUpdater(&owner, m_appImage, m_key->publicKey);
        SparkleUpdaterDelegate delegate;
        updater->setDelegate(&delegate);
        const QUrl file = m_server->url(QStringLiteral("/new.AppImage"));
        m_server->serve(QStringLiteral("/appcast.xml"),
                        {appcast("6", file, m_newProgram.size(), m_key->sign(m_newProgramFile))});

        updater->checkForUpdatesInBackground();
        QVERIFY(!updater->canCheckForUpdates());
        QTRY_VERIFY(delegate.isUpdateAvailable());
        QCOMPARE(delegate.availableUpdateVersion(), "1.6");
        QVERIFY(m_log.contains(QStringLiteral("Найдено обновление: 6")));
        QCOMPARE(updater->userDriver()->stage(), UpdateUserDriver::Stage::updateFound);
        updater->userDriver()->remindLater();
        QVERIFY(updater->canCheckForUpdates());

        m_server->serve(QStringLiteral("/appcast.xml"),
                        {appcast("5", file, m_newProgram.size(), m_key->sign(m_newProgramFile))});
        updater->checkForUpdatesInBackground();
        QTRY_VERIFY(!delegate.isUpdateAvailable());
        QCOMPARE(delegate.availableUpdateVersion(), QString());
        QVERIFY(m_log.contains(QStringLiteral("Обновлений не найдено.")));
        // Silent: no dialog after a background check that found nothing.
        QCOMPARE(updater->userDriver()->stage(), UpdateUserDriver::Stage::idle);
        QCOMPARE(m_server->requests(QStringLiteral("/new.AppImage")), 0);
    }

    void userCheckSaysWhenThereIsNothingAndSkipsOnRequest() {
        QObject owner;
        Updater* updater = makeUpdater(&owner, m_appImage, m_key->publicKey);
        m_server->serve(QStringLiteral("/appcast.xml"),
                        {appcast("6", m_server->url(QStringLiteral("/new.AppImage")), 1, "x")});
        updater->checkForUpdates();
        QTRY_COMPARE(updater->userDriver()->stage(), UpdateUserDriver::Stage::updateFound);
        updater->userDriver()->skipThisVersion();
        QCOMPARE(QSettings().value(QStringLiteral("SUSkippedVersion")).toString(), "6");

        updater->checkForUpdates();
        QTRY_COMPARE(updater->userDriver()->stage(), UpdateUserDriver::Stage::noUpdateFound);
    }

    void verifiedUpdateReplacesTheAppImage() {
        QObject owner;
        Updater* updater = makeUpdater(&owner, m_appImage, m_key->publicKey);
        QString restartedWith;
        updater->setRestarter([&restartedWith](const QString& path) { restartedWith = path; });
        m_server->serve(QStringLiteral("/new.AppImage"), {m_newProgram});
        m_server->serve(QStringLiteral("/appcast.xml"),
                        {appcast("6", m_server->url(QStringLiteral("/new.AppImage")),
                                 m_newProgram.size(), m_key->sign(m_newProgramFile))});
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
        QTest::newRow("file altered after signing") << "altered"
                                                    << "Signatur des Updates ist ungültig";
        QTest::newRow("signed by another key") << "other key"
                                               << "Signatur des Updates ist ungültig";
        QTest::newRow("no signature") << "unsigned"
                                      << "nicht signiert";
        QTest::newRow("signature not base64 of 64 bytes") << "malformed"
                                                          << "fehlerhaft";
        QTest::newRow("build without a key") << "no key"
                                             << "keinen Schlüssel";
        QTest::newRow("transfer broken off") << "truncated"
                                             << "Größe";
        QTest::newRow("longer than announced") << "too long"
                                               << "Größe";
        QTest::newRow("file missing") << "404"
                                      << "HTTP 404";
        QTest::newRow("server unreachable") << "unreachable"
                                            << "nicht erreichbar";
        QTest::newRow("plain http elsewhere") << "insecure"
                                              << "nur über https";
    }
    void nothingUnverifiedIsInstalled() {
        QFETCH(QString, fault);
        QFETCH(QString, message);
        QObject owner;
        Updater* updater =
            makeUpdater(&owner, m_appImage, fault == u"no key" ? QString() : m_key->publicKey);
        QByteArray served = m_newProgram;
        qsizetype cutAfter = -1;
        qint64 length = m_newProgram.size();
        QString signature = (fault == u"other key" ? *m_otherKey : *m_key).sign(m_newProgramFile);
        QUrl url = m_server->url(QStringLiteral("/new.AppImage"));
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
            url = m_server->url(QStringLiteral("/gone.AppImage"));
        } else if (fault == u"insecure") {
            url = QUrl(QStringLiteral("http://example.org/new.AppImage"));
        }
        m_server->serve(QStringLiteral("/new.AppImage"), {served, 200, cutAfter});
        m_server->serve(QStringLiteral("/appcast.xml"), {appcast("6", url, length, signature)});
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
        QTest::newRow("server unreachable") << "unreachable"
                                            << "nicht erreichbar";
        QTest::newRow("not an appcast") << "html"
                                        << "fehlerhaft";
        QTest::newRow("plain http to another host") << "http://example.org/a.xml"
                                                    << "https";
    }
    void userCheckReportsAFeedThatCannotBeRead() {
        QFETCH(QString, feed);
        QFETCH(QString, message);
        QObject owner;
        Updater* updater = makeUpdater(&owner, m_appImage, m_key->publicKey);
        m_server->serve(QStringLiteral("/appcast.xml"), {"<html><body>Wartung</body></html>"});
        if (feed == u"unreachable") {
            m_server->close();
        } else if (feed != u"html") {
            QSettings().setValue(QStringLiteral("SUFeedURL"), feed);
        }
        updater->checkForUpdates();
        QTRY_COMPARE(updater->userDriver()->stage(), UpdateUserDriver::Stage::failed);
        QVERIFY2(updater->userDriver()->errorMessage().contains(message),
                 qPrintable(updater->userDriver()->errorMessage()));
    }

    // Installed by a package manager: the program opens the download page
    // and leaves itself alone.
    void packageInstallationOpensTheDownloadPage() {
        QObject owner;
        Updater* updater = makeUpdater(&owner, QString(), m_key->publicKey);
        QList<QUrl> opened;
        updater->setUrlOpener([&opened](const QUrl& url) { opened.append(url); });
        m_server->serve(QStringLiteral("/appcast.xml"),
                        {appcast("6", m_server->url(QStringLiteral("/new.AppImage")),
                                 m_newProgram.size(), m_key->sign(m_newProgramFile))});
        updater->checkForUpdates();
        QTRY_COMPARE(updater->userDriver()->stage(), UpdateUserDriver::Stage::updateFound);
        QVERIFY(!updater->userDriver()->installsInPlace());
        updater->userDriver()->installUpdate();
        QCOMPARE(opened, QList<QUrl>{QUrl(QStringLiteral("https://example.org/download"))});
        QCOMPARE(m_server->requests(QStringLiteral("/new.AppImage")), 0);
        QVERIFY(appImageBytes() == oldProgram);
    }
};

QTEST_GUILESS_MAIN(UpdaterAgainstServerTest)
#include "UpdaterAgainstServerTest.moc"
