import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Corvina.Ui

// The frame of the program's sheets: a tinted header band, the content, and
// a tinted footer with an optional tick box and up to three buttons. The
// left button is red and cancels; the middle one takes Return unless it is
// disabled and receives the tick of the box; the right one is shown only
// when `callbackRight` is set. Escape counts as the left button.
//
// The content is the one item put into the sheet; with `isScrollable` it
// stands in a vertical scroll view.
FocusScope {
    id: root

    property string header
    default property alias content: contentHolder.data
    property real maxViewWidth: Infinity
    property real minWidth: 0
    property int alignment: Text.AlignHCenter
    property string textLeft
    property string textMiddle
    property string textRight
    property var textCheckBox: undefined // absent, or the tick box's label
    property bool isMiddleDisabled: false
    property bool isScrollable: false
    property var callbackRight: undefined // absent hides the right button
    property bool checkBoxSelection: false

    signal callbackLeft
    signal callbackMiddle(bool checked)

    // Opaque, so that a band's rounded end and its square filler don't
    // darken where they overlap.
    readonly property color bandColor: Qt.tint(Theme.windowBackgroundColor, Theme.withOpacity(Theme.secondaryColor, 0.1))
    readonly property Item contentItem: contentHolder.children.length > 0 ? contentHolder.children[0] : null

    function pressMiddle(): bool {
        if (isMiddleDisabled)
            return false;
        callbackMiddle(checkBoxSelection);
        return true;
    }

    implicitWidth: Math.min(maxViewWidth, Math.max(contentHolder.implicitWidth, footer.implicitWidth, headerText.implicitWidth + 40))
    implicitHeight: column.implicitHeight

    Keys.onReturnPressed: event => event.accepted = pressMiddle()
    Keys.onEnterPressed: event => event.accepted = pressMiddle()
    Keys.onEscapePressed: callbackLeft()

    Rectangle {
        anchors.fill: parent
        color: Theme.windowBackgroundColor
        radius: 12
    }

    ColumnLayout {
        id: column
        anchors.fill: parent
        spacing: 0

        Rectangle {
            objectName: "sheetHeader"
            visible: root.header.length > 0
            Layout.fillWidth: true
            implicitHeight: headerText.implicitHeight + 20
            color: root.bandColor
            radius: 12

            Rectangle {
                anchors.bottom: parent.bottom
                width: parent.width
                height: 12
                color: parent.color
            }

            Text {
                id: headerText
                anchors.centerIn: parent
                text: root.header
                font: Theme.font("roboto_bold16")
                color: Theme.textColor
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }
        }

        ScrollView {
            objectName: "sheetScrollView"
            visible: root.isScrollable
            Layout.fillWidth: true
            Layout.fillHeight: true
            implicitHeight: root.isScrollable ? Math.min(contentHolder.implicitHeight, 400) : 0
            ScrollBar.vertical.policy: ScrollBar.AlwaysOn
            contentWidth: availableWidth
            contentHeight: root.isScrollable ? contentHolder.implicitHeight : 0

            // The content moves in here when the sheet scrolls.
            Item {
                id: scrollSlot
                width: parent.width
                height: contentHolder.implicitHeight
            }
        }
        Item {
            id: plainSlot
            visible: !root.isScrollable
            Layout.fillWidth: true
            Layout.fillHeight: true
            implicitHeight: root.isScrollable ? 0 : contentHolder.implicitHeight
        }

        Rectangle {
            objectName: "sheetFooter"
            Layout.fillWidth: true
            implicitHeight: footer.implicitHeight + 30
            implicitWidth: footer.implicitWidth + 30
            color: root.bandColor
            radius: 12

            Rectangle {
                width: parent.width
                height: 12
                color: parent.color
            }

            Column {
                id: footer
                anchors.centerIn: parent
                spacing: 10

                CheckBoxHelper {
                    objectName: "sheetCheckBox"
                    visible: typeof root.textCheckBox === "string"
                    anchors.horizontalCenter: parent.horizontalCenter
                    title: visible ? root.textCheckBox : ""
                    size: 15
                    selection: root.checkBoxSelection
                    onToggled: root.checkBoxSelection = selection
                }
                Row {
                    anchors.horizontalCenter: parent.horizontalCenter
                    spacing: 15

                    TrendyButtonHelper {
                        objectName: "sheetLeftButton"
                        text: root.textLeft
                        buttonColor: Theme.red
                        font: "roboto_bold14"
                        padding: 10
                        minWidth: root.minWidth
                        alignment: root.alignment
                        anchors.verticalCenter: parent.verticalCenter
                        onCallback: root.callbackLeft()
                    }
                    TrendyButtonHelper {
                        objectName: "sheetMiddleButton"
                        text: root.textMiddle
                        font: "roboto_bold14"
                        padding: 10
                        minWidth: root.minWidth
                        alignment: root.alignment
                        isDisabled: root.isMiddleDisabled
                        anchors.verticalCenter: parent.verticalCenter
                        onCallback: root.pressMiddle()
                    }
                    TrendyButtonHelper {
                        objectName: "sheetRightButton"
                        visible: typeof root.callbackRight === "function"
                        text: root.textRight
                        font: "roboto_regular14"
                        padding: 5
                        minWidth: root.minWidth
                        alignment: root.alignment
                        anchors.verticalCenter: parent.verticalCenter
                        onCallback: root.callbackRight()
                    }
                }
            }
        }
    }

    Item {
        id: contentHolder
        parent: root.isScrollable ? scrollSlot : plainSlot
        width: parent.width
        implicitWidth: root.contentItem ? root.contentItem.implicitWidth : 0
        implicitHeight: root.contentItem ? root.contentItem.implicitHeight : 0
        height: implicitHeight
    }
}
