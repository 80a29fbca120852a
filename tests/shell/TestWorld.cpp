#include "TestWorld.h"

#include "engine/ApplicationIdentity.h"
#include "engine/EncryptionService.h"
#include "engine/FinderComment.h"
#include "session/KeychainService.h"
#include "workflows/StorageLocation.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcessEnvironment>
#include <QSettings>

namespace corvina::test {

namespace {
void writeText(const QString& path, const QString& content) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        qFatal("cannot write %s", qPrintable(path));
    }
    file.write(content.toUtf8());
}
} // namespace

TestWorld::~TestWorld() {
    if (m_companion) {
        m_companion->kill();
        m_companion->waitForFinished();
    }
}

QString TestWorld::dataFolder() {
    return companionDataDirectory();
}

QString TestWorld::storageFolder() {
    return QDir::homePath() + QStringLiteral("/Backups");
}

void TestWorld::prepare(const QVariantMap& files, const QString& archivePassword) {
    const QString home = QDir::homePath();
    if (!home.contains(QStringLiteral("-home"))) {
        qFatal("refusing to empty HOME %s outside a test home", qPrintable(home));
    }
    QDir(home).removeRecursively();
    QDir().mkpath(storageFolder());
    for (auto it = files.cbegin(); it != files.cend(); ++it) {
        writeDataFile(it.key(), it.value().toString());
    }
    QSettings().setValue(DatabaseManager::shared().pathKey, storageFolder());
    KeychainService(zipPasswordService).keychain.writeString(archivePassword, zipPasswordKey);
}

QVariantMap TestWorld::dataFiles() {
    QVariantMap result;
    const QDir root(dataFolder());
    QDirIterator it(dataFolder(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        QFile file(path);
        if (file.open(QIODevice::ReadOnly)) {
            result.insert(root.relativeFilePath(path), QString::fromUtf8(file.readAll()));
        }
    }
    return result;
}

void TestWorld::writeDataFile(const QString& relativePath, const QString& content) {
    writeText(dataFolder() + QLatin1Char('/') + relativePath, content);
}

void TestWorld::removeDataFile(const QString& relativePath) {
    QFile::remove(dataFolder() + QLatin1Char('/') + relativePath);
}

QStringList TestWorld::storageFiles() {
    return QDir(storageFolder()).entryList(QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot);
}

bool TestWorld::fillStorageFolder() {
    if (QProcess::execute(QStringLiteral("mount"),
                          {QStringLiteral("-t"), QStringLiteral("tmpfs"), QStringLiteral("-o"),
                           QStringLiteral("size=256k"), QStringLiteral("tmpfs"),
                           storageFolder()}) != 0) {
        return false;
    }
    QFile filler(storageFolder() + QStringLiteral("/filler"));
    if (!filler.open(QIODevice::WriteOnly)) {
        return false;
    }
    const QByteArray block(4096, 'x');
    while (filler.write(block) == block.size() && filler.flush()) {
    }
    return true;
}

void TestWorld::releaseStorageFolder() {
    QProcess::execute(QStringLiteral("umount"), {storageFolder()});
}

void TestWorld::removeFolder(const QString& path) {
    QDir(path).removeRecursively();
}

void TestWorld::makeBackup(const QString& password) {
    if (!EncryptionService::shared()
             .createEncryptedArchive(dataFolder(), storageFolder(), password, QString())
             .result()
             .isSuccess()) {
        qFatal("no backup made");
    }
}

QStringList TestWorld::backups() {
    return QDir(storageFolder()).entryList({QStringLiteral("*.halvorn")}, QDir::Files);
}

QVariant TestWorld::commentOf(const QString& backupName) {
    const auto comment = readFinderComment(storageFolder() + QLatin1Char('/') + backupName);
    return comment ? QVariant(*comment) : QVariant();
}

void TestWorld::startCompanion() {
    m_companion = std::make_unique<QProcess>();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("FLATPAK_ID"), companionBundleIdentifier);
    m_companion->setProcessEnvironment(environment);
    m_companion->start(QStringLiteral("sleep"), {QStringLiteral("600")});
    if (!m_companion->waitForStarted()) {
        qFatal("the companion stand-in did not start");
    }
    connect(m_companion.get(), &QProcess::finished, this, &TestWorld::companionRunningChanged);
    Q_EMIT companionRunningChanged();
}

bool TestWorld::isCompanionRunning() const {
    return m_companion && m_companion->state() != QProcess::NotRunning;
}

} // namespace corvina::test
