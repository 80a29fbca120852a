#include "session/TimeOption.h"

namespace corvina {

const QList<TimeOption>& timeOptions() {
    static const QString minutes = QStringLiteral("Min");
    static const QString hours = QStringLiteral("St");
    static const QList<TimeOption> options{
        {2, false, minutes},  {5, false, minutes},  {10, false, minutes}, {15, false, minutes},
        {20, false, minutes}, {25, false, minutes}, {30, false, minutes}, {35, false, minutes},
        {40, false, minutes}, {45, false, minutes}, {50, false, minutes}, {55, false, minutes},
        {1, true, hours},     {2, true, hours},     {3, true, hours},     {4, true, hours},
        {5, true, hours},
    };
    return options;
}

} // namespace corvina
