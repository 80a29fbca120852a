import QtQuick
import QtTest
import Corvina.Ui

// The comment editor's delayed hand-over and the folder link's alert.
TestCase {
    id: testCase
    name: "TextEditorAndView"
    when: windowShown
    visible: true
    width: 500
    height: 400

    Component {
        id: editorComponent
        TextEditorHelper {
            title: "Kommentar zum Backup (optional)"
            needFocus: true
            text: "alt"
        }
    }
    Component {
        id: linkComponent
        TextViewHelper {
            width: 400
            title: "Speicherort"
        }
    }

    function test_editorHandsTheTextOverHalfASecondAfterTheLastKey() {
        const editor = createTemporaryObject(editorComponent, testCase);
        const area = findChild(editor, "editorArea");
        area.forceActiveFocus();
        area.cursorPosition = area.length;
        keyClick("e");
        wait(300);
        keyClick("r");
        compare(editor.tmpText, "alter");
        // 300 ms after the first key the caller still has the old text.
        wait(300);
        compare(editor.text, "alt");
        tryCompare(editor, "text", "alter", 1000);
        compare(editor.lineWidth > 0.5, true);

        // A change from outside shows at once, also an empty text.
        editor.text = "";
        compare(editor.tmpText, "");
    }

    function test_linkToWhatIsNotAFolderShowsTheAlert_data() {
        return [
            { tag: "a file", path: Qt.resolvedUrl("tst_TextEditorAndView.qml") },
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
}
