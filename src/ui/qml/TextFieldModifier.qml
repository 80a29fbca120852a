import QtQuick
import Corvina.Ui

// The stylish look of an input row: a rounded field in the control
// background under a ring of `lineWidth`, in the "iconColor" while focused
// and in the secondary colour otherwise. Put it behind a plain input.
Rectangle {
    property string iconColorHex: Theme.iconColorHex
    property bool isFocused: false
    property real lineWidth: 0.5
    property color bgColor: Theme.controlBackgroundColor

    radius: 5
    color: bgColor
    border.width: lineWidth
    border.color: isFocused ? Theme.colorFromHex(iconColorHex) : Theme.withOpacity(Theme.secondaryColor, 0.8)
}
