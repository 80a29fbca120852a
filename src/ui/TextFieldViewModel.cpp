#include "ui/TextFieldViewModel.h"

#include "engine/DiagnosticLog.h"
#include "ui/ConnectionType.h"

#include <QRegularExpression>
#include <QSet>
#include <QTextBoundaryFinder>

namespace corvina {

namespace {

// A pattern that is absent or does not compile gives nothing.
std::optional<QRegularExpression> compiled(const QVariant& pattern) {
    if (pattern.typeId() != QMetaType::QString) {
        return std::nullopt;
    }
    QRegularExpression expression(pattern.toString());
    if (!expression.isValid()) {
        return std::nullopt;
    }
    return expression;
}

// The text without every character that occurs in `forbidden`.
QString withoutCharactersOf(const QString& text, const QString& forbidden) {
    const QList<uint> forbiddenCodePoints = forbidden.toUcs4();
    const QSet<uint> drop(forbiddenCodePoints.cbegin(), forbiddenCodePoints.cend());
    QString kept;
    for (const uint codePoint : text.toUcs4()) {
        if (!drop.contains(codePoint)) {
            const char32_t character = codePoint;
            kept.append(QString::fromUcs4(&character, 1));
        }
    }
    return kept;
}

// Number of user-perceived characters (grapheme clusters) of a text.
int characterCount(const QString& text) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    int count = 0;
    while (finder.toNextBoundary() != -1) {
        ++count;
    }
    return count;
}

// The first `limit` grapheme clusters of the text.
QString leftCharacters(const QString& text, int limit) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    int count = 0;
    while (finder.toNextBoundary() != -1) {
        if (++count == limit) {
            return text.left(finder.position());
        }
    }
    return text;
}

} // namespace

TextFieldViewModel::TextFieldViewModel(QObject* parent)
    : QObject(parent) {
    m_handOver.setSingleShot(true);
    m_handOver.setInterval(defaultHandOverDelay);
    connect(&m_handOver, &QTimer::timeout, this, &TextFieldViewModel::handOver);
    m_warning.setSingleShot(true);
    m_warning.setInterval(defaultWarningDuration);
    connect(&m_warning, &QTimer::timeout, this, [this] {
        diagnosticLog(QStringLiteral("5 sec gone 🔔"));
        setTimerIsRunning(false);
    });
}

void TextFieldViewModel::setTmpText(const QString& value) {
    QString text = value;
    if (const auto restrict = compiled(m_restrictRegex)) {
        if (restrict->match(text).hasMatch()) {
            text = withoutCharactersOf(text, m_restrictRegex.toString());
            startWarning();
        }
    } else if (m_restrictRegex.typeId() != QMetaType::QString) {
        if (const auto warn = compiled(m_warnRegex); warn && warn->match(text).hasMatch()) {
            startWarning();
        }
    }
    if (m_characterLimit >= 0 && characterCount(text) > m_characterLimit) {
        text = m_characterLimit == 0 ? QString() : leftCharacters(text, m_characterLimit);
    }
    if (text == m_tmpText) {
        // The field may still show the rejected input: tell it again.
        if (text != value) {
            Q_EMIT tmpTextChanged();
        }
        return;
    }
    m_tmpText = text;
    Q_EMIT tmpTextChanged();
    m_pendingText = text;
    m_handOver.start();
}

void TextFieldViewModel::setBindingText(const QString& value) {
    if (m_bindingText == value) {
        return;
    }
    m_bindingText = value;
    Q_EMIT bindingTextChanged();
    if (value != m_tmpText) {
        setTmpText(value);
    }
}

void TextFieldViewModel::handOver() {
    if (m_bindingText != m_pendingText) {
        m_bindingText = m_pendingText;
        Q_EMIT bindingTextChanged();
    }
    Q_EMIT handedOver(m_pendingText);
}

void TextFieldViewModel::clear() {
    setTmpText(QString());
    m_handOver.stop();
    m_pendingText.clear();
    handOver();
}

void TextFieldViewModel::exitCommand() {
    diagnosticLog(QStringLiteral("onExit"));
}

void TextFieldViewModel::setConnectionType(const QString& raw) {
    if (m_connectionType == raw) {
        return;
    }
    m_connectionType = raw;
    Q_EMIT connectionTypeChanged();
}

QString TextFieldViewModel::symbol() const {
    const auto type = connectionTypeFromRaw(m_connectionType);
    return type ? connectionInfo(*type).symbol : QString();
}

QString TextFieldViewModel::secondSymbol() const {
    const auto type = connectionTypeFromRaw(m_connectionType);
    return type ? connectionInfo(*type).secondSymbol : QString();
}

void TextFieldViewModel::setHandOverDelay(int milliseconds) {
    if (m_handOver.interval() == milliseconds) {
        return;
    }
    m_handOver.setInterval(milliseconds);
    Q_EMIT delaysChanged();
}

void TextFieldViewModel::setWarningDuration(int milliseconds) {
    if (m_warning.interval() == milliseconds) {
        return;
    }
    m_warning.setInterval(milliseconds);
    Q_EMIT delaysChanged();
}

void TextFieldViewModel::startWarning() {
    m_warning.start();
    setTimerIsRunning(true);
}

void TextFieldViewModel::setTimerIsRunning(bool value) {
    if (m_timerIsRunning == value) {
        return;
    }
    m_timerIsRunning = value;
    Q_EMIT timerIsRunningChanged();
}

} // namespace corvina
