#pragma once

#include <QString>

namespace corvina {

/// Why an update check, download or installation did not go through.
enum class UpdateError {
    noFeed,
    insecureAddress,
    serverUnreachable,
    serverError,
    feedMalformed,
    noPublicKey,
    signatureMissing,
    signatureMalformed,
    signatureInvalid,
    lengthMismatch,
    installFailed,
};

/// The German text shown to the user; `detail` (an HTTP status, a system
/// error) is added where the case has one.
[[nodiscard]] QString userText(UpdateError error, const QString& detail = {});

/// The diagnostic line.
[[nodiscard]] QString logLine(UpdateError error, const QString& detail = {});

} // namespace corvina
