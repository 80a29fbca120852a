#pragma once

#include <QObject>
#include <QString>
#include <QTimer>
#include <QVariant>
#include <QtQml/qqmlregistration.h>

#include <limits>

namespace corvina {

/// The text flow behind a `TextFieldHelper`: what the field shows
/// (`tmpText`) and what its caller holds (`bindingText`) are two texts that
/// meet `handOverDelay` ms (500) after the last change.
///
/// Each change of `tmpText` runs, in order: the filter of `restrictRegex`
/// (on a match every character that occurs in the pattern string itself is
/// dropped, so "[0-9]" also strips brackets and the dash, and the warning
/// starts), else the test of `warnRegex` (a match only starts the warning),
/// then the cut to `characterLimit` characters. A pattern that does not
/// compile counts as absent. A changed text restarts the hand-over delay;
/// when it runs out, `bindingText` takes the newest text and `handedOver`
/// tells the caller. A new `bindingText` from the caller replaces `tmpText`.
///
/// The warning sets `timerIsRunning` for `warningDuration` ms (5000); each
/// further offence starts the time over.
class TextFieldViewModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString tmpText READ tmpText WRITE setTmpText NOTIFY tmpTextChanged)
    Q_PROPERTY(QString bindingText READ bindingText WRITE setBindingText NOTIFY bindingTextChanged)
    /// Optional pattern strings: undefined (absent) or a string.
    Q_PROPERTY(QVariant restrictRegex MEMBER m_restrictRegex NOTIFY patternsChanged)
    Q_PROPERTY(QVariant warnRegex MEMBER m_warnRegex NOTIFY patternsChanged)
    Q_PROPERTY(int characterLimit MEMBER m_characterLimit NOTIFY characterLimitChanged)
    Q_PROPERTY(bool timerIsRunning READ timerIsRunning NOTIFY timerIsRunningChanged)
    /// The symbols of the field's `connectionType` (a raw value such as "password").
    Q_PROPERTY(QString connectionType READ connectionType WRITE setConnectionType NOTIFY
                   connectionTypeChanged)
    Q_PROPERTY(QString symbol READ symbol NOTIFY connectionTypeChanged)
    Q_PROPERTY(QString secondSymbol READ secondSymbol NOTIFY connectionTypeChanged)
    Q_PROPERTY(int handOverDelay READ handOverDelay WRITE setHandOverDelay NOTIFY delaysChanged)
    Q_PROPERTY(
        int warningDuration READ warningDuration WRITE setWarningDuration NOTIFY delaysChanged)

public:
    static constexpr int defaultHandOverDelay = 500;
    static constexpr int defaultWarningDuration = 5000;

    explicit TextFieldViewModel(QObject* parent = nullptr);

    [[nodiscard]] QString tmpText() const { return m_tmpText; }
    /// The user's (or the caller's) new text, filtered as described above.
    void setTmpText(const QString& value);
    [[nodiscard]] QString bindingText() const { return m_bindingText; }
    /// The caller's value changed: the field shows it.
    void setBindingText(const QString& value);
    [[nodiscard]] bool timerIsRunning() const { return m_timerIsRunning; }
    [[nodiscard]] QString connectionType() const { return m_connectionType; }
    void setConnectionType(const QString& raw);
    [[nodiscard]] QString symbol() const;
    [[nodiscard]] QString secondSymbol() const;
    [[nodiscard]] int handOverDelay() const { return m_handOver.interval(); }
    void setHandOverDelay(int milliseconds);
    [[nodiscard]] int warningDuration() const { return m_warning.interval(); }
    void setWarningDuration(int milliseconds);

    /// The clear button: both texts empty at once, without the delay.
    Q_INVOKABLE void clear();
    /// Escape in the field; writes the diagnostic line "onExit".
    Q_INVOKABLE void exitCommand();

Q_SIGNALS:
    void tmpTextChanged();
    void bindingTextChanged();
    void patternsChanged();
    void characterLimitChanged();
    void timerIsRunningChanged();
    void connectionTypeChanged();
    void delaysChanged();
    /// The caller's value is now `value`.
    void handedOver(const QString& value);

private:
    void startWarning();
    void setTimerIsRunning(bool value);
    void handOver();

    QString m_tmpText;
    QString m_bindingText;
    QString m_pendingText;
    QVariant m_restrictRegex;
    QVariant m_warnRegex;
    int m_characterLimit = std::numeric_limits<int>::max();
    bool m_timerIsRunning = false;
    QString m_connectionType = QStringLiteral("text");
    QTimer m_handOver;
    QTimer m_warning;
};

} // namespace corvina
