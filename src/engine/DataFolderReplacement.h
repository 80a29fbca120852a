#pragma once

#include <filesystem>

namespace corvina::engine {

/// Replaces the contents of `target` (made when missing) with the items of
/// `temporaryFolder`; the folder `target` itself stays. The old items are
/// moved aside into a hidden folder beside `target` first and deleted only
/// once every new item is in. On failure everything moved is put back, new
/// items into `temporaryFolder`, and the error is thrown.
void replaceContents(const std::filesystem::path& target,
                     const std::filesystem::path& temporaryFolder);

/// Puts back what a replacement that was killed part-way left beside
/// `target`, so that it holds its old items again (or, past the point of no
/// return, its new ones, the old ones being removed). Returns whether old
/// items were put back; throws when they could not be.
bool recoverInterruptedReplacement(const std::filesystem::path& target,
                                   const std::filesystem::path& temporaryFolder);

} // namespace corvina::engine
