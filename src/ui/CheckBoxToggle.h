#pragma once

#include <QObject>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

namespace corvina {

/// The state behind a `CheckBoxHelper`: a press negates `selection` and then
/// ignores further presses for `debounceInterval` milliseconds (500), so a
/// fast double click changes the box once. The delayed re-enabling belongs to
/// this object: when the screen goes first, it goes with it and never runs.
class CheckBoxToggle : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(bool selection READ selection WRITE setSelection NOTIFY selectionChanged)
    Q_PROPERTY(bool isToggleEnabled READ isToggleEnabled NOTIFY isToggleEnabledChanged)
    Q_PROPERTY(int debounceInterval READ debounceInterval WRITE setDebounceInterval NOTIFY
                   debounceIntervalChanged)

public:
    static constexpr int defaultDebounceInterval = 500;

    explicit CheckBoxToggle(QObject* parent = nullptr);

    [[nodiscard]] bool selection() const { return m_selection; }
    void setSelection(bool value);
    [[nodiscard]] bool isToggleEnabled() const { return m_isToggleEnabled; }
    [[nodiscard]] int debounceInterval() const { return m_debounce.interval(); }
    void setDebounceInterval(int milliseconds);

    /// A press on the box. Returns whether it changed `selection`.
    Q_INVOKABLE bool press();

Q_SIGNALS:
    void selectionChanged();
    /// The user changed `selection` by a press (not emitted for assignments).
    void toggled();
    void isToggleEnabledChanged();
    void debounceIntervalChanged();

private:
    void setIsToggleEnabled(bool value);

    QTimer m_debounce;
    bool m_selection = false;
    bool m_isToggleEnabled = true;
};

} // namespace corvina
