import QtQuick
import QtTest
import Corvina.Ui

// The kit's controls as the screens use them: the alert card, the sheet
// frame, the check box, the folder link and the password field.
TestCase {
    id: testCase
    name: "Kit"
    when: windowShown
    visible: true
    width: 600
    height: 500

    property var calls: []

    function record(name) {
        return arg => testCase.calls.push([name, arg]);
    }

    Component {
        id: alertComponent
        CustomAlert {}
    }
    Component {
        id: sheetComponent
        BlurredSheetContentHelper {
            width: 500
            header: "Backup erstellen"
            textLeft: "Abbrechen"
            textMiddle: "Erstellen"
            textRight: "additional"
            onCallbackLeft: testCase.calls.push(["left"])
            onCallbackMiddle: checked => testCase.calls.push(["middle", checked])

            Rectangle {
                implicitWidth: 300
                implicitHeight: 100
            }
        }
    }

    function init() {
        calls = [];
    }

    function openAlert(buttons) {
        const alert = createTemporaryObject(alertComponent, testCase);
        alert.customAlert("backup.halvorn", "Entfernen bestätigen", item => "Wirklich " + item + "?", buttons, AlertCustomType.warn, undefined, undefined);
        tryCompare(alert, "opened", true);
        return alert;
    }

    function buttonsOf(alert) {
        const grid = findChild(alert.card, "alertButtons");
        const result = [];
        for (let i = 0; i < grid.children.length; ++i)
            if (grid.children[i].text !== undefined)
                result.push(grid.children[i]);
        return result;
    }

    function test_pressHandsTheItemAndAlwaysDismisses_data() {
        return [
            { tag: "item to action", item: "a.halvorn", expected: [["action", "a.halvorn"]] },
            { tag: "list to actionForArray", items: ["a", "b"], expected: [["array", ["a", "b"]]] },
            { tag: "no callback still dismisses", item: "a.halvorn", bare: true, expected: [] },
        ];
    }
    function test_pressHandsTheItemAndAlwaysDismisses(data) {
        const alert = createTemporaryObject(alertComponent, testCase);
        alert.buttons = [data.bare ? { title: "OK" } : { title: "OK", action: record("action"), actionForArray: record("array") }];
        alert.selectedItem = data.item;
        alert.items = data.items;
        tryCompare(alert, "opened", true);
        const dismissals = createTemporaryObject(spyComponent, testCase, {
            "target": alert,
            "signalName": "dismissed"
        });
        mouseClick(buttonsOf(alert)[0]);
        compare(calls, data.expected);
        compare(alert.isPresented, false);
        compare(alert.selectedItem, undefined);
        compare(dismissals.count, 1);
        tryCompare(alert, "visible", false);
    }

    Component {
        id: spyComponent
        SignalSpy {}
    }
    Component {
        id: linkComponent
        TextViewHelper {
            width: 400
            title: "Speicherort"
        }
    }
    Component {
        id: fieldComponent
        TextFieldHelper {
            width: 300
        }
    }
    Component {
        id: checkBoxComponent
        CheckBoxHelper {
            title: "Ich bin sicher"
            debounceInterval: 300
        }
    }

    function test_keys() {
        let alert = openAlert([{ title: "Abbrechen", action: record("cancel") }, { title: "OK", isDefault: true, action: record("ok") }]);
        keyClick(Qt.Key_Return);
        compare(calls, [["ok", "backup.halvorn"]]);
        compare(alert.isPresented, false);

        calls = [];
        alert = openAlert([{ title: "OK", isDefault: true, action: record("ok") }]);
        keyClick(Qt.Key_Escape);
        compare(calls, []);
        compare(alert.isPresented, false);
    }

    function test_middleGetsTheTickAndReturnUnlessDisabled() {
        const sheet = createTemporaryObject(sheetComponent, testCase, {
            "textCheckBox": "Ich bin sicher"
        });
        sheet.forceActiveFocus();
        mouseClick(findChild(sheet, "sheetCheckBox"));
        keyClick(Qt.Key_Return);
        mouseClick(findChild(sheet, "sheetMiddleButton"));
        sheet.isMiddleDisabled = true;
        keyClick(Qt.Key_Return);
        mouseClick(findChild(sheet, "sheetMiddleButton"));
        keyClick(Qt.Key_Escape);
        compare(calls, [["middle", true], ["middle", true], ["left"]]);
    }

    function test_fastDoubleClickChangesTheCheckBoxOnce() {
        const box = createTemporaryObject(checkBoxComponent, testCase);
        const toggles = createTemporaryObject(spyComponent, testCase, {
            "target": box,
            "signalName": "toggled"
        });
        mouseClick(box);
        mouseClick(box);
        compare(box.selection, true);
        compare(toggles.count, 1);
        compare(box.isToggleEnabled, false);
        tryCompare(box, "isToggleEnabled", true, 1000);
        mouseClick(box);
        compare(box.selection, false);
        compare(toggles.count, 2);
    }

    function test_linkToWhatIsNotAFolderShowsTheAlert_data() {
        return [
            { tag: "a file", path: Qt.resolvedUrl("tst_Kit.qml") },
            { tag: "a missing path", path: "file:///nonexistent/corvina-backups" },
        ];
    }
    function test_linkToWhatIsNotAFolderShowsTheAlert(data) {
        const view = createTemporaryObject(linkComponent, testCase, {
            "text": "/Backups",
            "url": data.path
        });
        mouseClick(findChild(view, "folderLink"));
        compare(view.isFolderNotExists, true);
        tryCompare(view.alert, "opened", true);
        compare(view.alert.title, "Fehler");
        compare(view.alert.card.content, "Das Verzeichnis im angegebenen Pfad existiert nicht.");
        // "OK" is not the default button: Return leaves the alert up.
        keyClick(Qt.Key_Return);
        compare(view.isFolderNotExists, true);
        const okButton = Array.from(findChild(view.alert.card, "alertButtons").children).find(item => item.text === "OK");
        mouseClick(okButton);
        compare(view.isFolderNotExists, false);
        compare(view.alert.isPresented, false);
    }

    function test_characterLimitCutsUserPerceivedCharacters() {
        const field = createTemporaryObject(fieldComponent, testCase, {
            "characterLimit": 3
        });
        field.text = "ae\u0301io";
        compare(field.input.text, "ae\u0301i");
    }

    function test_passwordMaskingFollowsTheCaller() {
        const field = createTemporaryObject(fieldComponent, testCase, {
            "connectionType": "password"
        });
        const toggles = createTemporaryObject(spyComponent, testCase, {
            "target": field,
            "signalName": "maskToggled"
        });
        const eye = findChild(field, "eyeButton");
        compare(field.input.echoMode, TextInput.Password);
        compare(eye.iconName, "eye");
        mouseClick(eye);
        compare(toggles.signalArguments[0][0], false);
        field.isMaskedPassword = false;
        compare(field.input.echoMode, TextInput.Normal);
        compare(eye.iconName, "eye.slash");
    }
}
