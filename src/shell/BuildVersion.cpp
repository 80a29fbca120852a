#include "shell/BuildVersion.h"

#include "updates/BuildInfo.h"

#include <QDesktopServices>

namespace corvina {

BuildVersion::BuildVersion(QObject* parent)
    : QObject(parent)
    , m_versionLine(corvina::versionLine(infoDictionary()).value_or(QString())) {}

void BuildVersion::openReleaseNotes() const {
    if (const auto url = releaseNotesUrl(infoDictionary())) {
        QDesktopServices::openUrl(*url);
    }
}

} // namespace corvina
