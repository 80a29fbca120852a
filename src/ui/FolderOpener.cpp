#include "ui/FolderOpener.h"

#include <QDesktopServices>
#include <QFileInfo>

namespace corvina {

bool FolderOpener::openFolder(const QUrl& url) const {
    if (!url.isLocalFile() || !QFileInfo(url.toLocalFile()).isDir()) {
        return false;
    }
    QDesktopServices::openUrl(url);
    return true;
}

} // namespace corvina
