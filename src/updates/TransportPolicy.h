#pragma once

#include <QUrl>

namespace corvina {

/// Feeds and downloads travel over https. Plain http is accepted only to a
/// loopback address given as such (127.0.0.0/8, ::1), where nobody sits
/// in between; a name could resolve anywhere. Every redirect target is held to the same rule.
[[nodiscard]] bool isAllowedUpdateUrl(const QUrl& url);

} // namespace corvina
