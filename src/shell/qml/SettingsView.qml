pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Corvina.Ui
import Corvina.Shell

// The tabs of the settings, in order: the master password, the archive
// password, the storage folder, the schedule of automatic backups and the
// updates. Each tab is 400 wide; the
// window takes the height of the open tab.
FocusScope {
    id: root

    readonly property string currentTitle: tabBar.currentItem ? tabBar.currentItem.text : ""
    readonly property PasswordView masterPasswordView: masterPassword
    readonly property PasswordView zipPasswordView: zipPassword
    readonly property PathView pathView: storage
    readonly property ScheduleView scheduleView: schedule

    // An open sheet, alert or folder dialog may need more room than its tab:
    // the window grows while it is open.
    implicitWidth: storage.isChoosing ? 600 : 400
    implicitHeight: Math.max(tabBar.height + stack.height, masterPassword.overlayHeight + 40, zipPassword.overlayHeight + 40, storage.isChoosing ? 450 : 0)

    component SettingsTab: TabButton {
        id: tab
        required property string iconName

        implicitHeight: 56
        font: Theme.font("roboto_regular11")
        Accessible.role: Accessible.PageTab
        Accessible.name: text
        contentItem: Column {
            spacing: 3
            SymbolImage {
                anchors.horizontalCenter: parent.horizontalCenter
                name: tab.iconName
                size: 22
                color: tab.checked ? Theme.accentColor : Theme.secondaryColor
            }
            Text {
                anchors.horizontalCenter: parent.horizontalCenter
                text: tab.text
                font: tab.font
                color: tab.checked ? Theme.accentColor : Theme.textColor
            }
        }
    }

    TabBar {
        id: tabBar
        width: parent.width
        focus: true

        SettingsTab {
            text: "App Passwort"
            iconName: "lock.desktopcomputer"
        }
        SettingsTab {
            text: "Zip Passwort"
            iconName: "lock.rectangle.stack"
        }
        SettingsTab {
            text: "Speicherort"
            iconName: "folder"
        }
        SettingsTab {
            text: "Zeitplan"
            iconName: "clock"
        }
        SettingsTab {
            text: "Update"
            iconName: "network"
        }
    }

    StackLayout {
        id: stack
        anchors.top: tabBar.bottom
        width: parent.width
        height: children[currentIndex].implicitHeight
        currentIndex: tabBar.currentIndex

        PasswordView {
            id: masterPassword
            objectName: "masterPasswordView"
            modelKey: "masterPassword"
        }
        PasswordView {
            id: zipPassword
            objectName: "zipPasswordView"
            modelKey: "zipPassword"
        }
        PathView {
            id: storage
            objectName: "pathView"
        }
        ScheduleView {
            id: schedule
            objectName: "scheduleView"
        }
        UpdateView {
            objectName: "updateView"
        }
    }
}
