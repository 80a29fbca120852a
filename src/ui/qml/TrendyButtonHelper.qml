import QtQuick
import Corvina.Ui

// The program's general button: an optional symbol, a text and a countdown in
// brackets on a rounded, coloured background. Pressing calls `callback`
// unless `isDisabled` is set; a disabled button also shows no press effect.
MouseArea {
    id: root

    property string text
    property var buttonColor: undefined // absent: the accent colour
    property color textColor: Theme.controlBackgroundColor
    property string iconName
    property url imageSource
    property real imgSize: 18
    property var iconColor: undefined // absent: the control background colour
    property string font: "roboto_regular14"
    property real padding: 8
    property int timer: 0
    property real minWidth: 0
    property int alignment: Text.AlignHCenter
    property bool isDisabled: false
    property bool isPressed: false
    readonly property bool isHovered: containsMouse

    signal callback

    readonly property color foreground: Theme.withOpacity(Theme.controlBackgroundColor, isDisabled ? 0.4 : 1)
    readonly property color fillColor: {
        if (isDisabled)
            return Theme.withOpacity(Theme.secondaryColor, 0.4);
        const base = buttonColor === undefined ? Theme.accentColor : buttonColor;
        return isHovered ? Theme.withOpacity(base, 0.8) : base;
    }
    readonly property bool hasText: text.length > 0

    implicitWidth: row.implicitWidth + 2 * (padding + 2)
    implicitHeight: row.implicitHeight + 2 * Math.max(0, padding - 2)
    hoverEnabled: true
    opacity: isPressed ? 0.5 : 1
    Accessible.role: Accessible.Button
    Accessible.name: text
    Accessible.onPressAction: if (!isDisabled) callback()
    // Tab reaches the button and Space presses it; Return is left to the
    // surrounding sheet or alert, which gives it to its default button.
    activeFocusOnTab: !isDisabled
    Keys.onSpacePressed: if (!isDisabled) callback()

    onPressed: if (!isDisabled) isPressed = true
    onReleased: isPressed = false
    onCanceled: isPressed = false
    onClicked: if (!isDisabled) callback()

    Behavior on opacity {
        NumberAnimation {
            duration: 200
        }
    }

    Rectangle {
        anchors.fill: parent
        radius: 5
        color: root.fillColor
    }
    // The keyboard focus ring.
    Rectangle {
        visible: root.activeFocus && !root.isDisabled
        anchors.fill: parent
        anchors.margins: -3
        radius: 7
        color: "transparent"
        border.width: 2
        border.color: Theme.withOpacity(Theme.accentColor, 0.6)
    }

    Row {
        id: row
        anchors.centerIn: parent
        spacing: 0

        SymbolImage {
            id: symbol
            visible: root.iconName.length > 0
            anchors.verticalCenter: parent.verticalCenter
            name: root.iconName
            size: root.imgSize
            color: root.iconColor === undefined ? Theme.controlBackgroundColor : root.iconColor
            opacity: root.isDisabled ? 0.4 : 1
        }
        Image {
            visible: root.iconName.length === 0 && root.imageSource.toString().length > 0
            anchors.verticalCenter: parent.verticalCenter
            source: root.imageSource
            width: 18
            height: 18
            fillMode: Image.PreserveAspectFit
        }
        // Trailing padding after the picture, only when a text follows.
        Item {
            objectName: "symbolPadding"
            visible: (symbol.visible || root.imageSource.toString().length > 0) && root.hasText
            width: 5
            height: 1
        }
        Text {
            visible: root.hasText
            anchors.verticalCenter: parent.verticalCenter
            text: root.text
            font: Theme.font(root.font)
            color: root.textColor
            elide: Text.ElideMiddle
            horizontalAlignment: root.alignment
            width: Math.max(root.minWidth, implicitWidth)
        }
        Text {
            objectName: "timerText"
            visible: root.timer > 0
            anchors.verticalCenter: parent.verticalCenter
            leftPadding: 3
            text: "(" + root.timer + ")"
            font: Theme.font("roboto_thin14")
            color: root.foreground
        }
    }
}
