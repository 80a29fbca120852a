import QtQuick
import QtQuick.Controls
import Qt5Compat.GraphicalEffects
import Corvina.Ui

// A modal card centred over the window, on a softly translucent backdrop
// that stands in for a blurred one. Its content is whatever item is put
// into it; the card takes that item's natural size, up to the window's.
// Escape emits `escapePressed` and leaves the closing to the owner, whose
// state decides what the sheet shows.
Popup {
    id: root

    // The body: one item, which takes the keyboard with `focus: true`.
    default property alias body: frame.data

    signal escapePressed

    parent: Overlay.overlay
    anchors.centerIn: parent
    modal: true
    dim: true
    focus: true
    padding: 0
    closePolicy: Popup.NoAutoClose
    width: Math.min(implicitContentWidth, parent ? parent.width - 40 : implicitContentWidth)
    height: Math.min(implicitContentHeight, parent ? parent.height - 40 : implicitContentHeight)

    Overlay.modal: Rectangle {
        color: Theme.withOpacity(Theme.windowBackgroundColor, 0.55)

        Behavior on opacity {
            NumberAnimation {
                duration: 150
            }
        }
    }

    background: Rectangle {
        radius: 12
        color: Theme.windowBackgroundColor
        layer.enabled: true
        layer.effect: DropShadow {
            radius: 16
            samples: 33
            verticalOffset: 12
            color: Qt.rgba(0, 0, 0, 0.4)
        }
    }

    enter: Transition {
        NumberAnimation {
            property: "opacity"
            from: 0
            to: 1
            duration: 150
        }
    }
    exit: Transition {
        NumberAnimation {
            property: "opacity"
            from: 1
            to: 0
            duration: 150
        }
    }

    contentItem: FocusScope {
        id: frame
        focus: true
        implicitWidth: childrenRect.width
        implicitHeight: childrenRect.height
        Keys.onEscapePressed: root.escapePressed()
    }
}
