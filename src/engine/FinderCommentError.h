#pragma once

#include <QString>

#include <optional>

namespace corvina {

/// The error enumeration of the whole backup engine. Each case has a Russian
/// diagnostic line and a German text for the user; only `commentTooLong`
/// carries a value, the comment as it was shortened.
class FinderCommentError {
public:
    enum class Case {
        commentTooLong,
        failedToAddComment,
        invalidEncoding,
        directoryNotFound,
        archiveCreationFailed,
        encryptedFileNotFound,
        missingEndOfCentralDirectoryRecord,
        decryptionFailed,
        insufficientPermissions,
    };

    /// Every case but `commentTooLong`, which needs its text.
    FinderCommentError(Case errorCase);
    static FinderCommentError commentTooLong(const QString& truncatedComment);

    [[nodiscard]] Case errorCase() const { return m_case; }
    /// The shortened comment of `commentTooLong`; empty for the other cases.
    [[nodiscard]] const QString& truncatedComment() const { return m_truncatedComment; }

    /// The Russian diagnostic line of the case.
    [[nodiscard]] QString logLine() const;
    /// The German text shown to the user.
    [[nodiscard]] QString userText() const;
    /// The case name with its payload, the way an enumeration is logged,
    /// e.g. "commentTooLong(truncatedComment: \"abc\")".
    [[nodiscard]] QString caseName() const;

    friend bool operator==(const FinderCommentError&, const FinderCommentError&) = default;

private:
    FinderCommentError(Case errorCase, QString truncatedComment);

    Case m_case;
    QString m_truncatedComment;
};

/// What an engine operation returns: success, or a failure with one case.
/// A value; engine operations never throw to their caller.
class EncryptionResult {
public:
    static EncryptionResult success() { return EncryptionResult(); }
    static EncryptionResult failure(FinderCommentError error) { return EncryptionResult(error); }

    [[nodiscard]] bool isSuccess() const { return !m_error.has_value(); }
    /// The failure; only valid when `isSuccess()` is false.
    [[nodiscard]] const FinderCommentError& error() const { return *m_error; }

    friend bool operator==(const EncryptionResult&, const EncryptionResult&) = default;

private:
    EncryptionResult() = default;
    explicit EncryptionResult(FinderCommentError error)
        : m_error(std::move(error)) {}

    std::optional<FinderCommentError> m_error;
};

} // namespace corvina
