import QtQuick
import Corvina.Ui

// A large selection tile: a symbol on a round shape, a title and a subtitle.
// The symbol and its shape grow while the pointer is over the tile.
MouseArea {
    id: root

    property string iconName
    property string title
    property string subTitle
    property var color: undefined // absent: the accent colour
    readonly property color tint: color === undefined ? Theme.accentColor : color
    readonly property bool isHover: containsMouse

    signal action

    implicitWidth: 300
    implicitHeight: row.implicitHeight + 10
    hoverEnabled: true
    cursorShape: Qt.PointingHandCursor
    Accessible.role: Accessible.Button
    Accessible.name: title
    Accessible.description: subTitle

    onClicked: action()
    activeFocusOnTab: true
    Keys.onReturnPressed: action()
    Keys.onEnterPressed: action()
    Keys.onSpacePressed: action()
    Accessible.onPressAction: action()

    Rectangle {
        anchors.fill: parent
        radius: 10
        color: Theme.controlBackgroundColor
        border.width: root.activeFocus ? 2 : 1
        border.color: Theme.withOpacity(root.tint, root.activeFocus ? 0.8 : root.isHover ? 0.5 : 0.15)

        Behavior on border.color {
            ColorAnimation {
                duration: 200
            }
        }
    }

    Row {
        id: row
        anchors.verticalCenter: parent.verticalCenter
        x: 20
        spacing: 10

        Item {
            width: 70
            height: 70

            Rectangle {
                objectName: "symbolShape"
                anchors.centerIn: parent
                width: root.isHover ? 70 : 58
                height: width
                radius: width / 2
                color: Theme.withOpacity(root.tint, 0.12)

                Behavior on width {
                    NumberAnimation {
                        duration: 200
                        easing.type: Easing.OutQuad
                    }
                }
            }
            SymbolImage {
                objectName: "symbol"
                anchors.centerIn: parent
                name: root.iconName
                size: root.isHover ? 40 : 25
                drawSize: 40
                color: root.tint

                Behavior on size {
                    NumberAnimation {
                        duration: 200
                        easing.type: Easing.OutQuad
                    }
                }
            }
        }

        Column {
            anchors.verticalCenter: parent.verticalCenter
            width: 170
            spacing: 2

            Text {
                width: parent.width
                text: root.title
                font: Theme.font("roboto_bold16")
                color: root.tint
                elide: Text.ElideRight
            }
            Text {
                width: parent.width
                text: root.subTitle
                font: Theme.font("roboto_regular12")
                color: Theme.secondaryColor
                wrapMode: Text.Wrap
            }
        }
    }
}
