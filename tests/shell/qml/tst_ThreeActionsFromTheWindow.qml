import QtQuick
import QtTest
import Corvina.Ui
import Corvina.Shell
import Corvina.TestHelpers

// The three jobs done from the window as a person does them, against the
// real engine, the test keyring and real folders under a private HOME: a
// backup with a typed comment, its restore over a changed data folder while
// the companion application runs, and the deletion of the data behind the
// tick box.
TestCase {
    id: testCase
    name: "ThreeActionsFromTheWindow"
    when: windowShown
    visible: true
    width: 900
    height: 500

    readonly property var originalFiles: ({
            "Patienten.db": "Frau Berger, Zimmer 4",
            "Pflege/Berichte/2026-11.txt": "Blutdruck 120/80"
        })

    Component {
        id: contentComponent
        WindowContent {
            width: 900
            height: 500
        }
    }

    property var view

    function initTestCase() {
        TestKeyring.storeMasterPassword("Geheim-42");
        TestKeyring.setUseTouchId(false);
        AppDelegate.attachWindow(testCase.Window.window);
        TestWorld.prepare(originalFiles, "Archiv-Passwort-7");
        AppDelegate.isAuthenticated = true;
        // One window content for all steps, as one person uses one window.
        const content = contentComponent.createObject(testCase);
        tryVerify(() => content.currentView && content.currentView.objectName === "mainPage");
        view = content.currentView;
    }

    function openSheet(action) {
        // The modals of the step before have gone.
        tryCompare(view.actionSheet, "visible", false);
        tryCompare(view.workingPopUp, "visible", false);
        mouseClick(findChild(view, "tile" + action));
        tryCompare(view.actionSheet, "opened", true);
        tryVerify(() => view.screen !== null);
    }

    function typeText(text) {
        for (const character of text)
            keyClick(character);
    }

    SignalSpy {
        id: popUpShown
        target: testCase.view ? testCase.view.workingPopUp : null
        signalName: "aboutToShow"
    }

    SignalSpy {
        id: actionRuns
        target: testCase.view ? testCase.view.host : null
        signalName: "performActionChanged"
    }

    function pressAction() {
        popUpShown.clear();
        mouseClick(findChild(view.sheetFrame, "sheetMiddleButton"));
    }

    function waitForResult(text) {
        tryCompare(popUpShown, "count", 1, 5000);
        tryCompare(view.host, "messageText", text, 30000);
        tryCompare(view.actionSheet, "opened", false);
        tryCompare(view.workingPopUp, "opened", false, 5000);
        const line = findChild(view, "resultLine");
        compare(line.shownText, text);
        // Read out to whoever cannot see it.
        compare(findChild(line, "warningLabel").Accessible.name, text);
    }

    // In order: each job starts from what the one before left on disk.
    function test_1_backupWithComment() {
        openSheet(0);
        compare(findChild(view.screen, "storageLink").text, TestWorld.storageFolder());
        // The comment editor has the keyboard as soon as the sheet is up.
        typeText("Vor dem Update");
        // The editor hands its text over half a second after the last key.
        wait(700);
        pressAction();
        waitForResult("Das Backup wurde erfolgreich erstellt.");
        const backups = TestWorld.backups();
        compare(backups.length, 1);
        compare(TestWorld.commentOf(backups[0]), "Vor dem Update");
    }

    function test_2_restoreClosesTheCompanionFirst() {
        TestWorld.removeDataFile("Patienten.db");
        TestWorld.writeDataFile("neu.txt", "später angelegt");
        TestWorld.startCompanion();
        openSheet(1);
        const list = findChild(view.screen, "backupList");
        tryCompare(list, "count", 1);
        compare(findChild(view.sheetFrame, "sheetMiddleButton").isDisabled, true);
        mouseClick(list.itemAtIndex(0));
        compare(findChild(view.sheetFrame, "sheetMiddleButton").isDisabled, false);
        pressAction();
        tryCompare(view.closeAlert, "opened", true);
        compare(view.closeAlert.card.content, "Möchtest du, dass das Programm die Corvina schließt, um die Wiederherstellung des Backups fortzusetzen?");
        actionRuns.clear();
        // "OK" is the default button. The restore starts a second later; a
        // press of the button meanwhile starts nothing more.
        keyClick(Qt.Key_Return);
        tryCompare(TestWorld, "companionRunning", false, 5000);
        tryCompare(view.closeAlert, "visible", false);
        mouseClick(findChild(view.sheetFrame, "sheetMiddleButton"));
        compare(actionRuns.count, 0);
        waitForResult("Das Backup wurde erfolgreich wiederhergestellt.");
        compare(actionRuns.count, 1);
        compare(view.closeAlert.opened, false);
        compare(view.busyAlert.opened, false);
        compare(TestWorld.dataFiles(), originalFiles);
    }

    // Presses Tab until `item` has the keyboard, as a person would.
    function tabTo(item) {
        for (let i = 0; i < 12 && !item.activeFocus; ++i)
            keyClick(Qt.Key_Tab);
        verify(item.activeFocus, "Tab never reached " + item);
    }

    function test_3_backupByKeyboardAlone() {
        tryCompare(view.actionSheet, "visible", false);
        tryCompare(view.workingPopUp, "visible", false);
        tabTo(findChild(view, "tile0"));
        keyClick(Qt.Key_Return);
        tryCompare(view.actionSheet, "opened", true);
        typeText("Per Tastatur");
        wait(700);
        tabTo(findChild(view.sheetFrame, "sheetMiddleButton"));
        popUpShown.clear();
        keyClick(Qt.Key_Space);
        waitForResult("Das Backup wurde erfolgreich erstellt.");
        const comments = TestWorld.backups().map(name => TestWorld.commentOf(name));
        verify(comments.includes("Per Tastatur"), comments);
    }

    function test_4_deleteBehindTheTickBox() {
        openSheet(2);
        const box = findChild(view.screen, "confirmationBox");
        const button = findChild(view.sheetFrame, "sheetMiddleButton");
        // The box opens ticked and the button enabled.
        compare(box.selection, true);
        compare(button.isDisabled, false);
        mouseClick(box);
        compare(button.isDisabled, true);
        pressAction();
        wait(100);
        compare(popUpShown.count, 0);
        tryCompare(box, "isToggleEnabled", true);
        mouseClick(box);
        compare(button.isDisabled, false);
        pressAction();
        waitForResult("Die Daten wurden erfolgreich gelöscht.");
        compare(TestWorld.dataFiles(), {});
    }

    function test_5_editAndDeleteABackup() {
        openSheet(1);
        const list = findChild(view.screen, "backupList");
        tryCompare(list, "count", 2);
        const newest = TestWorld.backups().sort().reverse()[0];
        mouseClick(list.itemAtIndex(0));
        keyClick(Qt.Key_F2);
        tryCompare(view.screen.editSheet, "opened", true);
        keyClick(Qt.Key_A, Qt.ControlModifier);
        typeText("Neu gesetzt");
        wait(700);
        keyClick(Qt.Key_Tab);
        keyClick(Qt.Key_Tab);
        keyClick(Qt.Key_Space);
        tryCompare(view.screen.editSheet, "visible", false);
        compare(TestWorld.commentOf(newest), "Neu gesetzt");

        mouseClick(list.itemAtIndex(0));
        keyClick(Qt.Key_Delete);
        tryCompare(view.screen.deleteAlert, "opened", true);
        // "Löschen" is the default button.
        keyClick(Qt.Key_Return);
        tryVerify(() => !TestWorld.backups().includes(newest));
        tryCompare(list, "count", 1);
        tryCompare(view.screen.deleteAlert, "visible", false);
        keyClick(Qt.Key_Escape);
        tryCompare(view.actionSheet, "opened", false);
    }

    // A backup that fails says so and why, and leaves nothing behind.
    function test_6_failedBackupSaysWhy_data() {
        return [{ tag: "full disk", reason: "Fehler beim Erstellen oder Wiederherstellen des Archivs." }, { tag: "storage folder gone", reason: "Der Speicherort für das Backup wurde nicht gefunden." }, { tag: "data folder gone", reason: "Das Zielverzeichnis wurde nicht gefunden." }];
    }
    function test_6_failedBackupSaysWhy(data) {
        // A row that failed before its end leaves its disk mounted.
        TestWorld.releaseStorageFolder();
        TestWorld.prepare(originalFiles, "Archiv-Passwort-7");
        if (data.tag === "full disk" && !TestWorld.fillStorageFolder())
            skip("SKIP this machine cannot mount a tmpfs");
        if (data.tag === "data folder gone")
            TestWorld.removeFolder(TestWorld.dataFolder());
        const before = TestWorld.storageFiles();
        openSheet(0);
        const alert = findChild(view.screen, "errorAlert");
        if (data.tag === "storage folder gone") {
            TestWorld.removeFolder(TestWorld.storageFolder());
            // The sheet tells at once; the alert goes, the sheet stays.
            tryCompare(alert, "opened", true, 5000);
            keyClick(Qt.Key_Escape);
            tryCompare(alert, "visible", false);
        }
        pressAction();
        tryCompare(alert, "opened", true, 30000);
        compare(alert.card.content, "Es wurde kein Backup erstellt. " + data.reason);
        compare(TestWorld.storageFiles(), before);
        keyClick(Qt.Key_Escape);
        tryCompare(alert, "visible", false);
        compare(view.actionSheet.opened, true);
        keyClick(Qt.Key_Escape);
        TestWorld.releaseStorageFolder();
    }

    // A backup that an earlier version made under the empty password, while
    // the keyring failed, still restores and says so; a too long comment
    // leaves the backup with what could be kept of it, and nothing in the clear.
    function test_7_olderBackupsAndLongComments() {
        TestWorld.prepare(originalFiles, "Archiv-Passwort-7");
        TestWorld.makeBackup("");
        TestWorld.writeDataFile("neu.txt", "später angelegt");
        openSheet(1);
        const list = findChild(view.screen, "backupList");
        tryCompare(list, "count", 1);
        mouseClick(list.itemAtIndex(0));
        pressAction();
        waitForResult("Das Backup wurde erfolgreich wiederhergestellt. Dieses Backup wurde ohne Archivpasswort erstellt, nur mit dem eingebauten Schlüssel des Programms.");
        compare(TestWorld.dataFiles(), originalFiles);

        openSheet(0);
        // As if pasted: the editor hands it over after half a second.
        findChild(view.screen, "commentEditor").text = "x".repeat(4001);
        wait(700);
        pressAction();
        waitForResult("Das Backup wurde erstellt. Der Kommentar ist zu lang und wurde auf 4000 Zeichen verkürzt.");
        compare(TestWorld.storageFiles().filter(name => !name.endsWith(".halvorn")), []);
    }
}
