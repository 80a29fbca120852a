#include "ui/Theme.h"

#include "ui/ColorHex.h"
#include "ui/CorvinaFont.h"
#include "ui/SymbolImageProvider.h"
#include "ui/SymbolTable.h"

#include <QFontDatabase>
#include <QGuiApplication>
#include <QPalette>
#include <QQmlEngine>
#include <QSettings>

namespace corvina {

namespace {

// The platform colours are read once, when first needed, and kept.
QColor paletteColor(QPalette::ColorRole role) {
    return QGuiApplication::palette().color(role);
}

} // namespace

Theme::Theme(QObject* parent)
    : QObject(parent) {}

Theme* Theme::create(QQmlEngine* qmlEngine, QJSEngine* /*jsEngine*/) {
    if (qmlEngine && !qmlEngine->imageProvider(QStringLiteral("symbol"))) {
        qmlEngine->addImageProvider(QStringLiteral("symbol"), new SymbolImageProvider);
    }
    return new Theme(nullptr);
}

QColor Theme::accentColor() const {
    static const QColor color = paletteColor(QPalette::Highlight);
    return color;
}

QColor Theme::secondaryColor() const {
    static const QColor color = [] {
        QColor c = paletteColor(QPalette::WindowText);
        c.setAlphaF(0.5f);
        return c;
    }();
    return color;
}

QColor Theme::windowBackgroundColor() const {
    static const QColor color = paletteColor(QPalette::Window);
    return color;
}

QColor Theme::controlBackgroundColor() const {
    static const QColor color = paletteColor(QPalette::Base);
    return color;
}

QColor Theme::textColor() const {
    static const QColor color = paletteColor(QPalette::Text);
    return color;
}

QColor Theme::placeholderTextColor() const {
    static const QColor color = paletteColor(QPalette::PlaceholderText);
    return color;
}

QColor Theme::red() const {
    return QColor(0xFF, 0x3B, 0x30);
}

QColor Theme::orange() const {
    return QColor(0xFF, 0x95, 0x00);
}

QColor Theme::blue() const {
    return QColor(0x00, 0x7A, 0xFF);
}

QString Theme::iconColorHex() const {
    return QSettings().value(iconColorKey, corvina::hexFromColor(accentColor())).toString();
}

void Theme::setIconColorHex(const QString& hex) {
    if (hex == iconColorHex()) {
        return;
    }
    QSettings().setValue(iconColorKey, hex);
    Q_EMIT iconColorHexChanged();
}

QColor Theme::iconColor() const {
    return corvina::colorFromHex(iconColorHex());
}

QFont Theme::font(const QString& caseName) const {
    const auto font = corvinaFontFromName(caseName);
    if (!font) {
        qWarning("Theme.font: no font case named %s", qPrintable(caseName));
        return QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    }
    return resolveFont(*font);
}

QColor Theme::colorFromHex(const QString& text) const {
    return corvina::colorFromHex(text);
}

QString Theme::hexFromColor(const QColor& color) const {
    return corvina::hexFromColor(color);
}

QColor Theme::withOpacity(const QColor& color, double opacity) const {
    QColor result = color;
    result.setAlphaF(static_cast<float>(color.alphaF() * std::clamp(opacity, 0.0, 1.0)));
    return result;
}

QString Theme::symbol(const QString& name, const QColor& color) const {
    if (!hasSymbol(name)) {
        return {};
    }
    return QStringLiteral("image://symbol/") + name + u'/' + color.name(QColor::HexArgb).mid(1);
}

bool Theme::hasSymbol(const QString& name) const {
    return !symbolResourcePath(name).isEmpty();
}

} // namespace corvina
