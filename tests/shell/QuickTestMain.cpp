// The runner of the Qt Quick tests: each tst_*.qml file runs as its own ctest.

#include "engine/ApplicationIdentity.h"
#include "ui/CorvinaFont.h"

#include <QObject>
#include <QQmlEngine>
#include <QQuickStyle>
#include <QStandardPaths>
#include <QtQml/QQmlExtensionPlugin>
#include <QtQuickTest>

Q_IMPORT_QML_PLUGIN(Corvina_UiPlugin)
Q_IMPORT_QML_PLUGIN(Corvina_ShellPlugin)
Q_IMPORT_QML_PLUGIN(Corvina_ScreensPlugin)

class QuickTestSetup : public QObject {
    Q_OBJECT

public Q_SLOTS:
    void applicationAvailable() {
        corvina::applyApplicationIdentity();
        corvina::registerBundledFonts();
        QQuickStyle::setStyle(QStringLiteral("Fusion"));
    }

    void qmlEngineAvailable(QQmlEngine* engine) {
        engine->addImportPath(QStringLiteral("qrc:/qt/qml"));
    }
};

QUICK_TEST_MAIN_WITH_SETUP(corvina_quick_tests, QuickTestSetup)
#include "QuickTestMain.moc"
