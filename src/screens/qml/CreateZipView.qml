import QtQuick
import Corvina.Ui
import Corvina.Screens

// The create sheet's content: where the backup goes (blue while the folder
// is there, red when it has gone) and the comment. The model makes the
// backup on each flip of the host's trigger.
FocusScope {
    id: root

    required property ActionHost host
    readonly property alias viewModel: createModel

    implicitWidth: 400
    implicitHeight: 200

    CreateZipViewModel {
        id: createModel
        host: root.host
    }

    Column {
        anchors.fill: parent
        anchors.margins: 10
        spacing: 20

        TextViewHelper {
            objectName: "storageLink"
            width: parent.width
            title: createModel.locationTitle
            text: createModel.destinationPathText.length > 0 ? createModel.destinationPathText : undefined
            url: createModel.destinationPath
            color: createModel.isDirectoryAvailable ? Theme.blue : Theme.red
        }
        TextEditorHelper {
            objectName: "commentEditor"
            title: createModel.commentTitle
            editorWidth: 380
            idealHeight: 70
            maxHeight: 70
            needFocus: true
            text: createModel.comment
            onTextChanged: createModel.comment = text
        }
    }

    // The alert shows while the model holds an error text.
    Binding {
        target: errorAlert
        property: "selectedItem"
        value: createModel.zipStatusMessage.length > 0 ? createModel.zipStatusMessage : undefined
    }
    CustomAlert {
        id: errorAlert
        objectName: "errorAlert"
        title: createModel.alertTitle
        message: item => item
        alertType: AlertCustomType.warn
        buttons: [{
                "title": createModel.alertButtonText,
                "bgColor": Theme.accentColor,
                "isDefault": false
            }]
        onDismissed: createModel.dismissStatusAlert()
    }
}
