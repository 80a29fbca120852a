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
    // The fixed texts of the storage screen and of its folder dialog.
    Q_PROPERTY(QString folderLabel READ folderLabel CONSTANT)
    Q_PROPERTY(QString pathLabel READ pathLabel CONSTANT)
    Q_PROPERTY(QString chooseButtonText READ chooseButtonText CONSTANT)
    Q_PROPERTY(QString chooseButtonIcon READ chooseButtonIcon CONSTANT)
    Q_PROPERTY(QString dialogTitle READ dialogTitle CONSTANT)
    Q_PROPERTY(QString dialogAcceptLabel READ dialogAcceptLabel CONSTANT)

public:
    explicit PathViewModel(QObject* parent = nullptr);

    [[nodiscard]] QUrl restorePath() const { return m_restorePath; }
    [[nodiscard]] QString folderName() const;
    [[nodiscard]] QString folderPath() const;
    [[nodiscard]] static QString folderLabel() { return QStringLiteral("Ordner"); }
    [[nodiscard]] static QString pathLabel() { return QStringLiteral("Pfad"); }
    [[nodiscard]] static QString chooseButtonText() { return QStringLiteral("Pfad auswählen"); }
    [[nodiscard]] static QString chooseButtonIcon() { return QStringLiteral("folder"); }
    [[nodiscard]] static QString dialogTitle() {
        return QStringLiteral("Wählen Sie einen Ordner zum Speichern von Dateien aus");
    }
    [[nodiscard]] static QString dialogAcceptLabel() { return QStringLiteral("Auswählen"); }

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
