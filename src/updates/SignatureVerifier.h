#pragma once

#include <QByteArrayView>
#include <QString>

namespace corvina {

/// The outcome of checking an update's Ed25519 signature.
enum class SignatureCheck {
    valid,
    /// The build carries no usable public key.
    noPublicKey,
    /// The item has no signature.
    missing,
    /// The signature is not base64 of 64 bytes.
    malformed,
    /// The signature does not belong to these bytes and this key.
    invalid,
};

/// Checks `signatureBase64` over the whole of `data` with the Ed25519 public
/// key `publicKeyBase64` (base64 of 32 raw bytes).
[[nodiscard]] SignatureCheck verifyEd25519(QByteArrayView data, const QString& signatureBase64,
                                           const QString& publicKeyBase64);

} // namespace corvina
