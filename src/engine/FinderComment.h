#pragma once

#include "engine/FinderCommentError.h"

#include <QString>

#include <optional>

namespace corvina {

/// Name of the extended attribute that carries a backup's comment: the name
/// macOS gives the Finder comment, in the user namespace Linux requires.
inline constexpr char finderCommentAttributeName[] = "user.com.apple.metadata:kMDItemFinderComment";

/// Longest comment, in user-perceived characters.
inline constexpr qsizetype finderCommentCharacterLimit = 4000;

/// Number of user-perceived characters (extended grapheme clusters).
[[nodiscard]] qsizetype graphemeCount(const QString& text);

/// The first `count` user-perceived characters of `text`.
[[nodiscard]] QString graphemePrefix(const QString& text, qsizetype count);

/// Writes `comment` as raw UTF-8 into the file's comment attribute, replacing
/// any value and following a link. A comment longer than the limit is written
/// shortened and reported as `commentTooLong` with the shortened text.
/// Failures: `invalidEncoding` (text that has no UTF-8 form), `failedToAddComment`.
[[nodiscard]] EncryptionResult addFinderComment(const QString& comment, const QString& filePath);

/// The file's comment, or nothing for a missing attribute, an empty value or
/// bytes that are not valid UTF-8.
[[nodiscard]] std::optional<QString> readFinderComment(const QString& filePath);

} // namespace corvina
