#pragma once

#include <QFont>
#include <QString>
#include <QStringView>

#include <array>
#include <cstdint>
#include <functional>
#include <optional>

namespace corvina {

/// The program's text styles: a family, a style and a size. Stored as one
/// byte; the order of the cases is fixed because the value is stored.
enum class CorvinaFont : std::uint8_t {
    roboto_thin7,
    roboto_regular7,
    roboto_italic7,
    roboto_bold7,
    roboto_boldItalic7,
    roboto_thin8,
    roboto_regular8,
    roboto_italic8,
    roboto_bold8,
    roboto_boldItalic8,
    roboto_thin9,
    roboto_regular9,
    roboto_italic9,
    roboto_bold9,
    roboto_boldItalic9,
    roboto_thin10,
    roboto_regular10,
    roboto_italic10,
    roboto_bold10,
    roboto_boldItalic10,
    roboto_thin11,
    roboto_regular11,
    roboto_italic11,
    roboto_bold11,
    roboto_boldItalic11,
    roboto_thin12,
    roboto_regular12,
    roboto_italic12,
    roboto_bold12,
    roboto_boldItalic12,
    roboto_thin13,
    roboto_regular13,
    roboto_italic13,
    roboto_bold13,
    roboto_boldItalic13,
    roboto_thin14,
    roboto_regular14,
    roboto_italic14,
    roboto_bold14,
    roboto_boldItalic14,
    roboto_thin15,
    roboto_regular15,
    roboto_italic15,
    roboto_bold15,
    roboto_boldItalic15,
    roboto_thin16,
    roboto_regular16,
    roboto_italic16,
    roboto_bold16,
    roboto_boldItalic16,
    roboto_thin18,
    roboto_regular18,
    roboto_italic18,
    roboto_bold18,
    roboto_boldItalic18,
    roboto_thin20,
    roboto_regular20,
    roboto_italic20,
    roboto_bold20,
    roboto_boldItalic20,
    roboto_thin22,
    roboto_regular22,
    roboto_italic22,
    roboto_bold22,
    roboto_boldItalic22,
    roboto_thin24,
    roboto_regular24,
    roboto_italic24,
    roboto_bold24,
    roboto_boldItalic24,
    roboto_thin28,
    roboto_regular28,
    roboto_italic28,
    roboto_bold28,
    roboto_boldItalic28,
    roboto_thin32,
    roboto_regular32,
    roboto_italic32,
    roboto_bold32,
    roboto_boldItalic32,
    roboto_thin42,
    roboto_regular42,
    roboto_italic42,
    roboto_bold42,
    roboto_boldItalic42,
    roboto_thin48,
    roboto_regular48,
    roboto_italic48,
    roboto_bold48,
    roboto_boldItalic48,
    helvetica_light7,
    helvetica_regular7,
    helvetica_italic7,
    helvetica_bold7,
    helvetica_boldItalic7,
    helvetica_light8,
    helvetica_regular8,
    helvetica_italic8,
    helvetica_bold8,
    helvetica_boldItalic8,
    helvetica_light9,
    helvetica_regular9,
    helvetica_italic9,
    helvetica_bold9,
    helvetica_boldItalic9,
    helvetica_light10,
    helvetica_regular10,
    helvetica_italic10,
    helvetica_bold10,
    helvetica_boldItalic10,
    helvetica_light12,
    helvetica_regular12,
    helvetica_italic12,
    helvetica_bold12,
    helvetica_boldItalic12,
    helvetica_light14,
    helvetica_regular14,
    helvetica_italic14,
    helvetica_bold14,
    helvetica_boldItalic14,
    helvetica_light16,
    helvetica_regular16,
    helvetica_italic16,
    helvetica_bold16,
    helvetica_boldItalic16,
    helvetica_light18,
    helvetica_regular18,
    helvetica_italic18,
    helvetica_bold18,
    helvetica_boldItalic18,
    helvetica_light20,
    helvetica_regular20,
    helvetica_italic20,
    helvetica_bold20,
    helvetica_boldItalic20,
    helvetica_light22,
    helvetica_regular22,
    helvetica_italic22,
    helvetica_bold22,
    helvetica_boldItalic22,
    helvetica_light24,
    helvetica_regular24,
    helvetica_italic24,
    helvetica_bold24,
    helvetica_boldItalic24,
    helvetica_light28,
    helvetica_regular28,
    helvetica_italic28,
    helvetica_bold28,
    helvetica_boldItalic28,
};

inline constexpr int corvinaFontCount = 150;

/// Where a `CorvinaFont` case comes from and how it falls back.
struct CorvinaFontFace {
    /// The face asked for first, e.g. Roboto Regular or Helvetica Bold Italic,
    /// as a font database knows it: family and style name.
    QString family;
    QString style;
    /// Size the face is asked for. Differs from `nominalSize` for the Roboto
    /// sizes 13 (asks for 12) and 15 (asks for 16).
    int faceSize = 0;
    /// Size of the case's name; the fallback uses it.
    int nominalSize = 0;
    /// Weight and italic trait of the system font used when the face is missing.
    QFont::Weight fallbackWeight = QFont::Normal;
    bool fallbackItalic = false;
};

/// The case's name as the enumeration spells it, e.g. "roboto_boldItalic16".
[[nodiscard]] QString corvinaFontName(CorvinaFont font);
/// The case with that exact name, if any.
[[nodiscard]] std::optional<CorvinaFont> corvinaFontFromName(QStringView name);
[[nodiscard]] CorvinaFontFace corvinaFontFace(CorvinaFont font);

/// Whether a face (family and style name) is installed.
using FontFaceAvailable = std::function<bool(const QString& family, const QString& style)>;

/// The font of a case: the face at its face size when it is installed,
/// otherwise the system font at the nominal size with the fallback weight and
/// italic trait. Sizes are pixel sizes (the points of the layout). Never fails.
[[nodiscard]] QFont resolveFont(CorvinaFont font);
/// The same with a chosen answer to "is this face installed".
[[nodiscard]] QFont resolveFont(CorvinaFont font, const FontFaceAvailable& faceAvailable);

/// Loads the bundled Roboto faces into the application's font database.
/// Returns how many of them loaded; a face that fails to load falls back.
int registerBundledFonts();

} // namespace corvina
