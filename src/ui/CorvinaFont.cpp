#include "ui/CorvinaFont.h"

#include <QFontDatabase>
#include <QStringList>

namespace corvina {

namespace {

constexpr std::array<int, 18> robotoSizes{7,  8,  9,  10, 11, 12, 13, 14, 15,
                                          16, 18, 20, 22, 24, 28, 32, 42, 48};
constexpr std::array<int, 12> helveticaSizes{7, 8, 9, 10, 12, 14, 16, 18, 20, 22, 24, 28};
constexpr int stylesPerSize = 5;
constexpr int robotoCount = static_cast<int>(robotoSizes.size()) * stylesPerSize;
static_assert(robotoCount + static_cast<int>(helveticaSizes.size()) * stylesPerSize ==
              corvinaFontCount);
static_assert(static_cast<int>(CorvinaFont::helvetica_boldItalic28) == corvinaFontCount - 1);
static_assert(static_cast<int>(CorvinaFont::helvetica_light7) == robotoCount);

struct StyleRow {
    const char* caseStyle;
    const char* dbStyle;
    QFont::Weight weight;
    bool italic;
};

// Styles in enumeration order.
constexpr std::array<StyleRow, 5> robotoStyles{{
    {"thin", "Thin", QFont::Thin, false},
    {"regular", "Regular", QFont::Normal, false},
    {"italic", "Italic", QFont::Normal, true},
    {"bold", "Bold", QFont::Bold, false},
    {"boldItalic", "Bold Italic", QFont::Bold, true},
}};
constexpr std::array<StyleRow, 5> helveticaStyles{{
    {"light", "Light", QFont::Thin, false},
    {"regular", "Regular", QFont::Normal, false},
    {"italic", "Italic", QFont::Normal, true},
    {"bold", "Bold", QFont::Bold, false},
    {"boldItalic", "Bold Italic", QFont::Bold, true},
}};

struct CaseParts {
    bool roboto;
    const StyleRow* style;
    int size;
};

CaseParts partsOf(CorvinaFont font) {
    int index = static_cast<int>(font);
    if (index < robotoCount) {
        return {true, &robotoStyles[static_cast<size_t>(index % stylesPerSize)],
                robotoSizes[static_cast<size_t>(index / stylesPerSize)]};
    }
    index -= robotoCount;
    return {false, &helveticaStyles[static_cast<size_t>(index % stylesPerSize)],
            helveticaSizes[static_cast<size_t>(index / stylesPerSize)]};
}

bool installedFace(const QString& family, const QString& style) {
    return QFontDatabase::families().contains(family) &&
           QFontDatabase::styles(family).contains(style);
}

} // namespace

QString corvinaFontName(CorvinaFont font) {
    const CaseParts parts = partsOf(font);
    return QString::fromLatin1(parts.roboto ? "roboto_" : "helvetica_") +
           QString::fromLatin1(parts.style->caseStyle) + QString::number(parts.size);
}

std::optional<CorvinaFont> corvinaFontFromName(QStringView name) {
    for (int i = 0; i < corvinaFontCount; ++i) {
        const auto font = static_cast<CorvinaFont>(i);
        if (corvinaFontName(font) == name) {
            return font;
        }
    }
    return std::nullopt;
}

CorvinaFontFace corvinaFontFace(CorvinaFont font) {
    const CaseParts parts = partsOf(font);
    CorvinaFontFace face;
    face.family = QString::fromLatin1(parts.roboto ? "Roboto" : "Helvetica");
    face.style = QString::fromLatin1(parts.style->dbStyle);
    face.nominalSize = parts.size;
    face.faceSize = parts.size;
    if (parts.roboto && parts.size == 13) {
        face.faceSize = 12;
    } else if (parts.roboto && parts.size == 15) {
        face.faceSize = 16;
    }
    face.fallbackWeight = parts.style->weight;
    face.fallbackItalic = parts.style->italic;
    return face;
}

QFont resolveFont(CorvinaFont font) {
    return resolveFont(font, installedFace);
}

QFont resolveFont(CorvinaFont font, const FontFaceAvailable& faceAvailable) {
    const CorvinaFontFace face = corvinaFontFace(font);
    if (faceAvailable(face.family, face.style)) {
        QFont result = QFontDatabase::font(face.family, face.style, face.faceSize);
        result.setPixelSize(face.faceSize);
        return result;
    }
    QFont result = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    result.setPixelSize(face.nominalSize);
    result.setWeight(face.fallbackWeight);
    result.setItalic(face.fallbackItalic);
    return result;
}

int registerBundledFonts() {
    int loaded = 0;
    for (const char* file :
         {"Roboto-Thin", "Roboto-Regular", "Roboto-Italic", "Roboto-Bold", "Roboto-BoldItalic"}) {
        const QString path = QStringLiteral(":/corvina/fonts/%1.ttf").arg(QLatin1String(file));
        if (QFontDatabase::addApplicationFont(path) >= 0) {
            ++loaded;
        }
    }
    return loaded;
}

} // namespace corvina
