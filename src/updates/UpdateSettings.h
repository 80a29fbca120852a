#pragma once

#include <QDateTime>
#include <QString>
#include <QUrl>

#include <optional>

namespace corvina {

/// The updater's settings, read fresh from QSettings at each use so that two
/// processes of the program see each other's checks.
namespace UpdateSettings {

inline const QString automaticChecksKey = QStringLiteral("SUEnableAutomaticChecks");
inline const QString automaticDownloadsKey = QStringLiteral("SUAutomaticallyUpdate");
inline const QString checkIntervalKey = QStringLiteral("SUScheduledCheckInterval");
inline const QString lastCheckTimeKey = QStringLiteral("SULastCheckTime");
inline const QString skippedVersionKey = QStringLiteral("SUSkippedVersion");
inline const QString feedUrlKey = QStringLiteral("SUFeedURL");

/// Seconds between scheduled checks when none is set: one day.
constexpr double defaultCheckInterval = 86400.0;
/// Scheduled checks never come more often than once an hour.
constexpr double minimumCheckInterval = 3600.0;
/// Nor more seldom than every 24 days, what one timer can wait.
constexpr double maximumCheckInterval = 24.0 * 86400.0;

/// On unless switched off.
[[nodiscard]] bool automaticallyChecks();
void setAutomaticallyChecks(bool value);
/// Off unless switched on.
[[nodiscard]] bool automaticallyDownloads();
void setAutomaticallyDownloads(bool value);
/// "SUScheduledCheckInterval" in seconds, between the minimum and the
/// maximum; the default when it is not a number.
[[nodiscard]] double checkInterval();
[[nodiscard]] std::optional<QDateTime> lastCheckTime();
void setLastCheckTime(const QDateTime& time);
[[nodiscard]] QString skippedVersion();
void setSkippedVersion(const QString& version);
/// "SUFeedURL" from the settings, which overrides the built-in feed.
[[nodiscard]] QUrl feedUrlOverride();

/// Milliseconds from `now` until the next scheduled check: zero when none
/// was made yet or the interval has passed; never more than one interval,
/// so that a clock set back does not put checks off for good.
[[nodiscard]] qint64 msUntilScheduledCheck(const QDateTime& now);

} // namespace UpdateSettings

} // namespace corvina
