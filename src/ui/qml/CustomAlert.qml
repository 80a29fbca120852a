import QtQuick
import QtQuick.Controls
import Corvina.Ui

// The program's alert, presented as a modal card over the window while the
// item it was opened for is present. Clearing `selectedItem` (also by the
// buttons' dismissal or by Escape) takes it away; `dismissed` follows each
// dismissal, for owners that keep the item elsewhere.
//
// A screen declares one and opens it with `customAlert(item, title,
// message, buttons, alertType, withWarningTXT, toggleText)`, where `message`
// builds the body text from the item.
ModalSheet {
    id: root

    property var selectedItem: undefined
    property var items: undefined
    property string title
    property var message: item => ""
    property var buttons: []
    property int alertType: AlertCustomType.without
    property var withWarningTXT: undefined
    property var toggleText: undefined
    readonly property bool isPresented: card.isPresent(selectedItem) || card.isPresent(items)
    readonly property AlertCommon card: card

    signal dismissed

    function customAlert(item, title: string, message, buttons, alertType: int, withWarningTXT, toggleText) {
        root.title = title;
        root.message = message;
        root.buttons = buttons;
        root.alertType = alertType;
        root.withWarningTXT = withWarningTXT;
        root.toggleText = toggleText;
        root.selectedItem = item;
    }

    function dismiss() {
        selectedItem = undefined;
        items = undefined;
        dismissed();
    }

    // The body is built when an item arrives; it stays while the card fades.
    function refreshContent() {
        if (card.isPresent(selectedItem))
            card.content = message(selectedItem);
        else if (card.isPresent(items))
            card.content = message(items[0]);
    }

    onSelectedItemChanged: refreshContent()
    onItemsChanged: refreshContent()
    onMessageChanged: refreshContent()
    onIsPresentedChanged: {
        if (isPresented) {
            card.toggle = false;
            open();
        } else {
            close();
        }
    }
    onEscapePressed: dismiss()

    AlertCommon {
        id: card

        title: root.title
        buttons: root.buttons
        alertType: root.alertType
        withWarningTXT: root.withWarningTXT
        toggleText: root.toggleText
        selectedItem: root.selectedItem
        items: root.items
        focus: true
        onDismiss: root.dismiss()

        Keys.onReturnPressed: event => event.accepted = card.pressDefault()
        Keys.onEnterPressed: event => event.accepted = card.pressDefault()
    }
}
