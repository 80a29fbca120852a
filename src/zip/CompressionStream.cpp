#include "zip/CompressionStream.h"

#include "zip/Crc32.h"
#include "zip/Error.h"

#include <zlib.h>

#include <algorithm>
#include <vector>

namespace corvina::zip {

namespace {

/// Ends the zlib stream on every way out.
template <int (*End)(z_streamp)> struct StreamGuard {
    z_stream* stream;
    ~StreamGuard() { End(stream); }
};

uInt chunkLength(uint64_t size, uint64_t position, int64_t bufferSize) {
    const uint64_t remaining = size > position ? size - position : 0;
    return static_cast<uInt>(std::min<uint64_t>(remaining, static_cast<uint64_t>(bufferSize)));
}

} // namespace

uint32_t continueCrc32(uint32_t crc, std::span<const uint8_t> bytes) {
    return fastCrc32(crc, bytes);
}

uint32_t deflateStream(uint64_t size, int64_t bufferSize, const DeflateSource& source,
                       const StreamConsumer& consumer) {
    z_stream stream{};
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) !=
        Z_OK) {
        throw Error(CompressionError::invalidStream);
    }
    StreamGuard<deflateEnd> guard{&stream};
    const auto capacity = static_cast<std::size_t>(bufferSize);
    std::vector<uint8_t> input;
    std::vector<uint8_t> output(capacity);
    uint64_t position = 0;
    uint32_t crc = 0;
    int flush = Z_NO_FLUSH;
    for (;;) {
        if (stream.avail_in == 0) {
            input = source(static_cast<int64_t>(position), chunkLength(size, position, bufferSize));
            position += input.size();
            crc = continueCrc32(crc, input);
            stream.next_in = input.data();
            stream.avail_in = static_cast<uInt>(input.size());
            flush = input.size() < capacity ? Z_FINISH : Z_NO_FLUSH;
        }
        stream.next_out = output.data();
        stream.avail_out = static_cast<uInt>(capacity);
        const int status = deflate(&stream, flush);
        if (status != Z_OK && status != Z_STREAM_END && status != Z_BUF_ERROR) {
            throw Error(CompressionError::corruptedData);
        }
        consumer(std::span<const uint8_t>(output.data(), capacity - stream.avail_out));
        if (status == Z_STREAM_END) {
            return crc;
        }
    }
}

uint32_t inflateStream(uint64_t size, int64_t bufferSize, bool skipCRC32,
                       const StreamSource& source, const StreamConsumer& consumer) {
    z_stream stream{};
    if (inflateInit2(&stream, -15) != Z_OK) {
        throw Error(CompressionError::invalidStream);
    }
    StreamGuard<inflateEnd> guard{&stream};
    const auto capacity = static_cast<std::size_t>(bufferSize);
    std::vector<uint8_t> input(capacity);
    std::vector<uint8_t> output(capacity);
    uint64_t position = 0;
    uint32_t crc = 0;
    int flush = Z_NO_FLUSH;
    for (;;) {
        if (stream.avail_in == 0) {
            const uInt wanted = chunkLength(size, position, bufferSize);
            const std::size_t got =
                wanted == 0 ? 0 : source(std::span<uint8_t>(input.data(), wanted));
            position += got;
            stream.next_in = input.data();
            stream.avail_in = static_cast<uInt>(got);
            flush = got < capacity ? Z_FINISH : Z_NO_FLUSH;
        }
        const uInt inBefore = stream.avail_in;
        stream.next_out = output.data();
        stream.avail_out = static_cast<uInt>(capacity);
        const int status = inflate(&stream, flush);
        const std::size_t produced = capacity - stream.avail_out;
        // zlib reports a lack of room under Z_FINISH as Z_BUF_ERROR; only a
        // call that made no progress at all means the data ran out.
        const bool progressed = produced > 0 || stream.avail_in != inBefore;
        if (status != Z_OK && status != Z_STREAM_END && !(status == Z_BUF_ERROR && progressed)) {
            throw Error(CompressionError::corruptedData);
        }
        consumer(std::span<const uint8_t>(output.data(), produced));
        if (!skipCRC32) {
            crc = continueCrc32(crc, {output.data(), produced});
        }
        if (status == Z_STREAM_END) {
            return crc;
        }
    }
}

} // namespace corvina::zip
