pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Corvina.Ui
import Corvina.Shell

// One password's tab in the settings: the explanation, the buttons that
// create, change or remove the password, and for the master password the
// session options. Its logic is PasswordViewModel.
Item {
    id: root

    // "masterPassword" or "zipPassword".
    required property string modelKey
    readonly property alias viewModel: editor
    // The height that the open sheet or alert needs from its window; 0 while
    // none is open.
    readonly property real overlayHeight: Math.max(editor.showTextFields ? sheetContent.implicitHeight : 0, errorAlert.isPresented ? errorAlert.card.implicitHeight : 0, deleteAlert.isPresented ? deleteAlert.card.implicitHeight : 0)
    readonly property ModalSheet inputSheet: sheet
    readonly property CustomAlert errorAlert: errorAlert
    readonly property CustomAlert deleteAlert: deleteAlert

    implicitWidth: 400
    // The editor's height, or more where the desktop's fonts need it, with
    // room for the result line below the content.
    implicitHeight: Math.max(editor.contentHeight, column.y + column.implicitHeight + 40)

    PasswordViewModel {
        id: editor
        key: root.modelKey
        monitor: AppDelegate.inactivityMonitor
        onShowLockButton: AppDelegate.showLockButton()
        onHideLockButton: AppDelegate.hideLockButton()
        onShowTextFieldsChanged: showTextFields ? sheet.open() : sheet.close()
        onValidationErrorChanged: {
            const error = validationError;
            if (error === undefined)
                return;
            const buttons = error.isOverride ? [{
                    "title": "Abbrechen",
                    "bgColor": Theme.accentColor,
                    "isDefault": false
                }, {
                    "title": "Speichern",
                    "bgColor": Theme.red,
                    "isDefault": false,
                    // After the alert's own dismissal, which clears the error.
                    "action": () => Qt.callLater(editor.confirmOverride)
                }] : [{
                    "title": "OK",
                    "bgColor": Theme.accentColor,
                    "isDefault": false
                }];
            errorAlert.customAlert(error, error.title, item => root.styled(item.description), buttons, AlertCustomType.warn, undefined, undefined);
        }
        onIsPassDeleteChanged: {
            if (!isPassDelete)
                return;
            deleteAlert.customAlert(editor.key, "Löschen", item => "Möchtest du das Passwort wirklich löschen?", [{
                    "title": "Abbrechen",
                    "bgColor": Theme.accentColor,
                    "isDefault": false
                }, {
                    "title": "Ja",
                    "bgColor": Theme.red,
                    "isDefault": false,
                    "action": () => Qt.callLater(editor.confirmDeletion)
                }], AlertCustomType.trash, undefined, undefined);
        }
    }

    // The error texts mark bold parts with double asterisks.
    function styled(text: string): string {
        const escaped = text.replace(/&/g, "&amp;").replace(/</g, "&lt;").replace(/>/g, "&gt;");
        return escaped.replace(/\*\*(.+?)\*\*/g, "<b>$1</b>");
    }

    ColumnLayout {
        id: column
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.topMargin: 20
        anchors.leftMargin: 50
        anchors.rightMargin: 50
        spacing: 20

        Text {
            Layout.fillWidth: true
            text: editor.text
            font: Theme.font("roboto_regular14")
            color: Theme.textColor
            wrapMode: Text.Wrap
        }

        RowLayout {
            spacing: 10

            TrendyButtonHelper {
                objectName: "mainButton"
                text: editor.mainButtonTitle
                onCallback: editor.showTextFields = true
            }
            TrendyButtonHelper {
                objectName: "removeButton"
                visible: editor.hasPassword
                text: "Passwort entfernen"
                buttonColor: Theme.red
                onCallback: editor.isPassDelete = true
            }
        }

        ColumnLayout {
            objectName: "sessionOptions"
            Layout.fillWidth: true
            visible: editor.key === "masterPassword" && editor.hasPassword
            spacing: 8

            Rectangle {
                Layout.fillWidth: true
                implicitHeight: 1
                color: Theme.withOpacity(Theme.secondaryColor, 0.3)
            }
            Switch {
                objectName: "touchIdToggle"
                visible: editor.isTouchIdAvailable
                text: "Touch ID verwenden"
                font: Theme.font("roboto_regular13")
                Accessible.role: Accessible.CheckBox
                Accessible.name: text
                Accessible.checked: checked
                checked: editor.useTouchID
                onToggled: editor.useTouchID = checked
            }
            Switch {
                objectName: "autoLogoutToggle"
                text: "Auto-Logout aktivieren"
                font: Theme.font("roboto_regular13")
                Accessible.role: Accessible.CheckBox
                Accessible.name: text
                Accessible.checked: checked
                checked: editor.isAutoLogoutEnabled
                onToggled: editor.isAutoLogoutEnabled = checked
            }
            RowLayout {
                visible: editor.isAutoLogoutEnabled
                spacing: 10

                Label {
                    text: "Timeout auswählen"
                    font: Theme.font("roboto_regular13")
                }
                ComboBox {
                    id: timeoutPicker
                    objectName: "timeoutPicker"
                    Layout.preferredWidth: 110
                    model: editor.timeOptions
                    textRole: "label"
                    valueRole: "seconds"
                    font: Theme.font("roboto_regular13")
                    // The stored default of 5 seconds matches no row: then none is chosen.
                    currentIndex: count > 0 ? indexOfValue(editor.logoutTimeout) : -1
                    Accessible.role: Accessible.ComboBox
                    Accessible.name: "Timeout auswählen"
                    onActivated: editor.logoutTimeout = currentValue

                    delegate: ItemDelegate {
                        required property var modelData
                        required property int index
                        width: ListView.view ? ListView.view.width : implicitWidth
                        text: modelData.label
                        font: Theme.font("roboto_regular13")
                        highlighted: timeoutPicker.highlightedIndex === index
                        Accessible.role: Accessible.ListItem
                        Accessible.name: text
                    }
                }
            }
        }
    }

    WarningTextHelper {
        anchors.bottom: parent.bottom
        width: parent.width
        warningText: editor.warningText
        txtColor: Theme.accentColor
    }

    // The input sheet "Passwort bearbeiten". The inputs are emptied each time
    // it opens; what was typed and cancelled stays in memory until then.
    ModalSheet {
        id: sheet
        objectName: "inputSheet"
        onOpened: {
            editor.sheetAppeared();
            Qt.callLater(() => firstField.input.forceActiveFocus());
        }
        onEscapePressed: editor.showTextFields = false

        BlurredSheetContentHelper {
            id: sheetContent
            focus: true
            header: "Passwort bearbeiten"
            maxViewWidth: 350
            minWidth: 10
            textLeft: "Abbrechen"
            textMiddle: "Speichern"
            onCallbackLeft: editor.showTextFields = false
            onCallbackMiddle: editor.submit()

            Item {
                implicitWidth: 350
                implicitHeight: fields.implicitHeight + 60

                Column {
                    id: fields
                    anchors.centerIn: parent
                    spacing: 10

                    TextFieldHelper {
                        id: firstField
                        focus: true
                        width: 300
                        placeholder: "Passwort"
                        connectionType: "password"
                        characterLimit: 100
                        text: editor.password1
                        isMaskedPassword: editor.isMaskedPassword
                        onEdited: value => editor.password1 = value
                        onMaskToggled: value => editor.isMaskedPassword = value
                        onExitCommand: editor.showTextFields = false
                    }
                    TextFieldHelper {
                        width: 300
                        placeholder: "Passwort bestätigen"
                        connectionType: "password"
                        characterLimit: 100
                        text: editor.password2
                        isMaskedPassword: editor.isMaskedPassword
                        onEdited: value => editor.password2 = value
                        onMaskToggled: value => editor.isMaskedPassword = value
                        onExitCommand: editor.showTextFields = false
                    }
                }
            }
        }
    }

    CustomAlert {
        id: errorAlert
        objectName: "errorAlert"
        onDismissed: editor.dismissError()
        Component.onCompleted: card.contentFormat = Text.StyledText
    }

    CustomAlert {
        id: deleteAlert
        objectName: "deleteAlert"
        onDismissed: editor.isPassDelete = false
    }
}
