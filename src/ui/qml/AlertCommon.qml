pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Corvina.Ui

// The alert card: a tinted header band with the kind's symbol and the title,
// then the content (at most 15 lines), an optional toggle, a divider when
// toggle and small print come together, the small print, and the buttons.
// Fewer than three buttons stand side by side, more stand below each other
// at the full inner width.
//
// A button is an object { title, bgColor, isDefault, action(item),
// actionForArray(items) }; both callbacks are optional. A press hands the
// item the alert was opened for to the button's callback and then always
// emits `dismiss`.
Rectangle {
    id: root

    property string title
    property string content
    // Text.StyledText lets a screen set parts of its content in bold.
    property int contentFormat: Text.PlainText
    property var buttons: []
    property int alertType: AlertCustomType.without
    property var withWarningTXT: undefined // absent, or the small print
    property var toggleText: undefined // absent, or the toggle's label
    property var selectedItem: undefined
    property var items: undefined
    property bool toggle: false
    property real alertWidth: 320
    property real alertPadding: 24

    readonly property bool isStacked: buttons.length >= 3
    readonly property real buttonMinWidth: isStacked ? alertWidth - 2 * alertPadding : alertWidth / 3
    readonly property color typeColor: AlertCustomType.color(alertType)

    signal dismiss

    function isPresent(value): bool {
        return value !== undefined && value !== null;
    }

    function press(button) {
        if (isPresent(selectedItem)) {
            if (button.action)
                button.action(selectedItem);
        } else if (isPresent(items) && button.actionForArray) {
            button.actionForArray(items);
        } else if (button.action) {
            button.action(undefined);
        }
        dismiss();
    }

    // Return presses the default button, if there is one.
    function pressDefault(): bool {
        for (const button of buttons) {
            if (button.isDefault) {
                press(button);
                return true;
            }
        }
        return false;
    }

    width: alertWidth
    implicitHeight: column.implicitHeight
    radius: 12
    color: Theme.windowBackgroundColor
    antialiasing: true
    Accessible.role: Accessible.AlertMessage
    Accessible.name: title

    ColumnLayout {
        id: column
        width: parent.width
        spacing: 0

        // The header band.
        Rectangle {
            objectName: "headerBand"
            Layout.fillWidth: true
            implicitHeight: header.implicitHeight + 15 + 8
            // Opaque, so that the square filler below the rounded top does
            // not darken where the two overlap.
            color: Qt.tint(Theme.windowBackgroundColor, Theme.withOpacity(Theme.secondaryColor, 0.1))
            radius: root.radius

            Rectangle {
                anchors.bottom: parent.bottom
                width: parent.width
                height: root.radius
                color: parent.color
            }

            Column {
                id: header
                y: 15
                x: root.alertPadding
                width: parent.width - 2 * root.alertPadding
                spacing: 4

                SymbolImage {
                    objectName: "alertSymbol"
                    anchors.horizontalCenter: parent.horizontalCenter
                    name: AlertCustomType.symbolName(root.alertType)
                    size: 30
                    color: root.typeColor
                }
                Text {
                    objectName: "alertTitle"
                    visible: root.title.length > 0
                    width: parent.width
                    horizontalAlignment: Text.AlignHCenter
                    wrapMode: Text.Wrap
                    textFormat: Text.PlainText
                    text: root.title
                    font: Theme.font("roboto_bold16")
                    color: root.typeColor
                    Accessible.role: Accessible.Heading
                    Accessible.name: text
                }
            }
        }

        // The body.
        ColumnLayout {
            Layout.fillWidth: true
            Layout.margins: root.alertPadding
            spacing: 20

            ColumnLayout {
                Layout.fillWidth: true
                Layout.bottomMargin: 10
                spacing: 20

                Text {
                    objectName: "alertContent"
                    Layout.fillWidth: true
                    horizontalAlignment: Text.AlignHCenter
                    wrapMode: Text.Wrap
                    textFormat: root.contentFormat
                    maximumLineCount: 15
                    elide: Text.ElideRight
                    text: root.content
                    font: Theme.font("roboto_regular14")
                    color: Theme.textColor
                    Accessible.role: Accessible.StaticText
                    Accessible.name: text
                }
                Switch {
                    objectName: "alertToggle"
                    visible: typeof root.toggleText === "string"
                    Layout.alignment: Qt.AlignHCenter
                    text: visible ? root.toggleText : ""
                    checked: root.toggle
                    focusPolicy: Qt.NoFocus
                    onToggled: root.toggle = checked
                    Accessible.name: text
                }
                Rectangle {
                    objectName: "alertDivider"
                    visible: typeof root.toggleText === "string" && typeof root.withWarningTXT === "string"
                    Layout.fillWidth: true
                    implicitHeight: 1
                    color: Theme.withOpacity(Theme.secondaryColor, 0.3)
                }
                Text {
                    objectName: "alertSmallPrint"
                    visible: typeof root.withWarningTXT === "string"
                    Layout.fillWidth: true
                    horizontalAlignment: Text.AlignHCenter
                    wrapMode: Text.Wrap
                    textFormat: Text.PlainText
                    text: visible ? root.withWarningTXT : ""
                    font: Theme.font("roboto_regular12")
                    color: Theme.secondaryColor
                    Accessible.role: Accessible.StaticText
                    Accessible.name: text
                }
            }

            GridLayout {
                objectName: "alertButtons"
                Layout.alignment: Qt.AlignHCenter
                flow: root.isStacked ? GridLayout.TopToBottom : GridLayout.LeftToRight
                rows: root.isStacked ? root.buttons.length : 1
                columnSpacing: 8
                rowSpacing: 8

                Repeater {
                    model: root.buttons

                    TrendyButtonHelper {
                        required property var modelData
                        text: modelData.title
                        buttonColor: modelData.bgColor
                        textColor: Theme.controlBackgroundColor
                        imgSize: 18
                        font: "roboto_bold14"
                        padding: 10
                        Layout.preferredWidth: Math.max(implicitWidth, root.buttonMinWidth)
                        onCallback: root.press(modelData)
                    }
                }
            }
        }
    }
}
