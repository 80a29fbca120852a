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
    /// The warning's first line, shown bold, and the line under it.
    Q_PROPERTY(QString warningHeadline READ warningHeadline CONSTANT)
    Q_PROPERTY(QString warningDetail READ warningDetail CONSTANT)
    /// The tick box's text.
    Q_PROPERTY(QString confirmationTitle READ confirmationTitle CONSTANT)

public:
    explicit DeleteDataViewModel(QObject* parent = nullptr);

    [[nodiscard]] bool isConfirmed() const;
    void setIsConfirmed(bool confirmed);
    [[nodiscard]] ActionHost* host() const { return m_host; }
    void setHost(ActionHost* host);
    [[nodiscard]] static QString warningHeadline() {
        return QStringLiteral("Achtung: Alle Daten und die Datenbank der App werden gelöscht.");
    }
    [[nodiscard]] static QString warningDetail() {
        return QStringLiteral(
            "Stelle vor dem Löschen sicher, dass du ein Backup der App erstellt hast.");
    }
    [[nodiscard]] static QString confirmationTitle() {
        return QStringLiteral("Vor dem Löschen bestätige, dass du einverstanden bist.");
    }

    /// One run of the action, started by each flip of the host's
    /// `performAction`: caption "App wird gelöscht.", the data folder removed,
    /// the outcome in the host's `messageText` ("Die Daten wurden erfolgreich
    /// gelöscht." or "Fehler beim Löschen der Daten."), then after one second
    /// with the caption still up, the sheet closes, either way. The future
    /// finishes with the deletion's result, also when the model has gone.
    QFuture<EncryptionResult> runDeletion();

Q_SIGNALS:
    void isConfirmedChanged();
    void hostChanged();

private:
    QPointer<ActionHost> m_host;
};

} // namespace corvina
