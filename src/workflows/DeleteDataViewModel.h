#pragma once

#include "engine/FinderCommentError.h"

#include <QFuture>
#include <QObject>
#include <QPointer>
#include <QString>

namespace corvina {

class ActionHost;

/// Removes a folder as a whole, on a worker thread. A failure, also for a
/// folder that isn't there, is reported as `failedToAddComment`, a case that
/// here means no more than "not deleted".
QFuture<EncryptionResult> deleteCompanionData(const QString& location);

/// The delete screen's logic: its tick box and the deletion of the companion
/// application's data folder that each flip of the host's `performAction`
/// starts.
class DeleteDataViewModel : public QObject {
    Q_OBJECT
    /// The tick box: ticked means the host's action button is enabled.
    Q_PROPERTY(bool isConfirmed READ isConfirmed WRITE setIsConfirmed NOTIFY isConfirmedChanged)
    Q_PROPERTY(corvina::ActionHost* host READ host WRITE setHost NOTIFY hostChanged)

public:
    explicit DeleteDataViewModel(QObject* parent = nullptr);

    [[nodiscard]] bool isConfirmed() const;
    void setIsConfirmed(bool confirmed);
    [[nodiscard]] ActionHost* host() const { return m_host; }
    void setHost(ActionHost* host);

    /// One run of the action: caption "App wird gelöscht.", the data folder
    /// removed, the outcome in the host's `messageText` ("Die Daten wurden
    /// erfolgreich gelöscht." or "Fehler beim Löschen der Daten."), then after
    /// one second with the caption still up, the sheet closes, either way.
    Q_INVOKABLE void runDeletion();

Q_SIGNALS:
    void isConfirmedChanged();
    void hostChanged();

private:
    QPointer<ActionHost> m_host;
};

} // namespace corvina
