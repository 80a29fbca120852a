// Runs inside the private keyring session of scripts/with-keyring.sh: every
// item here lives in a real gnome-keyring and is cross-checked with secret-tool.

#include "SecretTool.h"

#include "session/KeychainService.h"

#include <QTest>

#include <atomic>
#include <thread>
#include <vector>

using namespace corvina;

namespace {

QStringList itemAttributes(const QString& service, const QString& account) {
    return {QStringLiteral("service"), service, QStringLiteral("account"), account};
}

QStringList flagAttributes(const QString& account) {
    return {QStringLiteral("account"), account};
}

} // namespace

class KeychainSharesItemsWithSecretService : public QObject {
    Q_OBJECT

    // Each test function gets a service and flag key of its own.
    QString service() const {
        return QStringLiteral("de.Corvina-Backup-Manager.Test.") +
               QString::fromLatin1(QTest::currentTestFunction());
    }
    QString flagKey() const {
        return QStringLiteral("corvinaTestFlag.") +
               QString::fromLatin1(QTest::currentTestFunction());
    }

private Q_SLOTS:
    void init() {
        secret_tool::clear(QStringList{QStringLiteral("service"), service()});
        secret_tool::clear(
            QStringList{QStringLiteral("service"), service() + QStringLiteral(".other")});
        secret_tool::clear(flagAttributes(flagKey()));
    }

    // Text written by either side reads back on the other, as UTF-8.
    void textCrossesBetweenProgramAndSecretTool_data() {
        QTest::addColumn<bool>("bySecretTool");
        QTest::addColumn<QString>("text");
        const QString umlauts = QStringLiteral("Grüße € 🔒");
        QTest::newRow("secret-tool writes") << true << umlauts;
        QTest::newRow("program writes") << false << umlauts;
        QTest::newRow("program writes empty text") << false << QString();
    }
    void textCrossesBetweenProgramAndSecretTool() {
        QFETCH(bool, bySecretTool);
        QFETCH(QString, text);
        const auto attributes = itemAttributes(service(), QStringLiteral("key"));
        const KeychainService store(service());
        if (bySecretTool) {
            QVERIFY(secret_tool::store(attributes, text.toUtf8()));
        } else {
            store.keychain.writeString(text, QStringLiteral("key"));
        }
        QCOMPARE(secret_tool::lookup(attributes).output, text.toUtf8());
        QCOMPARE(store.keychain.readString(QStringLiteral("key")), std::optional<QString>(text));
    }

    void bytesRoundTripUnchanged() {
        const QByteArray bytes("\x00\x01\xff\xfe\x80 tail", 11);
        const Keychain keychain(service());
        keychain.writeData(bytes, QStringLiteral("key"));
        QCOMPARE(keychain.readData(QStringLiteral("key")), std::optional<QByteArray>(bytes));
    }

    // A second write changes the existing item in place, whoever wrote it first.
    void writeUpdatesTheExistingItem_data() {
        QTest::addColumn<bool>("firstBySecretTool");
        QTest::newRow("item of this program") << false;
        QTest::newRow("item of secret-tool") << true;
    }
    void writeUpdatesTheExistingItem() {
        QFETCH(bool, firstBySecretTool);
        const auto attributes = itemAttributes(service(), QStringLiteral("key"));
        const Keychain keychain(service());
        if (firstBySecretTool) {
            QVERIFY(secret_tool::store(attributes, "first"));
        } else {
            keychain.writeString(QStringLiteral("first"), QStringLiteral("key"));
        }
        const QStringList before = secret_tool::itemPaths(attributes);
        QCOMPARE(before.size(), 1);

        keychain.writeString(QStringLiteral("second"), QStringLiteral("key"));

        QCOMPARE(secret_tool::itemPaths(attributes), before);
        QCOMPARE(secret_tool::lookup(attributes).output, QByteArray("second"));
        QCOMPARE(keychain.readString(QStringLiteral("key")),
                 std::optional<QString>(QStringLiteral("second")));
    }

    // Another program may have left a second item that also matches.
    void writeUpdatesEveryMatchingItem() {
        const auto attributes = itemAttributes(service(), QStringLiteral("key"));
        QVERIFY(secret_tool::store(attributes, "plain"));
        QVERIFY(secret_tool::store(attributes + QStringList{"extra", "x"}, "extended"));
        QCOMPARE(secret_tool::itemPaths(attributes).size(), 2);

        Keychain(service()).writeString(QStringLiteral("new"), QStringLiteral("key"));

        QCOMPARE(secret_tool::itemPaths(attributes).size(), 2);
        QCOMPARE(secret_tool::lookup(attributes).output, QByteArray("new"));
        QCOMPARE(secret_tool::lookup(attributes + QStringList{"extra", "x"}).output,
                 QByteArray("new"));
    }

    void keysAndServicesDoNotMix() {
        const Keychain first(service());
        const Keychain other(service() + QStringLiteral(".other"));
        first.writeString(QStringLiteral("one"), QStringLiteral("key"));
        first.writeString(QStringLiteral("two"), QStringLiteral("key2"));

        QCOMPARE(other.readString(QStringLiteral("key")), std::nullopt);
        QCOMPARE(first.readString(QStringLiteral("key2")),
                 std::optional<QString>(QStringLiteral("two")));
        other.removeItem(QStringLiteral("key"));
        QCOMPARE(first.readString(QStringLiteral("key")),
                 std::optional<QString>(QStringLiteral("one")));
    }

    void removalDeletesAndAbsenceIsNoError() {
        const auto attributes = itemAttributes(service(), QStringLiteral("key"));
        QVERIFY(secret_tool::store(attributes, "gone soon"));
        const Keychain keychain(service());
        keychain.removeItem(QStringLiteral("key"));
        QCOMPARE(secret_tool::itemPaths(attributes), QStringList());
        QCOMPARE(keychain.readString(QStringLiteral("key")), std::nullopt);
        QCOMPARE(keychain.readData(QStringLiteral("key")), std::nullopt);
        keychain.removeItem(QStringLiteral("key"));
    }

    void bytesThatAreNoUtf8FailToConvert_data() {
        QTest::addColumn<QByteArray>("stored");
        QTest::newRow("invalid byte") << QByteArray("\xff");
        QTest::newRow("broken sequence") << QByteArray("\xc3\x28");
        QTest::newRow("overlong slash") << QByteArray("\xc0\xaf");
        QTest::newRow("encoded surrogate") << QByteArray("\xed\xa0\x80");
        QTest::newRow("cut off at the end") << QByteArray("ok\xe2\x82");
    }
    void bytesThatAreNoUtf8FailToConvert() {
        QFETCH(QByteArray, stored);
        QVERIFY(secret_tool::store(itemAttributes(service(), QStringLiteral("key")), stored));
        const Keychain keychain(service());
        try {
            (void)keychain.readString(QStringLiteral("key"));
            QFAIL("read of bytes that are no UTF-8 succeeded");
        } catch (const KeychainError& error) {
            QCOMPARE(error.status(), Status(Status::conversionError));
            QCOMPARE(error.code(), -67594);
        }
        QCOMPARE(keychain.readData(QStringLiteral("key")), std::optional<QByteArray>(stored));
    }

    void textWithoutUtf8FormIsNotWritten() {
        const Keychain keychain(service());
        const QString loneSurrogate = QStringLiteral("a") + QChar(0xd800) + QStringLiteral("b");
        try {
            keychain.writeString(loneSurrogate, QStringLiteral("key"));
            QFAIL("write of a lone surrogate succeeded");
        } catch (const KeychainError& error) {
            QCOMPARE(error.status(), Status(Status::conversionError));
        }
        QCOMPARE(keychain.readData(QStringLiteral("key")), std::nullopt);
    }

    void flagIsTrueOnlyForExactTrue_data() {
        QTest::addColumn<QByteArray>("stored");
        QTest::addColumn<bool>("expected");
        QTest::newRow("absent") << QByteArray() << false;
        QTest::newRow("true") << QByteArray("true") << true;
        QTest::newRow("True") << QByteArray("True") << false;
        QTest::newRow("TRUE") << QByteArray("TRUE") << false;
        QTest::newRow("false") << QByteArray("false") << false;
        QTest::newRow("true with newline") << QByteArray("true\n") << false;
        QTest::newRow("1") << QByteArray("1") << false;
        QTest::newRow("no UTF-8") << QByteArray("\xfftrue") << false;
    }
    void flagIsTrueOnlyForExactTrue() {
        QFETCH(QByteArray, stored);
        QFETCH(bool, expected);
        if (!stored.isNull()) {
            QVERIFY(secret_tool::store(flagAttributes(flagKey()), stored));
        }
        QCOMPARE(Keychain::readFlag(flagKey()), expected);
    }

    void writtenFlagIsStoredWithoutServiceAndReplaced() {
        Keychain::writeFlag(flagKey(), true);
        QCOMPARE(secret_tool::lookup(flagAttributes(flagKey())).output, QByteArray("true"));
        QVERIFY(Keychain::readFlag(flagKey()));

        Keychain::writeFlag(flagKey(), false);
        Keychain::writeFlag(flagKey(), false);
        QCOMPARE(secret_tool::itemPaths(flagAttributes(flagKey())).size(), 1);
        QCOMPARE(secret_tool::lookup(flagAttributes(flagKey())).output, QByteArray("false"));
        QVERIFY(!Keychain::readFlag(flagKey()));
        // The flag item carries no service attribute.
        QCOMPARE(secret_tool::lookup(QStringList{QStringLiteral("service"), service()}).exitCode,
                 1);
    }

    // Removing the flag's key through a service's Keychain misses the flag,
    // which has no service; only writeFlag changes it.
    void serviceScopedRemovalLeavesTheFlag() {
        Keychain::writeFlag(flagKey(), true);
        Keychain(service()).removeItem(flagKey());
        QVERIFY(Keychain::readFlag(flagKey()));
        QCOMPARE(secret_tool::itemPaths(flagAttributes(flagKey())).size(), 1);
    }

    // The flag's query names the account alone: a password item of any
    // service with that account answers it, and writing the flag replaces it.
    void flagQueryMatchesByAccountAlone() {
        Keychain(service()).writeString(QStringLiteral("true"), flagKey());
        QVERIFY(Keychain::readFlag(flagKey()));

        Keychain::writeFlag(flagKey(), false);
        QCOMPARE(Keychain(service()).readString(flagKey()), std::nullopt);
        QCOMPARE(secret_tool::itemPaths(flagAttributes(flagKey())).size(), 1);
    }

    void emptyServiceFallsBackOnBundleIdentifier() {
        QCOMPARE(KeychainService(QString()).keychain.options.service,
                 QStringLiteral("de.Corvina-Backup-Manager"));
        QCOMPARE(KeychainService(zipPasswordService).keychain.options.service, zipPasswordService);
    }

    // Callers may sit on any thread; each call runs its own conversation.
    void callsFromSeveralThreadsAtOnce() {
        const Keychain keychain(service());
        std::vector<std::thread> threads;
        std::atomic<int> failures = 0;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&, t] {
                const QString key = QStringLiteral("key%1").arg(t);
                for (int round = 0; round < 5; ++round) {
                    const QString value = QStringLiteral("value %1.%2").arg(t).arg(round);
                    try {
                        keychain.writeString(value, key);
                        if (keychain.readString(key) != std::optional<QString>(value)) {
                            ++failures;
                        }
                    } catch (const KeychainError&) {
                        ++failures;
                    }
                }
            });
        }
        for (auto& thread : threads) {
            thread.join();
        }
        QCOMPARE(failures.load(), 0);
        for (int t = 0; t < 4; ++t) {
            const auto attributes = itemAttributes(service(), QStringLiteral("key%1").arg(t));
            QCOMPARE(secret_tool::itemPaths(attributes).size(), 1);
        }
    }

    void statusRowsCarryCodesAndTexts_data() {
        QTest::addColumn<int>("value");
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("description");
        const auto row = [](Status status, const char* name, int code, const char* description) {
            QTest::newRow(name) << int(status.value()) << QString::fromLatin1(name) << code
                                << QString::fromUtf8(description);
        };
        row(Status::success, "success", 0, "No error.");
        row(Status::userCanceled, "userCanceled", -128, "User canceled the operation.");
        row(Status::notAvailable, "notAvailable", -25291,
            "No keychain is available. You may need to restart your computer.");
        row(Status::itemNotFound, "itemNotFound", -25300,
            "The specified item could not be found in the keychain.");
        row(Status::interactionNotAllowed, "interactionNotAllowed", -25308,
            "User interaction is not allowed.");
        row(Status::conversionError, "conversionError", -67594, "A conversion error has occurred.");
        row(Status::unexpectedError, "unexpectedError", -99999, "Unexpected error has occurred.");
        // A case without a published code here takes the generic path.
        row(Status::timestampRevocationNotification, "timestampRevocationNotification", -99999,
            "Unexpected error has occurred.");
    }
    void statusRowsCarryCodesAndTexts() {
        QFETCH(int, value);
        QFETCH(QString, name);
        QFETCH(int, code);
        QFETCH(QString, description);
        const Status status(static_cast<Status::Case>(value));
        QCOMPARE(status.name(), name);
        QCOMPARE(status.code(), code);
        QCOMPARE(status.description(), description);
        if (status.value() != Status::timestampRevocationNotification) {
            QCOMPARE(Status::fromCode(code), status);
        }
    }

    void statusTableHasEveryCaseAndMapsUnknownCodes() {
        QCOMPARE(Status::caseCount, 403);
        QCOMPARE(Status(Status::Case(0)).name(), QStringLiteral("success"));
        QCOMPARE(Status(Status::Case(402)).name(), QStringLiteral("unexpectedError"));
        QCOMPARE(Status::fromCode(-1), Status(Status::unexpectedError));
        QCOMPARE(Status::fromCode(12345), Status(Status::unexpectedError));
        QCOMPARE(Status::fromCode(-25240), Status(Status::aclNotSimple));
    }
};

QTEST_GUILESS_MAIN(KeychainSharesItemsWithSecretService)
#include "KeychainSharesItemsWithSecretService.moc"
