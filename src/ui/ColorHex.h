#pragma once

#include <QColor>
#include <QString>

namespace corvina {

/// Reads a colour from hexadecimal text, as the "iconColor" user default holds
/// it. The text is trimmed and read as one hexadecimal number (an optional
/// "0x" prefix, then digits; 0 when nothing can be read). Its length in
/// characters (grapheme clusters, counting what was not read) decides:
///   8: alpha, red, green, blue;  6: red, green, blue, opaque;
///   3: one digit each for red, green, blue, times 17, opaque;
///   any other length: the nearly invisible, nearly black (1, 1, 0, alpha 1)/255.
/// Never fails.
[[nodiscard]] QColor colorFromHex(const QString& text);

/// Writes a colour as hexadecimal text: "RRGGBB" for an opaque colour,
/// "RRGGBBAA" otherwise (note: alpha last, while `colorFromHex` reads eight
/// digits alpha first, so only opaque colours survive a round trip). A colour
/// without components (an invalid QColor) gives "5856D6".
[[nodiscard]] QString hexFromColor(const QColor& color);

} // namespace corvina
