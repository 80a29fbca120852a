#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <exception>
#include <filesystem>
#include <span>
#include <system_error>

// Small conversions shared by the engine's creation, restoration and
// verification.
namespace corvina::engine {

/// The description of whatever the engine caught, for its log lines.
QString describeException(const std::exception_ptr& error);

std::filesystem::path toPath(const QString& path);

QString pathText(const std::filesystem::path& path);

std::span<const uint8_t> ivBytes(const QByteArray& iv);

/// Throws the SystemError of a failed std::filesystem call.
void check(const std::error_code& error, const std::filesystem::path& path);

} // namespace corvina::engine
