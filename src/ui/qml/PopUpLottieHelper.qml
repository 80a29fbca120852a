import QtQuick
import Qt5Compat.GraphicalEffects
import Corvina.Ui

// The body of the working pop-up: an animated paper clip over one line of
// text, with 60 points of air all round.
Column {
    id: root

    property string text
    /// Whether the work reports how far it has come; the bar and the
    /// remaining time show only then.
    property bool showsProgress: false
    /// The part of the work that is done, from 0 to 1.
    property real progress: 0
    /// The time the work still needs ("noch etwa 2 Minuten"); empty during
    /// its first seconds, and then the line keeps its place empty.
    property string remainingText

    padding: 60
    spacing: 8
    Accessible.role: Accessible.Animation
    Accessible.name: text

    // The clip draws larger than its 25 × 25 place in the column and spills
    // into the padding around it.
    Item {
        anchors.horizontalCenter: parent.horizontalCenter
        width: 25
        height: 25

        LottieView {
            objectName: "paperclip"
            anchors.centerIn: parent
            width: 160
            height: 160
            scale: 0.55
            opacity: 0.7
            fileName: "paperclip"
            layer.enabled: true
            layer.effect: DropShadow {
                radius: 5
                samples: 11
                horizontalOffset: 2
                verticalOffset: 5
                color: Theme.withOpacity(Theme.textColor, 0.4)
            }
        }
    }
    // The caption stays the same for the whole run; how far the work has
    // come shows below it.
    Text {
        objectName: "popUpText"
        anchors.horizontalCenter: parent.horizontalCenter
        topPadding: 30
        text: root.text
        font: Theme.font("roboto_regular22")
        color: Theme.secondaryColor
    }
    // A thin bar, as wide as a short caption.
    Rectangle {
        objectName: "progressBar"
        visible: root.showsProgress
        anchors.horizontalCenter: parent.horizontalCenter
        width: 220
        height: 4
        radius: 2
        color: Theme.withOpacity(Theme.secondaryColor, 0.25)
        Accessible.role: Accessible.ProgressBar
        Accessible.name: Math.round(root.progress * 100) + " %"

        Rectangle {
            width: parent.width * Math.max(0, Math.min(1, root.progress))
            height: parent.height
            radius: parent.radius
            color: Theme.secondaryColor
        }
    }
    Text {
        objectName: "remainingText"
        visible: root.showsProgress
        anchors.horizontalCenter: parent.horizontalCenter
        // Holds its line while empty, so that the pop-up does not grow when
        // the estimate appears.
        text: root.remainingText !== "" ? root.remainingText : " "
        font: Theme.font("roboto_regular14")
        color: Theme.secondaryColor
        Accessible.role: Accessible.StaticText
        Accessible.name: root.remainingText
    }
}
