import QtQuick
import Corvina.Ui

// A round tick box with an optional title. A press negates `selection` and
// emits `toggled`; presses within the next half second are dropped.
MouseArea {
    id: root

    property string title
    property real size: 18
    property alias selection: toggle.selection
    property var imgColor: undefined // absent: the "iconColor" user default
    property alias debounceInterval: toggle.debounceInterval
    readonly property alias isToggleEnabled: toggle.isToggleEnabled

    signal toggled

    implicitWidth: row.implicitWidth
    implicitHeight: row.implicitHeight
    Accessible.role: Accessible.CheckBox
    Accessible.name: title
    Accessible.checked: selection

    onClicked: toggle.press()
    activeFocusOnTab: true
    Keys.onSpacePressed: toggle.press()
    Accessible.onPressAction: toggle.press()
    Accessible.onToggleAction: toggle.press()

    CheckBoxToggle {
        id: toggle
        onToggled: root.toggled()
    }

    // The keyboard focus ring.
    Rectangle {
        visible: root.activeFocus
        anchors.fill: parent
        anchors.margins: -3
        radius: 4
        color: "transparent"
        border.width: 2
        border.color: Theme.withOpacity(Theme.accentColor, 0.6)
    }

    Row {
        id: row
        spacing: 6

        SymbolImage {
            anchors.verticalCenter: parent.verticalCenter
            name: root.selection ? "checkmark.circle.fill" : "circle"
            size: root.size
            color: root.imgColor === undefined ? Theme.colorFromHex(Theme.iconColorHex) : root.imgColor
        }
        Text {
            visible: root.title.length > 0
            anchors.verticalCenter: parent.verticalCenter
            text: root.title
            font: Theme.font("roboto_regular12")
            color: Theme.secondaryColor
        }
    }
}
