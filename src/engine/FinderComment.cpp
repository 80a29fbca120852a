#include "engine/FinderComment.h"

#include "engine/AppleDouble.h"
#include "engine/DiagnosticLog.h"
#include "engine/FileOperations.h"

#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>
#include <QTextBoundaryFinder>

#include <cerrno>
#include <vector>

#include <sys/xattr.h>

namespace corvina {

namespace {

/// The attribute's name in an AppleDouble file, which has no namespaces.
const QByteArray appleDoubleCommentName = QByteArray(finderCommentAttributeName).mid(5);

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

/// Keeps the comment in the AppleDouble file beside the file and removes the
/// attribute that would otherwise be read in its place.
bool storeInAppleDouble(const QByteArray& path, const QString& filePath, const QByteArray& value) {
    AppleDouble contents = readAppleDouble(filePath).value_or(AppleDouble{});
    contents.setAttribute(appleDoubleCommentName, value);
    if (!writeAppleDouble(filePath, contents)) {
        return false;
    }
    return ::removexattr(path.constData(), finderCommentAttributeName) == 0 || errno == ENODATA ||
           errno == ENOTSUP;
}

/// A comment that now lives in the attribute leaves the AppleDouble file.
void dropFromAppleDouble(const QString& filePath) {
    std::optional<AppleDouble> contents = readAppleDouble(filePath);
    if (contents && contents->removeAttribute(appleDoubleCommentName)) {
        writeAppleDouble(filePath, *contents);
    }
}

/// The comment in `value`, or nothing for bytes that are not valid UTF-8.
std::optional<QString> decodedComment(QByteArrayView value) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless |
                                                     QStringDecoder::Flag::ConvertInitialBom);
    QString text = decoder.decode(value);
    if (decoder.hasError()) {
        return std::nullopt;
    }
    return text;
}

} // namespace

qsizetype graphemeCount(const QString& text) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype count = 0;
    while (finder.toNextBoundary() != -1) {
        ++count;
    }
    return count;
}

QString graphemePrefix(const QString& text, qsizetype count) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype end = 0;
    for (qsizetype taken = 0; taken < count; ++taken) {
        const qsizetype next = finder.toNextBoundary();
        if (next == -1) {
            break;
        }
        end = next;
    }
    return text.left(end);
}

EncryptionResult addFinderComment(const QString& comment, const QString& filePath) {
    const qsizetype originalCount = graphemeCount(comment);
    const QString text = originalCount > finderCommentCharacterLimit
                             ? graphemePrefix(comment, finderCommentCharacterLimit)
                             : comment;

    // A QString may hold unpaired surrogates, which have no UTF-8 form;
    // toUtf8() would silently replace them.
    if (!QStringView(text).isValidUtf16()) {
        return EncryptionResult::failure(FinderCommentError::Case::invalidEncoding);
    }
    const QByteArray value = text.toUtf8();
    const QByteArray path = QFile::encodeName(filePath);
    if (::setxattr(path.constData(), finderCommentAttributeName, value.constData(),
                   static_cast<size_t>(value.size()), 0) == 0) {
        dropFromAppleDouble(filePath);
    } else if (!needsAppleDouble(errno) || !storeInAppleDouble(path, filePath, value)) {
        return EncryptionResult::failure(FinderCommentError::Case::failedToAddComment);
    }

    if (originalCount <= finderCommentCharacterLimit) {
        diagnosticLog(QStringLiteral("Комментарий успешно добавлен к файлу."));
        return EncryptionResult::success();
    }
    diagnosticLog(QStringLiteral("Комментарий был успешно добавлен, но обрезан до %1 символов: ")
                      .arg(finderCommentCharacterLimit) +
                  text);
    return EncryptionResult::failure(FinderCommentError::commentTooLong(text));
}

std::optional<QString> readFinderComment(const QString& filePath) {
    const QByteArray path = QFile::encodeName(filePath);
    const ssize_t size = ::getxattr(path.constData(), finderCommentAttributeName, nullptr, 0);
    if (size < 0 && (errno == ENODATA || errno == ENOTSUP)) {
        const std::optional<AppleDouble> contents = readAppleDouble(filePath);
        const std::optional<QByteArray> value =
            contents ? contents->attribute(appleDoubleCommentName) : std::nullopt;
        if (!value || value->isEmpty()) {
            return std::nullopt;
        }
        return decodedComment(*value);
    }
    if (size < 1) {
        return std::nullopt;
    }
    std::vector<char> buffer(static_cast<std::size_t>(size), '\0');
    const ssize_t read =
        ::getxattr(path.constData(), finderCommentAttributeName, buffer.data(), buffer.size());
    if (read < 0) {
        diagnosticLog(QStringLiteral("Ошибка при получении комментария."));
        return std::nullopt;
    }
    // The value may have changed between the two calls; take what was read.
    return decodedComment(QByteArrayView(buffer.data(), read));
}

} // namespace corvina
