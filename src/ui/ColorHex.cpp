#include "ui/ColorHex.h"

#include <QTextBoundaryFinder>

#include <cmath>
#include <limits>
#include <optional>

namespace corvina {

namespace {

int hexDigit(QChar c) {
    const char16_t u = c.unicode();
    if (u >= u'0' && u <= u'9') {
        return u - u'0';
    }
    if (u >= u'a' && u <= u'f') {
        return u - u'a' + 10;
    }
    if (u >= u'A' && u <= u'F') {
        return u - u'A' + 10;
    }
    return -1;
}

// A scan for one unsigned hexadecimal number at the start: an optional "0x"
// or "0X" before at least one digit, then as many digits as there are. A value
// too large for 64 bits saturates.
quint64 scanHex(const QString& text) {
    qsizetype pos = 0;
    if (text.size() > 2 && text[0] == u'0' && (text[1] == u'x' || text[1] == u'X') &&
        hexDigit(text[2]) >= 0) {
        pos = 2;
    }
    quint64 value = 0;
    for (; pos < text.size(); ++pos) {
        const int digit = hexDigit(text[pos]);
        if (digit < 0) {
            break;
        }
        if (value > (std::numeric_limits<quint64>::max() >> 4)) {
            value = std::numeric_limits<quint64>::max();
        } else {
            value = (value << 4) | static_cast<quint64>(digit);
        }
    }
    return value;
}

qsizetype characterCount(const QString& text) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype count = 0;
    while (finder.toNextBoundary() > 0) {
        ++count;
    }
    return count;
}

// A component scaled to 0...255 and rounded; nullopt when it cannot be a
// number of the format (not finite or far out of range).
std::optional<long> scaled(float component) {
    const double value = std::round(static_cast<double>(component) * 255.0);
    if (!std::isfinite(value) || std::fabs(value) > 1e15) {
        return std::nullopt;
    }
    return static_cast<long>(value);
}

} // namespace

QColor colorFromHex(const QString& text) {
    const QString trimmed = text.trimmed();
    const quint64 value = scanHex(trimmed);
    quint64 a = 1;
    quint64 r = 1;
    quint64 g = 1;
    quint64 b = 0;
    switch (characterCount(trimmed)) {
    case 8:
        a = value >> 24;
        r = (value >> 16) & 0xFF;
        g = (value >> 8) & 0xFF;
        b = value & 0xFF;
        break;
    case 6:
        a = 255;
        r = value >> 16;
        g = (value >> 8) & 0xFF;
        b = value & 0xFF;
        break;
    case 3:
        a = 255;
        r = (value >> 8) * 17;
        g = ((value >> 4) & 0xF) * 17;
        b = (value & 0xF) * 17;
        break;
    default:
        break;
    }
    // Eight or six characters hold at most eight or six digits, three at most
    // three, so every component is within 0...255 here.
    return QColor::fromRgbF(static_cast<float>(r) / 255.0f, static_cast<float>(g) / 255.0f,
                            static_cast<float>(b) / 255.0f, static_cast<float>(a) / 255.0f);
}

QString hexFromColor(const QColor& color) {
    static const QString fallback = QStringLiteral("5856D6");
    if (!color.isValid()) {
        return fallback;
    }
    const QColor rgb = color.spec() == QColor::ExtendedRgb ? color : color.toRgb();
    const auto r = scaled(rgb.redF());
    const auto g = scaled(rgb.greenF());
    const auto b = scaled(rgb.blueF());
    const float alpha = rgb.alphaF();
    const auto a = scaled(alpha);
    if (!r || !g || !b || !a) {
        return fallback;
    }
    // The platform formats with %02lX: a negative component of an extended
    // colour prints as its two's complement, as it does there.
    if (alpha != 1.0f) {
        return QString::asprintf("%02lX%02lX%02lX%02lX", static_cast<unsigned long>(*r),
                                 static_cast<unsigned long>(*g), static_cast<unsigned long>(*b),
                                 static_cast<unsigned long>(*a));
    }
    return QString::asprintf("%02lX%02lX%02lX", static_cast<unsigned long>(*r),
                             static_cast<unsigned long>(*g), static_cast<unsigned long>(*b));
}

} // namespace corvina
