import QtQuick
import QtQuick.Controls
import QtTest
import Corvina.Ui
import Corvina.Shell
import Corvina.TestHelpers

// The version band, the update badge, the update dialog and the update tab,
// on the AppDelegate's real updater reading a feed from a local server.
TestCase {
    id: testCase
    name: "UpdateViews"
    when: windowShown
    visible: true
    width: 900
    height: 500

    Component {
        id: bandComponent
        Item {
            width: 900
            height: 500
            property alias band: band
            property alias dialogs: dialogs
            BottomUpdateView {
                id: band
                anchors.bottom: parent.bottom
                width: parent.width
                checkForUpdatesViewModel: CheckForUpdatesViewModel {
                    updater: AppDelegate.updater
                }
            }
            UpdateDialogs {
                id: dialogs
            }
        }
    }
    Component {
        id: tabComponent
        UpdateView {}
    }
    Component {
        id: backgroundCheckComponent
        BackgroundUpdateCheck {
            updater: AppDelegate.updater
            delay: 50
        }
    }
    SignalSpy {
        id: checkSpy
        target: AppDelegate.updater
        signalName: "checkStarted"
    }

    // A scheduled check of the updater's start may still be under way.
    function init() {
        tryCompare(AppDelegate.updater, "canCheckForUpdates", true);
    }

    function checkAndWait() {
        AppDelegate.updater.checkForUpdatesInBackground();
        tryCompare(AppDelegate.updater, "canCheckForUpdates", true);
    }

    function test_badgeAndDialogFollowTheFeed() {
        const view = createTemporaryObject(bandComponent, testCase);
        const version = findChild(view.band, "versionButton");
        verify(/^v\.\d+\.\d+\.\d+$/.test(version.text), version.text);
        compare(version.Accessible.name, version.text);
        const badge = findChild(view.band, "updateBadge");
        compare(badge.visible, false);

        TestUpdateFeed.offerVersion("999", "9.9");
        AppDelegate.updater.checkForUpdatesInBackground();
        tryCompare(view.dialogs, "visible", true);
        tryCompare(badge, "opacity", 1);
        compare(badge.Accessible.name, "Update verfügbar v.9.9");
        compare(findChild(view.dialogs.contentItem, "defaultButton").text, "Update installieren");
        verify(findChild(view.dialogs.contentItem, "updateMessage").text.includes("Neue Version: 9.9"));
        mouseClick(findChild(view.dialogs.contentItem, "laterButton"));
        tryCompare(view.dialogs, "visible", false);

        // The build caught up: the badge goes.
        TestUpdateFeed.offerVersion("0", "0.1");
        checkAndWait();
        tryCompare(badge, "visible", false);
        compare(view.dialogs.visible, false);
    }

    function test_tabWritesThroughAndChecks() {
        const tab = createTemporaryObject(tabComponent, testCase);
        const checks = findChild(tab, "automaticChecksSwitch");
        const downloads = findChild(tab, "automaticDownloadsSwitch");
        compare(checks.checked, AppDelegate.updater.automaticallyChecksForUpdates);
        const before = checks.checked;
        mouseClick(checks);
        compare(AppDelegate.updater.automaticallyChecksForUpdates, !before);
        mouseClick(downloads);
        compare(AppDelegate.updater.automaticallyDownloadsUpdates, downloads.checked);
        mouseClick(checks);
        compare(AppDelegate.updater.automaticallyChecksForUpdates, before);

        const dialogs = createTemporaryObject(bandComponent, testCase).dialogs;
        TestUpdateFeed.offerVersion("0", "0.1");
        mouseClick(findChild(tab, "checkForUpdatesButton"));
        tryCompare(dialogs, "visible", true);
        compare(findChild(dialogs.contentItem, "updateMessage").text.includes("neueste Version"), true);
        mouseClick(findChild(dialogs.contentItem, "defaultButton"));
        tryCompare(dialogs, "visible", false);
        compare(AppDelegate.updater.userDriver.dialog, "idle");
    }

    // The main screen checks by itself only with automatic checks on and
    // automatic downloads off.
    function test_backgroundCheckOnAppearing_data() {
        return [
            { tag: "checks on, downloads off", checks: true, downloads: false, expected: 1 },
            { tag: "checks off", checks: false, downloads: false, expected: 0 },
            { tag: "downloads on", checks: true, downloads: true, expected: 0 },
        ];
    }
    function test_backgroundCheckOnAppearing(data) {
        TestUpdateFeed.offerVersion("0", "0.1");
        AppDelegate.updater.automaticallyChecksForUpdates = data.checks;
        AppDelegate.updater.automaticallyDownloadsUpdates = data.downloads;
        checkSpy.clear();
        createTemporaryObject(backgroundCheckComponent, testCase).start();
        wait(300);
        compare(checkSpy.count, data.expected);
        tryCompare(AppDelegate.updater, "canCheckForUpdates", true);
        AppDelegate.updater.automaticallyChecksForUpdates = true;
        AppDelegate.updater.automaticallyDownloadsUpdates = false;
    }
}
