#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace corvina {

/// Writes `value` into the file's user attribute `name` (with its "user."
/// namespace), following a link. Where the file system has no user
/// attributes, or none of this size, the value goes into the AppleDouble file
/// beside the file instead, as macOS keeps attributes on FAT and exFAT; other
/// attributes there are kept. False when neither could be written.
bool writeFileAttribute(const QString& filePath, const char* name, const QByteArray& value);

/// The value of the attribute `name`, from the file or, where the file system
/// has none of it, from the AppleDouble file beside it; nothing when it is
/// in neither or can't be read. `readFailed`, when given, tells whether the
/// attribute was there but its value could not be read.
[[nodiscard]] std::optional<QByteArray> readFileAttribute(const QString& filePath, const char* name,
                                                          bool* readFailed = nullptr);

/// Writes `value` as the attribute `name` into the AppleDouble file beside
/// the file alone, keeping its other attributes.
bool writeAppleDoubleAttribute(const QString& filePath, const char* name, const QByteArray& value);

/// The attribute `name` from the AppleDouble file beside the file alone.
[[nodiscard]] std::optional<QByteArray> readAppleDoubleAttribute(const QString& filePath,
                                                                 const char* name);

/// Sets the user attribute `name` on the file itself; false where the file
/// system refuses it.
bool writeOwnAttribute(const QString& filePath, const char* name, const QByteArray& value);

} // namespace corvina
