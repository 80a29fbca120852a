// The password editor against the real keyring of scripts/with-keyring.sh,
// cross-checked with secret-tool. Uses the program's own items: this test
// holds the lock on them that the window tests share.

#include "SecretTool.h"

#include "session/InactivityMonitor.h"
#include "session/KeychainService.h"
#include "session/PasswordViewModel.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTest>

using namespace corvina;
using namespace Qt::StringLiterals;

namespace {

QStringList itemAttributes(const PasswordModel& model) {
    return {u"service"_s, model.service, u"account"_s, rawValue(model.key)};
}

QString stored(const PasswordModel& model) {
    const auto result = secret_tool::lookup(itemAttributes(model));
    return result.exitCode == 0 ? QString::fromUtf8(result.output) : QString();
}

void store(const PasswordModel& model, const QString& password) {
    QVERIFY(secret_tool::store(itemAttributes(model), password.toUtf8()));
}

QString identityOf(const std::optional<PasswordValidationError>& error) {
    return error ? error->identity() : QString();
}

} // namespace

class PasswordEditorKeepsPasswordsInKeychain : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        for (const auto& model : {PasswordModel::masterPassword(), PasswordModel::zipPassword()}) {
            secret_tool::clear(itemAttributes(model));
        }
        Keychain::writeFlag(useTouchIdKey, false);
        QSettings().clear();
    }

    void cleanupTestCase() { init(); }

    // The first failing rule wins; a password that passes them all is stored.
    void validationOrder_data() {
        QTest::addColumn<QString>("password1");
        QTest::addColumn<QString>("password2");
        QTest::addColumn<QString>("error");

        QTest::newRow("three letters, another confirmation")
            << u"abc"_s << u"xyz"_s << u"passwordTooWeak"_s;
        QTest::newRow("a combining accent is part of its letter")
            << u"abc\u0301"_s << u"abc\u0301"_s << u"passwordTooWeak"_s;
        QTest::newRow("a blank before the exclamation mark")
            << u"ab cd!"_s << u"ab cd!"_s << u"passwordContainsSpaces"_s;
        QTest::newRow("a final exclamation mark")
            << u"Geheim42!"_s << u"Geheim42!"_s << u"passwordInvalidCharacters"_s;
        QTest::newRow("a no-break space is no blank but no letter either")
            << u"ab\u00A0cd"_s << u"ab\u00A0cd"_s << u"passwordInvalidCharacters"_s;
        QTest::newRow("valid, another confirmation")
            << u"Geheim42"_s << u"Geheim43"_s << u"passwordsDoNotMatch"_s;
        QTest::newRow("umlauts and eszett") << u"Äöüß"_s << u"Äöüß"_s << QString();
        QTest::newRow("Arabic-Indic digits") << u"١٢٣٤"_s << u"١٢٣٤"_s << QString();
        QTest::newRow("a combining accent") << u"Cafe\u0301"_s << u"Cafe\u0301"_s << QString();
    }

    void validationOrder() {
        QFETCH(QString, password1);
        QFETCH(QString, password2);
        QFETCH(QString, error);
        const PasswordModel model = PasswordModel::zipPassword();
        PasswordViewModel editor(model);
        editor.setPassword1(password1);
        editor.setPassword2(password2);

        QCOMPARE(identityOf(editor.validateAndSave()), error);
        QCOMPARE(stored(model), error.isEmpty() ? password1 : QString());
        QCOMPARE(editor.warningText().has_value(), error.isEmpty());
    }

    void masterPasswordIsOverwrittenWithoutAQuestion() {
        const PasswordModel model = PasswordModel::masterPassword();
        PasswordViewModel editor(model);
        QSignalSpy lockButton(&editor, &PasswordViewModel::showLockButton);
        for (const QString& password : {u"Erstes1"_s, u"Zweites2"_s}) {
            editor.setShowTextFields(true);
            editor.setPassword1(password);
            editor.setPassword2(password);
            editor.submit();
            QVERIFY(!editor.validationError());
            QVERIFY(!editor.showTextFields());
            QCOMPARE(stored(model), password);
        }
        QCOMPARE(lockButton.count(), 2);
    }

    // Removing either password switches the fingerprint and automatic logout
    // off; only the master password's removal hides the lock button.
    void removalSwitchesTheSessionOptionsOff_data() {
        QTest::addColumn<bool>("master");
        QTest::newRow("master password") << true;
        QTest::newRow("archive password") << false;
    }

    void removalSwitchesTheSessionOptionsOff() {
        QFETCH(bool, master);
        const PasswordModel model =
            master ? PasswordModel::masterPassword() : PasswordModel::zipPassword();
        store(model, u"Geheim1"_s);
        Keychain::writeFlag(useTouchIdKey, true);
        InactivityMonitor monitor;
        monitor.setIsAuthenticated(true);
        PasswordViewModel editor(model);
        editor.setMonitor(&monitor);
        editor.setIsAutoLogoutEnabled(true);
        QVERIFY(monitor.inactivityTimer());
        QSignalSpy lockButton(&editor, &PasswordViewModel::hideLockButton);

        editor.setIsPassDelete(true);
        editor.confirmDeletion();

        QVERIFY(!editor.validationError());
        QVERIFY(!editor.isPassDelete());
        QCOMPARE(stored(model), QString());
        QVERIFY(!Keychain::readFlag(useTouchIdKey));
        QVERIFY(!monitor.isAutoLogoutEnabled());
        QVERIFY(!monitor.inactivityTimer());
        QCOMPARE(QSettings().value(u"isAutoLogoutEnabled"_s).toBool(), false);
        QCOMPARE(lockButton.count(), master ? 1 : 0);
        QVERIFY(!editor.isTouchID());
        QCOMPARE(editor.warningText(), PasswordViewModel::removedText);
        QCOMPARE(editor.mainButtonTitle(), u"Passwort erstellen"_s);
    }
};

QTEST_GUILESS_MAIN(PasswordEditorKeepsPasswordsInKeychain)
#include "PasswordEditorKeepsPasswordsInKeychain.moc"
