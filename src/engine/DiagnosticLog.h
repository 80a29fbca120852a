#pragma once

#include <QString>

#include <functional>

namespace corvina {

/// The program's one diagnostic line writer. In debug builds the line goes to
/// standard output; in release builds the text is dropped. Never pass a
/// password or key material.
void diagnosticLog(const QString& line);

/// Tests capture the lines, in release builds too, where nothing is
/// printed. Passing an empty function removes the sink.
void setDiagnosticLogSink(std::function<void(const QString&)> sink);

} // namespace corvina
