#pragma once

#include <QString>

namespace corvina {

/// Compares two version strings the way appcasts expect: both are split into
/// runs of digits, of letters and of other characters (separators). Runs of
/// digits compare as numbers, runs of letters as text; where the kinds
/// differ, a number beats a separator and a separator beats letters, so that
/// "1.0.1" > "1.0b3". When one version goes on past the other, trailing
/// zeros don't count ("1.0" == "1.0.0"), a further number makes it newer and
/// further letters make it a pre-release ("1.0b3" < "1.0").
/// Returns a negative number, zero or a positive number.
[[nodiscard]] int compareVersions(const QString& left, const QString& right);

} // namespace corvina
