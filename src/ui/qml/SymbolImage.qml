import QtQuick
import Corvina.Ui

// A symbol of the program's table, drawn in one colour at `size` × `size`.
Image {
    id: root

    property string name
    property color color: Theme.textColor
    property real size: 18
    // The edge the symbol is drawn for; an item whose size animates keeps it
    // at the largest size, so that the symbol is drawn once, not each frame.
    property real drawSize: size

    width: size
    height: size
    // Qt multiplies the source size by the screen's pixel ratio itself.
    sourceSize: Qt.size(Math.ceil(drawSize), Math.ceil(drawSize))
    source: name.length > 0 ? Theme.symbol(name, color) : ""
    fillMode: Image.PreserveAspectFit
    smooth: true
}
