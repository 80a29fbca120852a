#pragma once

// Shared set-up of the controller tests: a scratch home folder (the companion
// application's data lives below it), test-mode settings and the archive
// password in the private keyring of the test command.

#include "engine/ApplicationIdentity.h"
#include "session/KeychainService.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace corvina::testing {

/// Points HOME at a fresh folder for the whole test run, so that nothing
/// below the real home is ever replaced or deleted.
inline void useScratchHome(QTemporaryDir& home) {
    QVERIFY(home.isValid());
    qputenv("HOME", QFile::encodeName(home.path()));
    QCOMPARE(QDir::homePath(), home.path());
    QStandardPaths::setTestModeEnabled(true);
    applyApplicationIdentity();
}

inline void writeFile(const QString& path, const QByteArray& content) {
    QVERIFY(QDir().mkpath(QFileInfo(path).absolutePath()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(content), content.size());
}

inline QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Stores the archive password, or removes it for an empty text.
inline void setArchivePassword(const QString& password) {
    const Keychain& keychain = KeychainService(zipPasswordService).keychain;
    if (password.isEmpty()) {
        keychain.removeItem(zipPasswordKey);
    } else {
        keychain.writeString(password, zipPasswordKey);
    }
}

inline void storeStorageFolder(const QString& folder) {
    QSettings settings;
    settings.setValue(QStringLiteral("savedPathKey"), folder);
    settings.sync();
}

inline void clearStorageFolder() {
    QSettings settings;
    settings.remove(QStringLiteral("savedPathKey"));
    settings.sync();
}

} // namespace corvina::testing
