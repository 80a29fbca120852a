#include "updates/AppImageInstaller.h"

#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corvina {

namespace {

QString systemError(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

bool writeAll(int fd, QByteArrayView bytes) {
    const char* data = bytes.data();
    qsizetype left = bytes.size();
    while (left > 0) {
        const ssize_t written = ::write(fd, data, static_cast<size_t>(left));
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        data += written;
        left -= written;
    }
    return true;
}

} // namespace

std::optional<QString> replaceAppImage(const QString& appImagePath, QByteArrayView bytes) {
    // A link to the AppImage stays a link: the file it names is replaced.
    const QFileInfo info(appImagePath);
    const QString target = info.canonicalFilePath();
    if (target.isEmpty()) {
        return systemError(ENOENT);
    }
    const QFileInfo targetInfo(target);
    QByteArray temporary = (targetInfo.absolutePath() + QStringLiteral("/.") +
                            targetInfo.fileName() + QStringLiteral(".update-XXXXXX"))
                               .toLocal8Bit();
    const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0) {
        return systemError(errno);
    }
    int error = 0;
    if (!writeAll(fd, bytes) || ::fchmod(fd, 0755) != 0 || ::fsync(fd) != 0) {
        error = errno;
    }
    if (::close(fd) != 0 && error == 0) {
        error = errno;
    }
    if (error == 0 && ::rename(temporary.constData(), target.toLocal8Bit().constData()) != 0) {
        error = errno;
    }
    if (error != 0) {
        ::unlink(temporary.constData());
        return systemError(error);
    }
    // The rename itself reaches the disk with the folder.
    const int dir = ::open(targetInfo.absolutePath().toLocal8Bit().constData(),
                           O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) {
        ::fsync(dir);
        ::close(dir);
    }
    return std::nullopt;
}

} // namespace corvina
