import QtQuick
import QtQuick.Layouts
import QtQuick.Dialogs
import Corvina.Ui
import Corvina.Shell

// The storage folder tab: the folder's name and path, and the button that
// opens the folder dialog. The choice is stored at once.
Item {
    id: root

    readonly property alias viewModel: path
    readonly property alias dialog: dialog
    // The folder dialog may be drawn inside the window: it needs more room.
    readonly property bool isChoosing: dialog.visible

    implicitWidth: 400
    implicitHeight: 200

    PathViewModel {
        id: path
    }

    GridLayout {
        anchors.fill: parent
        anchors.margins: 30
        columns: 2
        columnSpacing: 15
        rowSpacing: 12

        Text {
            text: path.folderLabel
            font: Theme.font("roboto_bold14")
            color: Theme.secondaryColor
        }
        Text {
            objectName: "folderName"
            Layout.fillWidth: true
            text: path.folderName
            font: Theme.font("roboto_regular14")
            color: Theme.textColor
            elide: Text.ElideMiddle
            Accessible.role: Accessible.StaticText
            Accessible.name: path.folderLabel + " " + text
        }
        Text {
            Layout.alignment: Qt.AlignTop
            text: path.pathLabel
            font: Theme.font("roboto_bold14")
            color: Theme.secondaryColor
        }
        Text {
            objectName: "folderPath"
            Layout.fillWidth: true
            text: path.folderPath
            font: Theme.font("roboto_regular14")
            color: Theme.textColor
            wrapMode: Text.WrapAtWordBoundaryOrAnywhere
            maximumLineCount: 3
            elide: Text.ElideMiddle
            Accessible.role: Accessible.StaticText
            Accessible.name: path.pathLabel + " " + text
        }
        TrendyButtonHelper {
            objectName: "chooseFolderButton"
            Layout.columnSpan: 2
            Layout.alignment: Qt.AlignHCenter
            text: path.chooseButtonText
            iconName: path.chooseButtonIcon
            onCallback: dialog.open()
        }
    }

    FolderDialog {
        id: dialog
        title: path.dialogTitle
        acceptLabel: path.dialogAcceptLabel
        currentFolder: path.restorePath
        onAccepted: path.chooseFolder(selectedFolder)
    }
}
