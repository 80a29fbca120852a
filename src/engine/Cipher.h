#pragma once

#include <QByteArray>
#include <QString>

#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <span>
#include <string>

typedef struct evp_cipher_ctx_st EVP_CIPHER_CTX;

namespace corvina {

/// Fixed passphrase suffix joined to every archive password.
inline constexpr char archiveInternalKey[] = "PlainWordsMakeTheArchiveKey5678?";
/// Fixed PBKDF2 salt, the same for every backup and installation.
inline constexpr char archiveKeySalt[] = "SingleGrit";
inline constexpr int archiveKeyIterations = 10000;
/// Fixed AES-CBC initialisation vector, the same for every backup.
inline constexpr char archiveIv[] = "qwertzuiopasdfgh";
inline constexpr std::size_t aesBlockSize = 16;

/// The 32 bytes of an AES-256 key, wiped when the object goes away.
class ArchiveKey {
public:
    ArchiveKey() = default;
    ~ArchiveKey();
    ArchiveKey(const ArchiveKey& other) = default;
    ArchiveKey& operator=(const ArchiveKey& other) = default;

    [[nodiscard]] unsigned char* data() { return m_bytes.data(); }
    [[nodiscard]] const unsigned char* data() const { return m_bytes.data(); }
    [[nodiscard]] static constexpr std::size_t size() { return 32; }

private:
    std::array<unsigned char, 32> m_bytes{};
};

/// PBKDF2-HMAC-SHA-256 over the UTF-8 bytes of password + internal key, with
/// the fixed salt and 10000 iterations. No normalisation is applied.
[[nodiscard]] ArchiveKey deriveArchiveKey(const QString& password);

/// A failure of the cipher: a domain text and the OpenSSL error code.
class CipherError : public std::exception {
public:
    CipherError(QString domain, unsigned long code);

    [[nodiscard]] const QString& domain() const { return m_domain; }
    [[nodiscard]] unsigned long code() const { return m_code; }
    /// The sentence the platform composes from a domain and a code.
    [[nodiscard]] QString localizedDescription() const;
    [[nodiscard]] const char* what() const noexcept override { return m_what.c_str(); }

private:
    QString m_domain;
    unsigned long m_code;
    std::string m_what;
};

inline const QString aesEncryptionErrorDomain = QStringLiteral("Error in AES encryption");
inline const QString aesDecryptionErrorDomain = QStringLiteral("Error in AES decryption");

/// AES-256-CBC with PKCS#7 padding over a whole buffer. Throws CipherError.
[[nodiscard]] QByteArray aesEncrypt(const QByteArray& data, const ArchiveKey& key,
                                    const QByteArray& iv);
/// The inverse of aesEncrypt; a bad final block throws CipherError.
[[nodiscard]] QByteArray aesDecrypt(const QByteArray& data, const ArchiveKey& key,
                                    const QByteArray& iv);

/// AES-256-CBC with PKCS#7 padding over data that arrives in pieces. The
/// bytes are those of one call over the whole data.
class AesCbcStream {
public:
    enum class Direction { encrypt, decrypt };

    /// `iv` must hold 16 bytes. Throws CipherError.
    AesCbcStream(Direction direction, const ArchiveKey& key, std::span<const uint8_t> iv);
    ~AesCbcStream();
    AesCbcStream(const AesCbcStream&) = delete;
    AesCbcStream& operator=(const AesCbcStream&) = delete;

    /// Processes `input`; `output` must have room for input.size() + 16
    /// bytes. Returns the number of bytes written. Throws CipherError.
    std::size_t update(std::span<const uint8_t> input, uint8_t* output);
    /// Ends the stream: the padding block, or the last plaintext block after
    /// its padding was checked. `output` must have room for 16 bytes.
    std::size_t finish(uint8_t* output);

private:
    [[noreturn]] void fail();

    Direction m_direction;
    EVP_CIPHER_CTX* m_context = nullptr;
};

} // namespace corvina
