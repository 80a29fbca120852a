#pragma once

#include <QQuickImageProvider>

namespace corvina {

/// Draws a symbol of the table in one colour, the way template images are
/// tinted: "image://symbol/<name>/<colour as AARRGGBB>". The requested size
/// is honoured (default 64×64), so symbols stay sharp at any size. An unknown
/// name gives a null image.
class SymbolImageProvider : public QQuickImageProvider {
public:
    SymbolImageProvider();

    QImage requestImage(const QString& id, QSize* size, const QSize& requestedSize) override;
};

} // namespace corvina
