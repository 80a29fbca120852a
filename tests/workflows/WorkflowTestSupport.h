#pragma once

// Set-up shared by the workflow tests: a scratch home folder (the companion
// application's data lives below it), test-mode settings, files, and the
// archive password in the private keyring of the test command.

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

/// Points HOME at `home` for the whole run, so that nothing below the real
/// home folder is ever replaced or deleted.
inline void useScratchHome(const QTemporaryDir& home) {
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

/// Stores the archive password; an empty text removes it.
inline void setArchivePassword(const QString& password) {
    const Keychain& keychain = KeychainService(zipPasswordService).keychain;
    password.isEmpty() ? keychain.removeItem(zipPasswordKey)
                       : keychain.writeString(password, zipPasswordKey);
}

/// Stores the storage folder as the settings screen does; empty removes it.
inline void storeStorageFolder(const QString& folder) {
    folder.isEmpty() ? QSettings().remove(QStringLiteral("savedPathKey"))
                     : QSettings().setValue(QStringLiteral("savedPathKey"), folder);
}

} // namespace corvina::testing
