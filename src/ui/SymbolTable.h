#pragma once

#include <QString>

namespace corvina {

/// The program names its icons by the symbol names of its design ("lock.fill",
/// "touchid", "tray.and.arrow.down", ...) and the picture assets ("Lock").
/// This is the one table from such a name to a bundled SVG file (Bootstrap
/// Icons, MIT). Returns the resource path, or an empty string for a name the
/// table does not know.
[[nodiscard]] QString symbolResourcePath(const QString& name);

} // namespace corvina
