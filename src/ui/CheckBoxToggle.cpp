#include "ui/CheckBoxToggle.h"

namespace corvina {

CheckBoxToggle::CheckBoxToggle(QObject* parent)
    : QObject(parent) {
    m_debounce.setSingleShot(true);
    m_debounce.setInterval(defaultDebounceInterval);
    connect(&m_debounce, &QTimer::timeout, this, [this] { setIsToggleEnabled(true); });
}

void CheckBoxToggle::setSelection(bool value) {
    if (m_selection == value) {
        return;
    }
    m_selection = value;
    Q_EMIT selectionChanged();
}

void CheckBoxToggle::setDebounceInterval(int milliseconds) {
    if (milliseconds < 0 || m_debounce.interval() == milliseconds) {
        return;
    }
    m_debounce.setInterval(milliseconds);
    Q_EMIT debounceIntervalChanged();
}

bool CheckBoxToggle::press() {
    if (!m_isToggleEnabled) {
        return false;
    }
    m_debounce.stop();
    setSelection(!m_selection);
    Q_EMIT toggled();
    setIsToggleEnabled(false);
    m_debounce.start();
    return true;
}

void CheckBoxToggle::setIsToggleEnabled(bool value) {
    if (m_isToggleEnabled == value) {
        return;
    }
    m_isToggleEnabled = value;
    Q_EMIT isToggleEnabledChanged();
}

} // namespace corvina
