#pragma once

#include "engine/OperationProgress.h"

#include <QFuture>

#include <chrono>
#include <memory>
#include <thread>

namespace corvina::cli {

/// A line on the terminal that shows how far an operation has come: the
/// percentage and the time it still needs, redrawn ten times a second and
/// wiped when the operation ends. Only when both standard output and
/// standard error are a terminal, so that scripts, pipes and logs never see
/// it.
class ProgressLine {
public:
    ProgressLine();
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    /// The progress to hand to the engine: nothing when no line is shown.
    [[nodiscard]] std::shared_ptr<OperationProgress> progress() const { return m_progress; }

    /// Waits for `future`, drawing the line meanwhile, and returns its result.
    template <typename T> T await(QFuture<T> future) {
        // The end is noticed within 10 ms; the line is redrawn every 100 ms.
        for (int tick = 0; m_progress && !future.isFinished(); ++tick) {
            if (tick % 10 == 0) {
                draw();
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        // The last state is shown once, a full line after a success.
        draw();
        return future.result();
    }

private:
    void draw();

    std::shared_ptr<OperationProgress> m_progress;
    std::chrono::steady_clock::time_point m_start;
    bool m_drawn = false;
};

} // namespace corvina::cli
