pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Corvina.Ui
import Corvina.Shell

// The updater's dialogs, in one window of their own that keeps the
// program's other windows waiting: an update found, its download, the
// restart after it was installed, "no updates", and a failure with its
// reason. What it shows and what the buttons do comes from the updater's
// user driver; closing the window or Escape answers as the gentlest
// button does.
Window {
    id: root

    readonly property UpdateUserDriver driver: AppDelegate.updater.userDriver
    readonly property string dialog: driver.dialog

    objectName: "updateDialog"
    title: "Softwareaktualisierung"
    flags: Qt.Dialog
    modality: Qt.ApplicationModal
    width: 460
    height: content.implicitHeight + 48
    minimumWidth: 460
    maximumWidth: 460
    minimumHeight: height
    maximumHeight: height
    color: Theme.windowBackgroundColor
    visible: dialog !== "idle"

    onVisibleChanged: if (visible) defaultButton.forceActiveFocus()
    // Closed by the window manager while the driver still waits for an answer.
    onClosing: answerGently()

    function answerGently() {
        if (dialog === "updateFound" || dialog === "readyToRestart")
            driver.remindLater();
        else if (dialog === "downloading")
            driver.cancelDownload();
        else if (dialog !== "idle")
            driver.acknowledge();
    }

    Shortcut {
        sequence: "Escape"
        onActivated: root.answerGently()
    }

    ColumnLayout {
        id: content
        anchors.fill: parent
        anchors.margins: 24
        spacing: 12
        Accessible.role: Accessible.Dialog
        Accessible.name: title.text

        Row {
            spacing: 10

            SymbolImage {
                anchors.verticalCenter: parent.verticalCenter
                name: root.dialog === "failed" ? "exclamationmark.triangle.fill" : "AppStore"
                size: 28
                color: root.dialog === "failed" ? Theme.red : Theme.accentColor
            }
            Text {
                id: title
                anchors.verticalCenter: parent.verticalCenter
                font: Theme.font("roboto_bold16")
                color: Theme.textColor
                Accessible.role: Accessible.Heading
                Accessible.name: text
                text: {
                    switch (root.dialog) {
                    case "updateFound":
                        return "Ein Update ist verfügbar";
                    case "downloading":
                        return "Update wird geladen";
                    case "readyToRestart":
                        return "Das Update ist installiert";
                    case "noUpdateFound":
                        return "Keine Updates verfügbar";
                    case "failed":
                        return "Update fehlgeschlagen";
                    }
                    return "";
                }
            }
        }

        Text {
            id: message
            objectName: "updateMessage"
            Layout.fillWidth: true
            wrapMode: Text.Wrap
            font: Theme.font("roboto_regular14")
            color: Theme.textColor
            Accessible.role: Accessible.StaticText
            Accessible.name: text
            text: {
                switch (root.dialog) {
                case "updateFound":
                    return (root.driver.itemTitle.length > 0 ? root.driver.itemTitle + "\n" : "")
                        + "Neue Version: " + root.driver.newVersion
                        + "\nInstallierte Version: " + root.driver.currentVersion
                        + (root.driver.installsInPlace ? "" : "\n\nDieses Programm ersetzt sich nicht selbst: „Update installieren“ öffnet die Download-Seite.");
                case "downloading":
                    return root.driver.progressText;
                case "readyToRestart":
                    return "Die neue Version " + root.driver.newVersion + " startet, sobald das Programm neu gestartet wird.";
                case "noUpdateFound":
                    return "Version " + root.driver.currentVersion + " ist die neueste Version.";
                case "failed":
                    return root.driver.errorMessage;
                }
                return "";
            }
        }

        ScrollView {
            objectName: "releaseNotes"
            visible: root.dialog === "updateFound" && root.driver.releaseNotes.length > 0
            Layout.fillWidth: true
            Layout.preferredHeight: Math.min(120, notes.implicitHeight)
            clip: true

            Text {
                id: notes
                width: 400
                text: root.driver.releaseNotes
                textFormat: Text.StyledText
                wrapMode: Text.Wrap
                font: Theme.font("roboto_regular12")
                color: Theme.textColor
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
        }

        Button {
            objectName: "releaseNotesLink"
            visible: root.dialog === "updateFound" && root.driver.releaseNotesLink.toString().length > 0
            flat: true
            text: "Versionshinweise öffnen"
            Accessible.role: Accessible.Link
            Accessible.name: text
            onClicked: root.driver.openReleaseNotesLink()
        }

        ProgressBar {
            objectName: "downloadProgress"
            visible: root.dialog === "downloading"
            Layout.fillWidth: true
            from: 0
            to: Math.max(1, root.driver.bytesExpected)
            value: root.driver.bytesReceived
            indeterminate: root.driver.bytesExpected <= 0
            Accessible.role: Accessible.ProgressBar
            Accessible.name: "Fortschritt des Downloads"
        }

        RowLayout {
            Layout.fillWidth: true
            Layout.topMargin: 8
            spacing: 8

            Button {
                objectName: "skipVersionButton"
                visible: root.dialog === "updateFound"
                text: "Diese Version überspringen"
                Accessible.role: Accessible.Button
                Accessible.name: text
                onClicked: root.driver.skipThisVersion()
            }
            Item {
                Layout.fillWidth: true
            }
            Button {
                objectName: "laterButton"
                visible: root.dialog === "updateFound" || root.dialog === "readyToRestart"
                text: root.dialog === "updateFound" ? "Später erinnern" : "Später"
                Accessible.role: Accessible.Button
                Accessible.name: text
                onClicked: root.driver.remindLater()
            }
            Button {
                id: defaultButton
                objectName: "defaultButton"
                highlighted: true
                text: {
                    switch (root.dialog) {
                    case "updateFound":
                        return "Update installieren";
                    case "downloading":
                        return "Abbrechen";
                    case "readyToRestart":
                        return "Jetzt neu starten";
                    }
                    return "OK";
                }
                Accessible.role: Accessible.Button
                Accessible.name: text
                onClicked: {
                    switch (root.dialog) {
                    case "updateFound":
                        root.driver.installUpdate();
                        break;
                    case "downloading":
                        root.driver.cancelDownload();
                        break;
                    case "readyToRestart":
                        root.driver.restartNow();
                        break;
                    default:
                        root.driver.acknowledge();
                    }
                }
            }
        }
    }
}
