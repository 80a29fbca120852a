#include "workflows/RemoveItem.h"

#include <QFile>

#include <filesystem>
#include <system_error>

namespace corvina {

std::optional<QString> removeItem(const QString& path) {
    const std::filesystem::path native(QFile::encodeName(path).toStdString());
    std::error_code error;
    // remove_all quietly succeeds on a missing path; a removal of nothing is a failure here.
    if (!std::filesystem::exists(std::filesystem::symlink_status(native, error))) {
        if (!error) {
            error = std::make_error_code(std::errc::no_such_file_or_directory);
        }
    } else {
        std::filesystem::remove_all(native, error);
    }
    if (error) {
        return QStringLiteral("\"%1\" couldn't be removed: %2")
            .arg(path, QString::fromLocal8Bit(error.message().c_str()));
    }
    return std::nullopt;
}

} // namespace corvina
