import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Corvina.Ui
import Corvina.Shell

// The one main window: a header tool bar that carries the lock item, and the
// window content of 900 × 500 below it. Its looks are switched by the
// AppDelegate through the window's DraggableWindow.
ApplicationWindow {
    id: window

    readonly property var chrome: AppDelegate.mainWindow
    readonly property bool titlebarTransparent: chrome ? chrome.titlebarAppearsTransparent : true

    width: 900
    height: 500 + toolBar.height
    minimumWidth: 900
    minimumHeight: 500 + toolBar.height
    color: Theme.windowBackgroundColor

    header: ToolBar {
        id: toolBar
        height: 40

        background: Rectangle {
            color: window.titlebarTransparent ? Theme.windowBackgroundColor : Qt.darker(Theme.windowBackgroundColor, 1.06)

            Behavior on color {
                ColorAnimation {
                    duration: 500
                    easing.type: Easing.InOutQuad
                }
            }

            Rectangle {
                anchors.bottom: parent.bottom
                width: parent.width
                height: 1
                color: Theme.withOpacity(Theme.secondaryColor, 0.3)
                opacity: window.titlebarTransparent ? 0 : 1

                Behavior on opacity {
                    NumberAnimation {
                        duration: 500
                        easing.type: Easing.InOutQuad
                    }
                }
            }
        }

        DragHandler {
            target: null
            enabled: window.chrome !== null && window.chrome.isDraggable
            onActiveChanged: if (active) window.chrome.startSystemMove()
        }

        RowLayout {
            anchors.fill: parent
            anchors.leftMargin: 8
            anchors.rightMargin: 8

            ToolButton {
                id: lockItem
                objectName: "lockItem"
                visible: AppDelegate.hasLockItem
                implicitWidth: 32
                implicitHeight: 32
                display: AbstractButton.IconOnly
                // The keyboard stays with the content: after a lock the gate's
                // input has it.
                focusPolicy: Qt.NoFocus
                Accessible.name: AppDelegate.lockItemLabel
                Accessible.description: AppDelegate.lockItemPaletteLabel
                ToolTip.visible: hovered
                ToolTip.delay: 600
                ToolTip.text: AppDelegate.lockItemToolTip
                onClicked: AppDelegate.customButtonAction()

                contentItem: Item {
                    SymbolImage {
                        anchors.centerIn: parent
                        name: AppDelegate.lockItemSymbol
                        size: 18
                        color: Theme.accentColor
                    }
                }
            }
            // The flexible space.
            Item {
                Layout.fillWidth: true
            }
        }
    }

    // The settings open from the fourth tile and by the desktop's usual
    // shortcut; closing the main window ends the program, settings and all.
    onClosing: settingsWindow.close()

    Shortcut {
        sequence: "Ctrl+,"
        context: Qt.WindowShortcut
        onActivated: AppDelegate.openSettings()
    }

    SettingsWindow {
        id: settingsWindow
        objectName: "settingsWindow"
    }

    WindowContent {
        objectName: "content"
        anchors.centerIn: parent
        focus: true
        width: 900
        height: 500
    }

    // The updater's dialogs, over whatever the window shows.
    UpdateDialogs {}
}
