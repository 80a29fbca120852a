// Corvina-Backup-Manager: the window program's composition root.
//
// How C++ state reaches QML in this program (keep to it in every screen):
// - C++ owns state and logic; QML draws and passes user actions on. A
//   controller or view model is a QObject with `Q_PROPERTY(... NOTIFY ...)`;
//   its setters return early when the value is unchanged, then Q_EMIT.
// - Types reach QML only through `qt_add_qml_module` with `QML_ELEMENT`
//   (a page declares its own view model inline: `MainAppViewModel { id: model }`)
//   or `QML_SINGLETON` for shared objects owned here (`AppDelegate`, with a
//   static `create(QQmlEngine*, QJSEngine*)` that keeps C++ ownership). Never
//   context properties. Types of libraries without QML (session, workflows)
//   are registered in the module that uses them with `QML_FOREIGN`
//   (src/shell/SessionQmlTypes.h).
// - An optional value (absent in the design) is `std::optional` in C++ and a
//   `QVariant` property in QML: undefined while absent.
// - A view model that must change its host's state emits a signal, and the
//   view connects it to the host (`onAuthenticationAssigned: value =>
//   AppDelegate.isAuthenticated = value`), the way a two-way binding would.
// - Every delay of a view model is a property with the product's value as its
//   default, so that tests can shorten it.
// - Qt 6.4 has no `loadFromModule`: the main window loads by its qrc URL.

#include "engine/ApplicationIdentity.h"
#include "engine/CoreDumps.h"
#include "shell/AppDelegate.h"
#include "shell/SingleInstance.h"
#include "ui/CorvinaFont.h"

#include <QGuiApplication>
#include <QIcon>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QtQml/QQmlExtensionPlugin>

Q_IMPORT_QML_PLUGIN(Corvina_UiPlugin)
Q_IMPORT_QML_PLUGIN(Corvina_ShellPlugin)
Q_IMPORT_QML_PLUGIN(Corvina_ScreensPlugin)

int main(int argc, char* argv[]) {
    corvina::forbidCoreDumps();
    QGuiApplication app(argc, argv);
    corvina::applyApplicationIdentity();
    QGuiApplication::setDesktopFileName(corvina::desktopIdentifier);
    // The installed theme icon where there is one, so that the window and the
    // menu entry look alike; else the copy built into the program.
    QGuiApplication::setWindowIcon(QIcon::fromTheme(
        corvina::desktopIdentifier,
        QIcon(QStringLiteral(":/icons/de.corvina_backup_manager.CorvinaBackupManager.svg"))));
    corvina::registerBundledFonts();
    QQuickStyle::setStyle(QStringLiteral("Fusion"));

    // A second start brings the running window to the front and ends.
    corvina::SingleInstance instance;
    if (instance.claim() == corvina::SingleInstance::Role::activatedOther) {
        return 0;
    }

    corvina::AppDelegate appDelegate(nullptr);
    corvina::AppDelegate::setInstance(&appDelegate);
    QObject::connect(&app, &QCoreApplication::aboutToQuit, &appDelegate,
                     &corvina::AppDelegate::applicationWillTerminate);

    QQmlApplicationEngine engine;
    engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
    if (!appDelegate.applicationDidFinishLaunching(engine)) {
        return 1;
    }
    instance.setWindow(appDelegate.mainWindow() ? appDelegate.mainWindow()->window() : nullptr);
    // Start-up check of an installation: every library and QML module needed
    // to draw the window was found once the first frame is on screen.
    if (QCoreApplication::arguments().contains(QStringLiteral("--quit-after-first-frame"))) {
        auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().constFirst());
        QObject::connect(window, &QQuickWindow::frameSwapped, &app, &QCoreApplication::quit,
                         Qt::QueuedConnection);
    }
    return QGuiApplication::exec();
}
