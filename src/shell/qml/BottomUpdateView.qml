import QtQuick
import QtQuick.Controls
import Corvina.Ui
import Corvina.Shell

// The band at the bottom of the main screen: the update badge, and under it
// the program's version line, which opens this version's release notes.
Column {
    id: root

    property CheckForUpdatesViewModel checkForUpdatesViewModel

    CheckForUpdatesView {
        anchors.horizontalCenter: parent.horizontalCenter
        viewModel: root.checkForUpdatesViewModel
    }

    ToolButton {
        id: versionButton
        objectName: "versionButton"
        width: root.width
        height: 20
        padding: 0
        text: BuildVersion.versionLine
        Accessible.role: Accessible.Button
        Accessible.name: text
        Accessible.description: "Versionshinweise öffnen"
        onClicked: BuildVersion.openReleaseNotes()

        contentItem: Text {
            text: versionButton.text
            font: Theme.font("roboto_regular12")
            color: Theme.secondaryColor
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
        }
    }
}
