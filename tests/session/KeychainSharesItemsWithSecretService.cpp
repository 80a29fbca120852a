// Runs inside the private keyring session of scripts/with-keyring.sh: every
// item here lives in a real gnome-keyring and is cross-checked with secret-tool.

#include "SecretTool.h"

#include "session/KeychainService.h"

#include <QTest>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

using namespace corvina;
using namespace Qt::StringLiterals;

namespace {

QStringList itemAttributes(const QString& service, const QString& account) {
    return {u"service"_s, service, u"account"_s, account};
}

QStringList flagAttributes(const QString& account) {
    return {u"account"_s, account};
}

/// The status of the error `step` throws; success when it throws none.
Status statusOf(const std::function<void()>& step) {
    try {
        step();
    } catch (const KeychainError& error) {
        return error.status();
    }
    return Status::success;
}

} // namespace

class KeychainSharesItemsWithSecretService : public QObject {
    Q_OBJECT

    // Each test function gets a service and flag key of its own.
    QString service() const {
        return u"de.Corvina-Backup-Manager.Test."_s +
               QString::fromLatin1(QTest::currentTestFunction());
    }
    QString flagKey() const {
        return u"corvinaTestFlag."_s + QString::fromLatin1(QTest::currentTestFunction());
    }

private Q_SLOTS:
    void init() {
        secret_tool::clear(QStringList{u"service"_s, service()});
        secret_tool::clear(QStringList{u"service"_s, service() + u".other"_s});
        secret_tool::clear(flagAttributes(flagKey()));
    }

    // Text written by either side reads back on the other, as UTF-8.
    void textCrossesBetweenProgramAndSecretTool_data() {
        QTest::addColumn<bool>("bySecretTool");
        QTest::addColumn<QString>("text");
        const QString umlauts = u"Grüße € 🔒"_s;
        QTest::newRow("secret-tool writes") << true << umlauts;
        QTest::newRow("program writes") << false << umlauts;
        QTest::newRow("program writes empty text") << false << QString();
    }
    void textCrossesBetweenProgramAndSecretTool() {
        QFETCH(bool, bySecretTool);
        QFETCH(QString, text);
        const auto attributes = itemAttributes(service(), u"key"_s);
        const KeychainService store(service());
        if (bySecretTool) {
            QVERIFY(secret_tool::store(attributes, text.toUtf8()));
        } else {
            store.keychain.writeString(text, u"key"_s);
        }
        QCOMPARE(secret_tool::lookup(attributes).output, text.toUtf8());
        QCOMPARE(store.keychain.readString(u"key"_s), std::optional<QString>(text));
    }

    // A write changes the items already there in place, whoever wrote them:
    // every matching one when another program left two.
    void writeUpdatesTheExistingItems_data() {
        QTest::addColumn<int>("secretToolItems"); // 0: this program wrote the item
        QTest::newRow("item of this program") << 0;
        QTest::newRow("item of secret-tool") << 1;
        QTest::newRow("two matching items of secret-tool") << 2;
    }
    void writeUpdatesTheExistingItems() {
        QFETCH(int, secretToolItems);
        const auto attributes = itemAttributes(service(), u"key"_s);
        const QStringList extended = attributes + QStringList{"extra", "x"};
        const Keychain keychain(service());
        if (secretToolItems == 0) {
            keychain.writeString(u"first"_s, u"key"_s);
        }
        QVERIFY(secretToolItems < 1 || secret_tool::store(attributes, "first"));
        QVERIFY(secretToolItems < 2 || secret_tool::store(extended, "extended"));
        const auto sortedPaths = [&] {
            QStringList paths = secret_tool::itemPaths(attributes);
            paths.sort();
            return paths;
        };
        const QStringList before = sortedPaths();
        QCOMPARE(before.size(), qMax(1, secretToolItems));

        keychain.writeString(u"second"_s, u"key"_s);

        QCOMPARE(sortedPaths(), before);
        QCOMPARE(secret_tool::lookup(attributes).output, QByteArray("second"));
        QCOMPARE(secret_tool::lookup(extended).exitCode, secretToolItems == 2 ? 0 : 1);
        QVERIFY(secretToolItems < 2 || secret_tool::lookup(extended).output == "second");
        QCOMPARE(keychain.readString(u"key"_s), std::optional<QString>(u"second"_s));
    }

    void keysAndServicesDoNotMix() {
        const Keychain first(service());
        const Keychain other(service() + u".other"_s);
        first.writeString(u"one"_s, u"key"_s);
        first.writeString(u"two"_s, u"key2"_s);

        QCOMPARE(other.readString(u"key"_s), std::nullopt);
        QCOMPARE(first.readString(u"key2"_s), std::optional<QString>(u"two"_s));
        other.removeItem(u"key"_s);
        QCOMPARE(first.readString(u"key"_s), std::optional<QString>(u"one"_s));
    }

    void removalDeletesAndAbsenceIsNoError() {
        const auto attributes = itemAttributes(service(), u"key"_s);
        QVERIFY(secret_tool::store(attributes, "gone soon"));
        const Keychain keychain(service());
        keychain.removeItem(u"key"_s);
        QCOMPARE(secret_tool::itemPaths(attributes), QStringList());
        QCOMPARE(keychain.readString(u"key"_s), std::nullopt);
        QCOMPARE(keychain.readData(u"key"_s), std::nullopt);
        keychain.removeItem(u"key"_s);
    }

    void bytesThatAreNoUtf8FailToConvert_data() {
        QTest::addColumn<QByteArray>("stored");
        QTest::newRow("invalid byte") << QByteArray("\xff");
        QTest::newRow("encoded surrogate") << QByteArray("\xed\xa0\x80");
        QTest::newRow("cut off at the end") << QByteArray("ok\xe2\x82");
    }
    void bytesThatAreNoUtf8FailToConvert() {
        QFETCH(QByteArray, stored);
        QVERIFY(secret_tool::store(itemAttributes(service(), u"key"_s), stored));
        const Keychain keychain(service());
        QCOMPARE(statusOf([&] { (void)keychain.readString(u"key"_s); }),
                 Status(Status::conversionError));
        QCOMPARE(keychain.readData(u"key"_s), std::optional<QByteArray>(stored));
    }

    void flagIsTrueOnlyForExactTrue_data() {
        QTest::addColumn<QByteArray>("stored");
        QTest::addColumn<bool>("expected");
        QTest::newRow("absent") << QByteArray() << false;
        QTest::newRow("true") << QByteArray("true") << true;
        QTest::newRow("True") << QByteArray("True") << false;
        QTest::newRow("true with newline") << QByteArray("true\n") << false;
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
        QCOMPARE(secret_tool::lookup(QStringList{u"service"_s, service()}).exitCode, 1);
    }

    // Callers may sit on any thread; each call runs its own conversation.
    void callsFromSeveralThreadsAtOnce() {
        const Keychain keychain(service());
        std::vector<std::thread> threads;
        std::atomic<int> failures = 0;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&, t] {
                const QString key = u"key%1"_s.arg(t);
                for (int round = 0; round < 5; ++round) {
                    const QString value = u"value %1.%2"_s.arg(t).arg(round);
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
            const auto attributes = itemAttributes(service(), u"key%1"_s.arg(t));
            QCOMPARE(secret_tool::itemPaths(attributes).size(), 1);
        }
    }
};

QTEST_GUILESS_MAIN(KeychainSharesItemsWithSecretService)
#include "KeychainSharesItemsWithSecretService.moc"
