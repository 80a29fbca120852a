#include "updates/SignatureVerifier.h"

#include <QByteArray>

#include <openssl/evp.h>

#include <memory>
#include <optional>

namespace corvina {

namespace {

constexpr qsizetype publicKeySize = 32;
constexpr qsizetype signatureSize = 64;

// Strict base64 of exactly `size` bytes; anything else is absent.
std::optional<QByteArray> decodeExact(const QString& text, qsizetype size) {
    const auto decoded = QByteArray::fromBase64Encoding(text.trimmed().toLatin1(),
                                                        QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded || decoded.decoded.size() != size) {
        return std::nullopt;
    }
    return decoded.decoded;
}

} // namespace

SignatureCheck verifyEd25519(QByteArrayView data, const QString& signatureBase64,
                             const QString& publicKeyBase64) {
    const auto key = decodeExact(publicKeyBase64, publicKeySize);
    if (!key) {
        return SignatureCheck::noPublicKey;
    }
    if (signatureBase64.trimmed().isEmpty()) {
        return SignatureCheck::missing;
    }
    const auto signature = decodeExact(signatureBase64, signatureSize);
    if (!signature) {
        return SignatureCheck::malformed;
    }
    std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> pkey(
        EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr,
                                    reinterpret_cast<const unsigned char*>(key->constData()),
                                    static_cast<size_t>(key->size())),
        &EVP_PKEY_free);
    if (!pkey) {
        return SignatureCheck::noPublicKey;
    }
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                    &EVP_MD_CTX_free);
    // Ed25519 signs the message itself: no digest, one call over all bytes.
    if (!context ||
        EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, pkey.get()) != 1) {
        return SignatureCheck::invalid;
    }
    static const unsigned char empty = 0;
    const auto* bytes =
        data.isEmpty() ? &empty : reinterpret_cast<const unsigned char*>(data.data());
    const int result = EVP_DigestVerify(
        context.get(), reinterpret_cast<const unsigned char*>(signature->constData()),
        static_cast<size_t>(signature->size()), bytes, static_cast<size_t>(data.size()));
    return result == 1 ? SignatureCheck::valid : SignatureCheck::invalid;
}

} // namespace corvina
