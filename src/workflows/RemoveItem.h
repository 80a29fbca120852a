#pragma once

#include <QString>

#include <optional>

namespace corvina {

/// Removes a file, a link (not its target) or a folder with everything in it.
/// Gives the description of the failure, or nothing on success; a path that
/// does not exist is a failure.
[[nodiscard]] std::optional<QString> removeItem(const QString& path);

} // namespace corvina
