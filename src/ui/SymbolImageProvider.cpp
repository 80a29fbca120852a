#include "ui/SymbolImageProvider.h"

#include "ui/SymbolTable.h"

#include <QPainter>
#include <QSvgRenderer>

namespace corvina {

namespace {
constexpr int defaultEdge = 64;
// Upper bound of one edge: a binding that asks for absurd sizes must not
// allocate gigabytes.
constexpr int maxEdge = 1024;
} // namespace

SymbolImageProvider::SymbolImageProvider()
    : QQuickImageProvider(QQuickImageProvider::Image) {}

QImage SymbolImageProvider::requestImage(const QString& id, QSize* size,
                                         const QSize& requestedSize) {
    const qsizetype slash = id.lastIndexOf(u'/');
    const QString name = slash < 0 ? id : id.left(slash);
    const QColor color = slash < 0 ? QColor(Qt::black) : QColor(u'#' + id.mid(slash + 1));
    const QString path = symbolResourcePath(name);
    if (path.isEmpty()) {
        return {};
    }
    QSvgRenderer renderer(path);
    if (!renderer.isValid()) {
        return {};
    }
    const int width =
        std::clamp(requestedSize.width() > 0 ? requestedSize.width() : defaultEdge, 1, maxEdge);
    const int height =
        std::clamp(requestedSize.height() > 0 ? requestedSize.height() : defaultEdge, 1, maxEdge);
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    // Keep the symbol's proportions, centred in the requested box.
    QSizeF drawn = renderer.defaultSize();
    drawn.scale(width, height, Qt::KeepAspectRatio);
    renderer.render(
        &painter,
        QRectF(QPointF((width - drawn.width()) / 2.0, (height - drawn.height()) / 2.0), drawn));
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(image.rect(), color.isValid() ? color : QColor(Qt::black));
    painter.end();
    if (size) {
        *size = image.size();
    }
    return image;
}

} // namespace corvina
