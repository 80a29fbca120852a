#include "engine/FileAttribute.h"

#include "engine/AppleDouble.h"
#include "engine/FileOperations.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <vector>

#include <sys/xattr.h>

namespace corvina {

namespace {

/// The attribute's name in an AppleDouble file, which has no namespaces.
QByteArray appleDoubleName(const char* name) {
    const QByteArray full(name);
    return full.startsWith("user.") ? full.mid(5) : full;
}

/// The AppleDouble file beside `filePath`, or nothing when there is none or
/// it can't be read as one.
std::optional<AppleDouble> readAppleDouble(const QString& filePath) {
    QFile file(appleDoublePath(filePath));
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    return AppleDouble::parse(file.readAll());
}

/// Replaces the AppleDouble file beside `filePath` in one step, so that a
/// failure leaves the old one whole; an empty one is removed instead.
bool writeAppleDouble(const QString& filePath, const AppleDouble& contents) {
    const QString path = appleDoublePath(filePath);
    if (contents.isEmpty()) {
        return QFile::remove(path) || !QFileInfo::exists(path);
    }
    try {
        const QByteArray bytes = contents.serialized();
        const std::filesystem::path folder(QFile::encodeName(QFileInfo(path).path()).toStdString());
        UnpublishedFile file(folder, 0666);
        writeAll(file.fd(), bytes.constData(), static_cast<std::size_t>(bytes.size()), folder);
        syncFile(file.fd(), folder);
        file.publish(QFile::encodeName(QFileInfo(path).fileName()).toStdString());
        return true;
    } catch (const SystemError&) {
        return false;
    }
}

/// Whether a refused attribute can be kept in an AppleDouble file instead:
/// the file system has no user attributes, or none of this size.
bool needsAppleDouble(int error) {
    return error == ENOTSUP || error == E2BIG || error == ENOSPC || error == ERANGE;
}

/// Keeps the value in the AppleDouble file beside the file and removes the
/// attribute that would otherwise be read in its place.
bool storeInAppleDouble(const QByteArray& path, const QString& filePath, const char* name,
                        const QByteArray& value) {
    if (!writeAppleDoubleAttribute(filePath, name, value)) {
        return false;
    }
    return ::removexattr(path.constData(), name) == 0 || errno == ENODATA || errno == ENOTSUP;
}

/// A value that now lives in the attribute leaves the AppleDouble file.
void dropFromAppleDouble(const QString& filePath, const char* name) {
    std::optional<AppleDouble> contents = readAppleDouble(filePath);
    if (contents && contents->removeAttribute(appleDoubleName(name))) {
        writeAppleDouble(filePath, *contents);
    }
}

} // namespace

bool writeFileAttribute(const QString& filePath, const char* name, const QByteArray& value) {
    const QByteArray path = QFile::encodeName(filePath);
    if (::setxattr(path.constData(), name, value.constData(), static_cast<size_t>(value.size()),
                   0) == 0) {
        dropFromAppleDouble(filePath, name);
        return true;
    }
    return needsAppleDouble(errno) && storeInAppleDouble(path, filePath, name, value);
}

bool writeAppleDoubleAttribute(const QString& filePath, const char* name, const QByteArray& value) {
    AppleDouble contents = readAppleDouble(filePath).value_or(AppleDouble{});
    contents.setAttribute(appleDoubleName(name), value);
    return writeAppleDouble(filePath, contents);
}

std::optional<QByteArray> readAppleDoubleAttribute(const QString& filePath, const char* name) {
    const std::optional<AppleDouble> contents = readAppleDouble(filePath);
    return contents ? contents->attribute(appleDoubleName(name)) : std::nullopt;
}

bool writeOwnAttribute(const QString& filePath, const char* name, const QByteArray& value) {
    return ::setxattr(QFile::encodeName(filePath).constData(), name, value.constData(),
                      static_cast<size_t>(value.size()), 0) == 0;
}

std::optional<QByteArray> readFileAttribute(const QString& filePath, const char* name,
                                            bool* readFailed) {
    const QByteArray path = QFile::encodeName(filePath);
    const ssize_t size = ::getxattr(path.constData(), name, nullptr, 0);
    if (size < 0 && (errno == ENODATA || errno == ENOTSUP)) {
        const std::optional<AppleDouble> contents = readAppleDouble(filePath);
        return contents ? contents->attribute(appleDoubleName(name)) : std::nullopt;
    }
    if (size < 0) {
        return std::nullopt;
    }
    std::vector<char> buffer(static_cast<std::size_t>(size), '\0');
    const ssize_t read = ::getxattr(path.constData(), name, buffer.data(), buffer.size());
    if (read < 0) {
        if (readFailed) {
            *readFailed = true;
        }
        return std::nullopt;
    }
    // The value may have changed between the two calls; take what was read.
    return QByteArray(buffer.data(), read);
}

} // namespace corvina
