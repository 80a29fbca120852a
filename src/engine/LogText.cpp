#include "engine/LogText.h"

#include <QLocale>

#include <cmath>

namespace corvina {

QString shortestDoubleText(double value) {
    if (std::isnan(value)) {
        return QStringLiteral("nan");
    }
    if (std::isinf(value)) {
        return value < 0 ? QStringLiteral("-inf") : QStringLiteral("inf");
    }
    const double magnitude = std::fabs(value);
    if (magnitude != 0 && (magnitude < 1e-4 || magnitude > 0x1.0p54)) {
        return QString::number(value, 'e', QLocale::FloatingPointShortest);
    }
    QString text = QString::number(value, 'f', QLocale::FloatingPointShortest);
    if (!text.contains(u'.')) {
        text += QStringLiteral(".0");
    }
    return text;
}

} // namespace corvina
