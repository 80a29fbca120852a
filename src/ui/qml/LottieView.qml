import QtQuick
import Qt.labs.lottieqt

// Plays a Lottie animation of the program's resources by its name ("paperclip"
// plays resources/paperclip.json), from the first frame on, as long as the
// view exists. A later change of its parameters leaves the running
// animation alone.
LottieAnimation {
    id: root

    property string fileName
    property int loopMode: LottieAnimation.Infinite

    Component.onCompleted: {
        loops = loopMode;
        autoPlay = true;
        source = "qrc:/corvina/" + fileName + ".json";
    }
}
