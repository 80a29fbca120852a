import QtQuick
import QtQuick.Layouts
import Corvina.Ui
import Corvina.Screens
import Corvina.Shell

// The unlocked main screen: the tiles of the three actions and of the
// settings, the result line under them, and over them the open action's
// sheet with its close alert and working pop-up.
Item {
    id: root

    readonly property MainAppViewModel viewModel: model
    readonly property ActionHost host: model.host
    readonly property bool isSheetOpen: model.backupActionType !== undefined
    // The open action's screen, while a sheet is open, and the modals.
    readonly property Item screen: screenLoader.item
    readonly property BlurredSheetContentHelper sheetFrame: sheetContent
    readonly property ModalSheet actionSheet: sheet
    readonly property CustomAlert closeAlert: closeAlert
    readonly property CustomAlert busyAlert: busyAlert
    readonly property CustomAlert refusalAlert: refusalAlert
    readonly property ModalSheet workingPopUp: workingPopUp

    MainAppViewModel {
        id: model
    }

    // A silent update check 3 s after the screen appeared, as the update
    // settings allow.
    BackgroundUpdateCheck {
        id: backgroundUpdateCheck
        updater: AppDelegate.updater
    }
    Component.onCompleted: backgroundUpdateCheck.start()

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        Item {
            Layout.fillHeight: true
        }

        Column {
            objectName: "tiles"
            Layout.alignment: Qt.AlignHCenter
            padding: 16
            spacing: 20

            Repeater {
                model: root.viewModel.tiles

                RestoreButtonView {
                    required property var modelData
                    objectName: "tile" + modelData.action
                    iconName: modelData.iconName
                    title: modelData.title
                    subTitle: modelData.subTitle
                    color: modelData.isDestructive ? Theme.red : undefined
                    onAction: root.viewModel.backupActionType = modelData.action
                }
            }
            RestoreButtonView {
                objectName: "settingsTile"
                iconName: root.viewModel.settingsTile.iconName
                title: root.viewModel.settingsTile.title
                subTitle: root.viewModel.settingsTile.subTitle
                onAction: AppDelegate.openSettings()
            }
        }

        Item {
            Layout.fillHeight: true
        }

        // The band at the bottom: the update badge and the version line.
        BottomUpdateView {
            id: bottomBand
            objectName: "bottomBand"
            Layout.fillWidth: true
            checkForUpdatesViewModel: CheckForUpdatesViewModel {
                updater: AppDelegate.updater
            }
        }
    }

    // While the last automatic backup failed, until the next one succeeds;
    // an action's result line shows over it.
    ScheduleViewModel {
        id: schedule
    }
    WarningTextHelper {
        objectName: "scheduleFailureLine"
        // Above the version band, which stays readable.
        anchors.bottom: parent.bottom
        anchors.bottomMargin: bottomBand.height
        width: parent.width
        warningText: schedule.failureText.length > 0 ? schedule.failureText : undefined
        txtColor: Theme.red
    }

    WarningTextHelper {
        objectName: "resultLine"
        anchors.bottom: parent.bottom
        width: parent.width
        warningText: root.host.messageText.length > 0 ? root.host.messageText : undefined
        txtColor: Theme.accentColor
    }

    // The open action's sheet.
    ModalSheet {
        id: sheet
        objectName: "actionSheet"
        readonly property bool isPresented: root.isSheetOpen
        onIsPresentedChanged: isPresented ? open() : close()
        onEscapePressed: root.host.closeView()
        // The keyboard goes to the new screen, not to a button that had it
        // in the sheet before.
        onOpened: screenLoader.forceActiveFocus()

        BlurredSheetContentHelper {
            id: sheetContent
            focus: true
            header: model.sheetTitle
            minWidth: 10
            alignment: Text.AlignLeft
            textLeft: "Abbrechen"
            textMiddle: model.sheetButtonText
            textRight: "additional"
            // Inert from a press until its action has ended: the second
            // press of a double click must not start the action again.
            isMiddleDisabled: root.host.isSaveButtonDisabled || root.host.isActionPending
            onCallbackLeft: root.host.closeView()
            onCallbackMiddle: root.host.startAction(model.backupActionType)

            Loader {
                id: screenLoader
                focus: true
                active: root.isSheetOpen
                sourceComponent: root.isSheetOpen ? [createScreen, restoreScreen, deleteScreen][model.backupActionType] : null
            }
        }
    }

    Component {
        id: createScreen
        CreateZipView {
            host: root.host
            focus: true
        }
    }
    Component {
        id: restoreScreen
        RestoreZipView {
            host: root.host
            focus: true
        }
    }
    Component {
        id: deleteScreen
        DeleteButtonView {
            host: root.host
            focus: true
        }
    }

    // The close alert: the companion application runs and has to go first.
    Binding {
        target: closeAlert
        property: "selectedItem"
        value: root.host.hasRunningApplication ? "companion" : undefined
    }
    CustomAlert {
        id: closeAlert
        objectName: "closeAlert"
        title: root.host.closeAlertTitle
        message: item => root.host.closeAlertMessage
        alertType: AlertCustomType.warn
        buttons: [{
                "title": "Abbrechen",
                "bgColor": Theme.accentColor,
                "isDefault": false,
                "action": item => root.host.dismissCloseAlert()
            }, {
                "title": "OK",
                "bgColor": Theme.red,
                "isDefault": true,
                "action": item => root.host.closeCompanionApplication()
            }]
        onDismissed: root.host.dismissCloseAlert()
    }

    // Another action on the data runs (in this window, the tool or the
    // timer): nothing was started.
    Binding {
        target: busyAlert
        property: "selectedItem"
        value: root.host.isDataBusy ? "busy" : undefined
    }
    CustomAlert {
        id: busyAlert
        objectName: "busyAlert"
        title: root.host.busyAlertTitle
        message: item => root.host.busyAlertMessage
        alertType: AlertCustomType.warn
        buttons: [{
                "title": "OK",
                "bgColor": Theme.accentColor,
                "isDefault": true,
                "action": item => root.host.dismissBusyAlert()
            }]
        onDismissed: root.host.dismissBusyAlert()
    }

    // An action that refused to start says why.
    Binding {
        target: refusalAlert
        property: "selectedItem"
        value: root.host.alertMessage.length > 0 ? root.host.alertMessage : undefined
    }
    CustomAlert {
        id: refusalAlert
        objectName: "refusalAlert"
        title: "Fehler"
        message: item => item
        alertType: AlertCustomType.warn
        buttons: [{
                "title": "OK",
                "bgColor": Theme.accentColor,
                "isDefault": true
            }]
        onDismissed: root.host.dismissAlert()
    }

    // The working pop-up, while an action runs. Nothing dismisses it but
    // the end of the work.
    ModalSheet {
        id: workingPopUp
        objectName: "workingPopUp"
        readonly property bool isPresented: root.host.progressLoadText.length > 0
        onIsPresentedChanged: isPresented ? open() : close()

        PopUpLottieHelper {
            id: caption
            showsProgress: root.host.hasProgress
            progress: root.host.progressFraction
            remainingText: root.host.progressRemainingText
        }
    }
    // The caption stays while the pop-up fades out.
    Connections {
        target: root.host
        function onProgressLoadTextChanged() {
            if (root.host.progressLoadText.length > 0)
                caption.text = root.host.progressLoadText;
        }
    }
}
