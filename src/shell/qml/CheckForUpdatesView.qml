pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import Corvina.Ui
import Corvina.Shell

// The update badge: while the last check found an update, a button
// "Update verfügbar v.<version>" that opens the update dialog. It grows in
// from 0.8 and fades in, and leaves the same way, over 0.8 s.
Item {
    id: root

    property CheckForUpdatesViewModel viewModel
    readonly property SparkleUpdaterDelegate sparkleDelegate: AppDelegate.sparkleDelegate
    readonly property bool isUpdateAvailable: sparkleDelegate.isUpdateAvailable

    implicitWidth: badge.implicitWidth
    implicitHeight: isUpdateAvailable ? badge.implicitHeight : 0

    Behavior on implicitHeight {
        NumberAnimation {
            duration: 800
            easing.type: Easing.InOutQuad
        }
    }

    ToolButton {
        id: badge
        objectName: "updateBadge"
        anchors.centerIn: parent
        text: "Update verfügbar v." + root.sparkleDelegate.availableUpdateVersion
        visible: opacity > 0
        enabled: root.isUpdateAvailable
        opacity: root.isUpdateAvailable ? 1 : 0
        scale: root.isUpdateAvailable ? 1 : 0.8
        padding: 2
        Accessible.role: Accessible.Button
        Accessible.name: text
        onClicked: root.viewModel.updater.checkForUpdates()

        Behavior on opacity {
            NumberAnimation {
                duration: 800
                easing.type: Easing.InOutQuad
            }
        }
        Behavior on scale {
            NumberAnimation {
                duration: 800
                easing.type: Easing.InOutQuad
            }
        }

        contentItem: Row {
            spacing: 4

            SymbolImage {
                anchors.verticalCenter: parent.verticalCenter
                name: "AppStore"
                size: 16
                color: Theme.accentColor
            }
            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: badge.text
                font: Theme.font("roboto_regular12")
                color: Theme.accentColor
            }
        }
    }
}
