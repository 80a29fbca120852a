import QtQuick
import QtQuick.Controls
import Corvina.Ui
import Corvina.Shell

// The settings: a top-level window of its own beside the main one, opened by
// AppDelegate.openSettings(). While the program is locked it stays empty. Its
// tabs are built anew at each opening and at each unlock, so that they show
// what the keyring holds now and forget what was typed and not saved.
ApplicationWindow {
    id: window

    readonly property Item settingsView: content.item

    // Independent of the main window: not kept above it, not closed with it.
    transientParent: null
    title: content.item ? content.item.currentTitle : AppDelegate.windowTitle
    width: content.item ? content.item.implicitWidth : 400
    height: content.item ? content.item.implicitHeight : 200
    minimumWidth: width
    maximumWidth: width
    minimumHeight: height
    maximumHeight: height
    color: Theme.windowBackgroundColor

    Connections {
        target: AppDelegate
        function onSettingsRequested() {
            window.show();
            window.raise();
            window.requestActivate();
        }
    }

    Loader {
        id: content
        anchors.fill: parent
        active: window.visible && AppDelegate.isAuthenticated
        focus: true
        sourceComponent: SettingsView {}
    }
}
