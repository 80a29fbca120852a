#pragma once

#include <QObject>
#include <QString>
#include <QUrl>

namespace corvina {

/// The storage folder on the settings screen: loaded from and saved to the
/// "savedPathKey" setting. A folder once stored can be replaced, never removed.
class PathViewModel : public QObject {
    Q_OBJECT
    /// The storage folder; empty until one is stored or chosen.
    Q_PROPERTY(QUrl restorePath READ restorePath NOTIFY restorePathChanged)
    /// The folder's last path component, shown under "Ordner".
    Q_PROPERTY(QString folderName READ folderName NOTIFY restorePathChanged)
    /// The folder's path, shown under "Pfad".
    Q_PROPERTY(QString folderPath READ folderPath NOTIFY restorePathChanged)
    Q_PROPERTY(QString dialogTitle READ dialogTitle CONSTANT)
    Q_PROPERTY(QString dialogAcceptLabel READ dialogAcceptLabel CONSTANT)

public:
    explicit PathViewModel(QObject* parent = nullptr);

    [[nodiscard]] QUrl restorePath() const { return m_restorePath; }
    [[nodiscard]] QString folderName() const;
    [[nodiscard]] QString folderPath() const;
    [[nodiscard]] static QString dialogTitle();
    [[nodiscard]] static QString dialogAcceptLabel();

    /// Takes the stored folder, if any; without one `restorePath` stays as it is.
    Q_INVOKABLE void loadSavedPath();
    /// Stores `restorePath`; without one the stored value stays as it is.
    Q_INVOKABLE void savePath();
    /// Takes what the folder dialog returned. An empty location (the dialog
    /// was cancelled or gave nothing) changes nothing; a folder is taken and
    /// stored. The dialog opens at `restorePath` when there is one.
    Q_INVOKABLE void chooseFolder(const QUrl& chosenFolder);

Q_SIGNALS:
    void restorePathChanged();

private:
    void setRestorePath(const QUrl& path);

    QUrl m_restorePath;
};

} // namespace corvina
