#pragma once

#include <QObject>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

namespace corvina {

/// Opens a folder in the desktop's file manager, for the folder links.
class FolderOpener : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    /// Opens `url` when it names an existing folder; returns false, and
    /// opens nothing, for a file, a missing path or a URL that isn't local.
    Q_INVOKABLE bool openFolder(const QUrl& url) const;
};

} // namespace corvina
