#include "engine/DecryptingReader.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

namespace corvina {

namespace {

/// A window's buffer: the chaining block ahead of its plaintext, which is
/// decrypted in place.
constexpr std::size_t windowBytes = aesBlockSize + decryptionWindowSize;
/// Windows decrypted ahead of the one read last.
constexpr uint64_t readAhead = 2;
/// Windows kept: the ZIP layer reads the central directory and the entries'
/// data in turn, two sequential streams with their windows ahead.
constexpr std::size_t cachedWindows = 8;
/// Requests older than these are dropped: the reader has moved elsewhere.
constexpr std::size_t wantedLimit = 4;

void readExactly(int fd, uint8_t* into, std::size_t count, uint64_t offset,
                 const std::filesystem::path& path) {
    if (readAt(fd, into, count, offset, path) != count) {
        // The file is shorter than when it was opened.
        throw SystemError(EIO, path);
    }
}

struct StreamCookie {
    DecryptingReader* reader;
    uint64_t position;
};

ssize_t readCookie(void* cookie, char* into, size_t count) {
    auto* stream = static_cast<StreamCookie*>(cookie);
    try {
        const std::size_t got =
            stream->reader->read(stream->position, reinterpret_cast<uint8_t*>(into), count);
        stream->position += got;
        return static_cast<ssize_t>(got);
    } catch (const SystemError& error) {
        errno = error.code();
    } catch (...) {
        errno = EIO;
    }
    return -1;
}

int seekCookie(void* cookie, off64_t* offset, int whence) {
    auto* stream = static_cast<StreamCookie*>(cookie);
    int64_t base = 0;
    switch (whence) {
    case SEEK_SET:
        break;
    case SEEK_CUR:
        base = static_cast<int64_t>(stream->position);
        break;
    case SEEK_END:
        base = static_cast<int64_t>(stream->reader->size());
        break;
    default:
        errno = EINVAL;
        return -1;
    }
    if (*offset < -base || *offset > std::numeric_limits<int64_t>::max() - base) {
        errno = EINVAL;
        return -1;
    }
    stream->position = static_cast<uint64_t>(base + *offset);
    *offset = static_cast<off64_t>(stream->position);
    return 0;
}

int closeCookie(void* cookie) {
    delete static_cast<StreamCookie*>(cookie);
    return 0;
}

} // namespace

DecryptingReader::DecryptingReader(FileDescriptor ciphertext, std::filesystem::path path,
                                   uint64_t ciphertextSize, const ArchiveKey& key,
                                   std::span<const uint8_t> iv)
    : m_ciphertext(std::move(ciphertext))
    , m_path(std::move(path))
    , m_ciphertextSize(ciphertextSize)
    , m_key(key) {
    if (iv.size() != m_iv.size()) {
        throw CipherError(aesDecryptionErrorDomain, 0);
    }
    std::copy(iv.begin(), iv.end(), m_iv.begin());

    // The last block, or the incomplete rest after the whole blocks, goes
    // through the same unpadding as at the end of a whole decryption, so a
    // wrong password or a cut file fails here with the same error.
    const uint64_t rest = m_ciphertextSize % aesBlockSize;
    const uint64_t tailStart =
        rest != 0 ? m_ciphertextSize - rest
                  : m_ciphertextSize - std::min<uint64_t>(aesBlockSize, m_ciphertextSize);
    std::array<uint8_t, aesBlockSize> chain = m_iv;
    if (tailStart >= aesBlockSize) {
        readExactly(m_ciphertext.get(), chain.data(), chain.size(), tailStart - aesBlockSize,
                    m_path);
    }
    std::array<uint8_t, aesBlockSize> tail{};
    const auto tailSize = static_cast<std::size_t>(m_ciphertextSize - tailStart);
    readExactly(m_ciphertext.get(), tail.data(), tailSize, tailStart, m_path);
    AesCbcStream last(AesCbcStream::Direction::decrypt, m_key, chain);
    std::array<uint8_t, 2 * aesBlockSize> unpadded{};
    std::size_t produced = last.update(std::span(tail.data(), tailSize), unpadded.data());
    produced += last.finish(unpadded.data() + produced);
    m_size = tailStart + produced;
}

DecryptingReader::~DecryptingReader() {
    if (!m_thread.joinable()) {
        return;
    }
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

std::size_t DecryptingReader::read(uint64_t offset, uint8_t* into, std::size_t count) {
    if (offset >= m_size) {
        return 0;
    }
    count = static_cast<std::size_t>(std::min<uint64_t>(count, m_size - offset));
    for (std::size_t done = 0; done < count;) {
        const uint64_t at = offset + done;
        const uint64_t index = at / decryptionWindowSize;
        const auto inWindow = static_cast<std::size_t>(at % decryptionWindowSize);
        const std::size_t part = std::min(count - done, decryptionWindowSize - inWindow);
        const Window bytes = window(index);
        std::memcpy(into + done, bytes.get() + aesBlockSize + inWindow, part);
        done += part;
    }
    return count;
}

std::FILE* DecryptingReader::openStream() {
    auto cookie = std::make_unique<StreamCookie>(StreamCookie{this, 0});
    std::FILE* stream = fopencookie(
        cookie.get(), "r", cookie_io_functions_t{readCookie, nullptr, seekCookie, closeCookie});
    if (stream == nullptr) {
        throw SystemError(errno, m_path);
    }
    cookie.release();
    return stream;
}

DecryptingReader::Window DecryptingReader::window(uint64_t index) {
    std::unique_lock lock(m_mutex);
    requestAfter(index);
    for (;;) {
        const auto found = m_cache.find(index);
        if (found != m_cache.end()) {
            found->second.lastUse = ++m_clock;
            return found->second.bytes;
        }
        if (!m_inProgress.contains(index)) {
            break;
        }
        m_changed.wait(lock);
    }
    m_inProgress.insert(index);
    Window bytes = takeBuffer();
    lock.unlock();
    try {
        decrypt(index, bytes.get());
    } catch (...) {
        lock.lock();
        m_inProgress.erase(index);
        m_changed.notify_all();
        throw;
    }
    lock.lock();
    store(index, bytes);
    return bytes;
}

void DecryptingReader::decrypt(uint64_t index, uint8_t* into) const {
    const uint64_t begin = index * decryptionWindowSize;
    const uint64_t end = std::min<uint64_t>(begin + decryptionWindowSize, m_ciphertextSize);
    const auto length = static_cast<std::size_t>(end - begin);
    // The ciphertext block ahead of the window chains into its first block.
    if (index == 0) {
        std::copy(m_iv.begin(), m_iv.end(), into);
        readExactly(m_ciphertext.get(), into + aesBlockSize, length, begin, m_path);
    } else {
        readExactly(m_ciphertext.get(), into, aesBlockSize + length, begin - aesBlockSize, m_path);
    }
    // Padding was checked when the file was opened; here the blocks are
    // decrypted as they stand, the padding left in the last window's tail.
    std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                            EVP_CIPHER_CTX_free);
    int produced = 0;
    if (context == nullptr ||
        EVP_DecryptInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, m_key.data(), into) != 1 ||
        EVP_CIPHER_CTX_set_padding(context.get(), 0) != 1 ||
        EVP_DecryptUpdate(context.get(), into + aesBlockSize, &produced, into + aesBlockSize,
                          static_cast<int>(length)) != 1 ||
        static_cast<std::size_t>(produced) != length) {
        // Whole blocks without padding do not fail to decrypt; only memory can.
        throw SystemError(ENOMEM, m_path);
    }
}

void DecryptingReader::run() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_stopping || !m_wanted.empty(); });
        if (m_stopping) {
            return;
        }
        const uint64_t index = m_wanted.front();
        m_wanted.pop_front();
        if (m_cache.contains(index) || m_inProgress.contains(index)) {
            continue;
        }
        m_inProgress.insert(index);
        Window bytes = takeBuffer();
        lock.unlock();
        bool decrypted = true;
        try {
            decrypt(index, bytes.get());
        } catch (...) {
            // The reader meets the error itself when it asks for the window.
            decrypted = false;
        }
        lock.lock();
        if (decrypted) {
            store(index, std::move(bytes));
        } else {
            m_inProgress.erase(index);
            m_changed.notify_all();
        }
    }
}

void DecryptingReader::requestAfter(uint64_t index) {
    const uint64_t windows = (m_size + decryptionWindowSize - 1) / decryptionWindowSize;
    bool added = false;
    for (uint64_t next = index + 1; next <= index + readAhead && next < windows; ++next) {
        if (!m_cache.contains(next) && !m_inProgress.contains(next) &&
            std::find(m_wanted.begin(), m_wanted.end(), next) == m_wanted.end()) {
            m_wanted.push_back(next);
            added = true;
        }
    }
    while (m_wanted.size() > wantedLimit) {
        m_wanted.pop_front();
    }
    if (added) {
        // The thread starts with the first window to decrypt ahead: a file
        // of one window never needs it.
        if (!m_thread.joinable()) {
            m_thread = std::thread([this] { run(); });
        }
        m_changed.notify_all();
    }
}

DecryptingReader::Window DecryptingReader::takeBuffer() {
    if (m_spare.empty()) {
        // A small file's only window needs no more room than the file.
        const auto size = static_cast<std::size_t>(
            std::min<uint64_t>(windowBytes, aesBlockSize + m_ciphertextSize));
        return Window(new uint8_t[size]);
    }
    Window bytes = std::move(m_spare.back());
    m_spare.pop_back();
    return bytes;
}

void DecryptingReader::store(uint64_t index, Window bytes) {
    m_inProgress.erase(index);
    m_cache[index] = Cached{std::move(bytes), ++m_clock};
    while (m_cache.size() > cachedWindows) {
        const auto oldest =
            std::min_element(m_cache.begin(), m_cache.end(), [](const auto& a, const auto& b) {
                return a.second.lastUse < b.second.lastUse;
            });
        // Reused only when no reader still copies from it: the buffers are
        // few, and fresh memory would cost a page fault every 4 KiB.
        if (oldest->second.bytes.use_count() == 1) {
            m_spare.push_back(std::move(oldest->second.bytes));
        }
        m_cache.erase(oldest);
    }
    m_changed.notify_all();
}

void writePlaintext(DecryptingReader& plaintext, const std::filesystem::path& destination) {
    UnpublishedFile file(destination.parent_path(), 0600);
    std::vector<uint8_t> buffer(decryptionWindowSize);
    for (uint64_t offset = 0; offset < plaintext.size();) {
        const std::size_t got = plaintext.read(offset, buffer.data(), buffer.size());
        writeAll(file.fd(), buffer.data(), got, file.accessPath());
        offset += got;
    }
    file.publish(destination.filename().string());
}

} // namespace corvina
