import QtQuick
import Corvina.Ui

// A symbol of the program's table, drawn in one colour at `size` × `size`.
Image {
    id: root

    property string name
    property color color: Theme.textColor
    property real size: 18

    width: size
    height: size
    sourceSize: Qt.size(Math.ceil(size * Screen.devicePixelRatio), Math.ceil(size * Screen.devicePixelRatio))
    source: name.length > 0 ? Theme.symbol(name, color) : ""
    fillMode: Image.PreserveAspectFit
    smooth: true
}
