// Fuzz target over the archive reader, in memory: the input is opened as a
// read-only stdio stream (the way a restore opens its decrypted archive),
// its entries are walked and each one's data is read through to its end.
// Extraction to disk has a target of its own.

#include "zip/Archive.h"

#include <cstdio>
#include <cstdlib>

using namespace corvina::zip;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0; // fmemopen refuses an empty buffer
    }
    std::FILE* stream = ::fmemopen(const_cast<uint8_t*>(data), size, "rb");
    if (stream == nullptr) {
        std::abort();
    }
    try {
        Archive archive(stream, "input.zip");
        for (const Entry& entry : archive.entrySequence()) {
            (void)entry.entryPath();
            (void)entry.entryModificationDate();
            (void)entry.entryPermissions();
            try {
                archive.readEntry(entry, defaultChunkSize, false, nullptr,
                                  [](std::span<const uint8_t>) {});
            } catch (const Error& error) {
                (void)error.localizedDescription();
            }
        }
    } catch (const Error& error) {
        (void)error.localizedDescription();
    }
    return 0;
}
