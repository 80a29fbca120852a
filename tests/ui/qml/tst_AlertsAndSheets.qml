import QtQuick
import QtTest
import Corvina.Ui

// The alert card and the sheet frame: their layout rules, the keys, and what
// each button hands to its caller.
TestCase {
    id: testCase
    name: "AlertsAndSheets"
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

    function openAlert(buttons, extra) {
        const alert = createTemporaryObject(alertComponent, testCase);
        alert.customAlert(extra?.item ?? "backup.halvorn", extra?.title ?? "Entfernen bestätigen", item => "Wirklich " + item + "?", buttons, extra?.type ?? AlertCustomType.warn, extra?.smallPrint, extra?.toggle);
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

    function test_buttonLayout_data() {
        return [{ tag: "two side by side", count: 2, stacked: false }, { tag: "three stacked", count: 3, stacked: true }];
    }
    function test_buttonLayout(data) {
        const buttons = [];
        for (let i = 0; i < data.count; ++i)
            buttons.push({ title: "B" + i });
        const alert = openAlert(buttons);
        const shown = buttonsOf(alert);
        compare(shown.length, data.count);
        for (const button of shown) {
            if (data.stacked)
                compare(button.width, 272);
            else
                verify(button.width >= 320 / 3, button.width);
        }
        compare(shown[0].y === shown[1].y, !data.stacked);
        verify(shown[data.count - 1].x + shown[data.count - 1].width <= 272);
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

    function test_cardParts_data() {
        return [
            { tag: "no title: symbol only", title: "", type: AlertCustomType.info, titleShown: false, divider: false, smallPrintShown: false },
            { tag: "without: empty symbol keeps its frame", type: AlertCustomType.without, titleShown: true, divider: false, smallPrintShown: false },
            { tag: "small print alone: no divider", smallPrint: "Kann nicht rückgängig gemacht werden.", titleShown: true, divider: false, smallPrintShown: true },
            { tag: "toggle and small print: divider", smallPrint: "Kleingedrucktes", toggle: "Nicht mehr fragen", titleShown: true, divider: true, smallPrintShown: true },
        ];
    }
    function test_cardParts(data) {
        const alert = openAlert([{ title: "OK" }], data);
        const symbol = findChild(alert.card, "alertSymbol");
        compare(symbol.width, 30);
        compare(symbol.height, 30);
        compare(symbol.name, AlertCustomType.symbolName(alert.alertType));
        compare(findChild(alert.card, "alertTitle").visible, data.titleShown);
        compare(findChild(alert.card, "alertDivider").visible, data.divider);
        compare(findChild(alert.card, "alertSmallPrint").visible, data.smallPrintShown);
        compare(findChild(alert.card, "alertToggle").visible, data.toggle !== undefined);
    }

    function test_contentStopsAfterFifteenLines() {
        const alert = openAlert([{ title: "OK" }]);
        alert.message = item => Array(40).fill("Zeile").join("\n");
        const content = findChild(alert.card, "alertContent");
        tryCompare(content, "lineCount", 15);
        verify(content.truncated);
    }

    function test_sheetFooter_data() {
        return [{ tag: "buttons only", right: false }, { tag: "tick box and right button", checkBox: "Ich bin sicher", right: true }];
    }
    function test_sheetFooter(data) {
        const sheet = createTemporaryObject(sheetComponent, testCase, {
            "textCheckBox": data.checkBox,
            "callbackRight": data.right ? () => calls.push(["right"]) : undefined
        });
        compare(findChild(sheet, "sheetCheckBox").visible, data.checkBox !== undefined);
        const right = findChild(sheet, "sheetRightButton");
        compare(right.visible, data.right);
        if (data.right) {
            mouseClick(right);
            compare(calls, [["right"]]);
        }
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
}
