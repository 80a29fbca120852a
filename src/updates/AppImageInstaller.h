#pragma once

#include <QByteArrayView>
#include <QString>

#include <optional>

namespace corvina {

/// Puts `bytes` in the place of the AppImage at `appImagePath`: they are
/// written to a new file beside it, made executable (0755), synced, and
/// renamed over it in one step, so that the old program stays whole until
/// the new one is complete. Returns the system's error text on failure, when
/// the AppImage is untouched and the new file is gone.
[[nodiscard]] std::optional<QString> replaceAppImage(const QString& appImagePath,
                                                     QByteArrayView bytes);

} // namespace corvina
