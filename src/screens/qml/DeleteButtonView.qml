import QtQuick
import Corvina.Ui
import Corvina.Screens

// The delete sheet's content: the warning and the tick box that is one
// piece of state with the host's action button (ticked: enabled). The box
// opens ticked. The model deletes the data on each flip of the trigger.
FocusScope {
    id: root

    required property ActionHost host
    readonly property alias viewModel: deleteModel

    implicitWidth: column.implicitWidth + 40
    implicitHeight: column.implicitHeight + 40

    DeleteDataViewModel {
        id: deleteModel
        host: root.host
    }

    Column {
        id: column
        anchors.centerIn: parent
        spacing: 20

        Text {
            objectName: "deleteWarning"
            anchors.horizontalCenter: parent.horizontalCenter
            horizontalAlignment: Text.AlignHCenter
            textFormat: Text.StyledText
            text: "<b>" + deleteModel.warningHeadline + "</b><br>" + deleteModel.warningDetail
            font: Theme.font("roboto_regular14")
            color: Theme.textColor
            Accessible.role: Accessible.StaticText
            Accessible.name: deleteModel.warningHeadline + " " + deleteModel.warningDetail
        }
        CheckBoxHelper {
            id: confirmation
            objectName: "confirmationBox"
            anchors.horizontalCenter: parent.horizontalCenter
            title: deleteModel.confirmationTitle
            imgColor: Theme.red
            size: 15
            focus: true
            selection: deleteModel.isConfirmed
            onToggled: deleteModel.isConfirmed = selection
        }
    }
}
