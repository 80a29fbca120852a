#include "engine/Cipher.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>

#include <algorithm>

namespace corvina {

ArchiveKey::~ArchiveKey() {
    OPENSSL_cleanse(m_bytes.data(), m_bytes.size());
}

ArchiveKey deriveArchiveKey(const QString& password) {
    QByteArray secret = (password + QLatin1String(archiveInternalKey)).toUtf8();
    ArchiveKey key;
    // The status is not examined: PBKDF2 fails only on parameters never
    // passed here (the secret holds at least the 32 bytes of the suffix).
    PKCS5_PBKDF2_HMAC(secret.constData(), static_cast<int>(secret.size()),
                      reinterpret_cast<const unsigned char*>(archiveKeySalt),
                      static_cast<int>(sizeof(archiveKeySalt) - 1), archiveKeyIterations,
                      EVP_sha256(), static_cast<int>(ArchiveKey::size()), key.data());
    OPENSSL_cleanse(secret.data(), static_cast<size_t>(secret.size()));
    return key;
}

CipherError::CipherError(QString domain, unsigned long code)
    : m_domain(std::move(domain))
    , m_code(code)
    , m_what(localizedDescription().toStdString()) {}

QString CipherError::localizedDescription() const {
    return QStringLiteral("The operation couldn’t be completed. (%1 error %2.)")
        .arg(m_domain)
        .arg(m_code);
}

AesCbcStream::AesCbcStream(Direction direction, const ArchiveKey& key, std::span<const uint8_t> iv)
    : m_direction(direction)
    , m_context(EVP_CIPHER_CTX_new()) {
    if (m_context == nullptr || iv.size() != aesBlockSize) {
        fail();
    }
    const int ok =
        direction == Direction::encrypt
            ? EVP_EncryptInit_ex(m_context, EVP_aes_256_cbc(), nullptr, key.data(), iv.data())
            : EVP_DecryptInit_ex(m_context, EVP_aes_256_cbc(), nullptr, key.data(), iv.data());
    if (ok != 1) {
        fail();
    }
}

AesCbcStream::~AesCbcStream() {
    EVP_CIPHER_CTX_free(m_context);
}

void AesCbcStream::fail() {
    const unsigned long code = ERR_get_error();
    ERR_clear_error();
    EVP_CIPHER_CTX_free(m_context);
    m_context = nullptr;
    throw CipherError(m_direction == Direction::encrypt ? aesEncryptionErrorDomain
                                                        : aesDecryptionErrorDomain,
                      code);
}

std::size_t AesCbcStream::update(std::span<const uint8_t> input, uint8_t* output) {
    if (m_context == nullptr) {
        fail();
    }
    std::size_t written = 0;
    // EVP lengths are int: feed larger inputs in slices.
    constexpr std::size_t slice = std::size_t{1} << 30;
    for (std::size_t offset = 0; offset < input.size(); offset += slice) {
        const int length = static_cast<int>(std::min(slice, input.size() - offset));
        int produced = 0;
        const int ok = m_direction == Direction::encrypt
                           ? EVP_EncryptUpdate(m_context, output + written, &produced,
                                               input.data() + offset, length)
                           : EVP_DecryptUpdate(m_context, output + written, &produced,
                                               input.data() + offset, length);
        if (ok != 1) {
            fail();
        }
        written += static_cast<std::size_t>(produced);
    }
    return written;
}

std::size_t AesCbcStream::finish(uint8_t* output) {
    if (m_context == nullptr) {
        fail();
    }
    int produced = 0;
    const int ok = m_direction == Direction::encrypt
                       ? EVP_EncryptFinal_ex(m_context, output, &produced)
                       : EVP_DecryptFinal_ex(m_context, output, &produced);
    if (ok != 1) {
        fail();
    }
    return static_cast<std::size_t>(produced);
}

namespace {

QByteArray aesCrypt(const QByteArray& data, const ArchiveKey& key, const QByteArray& iv,
                    AesCbcStream::Direction direction) {
    AesCbcStream stream(direction, key,
                        std::span(reinterpret_cast<const uint8_t*>(iv.constData()),
                                  static_cast<std::size_t>(iv.size())));
    // Capacity of input + one block is enough in both directions.
    QByteArray output(data.size() + static_cast<qsizetype>(aesBlockSize), '\0');
    auto* out = reinterpret_cast<uint8_t*>(output.data());
    std::size_t written =
        stream.update(std::span(reinterpret_cast<const uint8_t*>(data.constData()),
                                static_cast<std::size_t>(data.size())),
                      out);
    written += stream.finish(out + written);
    output.truncate(static_cast<qsizetype>(written));
    return output;
}

} // namespace

QByteArray aesEncrypt(const QByteArray& data, const ArchiveKey& key, const QByteArray& iv) {
    return aesCrypt(data, key, iv, AesCbcStream::Direction::encrypt);
}

QByteArray aesDecrypt(const QByteArray& data, const ArchiveKey& key, const QByteArray& iv) {
    return aesCrypt(data, key, iv, AesCbcStream::Direction::decrypt);
}

} // namespace corvina
