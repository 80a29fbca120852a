import QtQuick
import Qt5Compat.GraphicalEffects
import Corvina.Ui

// The body of the working pop-up: an animated paper clip over one line of
// text, with 60 points of air all round.
Column {
    id: root

    property string text

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
    // The caption; lines about the work's progress belong below it.
    Text {
        objectName: "popUpText"
        anchors.horizontalCenter: parent.horizontalCenter
        topPadding: 30
        text: root.text
        font: Theme.font("roboto_regular22")
        color: Theme.secondaryColor
    }
}
