import QtQuick
import Corvina.Ui

// A strip that slides in from the bottom while `warningText` holds a text and
// fades out when it becomes undefined.
Item {
    id: root

    property var warningText: undefined
    property color txtColor: Theme.red
    readonly property bool isShown: typeof warningText === "string"
    // The last text, kept while the strip fades out.
    property string shownText

    onWarningTextChanged: if (typeof warningText === "string") shownText = warningText

    implicitHeight: strip.height
    clip: false

    Rectangle {
        id: strip
        width: root.width
        height: label.implicitHeight
        color: Theme.controlBackgroundColor
        opacity: 0
        y: root.height

        Rectangle {
            anchors.fill: parent
            color: Theme.withOpacity(Theme.secondaryColor, 0.1)
        }
        Text {
            id: label
            objectName: "warningLabel"
            width: parent.width
            topPadding: 5
            bottomPadding: 5
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            text: root.shownText
            font: Theme.font("roboto_regular14")
            // Read out while shown: a result or failure a person must learn of.
            Accessible.role: Accessible.StaticText
            Accessible.name: root.isShown ? text : ""
            Accessible.ignored: !root.isShown
            color: root.txtColor
        }

        states: State {
            name: "shown"
            when: root.isShown
            PropertyChanges {
                strip.opacity: 1
                strip.y: root.height - strip.height
            }
        }
        transitions: [
            Transition {
                to: "shown"
                NumberAnimation {
                    property: "y"
                    duration: 350
                    easing.type: Easing.OutCubic
                }
                NumberAnimation {
                    property: "opacity"
                    duration: 0
                }
            },
            Transition {
                from: "shown"
                SequentialAnimation {
                    NumberAnimation {
                        property: "opacity"
                        duration: 350
                    }
                    PropertyAction {
                        property: "y"
                    }
                }
            }
        ]
    }
}
