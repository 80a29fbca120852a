#include "engine/EngineSupport.h"

#include "engine/Cipher.h"
#include "engine/FileOperations.h"
#include "zip/Error.h"

#include <QFile>

namespace corvina::engine {

namespace fs = std::filesystem;

QString describeException(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const zip::Error& e) {
        return e.localizedDescription();
    } catch (const CipherError& e) {
        return e.localizedDescription();
    } catch (const SystemError& e) {
        return e.localizedDescription();
    } catch (const std::exception& e) {
        return QString::fromLocal8Bit(e.what());
    } catch (...) {
        return QStringLiteral("Unknown error");
    }
}

fs::path toPath(const QString& path) {
    return fs::path(QFile::encodeName(path).toStdString());
}

QString pathText(const fs::path& path) {
    return QFile::decodeName(QByteArray(path.c_str()));
}

std::span<const uint8_t> ivBytes(const QByteArray& iv) {
    return {reinterpret_cast<const uint8_t*>(iv.constData()), static_cast<std::size_t>(iv.size())};
}

void check(const std::error_code& error, const fs::path& path) {
    if (error) {
        throw SystemError(error.value(), path);
    }
}

} // namespace corvina::engine
