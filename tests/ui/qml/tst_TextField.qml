import QtQuick
import QtTest
import Corvina.Ui

// The one-line input: the delayed hand-over to the caller, the filter, the
// warning line and the shake.
TestCase {
    id: testCase
    name: "TextField"
    when: windowShown
    visible: true
    width: 400
    height: 300

    Component {
        id: fieldComponent
        TextFieldHelper {
            width: 300
            warnText: "Nicht erlaubt"
        }
    }
    Component {
        id: spyComponent
        SignalSpy {
            signalName: "edited"
        }
    }

    function makeField(properties) {
        const field = createTemporaryObject(fieldComponent, testCase, properties);
        field.input.forceActiveFocus();
        return field;
    }

    function type(text) {
        for (const character of text)
            keyClick(character);
    }

    function test_handOverWaitsForHalfASecondOfQuiet() {
        const field = makeField({
            "buttonType": "clear"
        });
        const edits = createTemporaryObject(spyComponent, testCase, {
            "target": field
        });
        for (const character of "abc") {
            keyClick(character);
            wait(200);
        }
        compare(edits.count, 0, "typing faster than the delay hands nothing over");
        tryCompare(edits, "count", 1, 1000);
        compare(edits.signalArguments[0][0], "abc");

        // The clear button hands over at once.
        mouseClick(findChild(field, "clearButton"));
        compare(edits.count, 2);
        compare(edits.signalArguments[1][0], "");
        compare(field.input.text, "");
        verify(!findChild(field, "clearButton").visible);

        // A new value from the caller is shown.
        field.text = "von außen";
        compare(field.input.text, "von außen");
    }

    function test_filter_data() {
        return [
            { tag: "restrict pattern strips its own characters, not its class", restrict: "[0-9]", typed: "x-7", shown: "x7", warning: true },
            { tag: "no match leaves the text", restrict: "[0-9]", typed: "x-]", shown: "x-]", warning: false },
            { tag: "warn pattern keeps the text", warn: "!", typed: "ab!", shown: "ab!", warning: true },
            { tag: "with both only the restrict pattern counts", restrict: "x", warn: "!", typed: "ab!", shown: "ab!", warning: false },
            { tag: "a pattern that does not compile counts as absent", restrict: "(", warn: "a", typed: "a(", shown: "a(", warning: false },
        ];
    }

    function test_filter(data) {
        const field = makeField({
            "restrictRegex": data.restrict,
            "warnRegex": data.warn
        });
        type(data.typed);
        compare(field.input.text, data.shown);
        compare(field.viewModel.tmpText, data.shown);
        compare(findChild(field, "warningLine").shown, data.warning);
    }

    function test_characterLimitCutsUserPerceivedCharacters() {
        const field = makeField({
            "characterLimit": 3
        });
        field.text = "ae\u0301io";
        compare(field.input.text, "ae\u0301i");
    }

    function test_eachOffenceRestartsTheWarning() {
        const field = makeField({
            "restrictRegex": "!"
        });
        const warning = findChild(field, "warningLine");
        field.viewModel.warningDuration = 400;
        keyClick("!");
        verify(warning.shown);
        wait(250);
        keyClick("!");
        wait(250);
        verify(warning.shown, "the second offence started the time over");
        tryCompare(warning, "shown", false, 1000);
        compare(field.input.text, "");
    }

    function test_returnAndEscape() {
        const field = makeField({});
        const submits = createTemporaryObject(spyComponent, testCase, {
            "target": field,
            "signalName": "submitted"
        });
        const exits = createTemporaryObject(spyComponent, testCase, {
            "target": field,
            "signalName": "exitCommand"
        });
        keyClick(Qt.Key_Return);
        keyClick(Qt.Key_Escape);
        compare(submits.count, 1);
        compare(exits.count, 1);
    }

    function test_passwordMaskingFollowsTheCaller() {
        const field = makeField({
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

    function test_shakeOffset_data() {
        return [{ shakes: 0.25, offset: 5 }, { shakes: 0.75, offset: -5 }, { shakes: 1.0, offset: 0 }, { shakes: 2.0, offset: 0 }];
    }

    function test_shakeOffset(data) {
        const field = makeField({
            "numberOfShakes": data.shakes
        });
        fuzzyCompare(field.transform[0].x, data.offset, 1e-9);
        compare(field.transform[0].y, 0);
    }
}
