import QtQuick
import QtQuick.Controls
import Corvina.Ui
import Corvina.Shell

// The settings tab "Update": the two automatic switches, written through to
// the updater at once, and the user's check.
Column {
    id: root

    property Updater updater: AppDelegate.updater
    property bool automaticallyChecksForUpdates: updater.automaticallyChecksForUpdates
    property bool automaticallyDownloadsUpdates: updater.automaticallyDownloadsUpdates

    topPadding: 20
    leftPadding: 50
    rightPadding: 50
    spacing: 20

    CheckForUpdatesViewModel {
        id: checkModel
        updater: root.updater
    }

    Switch {
        objectName: "automaticChecksSwitch"
        text: "Automatisch auf Updates prüfen"
        font: Theme.font("roboto_regular14")
        checked: root.automaticallyChecksForUpdates
        Accessible.role: Accessible.CheckBox
        Accessible.name: text
        onToggled: {
            root.automaticallyChecksForUpdates = checked;
            root.updater.automaticallyChecksForUpdates = checked;
        }
    }
    Switch {
        objectName: "automaticDownloadsSwitch"
        text: "Updates automatisch herunterladen"
        font: Theme.font("roboto_regular14")
        checked: root.automaticallyDownloadsUpdates
        Accessible.role: Accessible.CheckBox
        Accessible.name: text
        onToggled: {
            root.automaticallyDownloadsUpdates = checked;
            root.updater.automaticallyDownloadsUpdates = checked;
        }
    }
    Button {
        id: checkButton
        objectName: "checkForUpdatesButton"
        text: "Auf Updates prüfen"
        enabled: checkModel.canCheckForUpdates
        leftPadding: 12
        rightPadding: 12
        topPadding: 10
        bottomPadding: 10
        Accessible.role: Accessible.Button
        Accessible.name: text
        onClicked: root.updater.checkForUpdates()

        contentItem: Row {
            spacing: 6

            SymbolImage {
                anchors.verticalCenter: parent.verticalCenter
                name: "arrow.trianglehead.2.clockwise.rotate.90"
                size: 18
                color: Theme.accentColor
                opacity: checkButton.enabled ? 1 : 0.4
            }
            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: checkButton.text
                font: Theme.font("roboto_regular14")
                color: Theme.textColor
                opacity: checkButton.enabled ? 1 : 0.4
            }
        }
    }
}
