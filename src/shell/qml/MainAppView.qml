pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Layouts
import Corvina.Ui
import Corvina.Shell

// The unlocked main screen: the tiles of the three actions and of the
// settings, and the result line under them.
Item {
    id: root

    readonly property MainAppViewModel viewModel: model

    MainAppViewModel {
        id: model
    }

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
    }

    WarningTextHelper {
        anchors.bottom: parent.bottom
        width: parent.width
        warningText: root.viewModel.host.messageText.length > 0 ? root.viewModel.host.messageText : undefined
        txtColor: Theme.accentColor
    }
}
