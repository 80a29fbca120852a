#include "ui/TransientMessage.h"

#include <QTimer>

namespace corvina {

TransientMessage::TransientMessage(QObject* parent)
    : QObject(parent) {}

QVariant TransientMessage::textVariant() const {
    return m_text ? QVariant(*m_text) : QVariant();
}

void TransientMessage::setTextVariant(const QVariant& value) {
    if (value.typeId() == QMetaType::QString) {
        show(value.toString());
    } else {
        clear();
    }
}

void TransientMessage::setDuration(int milliseconds) {
    if (milliseconds < 0 || m_duration == milliseconds) {
        return;
    }
    m_duration = milliseconds;
    Q_EMIT durationChanged();
}

void TransientMessage::show(const QString& message) {
    setText(message);
    QTimer::singleShot(m_duration, this, &TransientMessage::clear);
}

void TransientMessage::clear() {
    setText(std::nullopt);
}

void TransientMessage::setText(std::optional<QString> value) {
    if (m_text == value) {
        return;
    }
    m_text = std::move(value);
    Q_EMIT textChanged();
}

} // namespace corvina
