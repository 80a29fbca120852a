// A new user sets the program up from its windows alone, as a person would:
// controls are found by the role and name they show to the accessibility
// tree, pressed with the mouse and typed into with the keyboard. The keyring
// and the stored settings are checked afterwards, partly from a new process.

#include "engine/ApplicationIdentity.h"
#include "session/InactivityMonitor.h"
#include "session/KeychainService.h"
#include "shell/AppDelegate.h"
#include "ui/CorvinaFont.h"
#include "workflows/ActionHost.h"
#include "workflows/CreateZipViewModel.h"
#include "workflows/ScheduleSetup.h"
#include "workflows/ScheduleState.h"

#include <QAccessible>
#include <QDir>
#include <QProcess>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>
#include <QtQml/QQmlExtensionPlugin>

#include <functional>
#include <utility>

Q_IMPORT_QML_PLUGIN(Corvina_UiPlugin)
Q_IMPORT_QML_PLUGIN(Corvina_ShellPlugin)
Q_IMPORT_QML_PLUGIN(Corvina_ScreensPlugin)

using namespace corvina;
using namespace Qt::StringLiterals;

namespace {

constexpr int timeoutMs = 5000;
// The text fields hand their text over half a second after the last key.
constexpr int handOverMs = 700;

std::optional<QString> storedPassword(const QString& service, const QString& key) {
    return KeychainService(service).keychain.readString(key);
}

void removePasswords() {
    KeychainService(masterPasswordService).keychain.removeItem(masterPasswordKey);
    KeychainService(zipPasswordService).keychain.removeItem(zipPasswordKey);
    Keychain::writeFlag(useTouchIdKey, false);
}

// Every visible node under `node` with this role and name, in tree order.
void collect(QAccessibleInterface* node, QAccessible::Role role, const QString& name,
             QList<QAccessibleInterface*>& found) {
    if (!node || node->state().invisible) {
        return;
    }
    if (node->role() == role && node->text(QAccessible::Name) == name) {
        found.append(node);
    }
    for (int i = 0; i < node->childCount(); ++i) {
        collect(node->child(i), role, name, found);
    }
}

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// systemd's own check of the written units, and the timer's calendar.
void verifyUnits(const QString& folder, const QString& calendar) {
    QVERIFY(readAll(folder + u"corvina-backup.timer"_s)
                .contains("OnCalendar=" + calendar.toUtf8() + '\n'));
    QProcess verify;
    verify.start(u"systemd-analyze"_s,
                 {u"verify"_s, u"--man=no"_s, folder + u"corvina-backup.timer"_s,
                  folder + u"corvina-backup.service"_s});
    QVERIFY(verify.waitForFinished(30000));
    QVERIFY2(verify.exitCode() == 0, verify.readAllStandardError().constData());
}

/// The next time systemd computes for a calendar, as the tab shows times.
QString nextElapseOf(const QString& calendar) {
    QProcess analyze;
    analyze.start(u"systemd-analyze"_s, {u"calendar"_s, u"--iterations=1"_s, calendar});
    analyze.waitForFinished(30000);
    const QString output = QString::fromUtf8(analyze.readAllStandardOutput());
    const QString next = output.section(u"Next elapse:"_s, 1).trimmed();
    // "Wed 2026-11-25 19:00:00 CET"
    const QDateTime time =
        QDateTime::fromString(next.section(u' ', 1, 2), u"yyyy-MM-dd HH:mm:ss"_s);
    return scheduleTimeText(time);
}

// What a person at the window sees and does.
class Person {
public:
    explicit Person(QQuickWindow* window)
        : m_window(window) {}

    void lookAt(QQuickWindow* window) { m_window = window; }

    // The last visible match: popups and alerts come after what they cover.
    QAccessibleInterface* find(QAccessible::Role role, const QString& name) const {
        QList<QAccessibleInterface*> found;
        collect(QAccessible::queryAccessibleInterface(m_window), role, name, found);
        return found.isEmpty() ? nullptr : found.last();
    }

    [[nodiscard]] bool sees(QAccessible::Role role, const QString& name) const {
        return find(role, name) != nullptr;
    }

    [[nodiscard]] bool waitToSee(QAccessible::Role role, const QString& name) const {
        return QTest::qWaitFor([&] { return sees(role, name); }, timeoutMs);
    }

    [[nodiscard]] bool press(QAccessible::Role role, const QString& name) const {
        if (!waitToSee(role, name)) {
            qWarning() << "not found:" << role << name;
            return false;
        }
        // Let an opening card or a growing window settle before the press.
        QRect before;
        QAccessibleInterface* node = nullptr;
        const bool settled = QTest::qWaitFor(
            [&] {
                QTest::qWait(150);
                node = find(role, name);
                const QRect now = node ? node->rect() : QRect();
                return std::exchange(before, now) == now && node;
            },
            timeoutMs);
        if (!settled) {
            return false;
        }
        // A click brings its window to the front first, as a window manager does.
        m_window->requestActivate();
        if (!QTest::qWaitForWindowActive(m_window)) {
            return false;
        }
        const QPoint centre = m_window->mapFromGlobal(node->rect().center());
        QTest::mouseClick(m_window, Qt::LeftButton, {}, centre);
        return true;
    }

    // Clicks into the field and types over what it holds.
    [[nodiscard]] bool typeInto(const QString& fieldName, const QString& text) const {
        if (!press(QAccessible::EditableText, fieldName)) {
            return false;
        }
        QTest::keyClick(m_window, Qt::Key_A, Qt::ControlModifier);
        for (const QChar character : text) {
            QTest::keyClick(m_window, character.toLatin1());
        }
        return true;
    }

private:
    QQuickWindow* m_window;
};

} // namespace

class SettingsSetUpFromTheWindow : public QObject {
    Q_OBJECT

    QTemporaryDir m_storage;

    // The storage folder that the user chooses, with a blank and an umlaut.
    QString storageFolder() const { return m_storage.filePath(u"Sicherungen Pflegedienst Süd"_s); }

private Q_SLOTS:
    void initTestCase() {
        applyApplicationIdentity();
        registerBundledFonts();
        QQuickStyle::setStyle(u"Fusion"_s);
        QVERIFY(m_storage.isValid());
        QVERIFY(QDir().mkpath(storageFolder()));
    }

    void cleanupTestCase() { removePasswords(); }

    void newUserSetsUpPasswordsSessionAndStorage() {
        removePasswords();
        QSettings().clear();
        AppDelegate appDelegate(nullptr);
        AppDelegate::setInstance(&appDelegate);
        QQmlApplicationEngine engine;
        engine.addImportPath(u"qrc:/qt/qml"_s);
        QVERIFY(appDelegate.applicationDidFinishLaunching(engine));
        QVERIFY(appDelegate.isAuthenticated());
        QQuickWindow* main = appDelegate.mainWindow()->window();
        auto* settings = main->findChild<QQuickWindow*>(u"settingsWindow"_s);
        QVERIFY(settings);
        Person person(main);

        // The fourth tile opens the settings window beside the main one.
        QVERIFY(person.press(QAccessible::Button, u"Einstellungen"_s));
        QTRY_VERIFY_WITH_TIMEOUT(settings->isVisible(), timeoutMs);
        person.lookAt(settings);

        // The archive password: too short first, then a good one.
        QVERIFY(person.press(QAccessible::PageTab, u"Zip Passwort"_s));
        QVERIFY(person.press(QAccessible::Button, u"Passwort erstellen"_s));
        QVERIFY(person.typeInto(u"Passwort"_s, u"abc"_s));
        QVERIFY(person.typeInto(u"Passwort bestätigen"_s, u"abc"_s));
        QTest::qWait(handOverMs);
        QVERIFY(person.press(QAccessible::Button, u"Speichern"_s));
        QVERIFY(person.waitToSee(
            QAccessible::StaticText,
            u"Dein Passwort ist zu kurz. Es muss mindestens 4 Zeichen enthalten."_s));
        QVERIFY(person.press(QAccessible::Button, u"OK"_s));
        QVERIFY(person.typeInto(u"Passwort"_s, u"Geheim1"_s));
        QVERIFY(person.typeInto(u"Passwort bestätigen"_s, u"Geheim1"_s));
        QTest::qWait(handOverMs);
        QVERIFY(person.press(QAccessible::Button, u"Speichern"_s));
        QTRY_COMPARE_WITH_TIMEOUT(storedPassword(zipPasswordService, zipPasswordKey),
                                  std::optional(u"Geheim1"_s), timeoutMs);

        // Replacing it asks first: cancel keeps the old one, save replaces it.
        QVERIFY(person.press(QAccessible::Button, u"Passwort ändern"_s));
        QVERIFY(person.typeInto(u"Passwort"_s, u"Neu2abc"_s));
        QVERIFY(person.typeInto(u"Passwort bestätigen"_s, u"Neu2abc"_s));
        QTest::qWait(handOverMs);
        QVERIFY(person.press(QAccessible::Button, u"Speichern"_s));
        QVERIFY(person.waitToSee(QAccessible::Heading, u"Warnung"_s));
        QVERIFY(person.press(QAccessible::Button, u"Abbrechen"_s));
        QTRY_VERIFY_WITH_TIMEOUT(!person.sees(QAccessible::Heading, u"Warnung"_s), timeoutMs);
        QCOMPARE(storedPassword(zipPasswordService, zipPasswordKey), std::optional(u"Geheim1"_s));
        QVERIFY(person.press(QAccessible::Button, u"Speichern"_s));
        QVERIFY(person.waitToSee(QAccessible::Heading, u"Warnung"_s));
        // The alert's red "Speichern" lies over the sheet's.
        QVERIFY(person.press(QAccessible::Button, u"Speichern"_s));
        QTRY_COMPARE_WITH_TIMEOUT(storedPassword(zipPasswordService, zipPasswordKey),
                                  std::optional(u"Neu2abc"_s), timeoutMs);

        // The master password brings the lock button.
        QVERIFY(person.press(QAccessible::PageTab, u"App Passwort"_s));
        QVERIFY(person.press(QAccessible::Button, u"Passwort erstellen"_s));
        QVERIFY(person.typeInto(u"Passwort"_s, u"Meister7"_s));
        QVERIFY(person.typeInto(u"Passwort bestätigen"_s, u"Meister7"_s));
        QTest::qWait(handOverMs);
        QVERIFY(person.press(QAccessible::Button, u"Speichern"_s));
        QTRY_VERIFY_WITH_TIMEOUT(appDelegate.hasLockItem(), timeoutMs);

        // Automatic logout after two minutes.
        QVERIFY(person.press(QAccessible::CheckBox, u"Auto-Logout aktivieren"_s));
        QVERIFY(person.press(QAccessible::ComboBox, u"Timeout auswählen"_s));
        QVERIFY(person.press(QAccessible::ListItem, u"2 Min"_s));
        QTRY_COMPARE_WITH_TIMEOUT(appDelegate.inactivityMonitor()->timeoutInterval(), 120.0,
                                  timeoutMs);
        QVERIFY(appDelegate.inactivityMonitor()->isAutoLogoutEnabled());

        // The storage folder, through the folder dialog.
        QVERIFY(person.press(QAccessible::PageTab, u"Speicherort"_s));
        QVERIFY(person.press(QAccessible::Button, u"Pfad auswählen"_s));
        auto* settingsView = settings->property("settingsView").value<QObject*>();
        auto* pathView = settingsView->property("pathView").value<QObject*>();
        auto* dialog = pathView->property("dialog").value<QObject*>();
        QTRY_VERIFY_WITH_TIMEOUT(dialog->property("visible").toBool(), timeoutMs);
        // Walking the dialog's folder list is the toolkit's business: the
        // folder is picked in the dialog directly, and the dialog accepted.
        dialog->setProperty("selectedFolder", QUrl::fromLocalFile(storageFolder()));
        QVERIFY(QMetaObject::invokeMethod(dialog, "accept"));
        QVERIFY(person.waitToSee(QAccessible::StaticText, u"Pfad "_s + storageFolder()));

        // The lock empties the settings; the master password opens both again.
        person.lookAt(main);
        QVERIFY(person.press(QAccessible::Button, AppDelegate::lockItemLabel()));
        QTRY_VERIFY_WITH_TIMEOUT(!appDelegate.isAuthenticated(), timeoutMs);
        QTRY_VERIFY_WITH_TIMEOUT(!settings->property("settingsView").value<QObject*>(), timeoutMs);
        // The gate reads the stored password half a second after it appears.
        QTest::qWait(1000);
        QVERIFY(person.typeInto(u"Master-Passwort eingeben"_s, u"Meister7"_s));
        QTest::keyClick(main, Qt::Key_Return);
        QTRY_VERIFY_WITH_TIMEOUT(appDelegate.isAuthenticated(), timeoutMs);
        QTRY_VERIFY_WITH_TIMEOUT(settings->property("settingsView").value<QObject*>(), timeoutMs);

        // A new process runs with what was chosen here.
        QProcess next;
        next.start(QCoreApplication::applicationFilePath(), {u"--print-stored-choices"_s});
        QVERIFY(next.waitForFinished(timeoutMs * 2));
        // The last line; diagnostic lines may come before it.
        QCOMPARE(QString::fromUtf8(next.readAllStandardOutput()).trimmed().split(u'\n').last(),
                 u"true 120 "_s + storageFolder());
        appDelegate.applicationWillTerminate();
    }

    // Automatic backups from the tab "Zeitplan": refused while the archive
    // password and the storage folder are missing; then on, changed and off,
    // each written at once as sound systemd units. A run of the timer's
    // command that fails its check shows in the tab and on the main screen
    // until the next run succeeds.
    void automaticBackupsFromTheScheduleTab() {
        removePasswords();
        QSettings().clear();
        const QString units =
            QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
            u"/systemd/user/"_s;
        QDir(units).removeRecursively();
        QFile::remove(ScheduleState::filePath());
        AppDelegate appDelegate(nullptr);
        AppDelegate::setInstance(&appDelegate);
        QQmlApplicationEngine engine;
        engine.addImportPath(u"qrc:/qt/qml"_s);
        QVERIFY(appDelegate.applicationDidFinishLaunching(engine));
        QQuickWindow* main = appDelegate.mainWindow()->window();
        auto* settings = main->findChild<QQuickWindow*>(u"settingsWindow"_s);
        Person person(main);
        QVERIFY(person.press(QAccessible::Button, u"Einstellungen"_s));
        QTRY_VERIFY_WITH_TIMEOUT(settings->isVisible(), timeoutMs);
        person.lookAt(settings);
        auto* tab = settings->property("settingsView")
                        .value<QObject*>()
                        ->property("scheduleView")
                        .value<QObject*>();
        tab->property("viewModel")
            .value<QObject*>()
            ->setProperty("toolPath", QStringLiteral(CORVINA_BACKUP_TOOL));

        const QString timer = units + u"corvina-backup.timer"_s;
        QVERIFY(person.press(QAccessible::PageTab, u"Zeitplan"_s));
        QVERIFY(person.waitToSee(QAccessible::StaticText,
                                 u"Es fehlen das Zip-Passwort und der Speicherort. Lege sie in den "
                                 u"Tabs „Zip Passwort“ und „Speicherort“ fest."_s));
        QVERIFY(person.press(QAccessible::CheckBox, u"Automatische Backups"_s));
        QTest::qWait(300);
        QVERIFY(!QFileInfo::exists(timer));

        KeychainService(zipPasswordService).keychain.writeString(u"Geheim1"_s, zipPasswordKey);
        QVERIFY(person.press(QAccessible::PageTab, u"Zip Passwort"_s));
        QVERIFY(person.press(QAccessible::PageTab, u"Zeitplan"_s));
        QVERIFY(person.waitToSee(QAccessible::StaticText,
                                 u"Es fehlt der Speicherort. Wähle ihn im Tab „Speicherort“."_s));
        QSettings().setValue(u"savedPathKey"_s, storageFolder());
        QVERIFY(person.press(QAccessible::PageTab, u"Speicherort"_s));
        QVERIFY(person.press(QAccessible::PageTab, u"Zeitplan"_s));
        QVERIFY(person.press(QAccessible::CheckBox, u"Automatische Backups"_s));
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(timer), timeoutMs);
        // No user systemd runs here: the tab says when the timer starts.
        QVERIFY(person.waitToSee(QAccessible::StaticText, startsAtNextLoginText()));
        verifyUnits(units, u"*-*-* 18:00:00"_s);
        QVERIFY(person.waitToSee(QAccessible::StaticText,
                                 u"Nächste Sicherung: "_s + nextElapseOf(u"*-*-* 18:00:00"_s)));

        // Wednesdays at 19:00, by the keyboard on the hour; keep 13.
        QVERIFY(person.press(QAccessible::ComboBox, u"Wann"_s));
        QVERIFY(person.press(QAccessible::ListItem, u"Mittwochs"_s));
        QVERIFY(person.press(QAccessible::SpinBox, u"Stunde"_s));
        QTest::keyClick(settings, Qt::Key_Up);
        QTRY_VERIFY_WITH_TIMEOUT(readAll(timer).contains("OnCalendar=Wed *-*-* 19:00:00\n"),
                                 timeoutMs);
        verifyUnits(units, u"Wed *-*-* 19:00:00"_s);
        QVERIFY(person.waitToSee(QAccessible::StaticText,
                                 u"Nächste Sicherung: "_s + nextElapseOf(u"Wed *-*-* 19:00:00"_s)));
        QVERIFY(person.press(QAccessible::SpinBox, u"Automatische Backups behalten"_s));
        QTest::keyClick(settings, Qt::Key_Down);
        QTRY_COMPARE_WITH_TIMEOUT(ScheduleState::load().keep, 13, timeoutMs);

        // A run of the timer's command whose backup is damaged before its check.
        QTemporaryDir home;
        QVERIFY(QDir().mkpath(home.filePath(u"Library/Containers/de.halvorn/Data"_s)));
        const auto runService = [&](bool damage) {
            QProcess run;
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            environment.insert(u"HOME"_s, home.path());
            if (damage) {
                environment.insert(u"CORVINA_TEST_DAMAGE_BEFORE_CHECK"_s, u"1"_s);
            }
            run.setProcessEnvironment(environment);
            run.start(QStringLiteral(CORVINA_BACKUP_TOOL), {u"schedule"_s, u"run"_s});
            return run.waitForFinished(60000) ? run.exitCode() : -1;
        };
        QCOMPARE(runService(true), 1);
        const QString failedLine = u"Letzte Sicherung: "_s;
        QTRY_VERIFY_WITH_TIMEOUT(ScheduleState::load().lastRunFailed(), timeoutMs);
        const ScheduleState failed = ScheduleState::load();
        QVERIFY(person.waitToSee(QAccessible::StaticText,
                                 failedLine + scheduleTimeText(*failed.lastRun) +
                                     u", fehlgeschlagen: "_s + failed.lastResult));
        person.lookAt(main);
        const QString mainLine = u"Das automatische Backup vom %1 ist fehlgeschlagen: %2"_s.arg(
            scheduleTimeText(*failed.lastRun), failed.lastResult);
        QVERIFY(person.waitToSee(QAccessible::StaticText, mainLine));
        QCOMPARE(runService(false), 0);
        QTRY_VERIFY_WITH_TIMEOUT(!person.sees(QAccessible::StaticText, mainLine), timeoutMs);

        person.lookAt(settings);
        QVERIFY(person.press(QAccessible::CheckBox, u"Automatische Backups"_s));
        QTRY_VERIFY_WITH_TIMEOUT(!QFileInfo::exists(timer), timeoutMs);
        QVERIFY(!QFileInfo::exists(units + u"corvina-backup.service"_s));
        appDelegate.applicationWillTerminate();
    }
};

// With "--print-stored-choices", prints what a new process starts with: the
// automatic logout, its time-out, and the create screen's destination.
int main(int argc, char* argv[]) {
    if (argc == 2 && QByteArray(argv[1]) == "--print-stored-choices") {
        QCoreApplication app(argc, argv);
        applyApplicationIdentity();
        InactivityMonitor monitor;
        CreateZipViewModel createScreen;
        QTextStream(stdout) << (monitor.isAutoLogoutEnabled() ? "true" : "false") << ' '
                            << monitor.timeoutInterval() << ' '
                            << createScreen.destinationPath().toLocalFile() << '\n';
        return 0;
    }
    QGuiApplication app(argc, argv);
    SettingsSetUpFromTheWindow test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "SettingsSetUpFromTheWindow.moc"
