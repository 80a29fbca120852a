#pragma once

#include "updates/UpdaterDelegate.h"

#include <QObject>
#include <QString>

namespace corvina {

/// Tells the views whether the last check found an update and which
/// version. A found update stays advertised until a later check finds none.
class SparkleUpdaterDelegate : public QObject, public UpdaterDelegate {
    Q_OBJECT
    Q_PROPERTY(bool isUpdateAvailable READ isUpdateAvailable NOTIFY isUpdateAvailableChanged)
    Q_PROPERTY(QString availableUpdateVersion READ availableUpdateVersion NOTIFY
                   availableUpdateVersionChanged)

public:
    explicit SparkleUpdaterDelegate(QObject* parent = nullptr);

    [[nodiscard]] bool isUpdateAvailable() const { return m_isUpdateAvailable; }
    [[nodiscard]] QString availableUpdateVersion() const { return m_availableUpdateVersion; }

    /// Answers nothing: the built-in feed (or "SUFeedURL") applies.
    [[nodiscard]] QString feedURLStringForUpdater(Updater& updater) override;
    void didFindValidUpdate(Updater& updater, const AppcastItem& item) override;
    void updaterDidNotFindUpdate(Updater& updater) override;

Q_SIGNALS:
    void isUpdateAvailableChanged();
    void availableUpdateVersionChanged();

private:
    void setState(bool available, const QString& version);

    bool m_isUpdateAvailable = false;
    QString m_availableUpdateVersion;
};

} // namespace corvina
