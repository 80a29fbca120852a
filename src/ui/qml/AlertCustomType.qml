pragma Singleton
import QtQuick
import Corvina.Ui

// The kinds of alert, in their fixed order, and how each looks: the symbol
// in the header band and the colour of symbol and title.
QtObject {
    readonly property int trash: 0
    readonly property int warn: 1
    readonly property int info: 2
    readonly property int without: 3

    // `without` has no symbol; its header keeps the symbol's frame empty.
    function symbolName(type: int): string {
        switch (type) {
        case trash:
            return "trash";
        case warn:
            return "exclamationmark.triangle.fill";
        case info:
            return "info.circle.fill";
        }
        return "";
    }

    function color(type: int): color {
        switch (type) {
        case trash:
            return Theme.secondaryColor;
        case warn:
            return Theme.orange;
        case info:
            return Theme.blue;
        }
        return Theme.textColor;
    }
}
