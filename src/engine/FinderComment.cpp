#include "engine/FinderComment.h"

#include "engine/DiagnosticLog.h"
#include "engine/FileAttribute.h"

#include <QStringDecoder>
#include <QTextBoundaryFinder>

namespace corvina {

namespace {

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
    if (!writeFileAttribute(filePath, finderCommentAttributeName, text.toUtf8())) {
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
    bool readFailed = false;
    const std::optional<QByteArray> value =
        readFileAttribute(filePath, finderCommentAttributeName, &readFailed);
    if (readFailed) {
        diagnosticLog(QStringLiteral("Ошибка при получении комментария."));
    }
    if (!value || value->isEmpty()) {
        return std::nullopt;
    }
    return decodedComment(*value);
}

} // namespace corvina
