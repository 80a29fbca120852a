#include "workflows/PathViewModel.h"

#include "workflows/StorageLocation.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>

namespace corvina {

PathViewModel::PathViewModel(QObject* parent)
    : QObject(parent) {
    loadSavedPath();
}

QString PathViewModel::folderName() const {
    return m_restorePath.isEmpty() ? QString() : QFileInfo(m_restorePath.toLocalFile()).fileName();
}

QString PathViewModel::folderPath() const {
    return m_restorePath.isEmpty() ? QString() : m_restorePath.toLocalFile();
}

void PathViewModel::loadSavedPath() {
    const QUrl stored = storedStorageUrl();
    if (!stored.isEmpty()) {
        setRestorePath(stored);
    }
}

void PathViewModel::savePath() {
    if (m_restorePath.isEmpty()) {
        return;
    }
    QSettings settings;
    settings.setValue(DatabaseManager::shared().pathKey, m_restorePath.toLocalFile());
    settings.sync();
}

void PathViewModel::chooseFolder(const QUrl& chosenFolder) {
    if (chosenFolder.isEmpty() || !chosenFolder.isLocalFile()) {
        return;
    }
    setRestorePath(QUrl::fromLocalFile(QDir::cleanPath(chosenFolder.toLocalFile())));
    savePath();
}

void PathViewModel::setRestorePath(const QUrl& path) {
    if (m_restorePath == path) {
        return;
    }
    m_restorePath = path;
    Q_EMIT restorePathChanged();
}

} // namespace corvina
