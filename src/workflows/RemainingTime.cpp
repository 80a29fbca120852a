#include "workflows/RemainingTime.h"

#include <algorithm>
#include <cmath>

namespace corvina {

namespace {

constexpr double settlingSeconds = 2.0;

} // namespace

QString remainingTimeText(double elapsedSeconds, double fraction) {
    if (elapsedSeconds < settlingSeconds || !(fraction > 0.0)) {
        return {};
    }
    // The pace so far holds for the rest.
    const double remaining = elapsedSeconds * (1.0 - std::min(fraction, 1.0)) / fraction;
    if (remaining < 10.0) {
        return QStringLiteral("noch wenige Sekunden");
    }
    if (remaining < 55.0) {
        const int seconds = static_cast<int>(std::ceil(remaining / 10.0)) * 10;
        return QStringLiteral("noch etwa %1 Sekunden").arg(seconds);
    }
    const int minutes = std::max(1, static_cast<int>(std::lround(remaining / 60.0)));
    return minutes == 1 ? QStringLiteral("noch etwa 1 Minute")
                        : QStringLiteral("noch etwa %1 Minuten").arg(minutes);
}

} // namespace corvina
