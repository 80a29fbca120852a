import QtQuick
import QtQuick.Controls
import Corvina.Ui

// The multi-line input for comments: an optional title, the editing area
// with a ring that widens while it has the focus, and a placeholder while
// it is empty. What the user types reaches `text` half a second after the
// last keystroke; a change of `text` from outside shows at once.
Column {
    id: root

    property string placeholder
    property var title: undefined // absent, or the title above the area
    property string textFont: "roboto_regular14"
    property string font: "roboto_regular12"
    property real idealHeight: 70
    property real maxHeight: 70
    property real editorWidth: 300
    property real lineSpacing: 0
    property string text
    property bool needFocus: false
    property real lineWidth: 0.5
    readonly property alias focused: area.activeFocus
    readonly property alias tmpText: area.text
    property alias handOverDelay: handOver.interval

    spacing: 4

    onTextChanged: if (area.text !== text) area.text = text
    Component.onCompleted: area.text = text

    // Gives the editor the keyboard, for a sheet that has just opened.
    function takeFocus() {
        area.forceActiveFocus();
    }

    Timer {
        id: handOver
        interval: 500
        onTriggered: root.text = area.text
    }

    Text {
        objectName: "editorTitle"
        visible: typeof root.title === "string" && root.title.length > 0
        leftPadding: 3
        text: visible ? root.title : ""
        font: Theme.font(root.font)
        color: Theme.secondaryColor
        elide: Text.ElideRight
        width: root.editorWidth
    }

    ScrollView {
        id: scroll
        // A control is a focus scope of its own: the focus passes through it.
        focus: root.needFocus
        width: root.editorWidth
        height: Math.min(root.idealHeight, root.maxHeight)

        background: Rectangle {
            radius: 5
            color: Theme.withOpacity(Theme.controlBackgroundColor, 0.5)
            border.width: root.lineWidth
            border.color: area.activeFocus ? Theme.colorFromHex(Theme.iconColorHex) : Theme.withOpacity(Theme.secondaryColor, 0.8)
        }

        TextArea {
            id: area
            objectName: "editorArea"
            // With `needFocus` the editor is the focused item of the
            // surrounding focus scope, and so has the keyboard when it appears.
            focus: root.needFocus
            wrapMode: TextEdit.Wrap
            textFormat: TextEdit.PlainText
            font: Theme.font(root.textFont)
            color: Theme.textColor
            background: null
            placeholderText: root.placeholder
            placeholderTextColor: Theme.placeholderTextColor
            // Tab moves on to the next control instead of typing a tab.
            KeyNavigation.priority: KeyNavigation.BeforeItem
            Keys.onTabPressed: event => {
                nextItemInFocusChain(true).forceActiveFocus(Qt.TabFocusReason);
            }
            Keys.onBacktabPressed: event => {
                nextItemInFocusChain(false).forceActiveFocus(Qt.BacktabFocusReason);
            }
            Accessible.role: Accessible.EditableText
            Accessible.name: typeof root.title === "string" ? root.title : root.placeholder
            onTextChanged: if (text !== root.text) handOver.restart()
            onActiveFocusChanged: root.lineWidth = activeFocus ? 2.5 : 0.5
        }
    }

    Behavior on lineWidth {
        NumberAnimation {
            duration: 500
            easing.type: Easing.InOutQuad
        }
    }
}
