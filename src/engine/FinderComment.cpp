#include "engine/FinderComment.h"

#include "engine/DiagnosticLog.h"

#include <QFile>
#include <QStringDecoder>
#include <QTextBoundaryFinder>

#include <sys/xattr.h>

#include <vector>

namespace corvina {

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
                   static_cast<size_t>(value.size()), 0) != 0) {
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
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless |
                                                     QStringDecoder::Flag::ConvertInitialBom);
    QString text = decoder.decode(QByteArrayView(buffer.data(), read));
    if (decoder.hasError()) {
        return std::nullopt;
    }
    return text;
}

} // namespace corvina
