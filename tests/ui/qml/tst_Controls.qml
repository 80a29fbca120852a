import QtQuick
import QtTest
import Corvina.Ui

// The kit's button, check box, message strip and message line.
TestCase {
    id: testCase
    name: "Controls"
    when: windowShown
    // Invisible items get no pointer events.
    visible: true
    width: 400
    height: 300

    Component {
        id: buttonComponent
        TrendyButtonHelper {}
    }
    Component {
        id: checkBoxComponent
        CheckBoxHelper {
            title: "Ich bin sicher"
            debounceInterval: 300
        }
    }
    Component {
        id: strip
        WarningTextHelper {
            width: 300
        }
    }
    Component {
        id: messageComponent
        TransientMessage {
            duration: 300
        }
    }
    Component {
        id: spyComponent
        SignalSpy {}
    }

    function spyOn(target, signalName) {
        return createTemporaryObject(spyComponent, testCase, {
            "target": target,
            "signalName": signalName
        });
    }

    function test_disabledButtonCallsNothingAndShowsNoPress() {
        const button = createTemporaryObject(buttonComponent, testCase, {
            "text": "Löschen",
            "isDisabled": true
        });
        const calls = spyOn(button, "callback");
        mousePress(button);
        compare(button.isPressed, false);
        compare(button.opacity, 1);
        mouseRelease(button);
        mouseClick(button);
        compare(calls.count, 0);

        button.isDisabled = false;
        mousePress(button);
        compare(button.isPressed, true);
        mouseRelease(button);
        compare(button.isPressed, false);
        compare(calls.count, 1);
    }

    function test_buttonFill_data() {
        return [
            { tag: "plain", disabled: false, hovered: false, fill: Theme.accentColor },
            { tag: "hovered", disabled: false, hovered: true, fill: Theme.withOpacity(Theme.accentColor, 0.8) },
            { tag: "disabled", disabled: true, hovered: false, fill: Theme.withOpacity(Theme.secondaryColor, 0.4) },
            { tag: "disabled and hovered", disabled: true, hovered: true, fill: Theme.withOpacity(Theme.secondaryColor, 0.4) },
        ];
    }
    function test_buttonFill(data) {
        const button = createTemporaryObject(buttonComponent, testCase, {
            "text": "OK",
            "isDisabled": data.disabled
        });
        if (data.hovered)
            mouseMove(button);
        tryCompare(button, "isHovered", data.hovered);
        verify(Qt.colorEqual(button.fillColor, data.fill), button.fillColor + " " + data.fill);
    }

    function test_fastDoubleClickChangesTheCheckBoxOnce() {
        const box = createTemporaryObject(checkBoxComponent, testCase);
        const toggles = spyOn(box, "toggled");
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

    function test_checkBoxGoneBeforeItsDelayedStep() {
        const box = createTemporaryObject(checkBoxComponent, testCase);
        mouseClick(box);
        box.destroy();
        // The re-enabling was due after 300 ms; it must not run on the
        // destroyed box.
        wait(500);
        verify(true);
    }

    function test_warningStripShowsOnlyAPresentText() {
        const helper = createTemporaryObject(strip, testCase);
        compare(helper.isShown, false);
        helper.warningText = "Achtung";
        compare(helper.isShown, true);
        compare(helper.shownText, "Achtung");
        helper.warningText = undefined;
        compare(helper.isShown, false);
        // The text stays while the strip fades.
        compare(helper.shownText, "Achtung");
    }

    function test_aNewerMessageDoesNotPutOffTheClearing() {
        const message = createTemporaryObject(messageComponent, testCase);
        compare(message.text, undefined);
        message.show("erste");
        // The second message would stay for 10 s on its own; the first
        // one's clearing, due after 300 ms, takes it away.
        message.duration = 10000;
        message.show("zweite");
        compare(message.text, "zweite");
        tryCompare(message, "text", undefined, 2000);
    }
}
