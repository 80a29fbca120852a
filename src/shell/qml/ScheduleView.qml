import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Corvina.Ui
import Corvina.Shell

// The settings tab "Zeitplan": automatic backups on or off, when they run,
// how many stay, and how the last run ended. Every change takes effect at
// once; the switch stays off while the archive password or the storage
// folder is missing, and says which.
Column {
    id: root

    readonly property alias viewModel: schedule

    topPadding: 20
    bottomPadding: 20
    leftPadding: 40
    rightPadding: 40
    spacing: 14

    ScheduleViewModel {
        id: schedule
    }
    // The password or folder may have been set in another tab meanwhile.
    Component.onCompleted: schedule.refresh()
    onVisibleChanged: if (visible) schedule.refresh()

    component Label: Text {
        font: Theme.font("roboto_bold14")
        color: Theme.secondaryColor
    }
    component StatusText: Text {
        width: root.width - root.leftPadding - root.rightPadding
        visible: text.length > 0
        font: Theme.font("roboto_regular12")
        color: Theme.textColor
        wrapMode: Text.Wrap
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    Switch {
        objectName: "automaticBackupsSwitch"
        text: "Automatische Backups"
        font: Theme.font("roboto_regular14")
        checked: schedule.enabled
        enabled: schedule.enabled || schedule.missingText.length === 0
        Accessible.role: Accessible.CheckBox
        Accessible.name: text
        onToggled: {
            schedule.enabled = checked;
            checked = Qt.binding(() => schedule.enabled);
        }
    }
    StatusText {
        objectName: "missingText"
        text: schedule.enabled ? "" : schedule.missingText
        color: Theme.red
    }

    GridLayout {
        columns: 2
        columnSpacing: 15
        rowSpacing: 8

        Label {
            text: "Wann"
        }
        ComboBox {
            id: weekdayPicker
            objectName: "weekdayBox"
            Layout.fillWidth: true
            model: root.viewModel.weekdayNames
            currentIndex: root.viewModel.weekday
            font: Theme.font("roboto_regular14")
            Accessible.role: Accessible.ComboBox
            Accessible.name: "Wann"
            onActivated: index => root.viewModel.weekday = index

            delegate: ItemDelegate {
                required property string modelData
                required property int index
                width: ListView.view ? ListView.view.width : implicitWidth
                text: modelData
                font: Theme.font("roboto_regular14")
                highlighted: weekdayPicker.highlightedIndex === index
                Accessible.role: Accessible.ListItem
                Accessible.name: text
            }
        }
        Label {
            text: "Uhrzeit"
        }
        Row {
            spacing: 6
            SpinBox {
                objectName: "hourBox"
                from: 0
                to: 23
                value: root.viewModel.hour
                editable: true
                font: Theme.font("roboto_regular14")
                textFromValue: (value, locale) => String(value).padStart(2, "0")
                Accessible.role: Accessible.SpinBox
                Accessible.name: "Stunde"
                onValueModified: root.viewModel.hour = value
            }
            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: ":"
                font: Theme.font("roboto_bold14")
                color: Theme.textColor
            }
            SpinBox {
                objectName: "minuteBox"
                from: 0
                to: 59
                value: root.viewModel.minute
                editable: true
                font: Theme.font("roboto_regular14")
                textFromValue: (value, locale) => String(value).padStart(2, "0")
                Accessible.role: Accessible.SpinBox
                Accessible.name: "Minute"
                onValueModified: root.viewModel.minute = value
            }
        }
        Label {
            text: "Behalten"
        }
        SpinBox {
            objectName: "keepBox"
            from: 1
            to: root.viewModel.maximumKeep
            value: root.viewModel.keep
            editable: true
            font: Theme.font("roboto_regular14")
            Accessible.role: Accessible.SpinBox
            Accessible.name: "Automatische Backups behalten"
            onValueModified: root.viewModel.keep = value
        }
    }

    StatusText {
        objectName: "customCalendarText"
        text: schedule.customCalendarText
        color: Theme.secondaryColor
    }
    StatusText {
        objectName: "lastRunText"
        text: schedule.lastRunText
    }
    StatusText {
        objectName: "nextRunText"
        text: schedule.enabled ? schedule.nextRunText : ""
    }
    StatusText {
        objectName: "scheduleMessage"
        text: schedule.messageText
        color: Theme.red
    }
}
