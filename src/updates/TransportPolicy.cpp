#include "updates/TransportPolicy.h"

#include <QHostAddress>

namespace corvina {

bool isAllowedUpdateUrl(const QUrl& url) {
    if (!url.isValid() || url.host().isEmpty()) {
        return false;
    }
    const QString scheme = url.scheme().toLower();
    if (scheme == u"https") {
        return true;
    }
    if (scheme != u"http") {
        return false;
    }
    return QHostAddress(url.host()).isLoopback();
}

} // namespace corvina
