#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

namespace corvina {

/// The time stamp in backup names: "yyyy-MM-dd_HH-mm-ss" in local time.
namespace BackupTimestamp {

inline const QString pattern = QStringLiteral("yyyy-MM-dd_HH-mm-ss");

/// The stamp of `moment` in the local time zone.
[[nodiscard]] QString make(const QDateTime& moment = QDateTime::currentDateTime());

/// The local time a stamp stands for, or nothing when the text is not a
/// stamp (or names a local time that does not exist).
[[nodiscard]] std::optional<QDateTime> parse(const QString& text);

} // namespace BackupTimestamp

} // namespace corvina
