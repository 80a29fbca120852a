import QtQuick
import QtQuick.Controls
import Corvina.Ui

// One backup of the restore list: its date, the comment line when the file
// has a comment (an empty one still takes its line), and at its end the
// two symbol buttons for editing the comment and deleting the backup, shown
// while the row is hovered or selected. The comment is the row's tool tip.
ItemDelegate {
    id: root

    required property int index
    required property url fileUrl
    required property string dateText
    required property string comment
    required property bool hasComment
    required property bool isSelected
    property string editLabel
    property string editIcon
    property string editToolTip
    property string deleteLabel
    property string deleteIcon
    property string deleteToolTip

    signal selected
    signal editRequested
    signal deleteRequested
    signal menuRequested(real x, real y)

    readonly property bool showsActions: hovered || isSelected || actions.activeFocus

    highlighted: isSelected
    padding: 6
    leftPadding: 10
    hoverEnabled: true
    focusPolicy: Qt.NoFocus
    Accessible.role: Accessible.ListItem
    Accessible.name: hasComment ? dateText + ", " + comment : dateText
    Accessible.selected: isSelected
    ToolTip.visible: hovered && hasComment && comment.length > 0
    ToolTip.delay: 600
    ToolTip.text: comment

    onClicked: selected()

    TapHandler {
        acceptedButtons: Qt.RightButton
        onTapped: eventPoint => {
            root.selected();
            root.menuRequested(eventPoint.position.x, eventPoint.position.y);
        }
    }

    background: Rectangle {
        color: root.isSelected ? Theme.withOpacity(Theme.accentColor, 0.25) : root.hovered ? Theme.withOpacity(Theme.secondaryColor, 0.1) : "transparent"
        radius: 4
    }

    contentItem: Item {
        implicitHeight: Math.max(lines.implicitHeight, actions.implicitHeight)

        Column {
            id: lines
            anchors.left: parent.left
            anchors.right: actions.left
            anchors.verticalCenter: parent.verticalCenter

            Text {
                width: parent.width
                text: root.dateText
                font: Theme.font("roboto_regular14")
                color: Theme.textColor
                elide: Text.ElideRight
            }
            Text {
                objectName: "commentLine"
                visible: root.hasComment
                width: parent.width
                // An empty comment keeps the line's height.
                text: root.comment.length > 0 ? root.comment : " "
                textFormat: Text.PlainText
                font: Theme.font("roboto_regular12")
                color: Theme.withOpacity(Theme.secondaryColor, 0.7)
                elide: Text.ElideRight
                maximumLineCount: 1
            }
        }

        Row {
            id: actions
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            spacing: 6
            opacity: root.showsActions ? 1 : 0
            enabled: root.showsActions

            Repeater {
                model: [{
                        "name": "editButton",
                        "label": root.editToolTip,
                        "icon": root.editIcon,
                        "tint": "#34C759",
                        "run": () => root.editRequested()
                    }, {
                        "name": "deleteButton",
                        "label": root.deleteToolTip,
                        "icon": root.deleteIcon,
                        "tint": Theme.red,
                        "run": () => root.deleteRequested()
                    }]

                TrendyButtonHelper {
                    required property var modelData
                    objectName: modelData.name
                    iconName: modelData.icon
                    buttonColor: modelData.tint
                    imgSize: 14
                    padding: 5
                    Accessible.name: modelData.label
                    ToolTip.visible: isHovered
                    ToolTip.delay: 600
                    ToolTip.text: modelData.label
                    onCallback: modelData.run()
                }
            }
        }
    }
}
