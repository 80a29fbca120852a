import QtQuick
import Corvina.Ui

// The small symbol button of the text fields: a symbol of `size` × `size`
// and, when given, a text after it. Reachable by Tab; Space or Return press it.
Item {
    id: root

    property string iconName
    property string text
    property color color: Theme.secondaryColor
    property real size: 18
    // What a screen reader says; the text, or a name the host gives.
    property string accessibleName: text

    signal callback

    implicitWidth: row.implicitWidth
    implicitHeight: Math.max(size, row.implicitHeight)
    activeFocusOnTab: true
    Accessible.role: Accessible.Button
    Accessible.name: accessibleName
    Accessible.onPressAction: callback()
    Keys.onSpacePressed: callback()
    Keys.onReturnPressed: callback()

    MouseArea {
        anchors.fill: parent
        cursorShape: Qt.PointingHandCursor
        onClicked: root.callback()
    }

    Row {
        id: row
        anchors.verticalCenter: parent.verticalCenter
        spacing: 4

        SymbolImage {
            anchors.verticalCenter: parent.verticalCenter
            name: root.iconName
            size: root.size
            color: root.color
            opacity: root.activeFocus ? 0.6 : 1
        }
        Text {
            visible: root.text.length > 0
            anchors.verticalCenter: parent.verticalCenter
            text: root.text
            font: Theme.font("roboto_regular12")
            color: root.color
        }
    }
}
