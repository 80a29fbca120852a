import QtQuick
import QtQuick.Controls
import Corvina.Ui

// A title over a folder path shown as a link. Pressing the link opens the
// folder in the desktop's file manager, or tells in an alert that there is
// no folder at that path.
Column {
    id: root

    property string title
    property var text: undefined // absent shows the title only
    property url url
    property color color: Theme.blue
    property bool isFolderNotExists: false
    readonly property CustomAlert alert: alert

    spacing: 4

    function openLink() {
        if (!FolderOpener.openFolder(url))
            isFolderNotExists = true;
    }

    onIsFolderNotExistsChanged: {
        if (isFolderNotExists)
            alert.customAlert("folder", "Fehler", item => "Das Verzeichnis im angegebenen Pfad existiert nicht.", [{
                        "title": "OK",
                        "bgColor": Theme.accentColor,
                        "isDefault": false
                    }], AlertCustomType.warn);
    }

    Text {
        text: root.title
        font: Theme.font("roboto_regular14")
        color: Theme.textColor
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    Text {
        id: link
        objectName: "folderLink"
        visible: typeof root.text === "string" && root.url.toString().length > 0
        width: Math.min(implicitWidth, root.width > 0 ? root.width : implicitWidth)
        text: visible ? root.text : ""
        textFormat: Text.PlainText
        elide: Text.ElideMiddle
        font: Theme.font("roboto_boldItalic14")
        color: root.color
        activeFocusOnTab: true
        Accessible.role: Accessible.Link
        Accessible.name: text
        Accessible.onPressAction: root.openLink()
        Keys.onSpacePressed: root.openLink()
        Keys.onReturnPressed: root.openLink()

        // The underline.
        Rectangle {
            y: link.baselineOffset + 2
            width: link.width
            height: 1
            color: root.color
        }
        Rectangle {
            visible: link.activeFocus
            anchors.fill: parent
            anchors.margins: -2
            color: "transparent"
            border.width: 2
            border.color: Theme.withOpacity(Theme.accentColor, 0.6)
            radius: 3
        }
        MouseArea {
            anchors.fill: parent
            cursorShape: Qt.PointingHandCursor
            onClicked: root.openLink()
        }
        ToolTip.visible: linkHover.hovered && link.truncated
        ToolTip.text: text
        HoverHandler {
            id: linkHover
        }
    }

    CustomAlert {
        id: alert
        onDismissed: root.isFolderNotExists = false
    }
}
