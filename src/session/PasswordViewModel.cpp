#include "session/PasswordViewModel.h"

#include "engine/DiagnosticLog.h"
#include "session/FingerprintVerifier.h"
#include "session/InactivityMonitor.h"
#include "session/StoredPassword.h"
#include "session/TimeOption.h"

#include <QSettings>
#include <QTextBoundaryFinder>
#include <QVariantMap>

#include <exception>

namespace corvina {

namespace {

const QString autoLogoutEnabledKey = QStringLiteral("isAutoLogoutEnabled");
const QString logoutTimeoutKey = QStringLiteral("LogoutTimeout");

int graphemeCount(const QString& text) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    int count = 0;
    while (finder.toNextBoundary() != -1) {
        ++count;
    }
    return count;
}

// Letters and marks of every script, and decimal digits of every script.
bool isLetterOrDigit(char32_t codePoint) {
    switch (QChar::category(codePoint)) {
    case QChar::Letter_Uppercase:
    case QChar::Letter_Lowercase:
    case QChar::Letter_Titlecase:
    case QChar::Letter_Modifier:
    case QChar::Letter_Other:
    case QChar::Mark_NonSpacing:
    case QChar::Mark_SpacingCombining:
    case QChar::Mark_Enclosing:
    case QChar::Number_DecimalDigit:
        return true;
    default:
        return false;
    }
}

// Wraps a keychain failure's text twice, as the editor has always shown it.
PasswordValidationError doublyWrapped(const QString& description) {
    const PasswordValidationError inner(PasswordValidationError::keychainError, description);
    return PasswordValidationError(PasswordValidationError::keychainError, inner.description());
}

} // namespace

std::optional<PasswordValidationError> passwordRuleViolation(const QString& password) {
    if (graphemeCount(password) < PasswordViewModel::minimumLength) {
        return PasswordValidationError(PasswordValidationError::passwordTooWeak);
    }
    if (password.contains(u' ')) {
        return PasswordValidationError(PasswordValidationError::passwordContainsSpaces);
    }
    for (const char32_t codePoint : password.toUcs4()) {
        if (!isLetterOrDigit(codePoint)) {
            return PasswordValidationError(PasswordValidationError::passwordInvalidCharacters);
        }
    }
    return std::nullopt;
}

PasswordViewModel::PasswordViewModel(QObject* parent)
    : QObject(parent) {
    QSettings settings;
    m_isAutoLogoutEnabled = settings.value(autoLogoutEnabledKey, false).toBool();
    bool ok = false;
    const double timeout = settings.value(logoutTimeoutKey, defaultLogoutTimeout).toDouble(&ok);
    m_logoutTimeout = ok ? timeout : defaultLogoutTimeout;
}

PasswordViewModel::PasswordViewModel(const PasswordModel& model, QObject* parent)
    : PasswordViewModel(parent) {
    applyModel(model);
}

QString PasswordViewModel::key() const {
    return m_key ? rawValue(*m_key) : QString();
}

void PasswordViewModel::setKey(const QString& raw) {
    const auto type = modelTypeFromRaw(raw);
    if (m_key || !type) {
        return;
    }
    applyModel(PasswordModel::of(*type));
}

void PasswordViewModel::applyModel(const PasswordModel& model) {
    m_key = model.key;
    m_keychainService.emplace(model.service);
    m_text = model.text;
    m_isTouchID = model.isTouchID;
    if (m_isTouchID) {
        m_useTouchID = Keychain::readFlag(useTouchIdKey);
    }
    Q_EMIT keyChanged();
    Q_EMIT isTouchIDChanged();
    Q_EMIT useTouchIDChanged();
    refresh();
    checkTouchIdAvailability();
}

void PasswordViewModel::checkTouchIdAvailability() {
    auto* context = new FingerprintVerifier(this);
    connect(context, &FingerprintVerifier::availabilityChecked, this,
            [this, context](bool available) {
                context->deleteLater();
                setIsTouchIdAvailable(available);
            });
    context->checkAvailability();
}

std::optional<QString> PasswordViewModel::readPassword() const {
    if (!m_key) {
        return std::nullopt;
    }
    try {
        return m_keychainService->keychain.readString(rawValue(*m_key));
    } catch (const KeychainError&) {
        return std::nullopt;
    }
}

std::optional<PasswordValidationError> PasswordViewModel::validateAndSave() {
    if (auto violation = passwordRuleViolation(m_password1)) {
        return violation;
    }
    if (m_password1 != m_password2) {
        return PasswordValidationError(PasswordValidationError::passwordsDoNotMatch);
    }
    // Only the archive password asks: old backups depend on it.
    if (readPassword() && !m_isTouchID) {
        return PasswordValidationError(PasswordValidationError::existingPasswordNeedsOverride);
    }
    return save();
}

std::optional<PasswordValidationError> PasswordViewModel::save() {
    if (!m_key) {
        return PasswordValidationError(PasswordValidationError::unknownError);
    }
    try {
        m_keychainService->keychain.writeString(m_password1, rawValue(*m_key));
    } catch (const KeychainError& error) {
        return doublyWrapped(error.description());
    }
    if (m_key == ModelType::masterPassword) {
        setMasterPasswordFlag(true);
    }
    setWarningText(savedText);
    return std::nullopt;
}

std::optional<PasswordValidationError> PasswordViewModel::deletePassword() {
    if (!m_key) {
        return PasswordValidationError(PasswordValidationError::passwordCannotBeDeleted);
    }
    try {
        m_keychainService->keychain.removeItem(rawValue(*m_key));
    } catch (const KeychainError&) {
        return PasswordValidationError(PasswordValidationError::passwordCannotBeDeleted);
    }
    if (m_key == ModelType::masterPassword) {
        setMasterPasswordFlag(false);
    }
    setWarningText(removedText);
    return std::nullopt;
}

void PasswordViewModel::submit() {
    try {
        if (auto error = validateAndSave()) {
            setValidationError(error);
        } else {
            setShowTextFields(false);
            diagnosticLog(QStringLiteral("Passwort erfolgreich gespeichert."));
            if (m_isTouchID) {
                Q_EMIT showLockButton();
            }
        }
    } catch (const std::exception& error) {
        setValidationError(PasswordValidationError(PasswordValidationError::unknownError));
        diagnosticLog(QStringLiteral("Unbekannter Fehler: ") +
                      QString::fromLocal8Bit(error.what()));
    }
    refresh();
}

void PasswordViewModel::confirmOverride() {
    setValidationError(std::nullopt);
    if (auto error = save()) {
        setValidationError(error);
    } else {
        setShowTextFields(false);
        diagnosticLog(QStringLiteral("Passwort erfolgreich gespeichert."));
    }
    refresh();
}

void PasswordViewModel::dismissError() {
    setValidationError(std::nullopt);
}

void PasswordViewModel::confirmDeletion() {
    // The alert closes with any of its buttons.
    setIsPassDelete(false);
    if (auto error = deletePassword()) {
        setValidationError(error);
        refresh();
        return;
    }
    setUseTouchID(false);
    // Also for the archive password: its removal switches the fingerprint off too.
    Keychain::writeFlag(useTouchIdKey, false);
    if (m_isTouchID) {
        Q_EMIT hideLockButton();
        // Until it is built anew, this editor no longer acts as the master
        // password's.
        setIsTouchID(false);
    }
    setIsAutoLogoutEnabled(false);
    refresh();
}

void PasswordViewModel::sheetAppeared() {
    setPassword1(QString());
    setPassword2(QString());
    if (!m_isTouchIdAvailable && m_keychainService) {
        setUseTouchID(false);
        // This accessor is scoped to the editor's service, while the flag is
        // stored without one: the stored flag stays as it is.
        try {
            m_keychainService->keychain.removeItem(useTouchIdKey);
        } catch (const KeychainError& error) {
            diagnosticLog(QStringLiteral("Failed to remove useTouchID: ") + error.description());
        }
    }
}

void PasswordViewModel::refresh() {
    setHasPassword(readPassword().has_value());
}

QString PasswordViewModel::mainButtonTitle() const {
    return m_hasPassword ? QStringLiteral("Passwort ändern") : QStringLiteral("Passwort erstellen");
}

int PasswordViewModel::contentHeight() const {
    if (m_key != ModelType::masterPassword) {
        return 220;
    }
    if (!m_hasPassword) {
        return 170;
    }
    return m_isAutoLogoutEnabled ? 300 : 260;
}

QVariantList PasswordViewModel::timeOptions() {
    QVariantList rows;
    for (const TimeOption& option : corvina::timeOptions()) {
        rows.append(QVariantMap{{QStringLiteral("label"), option.label()},
                                {QStringLiteral("seconds"), option.seconds()}});
    }
    return rows;
}

QVariant PasswordViewModel::validationErrorVariant() const {
    if (!m_validationError) {
        return {};
    }
    return QVariantMap{
        {QStringLiteral("identity"), m_validationError->identity()},
        {QStringLiteral("title"), m_validationError->alertTitle()},
        {QStringLiteral("description"), m_validationError->description()},
        {QStringLiteral("isOverride"),
         m_validationError->value() == PasswordValidationError::existingPasswordNeedsOverride},
    };
}

QVariant PasswordViewModel::warningTextVariant() const {
    return m_warningText ? QVariant(*m_warningText) : QVariant();
}

void PasswordViewModel::setPassword1(const QString& value) {
    if (m_password1 == value) {
        return;
    }
    m_password1 = value;
    Q_EMIT password1Changed();
}

void PasswordViewModel::setPassword2(const QString& value) {
    if (m_password2 == value) {
        return;
    }
    m_password2 = value;
    Q_EMIT password2Changed();
}

void PasswordViewModel::setValidationError(std::optional<PasswordValidationError> error) {
    if (m_validationError == error) {
        return;
    }
    m_validationError = std::move(error);
    Q_EMIT validationErrorChanged();
}

void PasswordViewModel::setWarningText(const QString& text) {
    if (m_warningText == text) {
        return;
    }
    m_warningText = text;
    Q_EMIT warningTextChanged();
}

void PasswordViewModel::setIsMaskedPassword(bool value) {
    if (m_isMaskedPassword == value) {
        return;
    }
    m_isMaskedPassword = value;
    Q_EMIT isMaskedPasswordChanged();
}

void PasswordViewModel::setShowTextFields(bool value) {
    if (m_showTextFields == value) {
        return;
    }
    m_showTextFields = value;
    Q_EMIT showTextFieldsChanged();
}

void PasswordViewModel::setIsPassDelete(bool value) {
    if (m_isPassDelete == value) {
        return;
    }
    m_isPassDelete = value;
    Q_EMIT isPassDeleteChanged();
}

void PasswordViewModel::setUseTouchIDByUser(bool value) {
    if (m_useTouchID == value) {
        return;
    }
    setUseTouchID(value);
    Keychain::writeFlag(useTouchIdKey, value);
}

void PasswordViewModel::setUseTouchID(bool value) {
    if (m_useTouchID == value) {
        return;
    }
    m_useTouchID = value;
    Q_EMIT useTouchIDChanged();
}

void PasswordViewModel::setIsTouchID(bool value) {
    if (m_isTouchID == value) {
        return;
    }
    m_isTouchID = value;
    Q_EMIT isTouchIDChanged();
}

void PasswordViewModel::setHasPassword(bool value) {
    if (m_hasPassword == value) {
        return;
    }
    m_hasPassword = value;
    Q_EMIT hasPasswordChanged();
    Q_EMIT contentHeightChanged();
}

void PasswordViewModel::setIsTouchIdAvailable(bool value) {
    if (m_isTouchIdAvailable == value) {
        return;
    }
    m_isTouchIdAvailable = value;
    Q_EMIT isTouchIdAvailableChanged();
}

void PasswordViewModel::setIsAutoLogoutEnabled(bool value) {
    if (m_isAutoLogoutEnabled != value) {
        m_isAutoLogoutEnabled = value;
        QSettings().setValue(autoLogoutEnabledKey, value);
        Q_EMIT isAutoLogoutEnabledChanged();
        Q_EMIT contentHeightChanged();
    }
    if (m_monitor) {
        m_monitor->setIsAutoLogoutEnabled(value);
    }
}

void PasswordViewModel::setLogoutTimeout(double seconds) {
    if (m_logoutTimeout == seconds) {
        return;
    }
    m_logoutTimeout = seconds;
    QSettings().setValue(logoutTimeoutKey, seconds);
    Q_EMIT logoutTimeoutChanged();
    if (m_monitor) {
        m_monitor->setTimeoutInterval(seconds);
    }
}

void PasswordViewModel::setMonitor(InactivityMonitor* monitor) {
    if (m_monitor == monitor) {
        return;
    }
    m_monitor = monitor;
    Q_EMIT monitorChanged();
}

} // namespace corvina
