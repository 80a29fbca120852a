// Fuzz target over the decrypting reader: ciphertext of any length and
// padding, read through the stream a restore uses, must give exactly what
// decrypting the whole buffer gives, or fail where that fails.
//
// Input: a mode byte, then bytes. Mode bit 0: the bytes are the ciphertext
// as they stand; otherwise they are encrypted first (valid padding), then
// cut short by bits 1-3 of the mode (whole or partial blocks). Bits 4-7
// choose the size of the reads.

#include "engine/Cipher.h"
#include "engine/DecryptingReader.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

using namespace corvina;

namespace {

const ArchiveKey& key() {
    static const ArchiveKey derived = deriveArchiveKey(QStringLiteral("Fuzz"));
    return derived;
}

const QByteArray iv = QByteArray(archiveIv, 16);

[[noreturn]] void differs(const char* what) {
    std::fprintf(stderr, "the reader differs from whole decryption: %s\n", what);
    std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    const uint8_t mode = data[0];
    QByteArray ciphertext(reinterpret_cast<const char*>(data) + 1,
                          static_cast<qsizetype>(size - 1));
    if ((mode & 1) == 0) {
        ciphertext = aesEncrypt(ciphertext, key(), iv);
        ciphertext.chop(std::min<qsizetype>((mode >> 1) & 7, ciphertext.size()));
    }
    std::optional<QByteArray> expected;
    try {
        expected = aesDecrypt(ciphertext, key(), iv);
    } catch (const CipherError&) {
    }

    FileDescriptor file(memfd_create("ciphertext", MFD_CLOEXEC));
    if (!file.isValid() || ::write(file.get(), ciphertext.constData(),
                                   static_cast<size_t>(ciphertext.size())) != ciphertext.size()) {
        std::abort();
    }
    try {
        DecryptingReader reader(std::move(file), "ciphertext",
                                static_cast<uint64_t>(ciphertext.size()), key(),
                                std::span(reinterpret_cast<const uint8_t*>(iv.constData()), 16));
        if (!expected) {
            differs("it opened what does not decrypt");
        }
        if (reader.size() != static_cast<uint64_t>(expected->size())) {
            differs("size");
        }
        std::FILE* stream = reader.openStream();
        const std::size_t step = std::size_t{1} + (mode >> 4) * 7;
        std::vector<char> got(static_cast<std::size_t>(expected->size()) + 1);
        std::size_t done = 0;
        while (std::size_t n =
                   std::fread(got.data() + done, 1, std::min(step, got.size() - done), stream)) {
            done += n;
        }
        std::fclose(stream);
        if (done != static_cast<std::size_t>(expected->size()) ||
            std::memcmp(got.data(), expected->constData(), done) != 0) {
            differs("plaintext");
        }
    } catch (const CipherError&) {
        if (expected) {
            differs("it refused what decrypts");
        }
    }
    return 0;
}
