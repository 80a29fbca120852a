pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import Corvina.Ui
import Corvina.Shell

// The window's content: the unlock gate while the session is locked, the
// main screen while it is open. The main screen comes in from the right and
// leaves to the left; the gate comes in from the left and leaves to the right.
FocusScope {
    id: root

    // The gate's message line; it clears itself.
    readonly property TransientMessage warningText: warning
    readonly property Item currentView: stack.currentItem

    clip: true

    TransientMessage {
        id: warning
    }

    // In the locked look a press on any free point drags the window.
    DragHandler {
        target: null
        enabled: AppDelegate.mainWindow !== null && AppDelegate.mainWindow.isDraggable
        onActiveChanged: if (active) AppDelegate.mainWindow.startSystemMove()
    }

    StackView {
        id: stack

        // +1 when the main screen comes, −1 when the gate comes: both views
        // move the same way.
        property real direction: 1

        anchors.fill: parent
        background: null
        focus: true

        replaceEnter: Transition {
            XAnimator {
                from: stack.direction * stack.width
                to: 0
                duration: 500
                easing.type: Easing.InOutQuad
            }
        }
        replaceExit: Transition {
            XAnimator {
                from: 0
                to: stack.direction * stack.width
                duration: 500
                easing.type: Easing.InOutQuad
            }
        }
    }

    Component {
        id: gatePage

        FocusScope {
            objectName: "gatePage"
            readonly property PasswordEntryView gate: gateView

            Component.onCompleted: AppDelegate.lockedContentAppeared()
            // The password can be typed at once, also after a lock.
            StackView.onActivating: gateView.forceActiveFocus()
            // A gate on its way out must not lock the session again.
            StackView.onDeactivating: gateView.viewModel.cancel()

            PasswordEntryView {
                id: gateView
                anchors.fill: parent
                focus: true
                warningText: warning
            }
            // A passing message first; while the keyring can't give the
            // master password its notice stands in the line.
            WarningTextHelper {
                anchors.bottom: parent.bottom
                width: parent.width
                warningText: warning.text !== undefined ? warning.text : (gateView.viewModel.keyringNotice !== "" ? gateView.viewModel.keyringNotice : undefined)
                txtColor: Theme.red
            }
        }
    }

    Component {
        id: mainPage

        MainAppView {
            objectName: "mainPage"
            z: 1
            Component.onCompleted: AppDelegate.unlockedContentAppeared()
        }
    }

    Connections {
        target: AppDelegate
        function onIsAuthenticatedChanged() {
            stack.direction = AppDelegate.isAuthenticated ? 1 : -1;
            stack.replace(null, AppDelegate.isAuthenticated ? mainPage : gatePage);
        }
    }

    Component.onCompleted: stack.push(AppDelegate.isAuthenticated ? mainPage : gatePage, {}, StackView.Immediate)
}
