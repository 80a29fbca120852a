#pragma once

#include <filesystem>

namespace corvina::engine {

/// Replaces the contents of `target` (made when missing) with the items of
/// `temporaryFolder`; the folder `target` itself stays. Throws on failure.
void replaceContents(const std::filesystem::path& target,
                     const std::filesystem::path& temporaryFolder);

} // namespace corvina::engine
