#pragma once

#include <QString>

namespace corvina {

/// A double in its shortest text that reads back exactly, the way these log
/// lines have always shown numbers: "0.5", "3.0",
/// "1.52587890625e-05"; exponent form below 1e-4 and above 2^54.
[[nodiscard]] QString shortestDoubleText(double value);

} // namespace corvina
