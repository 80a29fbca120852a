#include "ui/SymbolTable.h"

#include <QHash>

namespace corvina {

QString symbolResourcePath(const QString& name) {
    static const QHash<QString, QString> files{
        // Unlock gate and lock item
        {QStringLiteral("Lock"), QStringLiteral("lock-fill")},
        {QStringLiteral("lock.fill"), QStringLiteral("lock-fill")},
        {QStringLiteral("lock.open.fill"), QStringLiteral("unlock-fill")},
        {QStringLiteral("touchid"), QStringLiteral("fingerprint")},
        // Main screen tiles
        {QStringLiteral("tray.and.arrow.down"), QStringLiteral("download")},
        {QStringLiteral("tray.and.arrow.up"), QStringLiteral("upload")},
        {QStringLiteral("trash"), QStringLiteral("trash")},
        {QStringLiteral("gearshape.2.fill"), QStringLiteral("gear-fill")},
        // Check box
        {QStringLiteral("checkmark.circle.fill"), QStringLiteral("check-circle-fill")},
        {QStringLiteral("circle"), QStringLiteral("circle")},
        // Restore list, alerts, text fields, settings, updates
        {QStringLiteral("square.and.pencil"), QStringLiteral("pencil-square")},
        {QStringLiteral("trash.fill"), QStringLiteral("trash-fill")},
        {QStringLiteral("folder"), QStringLiteral("folder")},
        {QStringLiteral("exclamationmark.triangle.fill"),
         QStringLiteral("exclamation-triangle-fill")},
        {QStringLiteral("info.circle.fill"), QStringLiteral("info-circle-fill")},
        {QStringLiteral("eye"), QStringLiteral("eye")},
        {QStringLiteral("eye.slash"), QStringLiteral("eye-slash")},
        {QStringLiteral("t.circle.fill"), QStringLiteral("fonts")},
        {QStringLiteral("phone.fill"), QStringLiteral("telephone-fill")},
        {QStringLiteral("iphone.gen1"), QStringLiteral("phone")},
        {QStringLiteral("arrow.triangle.turn.up.right.diamond.fill"),
         QStringLiteral("sign-turn-right-fill")},
        {QStringLiteral("multiply.circle.fill"), QStringLiteral("x-circle-fill")},
        {QStringLiteral("wand.and.stars.inverse"), QStringLiteral("magic")},
        {QStringLiteral("lock.desktopcomputer"), QStringLiteral("pc-display")},
        {QStringLiteral("lock.rectangle.stack"), QStringLiteral("file-earmark-lock2")},
        {QStringLiteral("arrow.trianglehead.2.clockwise.rotate.90"),
         QStringLiteral("arrow-repeat")},
        {QStringLiteral("AppStore"), QStringLiteral("bag-fill")},
        {QStringLiteral("network"), QStringLiteral("globe")},
        {QStringLiteral("clock"), QStringLiteral("clock")},
    };
    const auto it = files.constFind(name);
    if (it == files.constEnd()) {
        return {};
    }
    return QStringLiteral(":/corvina/icons/") + *it + QStringLiteral(".svg");
}

} // namespace corvina
