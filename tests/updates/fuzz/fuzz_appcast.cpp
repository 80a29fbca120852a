// Fuzz target over the appcast reader: XML from the network, read before any
// signature is checked, and the choice of an update among its items.

#include "updates/Appcast.h"

using namespace corvina;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray xml(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const std::optional<QList<AppcastItem>> items = parseAppcast(xml);
    if (!items) {
        return 0;
    }
    UpdateCriteria criteria;
    criteria.bundleVersion = QStringLiteral("1");
    criteria.systemVersion = QStringLiteral("12");
    criteria.allowedChannels = {QStringLiteral("beta")};
    criteria.skippedVersion = QStringLiteral("3");
    (void)chooseUpdate(*items, criteria);
    return 0;
}
