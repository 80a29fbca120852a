#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

class QQmlEngine;
class QJSEngine;

namespace corvina {

/// The version band's logic: the program's version line and its release
/// notes page, from the build's values.
class BuildVersion : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    /// "v." + the short version; empty when a version value is missing.
    Q_PROPERTY(QString versionLine READ versionLine CONSTANT)

public:
    explicit BuildVersion(QObject* parent = nullptr);

    [[nodiscard]] QString versionLine() const { return m_versionLine; }
    /// Opens the release notes of this version in the browser; does nothing
    /// without a short version or a release notes site.
    Q_INVOKABLE void openReleaseNotes() const;

private:
    QString m_versionLine;
};

} // namespace corvina
