#pragma once

#include <QColor>
#include <QFont>
#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

class QQmlEngine;
class QJSEngine;

namespace corvina {

/// The shared look for QML: the platform colours by their roles, the program's
/// fonts by `CorvinaFont` case name, the hexadecimal colour conversions, the
/// user default "iconColor" and the symbol images.
///
/// Colour roles: `accentColor` is the highlight of the palette; `secondaryColor`
/// the window text at half opacity; `windowBackgroundColor` (cards and sheets),
/// `controlBackgroundColor` (text on buttons, field backing), `textColor` and
/// `placeholderTextColor` come from the application palette, read once.
class Theme : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(QColor accentColor READ accentColor CONSTANT)
    Q_PROPERTY(QColor secondaryColor READ secondaryColor CONSTANT)
    Q_PROPERTY(QColor windowBackgroundColor READ windowBackgroundColor CONSTANT)
    Q_PROPERTY(QColor controlBackgroundColor READ controlBackgroundColor CONSTANT)
    Q_PROPERTY(QColor textColor READ textColor CONSTANT)
    Q_PROPERTY(QColor placeholderTextColor READ placeholderTextColor CONSTANT)
    Q_PROPERTY(QColor red READ red CONSTANT)
    Q_PROPERTY(QColor orange READ orange CONSTANT)
    Q_PROPERTY(QColor blue READ blue CONSTANT)
    Q_PROPERTY(
        QString iconColorHex READ iconColorHex WRITE setIconColorHex NOTIFY iconColorHexChanged)
    Q_PROPERTY(QColor iconColor READ iconColor NOTIFY iconColorHexChanged)

public:
    /// Key of the user default that holds the highlight colour as hexadecimal text.
    static inline const QString iconColorKey = QStringLiteral("iconColor");

    /// Not default-constructible, so that QML makes it through `create`.
    explicit Theme(QObject* parent);

    /// Registers the "symbol" image provider with the engine that asks for the
    /// singleton, so `symbol()` URLs resolve in it.
    static Theme* create(QQmlEngine* qmlEngine, QJSEngine* jsEngine);

    [[nodiscard]] QColor accentColor() const;
    [[nodiscard]] QColor secondaryColor() const;
    [[nodiscard]] QColor windowBackgroundColor() const;
    [[nodiscard]] QColor controlBackgroundColor() const;
    [[nodiscard]] QColor textColor() const;
    [[nodiscard]] QColor placeholderTextColor() const;
    [[nodiscard]] QColor red() const;
    [[nodiscard]] QColor orange() const;
    [[nodiscard]] QColor blue() const;

    /// The stored "iconColor", or `hexFromColor` of the accent colour when none is stored.
    [[nodiscard]] QString iconColorHex() const;
    void setIconColorHex(const QString& hex);
    [[nodiscard]] QColor iconColor() const;

    /// The font of a `CorvinaFont` case given by its name ("roboto_bold16");
    /// an unknown name gives the system font and a warning.
    Q_INVOKABLE [[nodiscard]] QFont font(const QString& caseName) const;
    Q_INVOKABLE [[nodiscard]] QColor colorFromHex(const QString& text) const;
    Q_INVOKABLE [[nodiscard]] QString hexFromColor(const QColor& color) const;
    /// The colour with its alpha multiplied by `opacity`.
    Q_INVOKABLE [[nodiscard]] QColor withOpacity(const QColor& color, double opacity) const;
    /// Image URL of a symbol drawn in `color`; empty for a name without a file.
    Q_INVOKABLE [[nodiscard]] QString symbol(const QString& name, const QColor& color) const;
    Q_INVOKABLE [[nodiscard]] bool hasSymbol(const QString& name) const;

Q_SIGNALS:
    void iconColorHexChanged();
};

} // namespace corvina
