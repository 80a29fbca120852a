#include "engine/DiagnosticLog.h"

#include <QMutex>

#include <cstdio>

namespace corvina {

namespace {
QMutex sinkMutex;
std::function<void(const QString&)>& sinkSlot() {
    static std::function<void(const QString&)> sink;
    return sink;
}
} // namespace

void diagnosticLog(const QString& line) {
#ifdef CORVINA_DIAGNOSTIC_LOG
    const QByteArray bytes = line.toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
#endif
    // Only tests set a sink; it lets them read the lines of the optimised
    // build too, which prints nothing.
    QMutexLocker lock(&sinkMutex);
    if (sinkSlot()) {
        sinkSlot()(line);
    }
}

void setDiagnosticLogSink(std::function<void(const QString&)> sink) {
    QMutexLocker lock(&sinkMutex);
    sinkSlot() = std::move(sink);
}

} // namespace corvina
