#pragma once

#include <QObject>
#include <QString>
#include <QVariant>
#include <QtQml/qqmlregistration.h>

#include <optional>

namespace corvina {

/// A message line that goes by itself: each time a text is shown, whatever is
/// shown `duration` milliseconds later (5000) is cleared. A newer text does not
/// put off the clearing of an older one. In QML `text` is undefined while no
/// message is shown. Pending clearings end with the object.
class TransientMessage : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QVariant text READ textVariant WRITE setTextVariant NOTIFY textChanged)
    Q_PROPERTY(int duration READ duration WRITE setDuration NOTIFY durationChanged)

public:
    static constexpr int defaultDuration = 5000;

    explicit TransientMessage(QObject* parent = nullptr);

    [[nodiscard]] const std::optional<QString>& text() const { return m_text; }
    [[nodiscard]] QVariant textVariant() const;
    /// A string shows it (and schedules a clearing); anything else clears.
    void setTextVariant(const QVariant& value);

    [[nodiscard]] int duration() const { return m_duration; }
    void setDuration(int milliseconds);

    Q_INVOKABLE void show(const QString& message);
    Q_INVOKABLE void clear();

Q_SIGNALS:
    void textChanged();
    void durationChanged();

private:
    void setText(std::optional<QString> value);

    std::optional<QString> m_text;
    int m_duration = defaultDuration;
};

} // namespace corvina
