import QtQuick
import QtQuick.Layouts
import Qt5Compat.GraphicalEffects
import Corvina.Ui
import Corvina.Shell

// The unlock gate: the master password or a fingerprint opens the session.
// Its logic is PasswordEntryViewModel; this view draws it and passes the
// application's state in and out. The input holds the keyboard focus.
FocusScope {
    id: root

    required property TransientMessage warningText
    property alias startDelay: gate.startDelay
    property alias touchIdPromptDelay: gate.touchIdPromptDelay
    property alias colorResetDelay: gate.colorResetDelay
    readonly property alias viewModel: gate
    readonly property color imgBgColor: gate.isWrongPassword ? Theme.withOpacity(Theme.red, 0.4) : Theme.withOpacity(Theme.secondaryColor, 0.2)
    readonly property color txtBgColor: gate.isWrongPassword ? Theme.withOpacity(Theme.red, 0.4) : Theme.controlBackgroundColor
    property real lineWidth: 0.5

    PasswordEntryViewModel {
        id: gate
        touchIdOnAppear: AppDelegate.isTouchIdOnAppear
        onTouchIdOnAppearChanged: AppDelegate.isTouchIdOnAppear = touchIdOnAppear
        onAuthenticationAssigned: value => AppDelegate.isAuthenticated = value
        onReported: message => {
            AppDelegate.shakeWindow();
            root.warningText.show(message);
        }
        onIsWrongPasswordChanged: if (shouldSelectAll) Qt.callLater(input.selectAll)
    }

    Component.onCompleted: gate.start()

    ColumnLayout {
        anchors.centerIn: parent
        spacing: 0

        Text {
            objectName: "title"
            Layout.alignment: Qt.AlignHCenter
            topPadding: 100
            bottomPadding: 100
            text: "Corvina-Backup-Manager"
            font: Theme.font("roboto_regular42")
            color: Theme.accentColor
            layer.enabled: true
            layer.effect: DropShadow {
                color: Qt.rgba(0, 0, 0, 0.3)
                radius: 6
                samples: 13
                verticalOffset: 1
            }
        }

        RowLayout {
            Layout.alignment: Qt.AlignHCenter
            spacing: 5

            Rectangle {
                objectName: "lockPicture"
                Layout.rightMargin: 15
                implicitWidth: 110
                implicitHeight: 110
                radius: 8
                color: root.imgBgColor

                Behavior on color {
                    enabled: !gate.isWrongPassword
                    ColorAnimation {
                        duration: 350
                    }
                }

                SymbolImage {
                    anchors.centerIn: parent
                    name: "Lock"
                    size: 90
                    color: Theme.accentColor
                }
            }

            ColumnLayout {
                spacing: 8

                Rectangle {
                    id: inputRow
                    objectName: "inputRow"
                    implicitWidth: 300
                    implicitHeight: 50
                    radius: 5
                    color: root.txtBgColor
                    border.width: root.lineWidth
                    border.color: input.activeFocus ? Theme.accentColor : Theme.withOpacity(Theme.secondaryColor, 0.8)

                    Behavior on color {
                        enabled: !gate.isWrongPassword
                        ColorAnimation {
                            duration: 350
                        }
                    }

                    MouseArea {
                        anchors.fill: parent
                        cursorShape: Qt.IBeamCursor
                        onPressed: input.forceActiveFocus()
                    }

                    TextInput {
                        id: input
                        objectName: "passwordInput"
                        anchors.verticalCenter: parent.verticalCenter
                        x: 10
                        width: parent.width - 20
                        height: 30
                        verticalAlignment: TextInput.AlignVCenter
                        echoMode: TextInput.Password
                        passwordCharacter: "\u2022"
                        // The bundled Roboto stands in for the system font: the
                        // placeholder must fit the field whatever the desktop's font.
                        font.family: Theme.font("roboto_regular24").family
                        font.pixelSize: 24
                        color: Theme.accentColor
                        selectionColor: Theme.withOpacity(Theme.accentColor, 0.35)
                        selectedTextColor: Theme.accentColor
                        clip: true
                        focus: true
                        Accessible.name: placeholder.text

                        onTextChanged: {
                            gate.password = text;
                            // After a wrong password the next key press replaces the input.
                            if (gate.shouldSelectAll)
                                Qt.callLater(selectAll);
                        }
                        onAccepted: Qt.callLater(() => {
                            gate.submitPassword();
                            input.selectAll();
                        })
                        onActiveFocusChanged: {
                            focusAnimation.stop();
                            if (activeFocus) {
                                root.lineWidth = 2.5;
                                focusAnimation.start();
                            } else {
                                root.lineWidth = 0.5;
                            }
                        }

                        Text {
                            id: placeholder
                            anchors.verticalCenter: parent.verticalCenter
                            visible: input.text.length === 0
                            text: "Master-Passwort eingeben"
                            width: parent.width
                            elide: Text.ElideRight
                            font.family: Theme.font("roboto_regular22").family
                            font.pixelSize: 22
                            color: Theme.secondaryColor
                        }
                    }

                    NumberAnimation {
                        id: focusAnimation
                        target: root
                        property: "lineWidth"
                        to: 1.0
                        duration: 500
                        easing.type: Easing.InOutQuad
                    }
                }

                RowLayout {
                    Layout.alignment: Qt.AlignHCenter
                    spacing: 8

                    TrendyButtonHelper {
                        objectName: "touchIdButton"
                        visible: gate.isTouchID
                        iconName: "touchid"
                        imgSize: 18
                        padding: 10
                        Accessible.name: "Touch ID"
                        onCallback: gate.startTouchId()
                    }
                    TrendyButtonHelper {
                        objectName: "unlockButton"
                        iconName: "lock.open.fill"
                        imgSize: 18
                        padding: 10
                        Accessible.name: "Entsperren"
                        onCallback: gate.submitPassword()
                    }
                }

                Text {
                    objectName: "fingerprintHint"
                    Layout.alignment: Qt.AlignHCenter
                    visible: gate.isVerifyingFingerprint
                    text: gate.touchIdReason
                    font: Theme.font("roboto_regular12")
                    color: Theme.secondaryColor
                }
            }
        }
    }
}
