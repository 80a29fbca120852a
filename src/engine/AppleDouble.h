#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>
#include <utility>

namespace corvina {

/// The contents of an AppleDouble file (version 2): the file that keeps a
/// file's extended attributes beside it, as "._" + its name, on volumes that
/// have no attributes of their own (FAT, exFAT). Laid out as macOS writes it
/// there: a Finder info entry that carries the attributes, then the
/// resource fork.
struct AppleDouble {
    /// Attribute names as macOS knows them (no "user." namespace), in order.
    QList<std::pair<QByteArray, QByteArray>> attributes;
    QByteArray finderInfo = QByteArray(32, '\0');
    /// Kept as found; a file made here gets the empty fork macOS writes.
    std::optional<QByteArray> resourceFork;

    /// The parsed file, or nothing when `bytes` is no AppleDouble file or
    /// its tables point outside it.
    [[nodiscard]] static std::optional<AppleDouble> parse(const QByteArray& bytes);
    [[nodiscard]] QByteArray serialized() const;

    [[nodiscard]] std::optional<QByteArray> attribute(const QByteArray& name) const;
    void setAttribute(const QByteArray& name, const QByteArray& value);
    /// Whether an attribute of that name was there.
    bool removeAttribute(const QByteArray& name);
    /// Whether the file holds nothing but what an empty one holds.
    [[nodiscard]] bool isEmpty() const;
};

/// The AppleDouble file beside `filePath`: "._" + its name, in its folder.
[[nodiscard]] QString appleDoublePath(const QString& filePath);

} // namespace corvina
