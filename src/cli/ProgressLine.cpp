#include "cli/ProgressLine.h"

#include "workflows/RemainingTime.h"

#include <cstdio>

#include <unistd.h>

namespace corvina::cli {

ProgressLine::ProgressLine()
    : m_start(std::chrono::steady_clock::now()) {
    if (::isatty(STDOUT_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1) {
        m_progress = std::make_shared<OperationProgress>();
    }
}

ProgressLine::~ProgressLine() {
    if (m_drawn) {
        // Back to the start of the line and clear it, for what is printed next.
        std::fputs("\r\033[K", stderr);
        std::fflush(stderr);
    }
}

void ProgressLine::draw() {
    if (!m_progress) {
        return;
    }
    const OperationProgress::Snapshot now = m_progress->snapshot();
    if (now.total == 0) {
        return;
    }
    const double elapsed =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    const QString remaining = remainingTimeText(elapsed, now.fraction());
    const QByteArray line =
        QStringLiteral("\r\033[K%1 %")
            .arg(static_cast<int>(now.fraction() * 100.0), 3)
            .append(remaining.isEmpty() ? QString() : QStringLiteral(", ") + remaining)
            .toUtf8();
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stderr);
    std::fflush(stderr);
    m_drawn = true;
}

} // namespace corvina::cli
