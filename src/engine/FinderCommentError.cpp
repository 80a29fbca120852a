#include "engine/FinderCommentError.h"

#include "engine/FinderComment.h"

#include <array>

namespace corvina {

namespace {

struct CaseTexts {
    FinderCommentError::Case errorCase;
    const char* name;
    const char* logLine;
    const char* userText;
};

// The one table of the engine's texts. For commentTooLong the two texts are
// split around the character count of the shortened comment.
constexpr std::array<CaseTexts, 9> caseTexts{{
    {FinderCommentError::Case::commentTooLong, "commentTooLong",
     "Комментарий слишком длинный и был обрезан до: %1 символов.",
     "Der Kommentar ist zu lang und wurde auf %1 Zeichen verkürzt."},
    {FinderCommentError::Case::failedToAddComment, "failedToAddComment",
     "Не удалось добавить комментарий к файлу.", "Der Kommentar konnte nicht hinzugefügt werden."},
    {FinderCommentError::Case::invalidEncoding, "invalidEncoding",
     "Неправильная кодировка для комментария.", "Die Kodierung des Kommentars ist ungültig."},
    {FinderCommentError::Case::directoryNotFound, "directoryNotFound",
     "Целевая директория не найдена.", "Das Zielverzeichnis wurde nicht gefunden."},
    {FinderCommentError::Case::archiveCreationFailed, "archiveCreationFailed",
     "Ошибка при создании архива.", "Fehler beim Erstellen oder Wiederherstellen des Archivs."},
    {FinderCommentError::Case::encryptedFileNotFound, "encryptedFileNotFound",
     "Ошибка: зашифрованный файл не найден или не установлен.",
     "Die verschlüsselte Datei wurde nicht gefunden oder nicht bereitgestellt."},
    {FinderCommentError::Case::missingEndOfCentralDirectoryRecord,
     "missingEndOfCentralDirectoryRecord",
     "Ошибка распаковки: отсутствует конечная запись центрального каталога!!!",
     "Das Archiv ist beschädigt: Die End-of-Central-Directory-Record fehlt."},
    {FinderCommentError::Case::decryptionFailed, "decryptionFailed",
     "Ошибка расшифровки. Проверьте правильность пароля.",
     "Die Entschlüsselung ist fehlgeschlagen. Bitte überprüfen Sie Ihr Passwort."},
    {FinderCommentError::Case::insufficientPermissions, "insufficientPermissions",
     "Недостаточно прав для выполнения операции.",
     "Unzureichende Berechtigungen, um die Operation durchzuführen."},
}};

const CaseTexts& textsOf(FinderCommentError::Case errorCase) {
    return caseTexts[static_cast<std::size_t>(errorCase)];
}

} // namespace

FinderCommentError::FinderCommentError(Case errorCase)
    : FinderCommentError(errorCase, QString()) {}

FinderCommentError::FinderCommentError(Case errorCase, QString truncatedComment)
    : m_case(errorCase)
    , m_truncatedComment(std::move(truncatedComment)) {}

FinderCommentError FinderCommentError::commentTooLong(const QString& truncatedComment) {
    return FinderCommentError(Case::commentTooLong, truncatedComment);
}

QString FinderCommentError::logLine() const {
    const QString line = QString::fromUtf8(textsOf(m_case).logLine);
    if (m_case == Case::commentTooLong) {
        return line.arg(graphemeCount(m_truncatedComment));
    }
    return line;
}

QString FinderCommentError::userText() const {
    const QString text = QString::fromUtf8(textsOf(m_case).userText);
    if (m_case == Case::commentTooLong) {
        return text.arg(graphemeCount(m_truncatedComment));
    }
    return text;
}

QString FinderCommentError::caseName() const {
    const QString name = QString::fromLatin1(textsOf(m_case).name);
    if (m_case == Case::commentTooLong) {
        return name + QStringLiteral("(truncatedComment: \"") + m_truncatedComment +
               QStringLiteral("\")");
    }
    return name;
}

} // namespace corvina
