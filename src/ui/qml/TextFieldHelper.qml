import QtQuick
import QtQuick.Layouts
import Corvina.Ui

// The program's one-line input: a title, the input row with its symbol
// button, and a red warning line while a forbidden character was typed in
// the last five seconds.
//
// The caller's value comes in through `text` and goes back through
// `edited(value)`, half a second after the last keystroke (see
// TextFieldViewModel). The masking of a password comes in through
// `isMaskedPassword` and goes back through `maskToggled(value)`. Focusing
// the field focuses its input.
FocusScope {
    id: root

    property string title
    property string placeholder
    property bool isStylish: false
    property string connectionType: "text"
    property var restrictRegex: undefined
    property var warnRegex: undefined
    property int characterLimit: 2147483647
    property string text
    property string titleFont: "roboto_regular12"
    property string font: "roboto_regular14"
    property bool isDisabled: false
    property var buttonType: undefined // undefined, "clear" or "magicWand"
    property var warnText: undefined
    property bool isMaskedPassword: true
    property bool startFocus: false
    // Raise by a whole number inside an animation to shake the field.
    property real numberOfShakes: 0
    property real lineWidth: 0.5
    property string iconColorHex: Theme.iconColorHex
    readonly property bool isFocused: input.activeFocus
    readonly property TextFieldViewModel viewModel: flow
    readonly property Item input: input

    signal edited(string value)
    signal maskToggled(bool value)
    signal submitted
    signal exitCommand
    // The magic wand's action.
    signal callback

    implicitWidth: 250
    implicitHeight: column.implicitHeight
    transform: Shake {
        shakes: root.numberOfShakes
    }

    TextFieldViewModel {
        id: flow
        restrictRegex: root.restrictRegex
        warnRegex: root.warnRegex
        characterLimit: root.characterLimit
        connectionType: root.connectionType
        onHandedOver: value => root.edited(value)
        onTmpTextChanged: root.showTmpText()
    }

    onTextChanged: flow.bindingText = text
    Component.onCompleted: {
        flow.bindingText = text;
        if (startFocus)
            input.forceActiveFocus();
    }

    // The input shows what the filter left of the user's typing.
    function showTmpText() {
        if (input.text === flow.tmpText)
            return;
        const cursor = input.cursorPosition;
        input.text = flow.tmpText;
        input.cursorPosition = Math.min(cursor, input.length);
    }

    function focusField() {
        if (!input.activeFocus)
            input.forceActiveFocus();
        root.lineWidth = 0.5;
    }

    Behavior on lineWidth {
        NumberAnimation {
            duration: 500
            easing.type: Easing.InOutQuad
        }
    }

    ColumnLayout {
        id: column
        width: root.width
        spacing: 4

        Text {
            objectName: "titleLine"
            Layout.fillWidth: true
            visible: root.title.trim().length > 0
            leftPadding: 3
            text: root.title
            font: Theme.font(root.titleFont)
            color: Theme.secondaryColor
            elide: Text.ElideRight
        }

        Rectangle {
            id: inputRow
            objectName: "inputRow"
            Layout.fillWidth: true
            implicitHeight: Math.max(input.implicitHeight, 18) + 14
            radius: 5
            color: Theme.controlBackgroundColor
            border.width: root.isStylish ? 0 : 1
            border.color: input.activeFocus ? Theme.accentColor : Theme.withOpacity(Theme.secondaryColor, 0.5)
            opacity: root.isDisabled ? 0.5 : 1

            TextFieldModifier {
                anchors.fill: parent
                visible: root.isStylish
                iconColorHex: root.iconColorHex
                isFocused: input.activeFocus
                lineWidth: root.lineWidth
            }

            MouseArea {
                anchors.fill: parent
                cursorShape: Qt.IBeamCursor
                onPressed: input.forceActiveFocus()
            }

            RowLayout {
                anchors.fill: parent
                anchors.leftMargin: 7
                anchors.rightMargin: 7
                spacing: 6

                TextInput {
                    id: input
                    objectName: "input"
                    Layout.fillWidth: true
                    Layout.alignment: Qt.AlignVCenter
                    clip: true
                    focus: true
                    enabled: !root.isDisabled
                    activeFocusOnTab: true
                    echoMode: root.connectionType === "password" && root.isMaskedPassword ? TextInput.Password : TextInput.Normal
                    passwordCharacter: "\u2022"
                    font: Theme.font(root.font)
                    color: Theme.textColor
                    selectionColor: Theme.withOpacity(Theme.accentColor, 0.35)
                    selectedTextColor: Theme.textColor
                    Accessible.role: Accessible.EditableText
                    Accessible.name: root.title.trim().length > 0 ? root.title : root.placeholder

                    onTextEdited: {
                        flow.tmpText = text;
                        root.showTmpText();
                    }
                    onActiveFocusChanged: root.lineWidth = activeFocus ? 2.5 : 0.5
                    Keys.onReturnPressed: root.submitted()
                    Keys.onEnterPressed: root.submitted()
                    Keys.onEscapePressed: {
                        flow.exitCommand();
                        root.exitCommand();
                    }

                    Text {
                        anchors.fill: parent
                        verticalAlignment: Text.AlignVCenter
                        visible: input.text.length === 0
                        text: root.placeholder
                        font: input.font
                        color: Theme.placeholderTextColor
                        elide: Text.ElideRight
                    }
                }

                TextFieldButtonHelper {
                    objectName: "eyeButton"
                    visible: root.connectionType === "password"
                    iconName: root.isMaskedPassword ? flow.symbol : flow.secondSymbol
                    color: Theme.withOpacity(Theme.secondaryColor, 0.8)
                    accessibleName: root.isMaskedPassword ? "Passwort anzeigen" : "Passwort verbergen"
                    onCallback: root.maskToggled(!root.isMaskedPassword)
                }
                TextFieldButtonHelper {
                    objectName: "clearButton"
                    visible: root.buttonType === "clear" && flow.tmpText.trim().length > 0
                    iconName: "multiply.circle.fill"
                    size: 15
                    accessibleName: "Text löschen"
                    onCallback: {
                        flow.clear();
                        root.focusField();
                    }
                }
                TextFieldButtonHelper {
                    objectName: "magicWandButton"
                    visible: root.buttonType === "magicWand"
                    iconName: "wand.and.stars.inverse"
                    size: 15
                    accessibleName: "Vorschlag einsetzen"
                    onCallback: {
                        root.callback();
                        Qt.callLater(root.focusField);
                    }
                }
            }
        }

        Text {
            objectName: "warningLine"
            Layout.fillWidth: true
            readonly property bool shown: typeof root.warnText === "string" && flow.timerIsRunning
            visible: opacity > 0
            opacity: shown ? 1 : 0
            leftPadding: 10
            text: typeof root.warnText === "string" ? root.warnText : ""
            font: Theme.font("roboto_regular10")
            color: Theme.red
            elide: Text.ElideRight

            Behavior on opacity {
                NumberAnimation {
                    duration: 250
                }
            }
        }
    }
}
