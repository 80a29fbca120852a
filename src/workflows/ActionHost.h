#pragma once

#include "engine/DataFolderLock.h"
#include "engine/FinderCommentError.h"
#include "workflows/CompanionApplication.h"

#include <QElapsedTimer>
#include <QFuture>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>

#include <memory>
#include <optional>

namespace corvina {

class OperationProgress;

/// The state that the main screen shares with the open action screen: the
/// trigger, the working caption, the result line and the action button's flag,
/// together with the companion application that waits to be closed before a
/// restore or a deletion. An empty text stands for an absent one.
///
/// The host flips `performAction` to start the open screen's work; the screen's
/// view model reacts to every change, whatever the new value.
class ActionHost : public QObject {
    Q_OBJECT
    Q_PROPERTY(
        bool performAction READ performAction WRITE setPerformAction NOTIFY performActionChanged)
    Q_PROPERTY(QString progressLoadText READ progressLoadText WRITE setProgressLoadText NOTIFY
                   progressLoadTextChanged)
    /// Whether the running action reports how far it has come; the working
    /// pop-up shows its bar only then.
    Q_PROPERTY(bool hasProgress READ hasProgress NOTIFY progressChanged)
    /// The part of the running action that is done, from 0 to 1.
    Q_PROPERTY(double progressFraction READ progressFraction NOTIFY progressChanged)
    /// The time the running action still needs ("noch etwa 2 Minuten"),
    /// empty during its first two seconds.
    Q_PROPERTY(QString progressRemainingText READ progressRemainingText NOTIFY progressChanged)
    Q_PROPERTY(QString messageText READ messageText WRITE setMessageText NOTIFY messageTextChanged)
    /// The text of the error alert over the main screen (title "Fehler"), for
    /// an action that refused to start; empty while none shows.
    Q_PROPERTY(QString alertMessage READ alertMessage NOTIFY alertMessageChanged)
    Q_PROPERTY(bool isSaveButtonDisabled READ isSaveButtonDisabled WRITE setIsSaveButtonDisabled
                   NOTIFY isSaveButtonDisabledChanged)
    /// Whether the companion application was found running; shows the close alert.
    Q_PROPERTY(
        bool hasRunningApplication READ hasRunningApplication NOTIFY runningApplicationChanged)
    Q_PROPERTY(QString closeAlertTitle READ closeAlertTitle CONSTANT)
    /// The close alert's text for the action that waits for it.
    Q_PROPERTY(QString closeAlertMessage READ closeAlertMessage NOTIFY runningApplicationChanged)
    /// From the action button's press until its action has ended (or was
    /// called off): the button is inert, so one press runs one action.
    Q_PROPERTY(bool isActionPending READ isActionPending NOTIFY isActionPendingChanged)
    /// Another action on the data (of this window, the tool or the timer)
    /// held the data folder's lock: the busy alert shows, nothing ran.
    Q_PROPERTY(bool isDataBusy READ isDataBusy NOTIFY isDataBusyChanged)
    Q_PROPERTY(QString busyAlertTitle READ busyAlertTitle CONSTANT)
    Q_PROPERTY(QString busyAlertMessage READ busyAlertMessage CONSTANT)

public:
    /// `delete_` stands for the action "delete" (a C++ keyword).
    enum class Action { create, restore, delete_ };
    Q_ENUM(Action)

    explicit ActionHost(QObject* parent = nullptr);

    [[nodiscard]] bool performAction() const { return m_performAction; }
    void setPerformAction(bool value);
    [[nodiscard]] QString progressLoadText() const { return m_progressLoadText; }
    void setProgressLoadText(const QString& text);
    [[nodiscard]] bool hasProgress() const { return m_progress != nullptr; }
    [[nodiscard]] double progressFraction() const { return m_progressFraction; }
    [[nodiscard]] QString progressRemainingText() const { return m_progressRemainingText; }
    /// Shows how far `progress` has come, ten times a second, until
    /// endProgress() or the next followProgress().
    void followProgress(std::shared_ptr<const OperationProgress> progress);
    /// The action has ended: no bar, no remaining time.
    void endProgress();
    [[nodiscard]] QString messageText() const { return m_messageText; }
    void setMessageText(const QString& text);
    [[nodiscard]] QString alertMessage() const { return m_alertMessage; }
    /// Shows the error alert with `message`; an empty one hides it.
    void showAlert(const QString& message);
    /// "OK" in the error alert, or any other dismissal.
    Q_INVOKABLE void dismissAlert() { showAlert(QString()); }
    [[nodiscard]] bool isSaveButtonDisabled() const { return m_isSaveButtonDisabled; }
    void setIsSaveButtonDisabled(bool value);
    [[nodiscard]] bool hasRunningApplication() const { return m_runningApplication.has_value(); }
    [[nodiscard]] const std::optional<RunningApplication>& runningApplication() const {
        return m_runningApplication;
    }
    [[nodiscard]] static QString closeAlertTitle();
    [[nodiscard]] QString closeAlertMessage() const;
    [[nodiscard]] bool isActionPending() const { return m_isActionPending; }
    [[nodiscard]] bool isDataBusy() const { return m_isDataBusy; }
    [[nodiscard]] static QString busyAlertTitle();
    [[nodiscard]] static QString busyAlertMessage();

    /// The screen's work for the flip it was told of: the data folder's lock
    /// is held, and the button stays inert, until `run` has finished.
    void holdUntilFinished(const QFuture<EncryptionResult>& run);

    /// Tells the open screen to run once.
    Q_INVOKABLE void flipPerformAction();

    /// The sheet's action button. A backup starts at once; a restore or a
    /// deletion first looks for the running companion application. While an
    /// earlier press's action is pending or running, a press does nothing.
    Q_INVOKABLE void startAction(corvina::ActionHost::Action action);

    /// Looks for the running application with this identifier. When found it
    /// is kept in `runningApplication` (the close alert appears); otherwise
    /// the action starts at once.
    void findCompanionApplication(const QString& identifier);

    /// The close alert's "OK": kills the companion application without asking
    /// it, dismisses the alert, and starts the action one second later,
    /// whether or not the application has gone by then.
    Q_INVOKABLE void closeCompanionApplication();

    /// The close alert's "Abbrechen", or any other dismissal: nothing starts.
    Q_INVOKABLE void dismissCloseAlert();

    /// The busy alert's "OK", or any other dismissal.
    Q_INVOKABLE void dismissBusyAlert();

    /// Leaves the screen: the button's flag is reset and `closeViewRequested`
    /// tells the host to close the sheet. Trigger and result line stay.
    Q_INVOKABLE void closeView();

Q_SIGNALS:
    void performActionChanged();
    void progressLoadTextChanged();
    void progressChanged();
    void messageTextChanged();
    void alertMessageChanged();
    void isSaveButtonDisabledChanged();
    void runningApplicationChanged();
    void isActionPendingChanged();
    void isDataBusyChanged();
    void closeViewRequested();

private:
    void sampleProgress();
    /// Takes the data folder's lock and tells the open screen to run; with
    /// the lock held elsewhere, shows the busy alert instead.
    void beginAction();
    void endAction();
    void setIsActionPending(bool value);
    void setIsDataBusy(bool value);
    void setRunningApplication(std::optional<RunningApplication> application);

    bool m_performAction = false;
    QString m_progressLoadText;
    std::shared_ptr<const OperationProgress> m_progress;
    QTimer m_progressTimer;
    QElapsedTimer m_progressClock;
    double m_progressFraction = 0.0;
    QString m_progressRemainingText;
    QString m_messageText;
    QString m_alertMessage;
    bool m_isSaveButtonDisabled = false;
    std::optional<RunningApplication> m_runningApplication;
    Action m_pendingAction = Action::create;
    bool m_isActionPending = false;
    bool m_isDataBusy = false;
    bool m_awaitingRun = false;
    /// Counts the actions begun, so that a run ends only its own action.
    quint64 m_actionNumber = 0;
    std::optional<DataFolderLock> m_lock;
};

/// Moves a sheet's view model from the host in `current` to `next`: its
/// connections to the old host go, and `onPerformAction` runs on each flip of
/// the new host's action. Returns false when the host stays the same.
template <typename Receiver, typename Slot>
bool attachActionHost(QPointer<ActionHost>& current, ActionHost* next, Receiver* receiver,
                      Slot onPerformAction) {
    if (current == next) {
        return false;
    }
    if (current) {
        QObject::disconnect(current, nullptr, receiver, nullptr);
    }
    current = next;
    if (current) {
        QObject::connect(current, &ActionHost::performActionChanged, receiver, onPerformAction);
    }
    return true;
}

} // namespace corvina
