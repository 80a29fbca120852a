// A second process of the program for the scheduling test: it starts an
// updater on the feed given as its argument and prints what it did:
// "checked", "waiting <ms>" or "off".

#include "engine/ApplicationIdentity.h"
#include "updates/Updater.h"

#include <QCoreApplication>
#include <QTimer>

#include <cstdio>

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    corvina::applyApplicationIdentity();
    corvina::UpdaterConfiguration config;
    config.feedUrl = QUrl(app.arguments().value(1));
    config.bundleVersion = QStringLiteral("5");
    corvina::Updater updater(config);
    bool checked = false;
    QObject::connect(&updater, &corvina::Updater::checkStarted, [&checked] { checked = true; });
    QObject::connect(&updater, &corvina::Updater::canCheckForUpdatesChanged, &app, [&] {
        if (updater.canCheckForUpdates()) {
            app.quit();
        }
    });
    updater.startUpdater();
    const auto waiting = updater.msUntilScheduledCheck();
    if (!waiting) {
        std::puts("off");
        return 0;
    }
    if (*waiting > 0) {
        std::printf("waiting %lld\n", static_cast<long long>(*waiting));
        return 0;
    }
    QTimer::singleShot(10000, &app, &QCoreApplication::quit);
    QCoreApplication::exec();
    std::puts(checked ? "checked" : "no check");
    return 0;
}
