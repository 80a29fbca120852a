pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import Corvina.Ui
import Corvina.Screens

// The restore sheet's content: the backups of the storage folder, newest
// first, one of which is chosen for restoring, and the error line under
// them. A row's comment is edited in a sheet of its own and a backup is
// deleted after a confirmation; both are offered by the row's buttons, its
// context menu, and the keys F2 and Delete on the selected row.
FocusScope {
    id: root

    required property ActionHost host
    readonly property alias viewModel: restoreModel
    readonly property ListView list: backupList

    implicitWidth: 420
    implicitHeight: 250

    RestoreZipViewModel {
        id: restoreModel
        host: root.host
    }

    Component.onCompleted: restoreModel.appear()

    function rowIndexOf(url): int {
        for (let i = 0; i < backupList.count; ++i)
            if (backupList.itemAtIndex(i) && backupList.itemAtIndex(i).fileUrl === url)
                return i;
        return -1;
    }

    ListView {
        id: backupList
        objectName: "backupList"
        anchors.fill: parent
        anchors.margins: 6
        clip: true
        focus: true
        spacing: 2
        model: restoreModel.backups
        keyNavigationEnabled: true
        currentIndex: -1
        boundsBehavior: Flickable.StopAtBounds
        Accessible.role: Accessible.List
        Accessible.name: "Backups"
        ScrollBar.vertical: ScrollBar {}

        // Moving with the arrow keys chooses the row.
        onCurrentIndexChanged: {
            if (currentItem && currentItem.fileUrl !== restoreModel.selectedURL)
                restoreModel.selectedURL = currentItem.fileUrl;
        }
        Keys.onPressed: event => {
            if (!currentItem || restoreModel.selectedURL.toString().length === 0)
                return;
            if (event.key === Qt.Key_F2) {
                restoreModel.beginEditComment(currentItem.fileUrl);
                event.accepted = true;
            } else if (event.key === Qt.Key_Delete) {
                restoreModel.beginDeleteBackup(currentItem.fileUrl);
                event.accepted = true;
            } else if (event.key === Qt.Key_Menu) {
                rowMenu.popup(currentItem, 20, currentItem.height / 2);
                event.accepted = true;
            }
        }

        delegate: BackupRowView {
            width: ListView.view.width
            isSelected: fileUrl === restoreModel.selectedURL
            editLabel: restoreModel.editActionLabel
            editIcon: restoreModel.editActionIcon
            editToolTip: restoreModel.editActionToolTip
            deleteLabel: restoreModel.deleteActionLabel
            deleteIcon: restoreModel.deleteActionIcon
            deleteToolTip: restoreModel.deleteActionToolTip
            onSelected: {
                restoreModel.selectedURL = fileUrl;
                backupList.currentIndex = index;
                backupList.forceActiveFocus();
            }
            onEditRequested: restoreModel.beginEditComment(fileUrl)
            onDeleteRequested: restoreModel.beginDeleteBackup(fileUrl)
            onMenuRequested: (x, y) => rowMenu.popup(this, x, y)
        }

        Text {
            visible: backupList.count === 0
            anchors.centerIn: parent
            text: "Keine Backups im Speicherort"
            font: Theme.font("roboto_regular14")
            color: Theme.secondaryColor
        }
    }

    // A row's actions on right-click or the menu key; they act on the
    // selected row, which the click has just chosen.
    Menu {
        id: rowMenu
        MenuItem {
            text: restoreModel.editActionToolTip
            onTriggered: restoreModel.beginEditComment(restoreModel.selectedURL)
        }
        MenuItem {
            text: restoreModel.deleteActionToolTip
            onTriggered: restoreModel.beginDeleteBackup(restoreModel.selectedURL)
        }
    }

    // The list keeps its current row on the selection, also when the model
    // clears the selection because the file has gone.
    Connections {
        target: restoreModel
        function onSelectedURLChanged() {
            if (restoreModel.selectedURL.toString().length === 0)
                backupList.currentIndex = -1;
        }
    }

    WarningTextHelper {
        anchors.bottom: parent.bottom
        width: parent.width
        warningText: restoreModel.warningText.length > 0 ? restoreModel.warningText : undefined
        txtColor: Theme.red
    }

    ModalSheet {
        id: editSheet
        objectName: "editSheet"
        readonly property bool isPresented: restoreModel.editBackup.toString().length > 0
        onIsPresentedChanged: isPresented ? open() : close()
        onOpened: {
            restoreModel.editorAppeared();
            editor.takeFocus();
        }
        onEscapePressed: restoreModel.cancelEditComment()

        BlurredSheetContentHelper {
            focus: true
            width: 350
            maxViewWidth: 350
            header: restoreModel.editorTitle
            minWidth: 10
            alignment: Text.AlignLeft
            textLeft: restoreModel.cancelText
            textMiddle: restoreModel.saveText
            textRight: "additional"
            onCallbackLeft: restoreModel.cancelEditComment()
            onCallbackMiddle: restoreModel.saveComment()

            Item {
                implicitWidth: 320
                implicitHeight: editor.implicitHeight + 30

                TextEditorHelper {
                    id: editor
                    objectName: "editSheetEditor"
                    anchors.centerIn: parent
                    title: restoreModel.commentTitle
                    editorWidth: 300
                    text: restoreModel.comment
                    onTextChanged: restoreModel.comment = text
                }
            }
        }
    }

    Binding {
        target: deleteAlert
        property: "selectedItem"
        value: restoreModel.deleteBackup.toString().length > 0 ? restoreModel.deleteBackup : undefined
    }
    CustomAlert {
        id: deleteAlert
        objectName: "deleteAlert"
        title: restoreModel.deleteAlertTitle
        message: item => restoreModel.deleteBackupText
        alertType: AlertCustomType.trash
        buttons: [{
                "title": restoreModel.cancelText,
                "bgColor": Theme.accentColor,
                "isDefault": false,
                "action": item => restoreModel.cancelDeleteBackup()
            }, {
                "title": restoreModel.deleteConfirmText,
                "bgColor": Theme.red,
                "isDefault": true,
                "action": item => restoreModel.confirmDeleteBackup()
            }]
        onDismissed: if (restoreModel.deleteBackup.toString().length > 0)
            restoreModel.cancelDeleteBackup()
    }
}
