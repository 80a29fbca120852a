#include "engine/DiagnosticLog.h"

#include <QMutex>

#include <cstdio>

namespace corvina {

namespace {
#ifdef CORVINA_DIAGNOSTIC_LOG
QMutex sinkMutex;
std::function<void(const QString&)>& sinkSlot() {
    static std::function<void(const QString&)> sink;
    return sink;
}
#endif
} // namespace

void diagnosticLog(const QString& line) {
#ifdef CORVINA_DIAGNOSTIC_LOG
    const QByteArray bytes = line.toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
    QMutexLocker lock(&sinkMutex);
    if (sinkSlot()) {
        sinkSlot()(line);
    }
#else
    Q_UNUSED(line);
#endif
}

void setDiagnosticLogSink(std::function<void(const QString&)> sink) {
#ifdef CORVINA_DIAGNOSTIC_LOG
    QMutexLocker lock(&sinkMutex);
    sinkSlot() = std::move(sink);
#else
    Q_UNUSED(sink);
#endif
}

} // namespace corvina
