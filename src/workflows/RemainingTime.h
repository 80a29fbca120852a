#pragma once

#include <QString>

namespace corvina {

/// How long a run is expected to take still, as the working pop-up and the
/// tool's progress line say it ("noch etwa 2 Minuten", "noch wenige
/// Sekunden"), from the time it has run and the fraction done. Empty during
/// the first two seconds, when the pace is not yet known, and before any
/// progress.
QString remainingTimeText(double elapsedSeconds, double fraction);

} // namespace corvina
