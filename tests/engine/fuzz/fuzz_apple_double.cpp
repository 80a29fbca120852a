// Fuzz target over the AppleDouble reader: a "._" file comes from whatever
// wrote the stick or share it lies on. What parses must survive being
// written back: the comment editor rewrites the file it read.

#include "engine/AppleDouble.h"

#include <cstdio>
#include <cstdlib>

using corvina::AppleDouble;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    std::optional<AppleDouble> parsed = AppleDouble::parse(bytes);
    if (!parsed) {
        return 0;
    }
    (void)parsed->isEmpty();
    const std::optional<AppleDouble> again = AppleDouble::parse(parsed->serialized());
    if (!again || again->attributes != parsed->attributes ||
        again->finderInfo != parsed->finderInfo) {
        std::fprintf(stderr, "written back, the file reads differently\n");
        std::abort();
    }
    parsed->setAttribute("com.apple.metadata:kMDItemFinderComment", QByteArray(300, 'x'));
    parsed->removeAttribute("com.apple.metadata:kMDItemFinderComment");
    return 0;
}
