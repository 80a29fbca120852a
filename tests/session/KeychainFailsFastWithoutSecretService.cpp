// Each scenario runs this executable again as a child in the environment it
// needs (no bus, a bus without keyring, a keyring that never answers, a
// locked keyring) and checks what the child reports and prints.

#include <gio/gio.h>

#include "SecretTool.h"

#include "session/Keychain.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <cstring>
#include <functional>

using namespace corvina;
using namespace Qt::StringLiterals;

namespace {

const QString childService = u"de.Corvina-Backup-Manager.Test.Failures"_s;
const QString childKey = u"key"_s;

// One line per operation: "RESULT <operation> <status or value> <milliseconds>".
void report(const char* operation, const std::function<QString()>& run) {
    QElapsedTimer clock;
    clock.start();
    QString outcome;
    try {
        outcome = run();
    } catch (const KeychainError& error) {
        outcome = error.status().name();
    }
    std::printf("RESULT %s %s %lld\n", operation, qPrintable(outcome),
                static_cast<long long>(clock.elapsed()));
    std::fflush(stdout);
}

// Reports each operation named in `operations`, in a fixed order.
void reportOperations(const QByteArrayList& operations) {
    const Keychain keychain(childService);
    const std::vector<std::pair<const char*, std::function<QString()>>> all = {
        {"read",
         [&] {
             const auto value = keychain.readString(childKey);
             return value ? u"value:"_s + *value : u"absent"_s;
         }},
        {"write", [&] { return keychain.writeString(u"new"_s, childKey), u"success"_s; }},
        {"remove", [&] { return keychain.removeItem(childKey), u"success"_s; }},
        {"readFlag", [] { return Keychain::readFlag(childKey) ? u"true"_s : u"false"_s; }},
        {"writeFlag", [] { return Keychain::writeFlag(childKey, true), u"done"_s; }}};
    for (const auto& [name, run] : all) {
        if (operations.contains(name)) {
            report(name, run);
        }
    }
}

// Drops every method call that reaches this connection, so the bus name it
// owns never answers.
GDBusMessage* dropMethodCalls(GDBusConnection*, GDBusMessage* message, gboolean incoming,
                              gpointer) {
    if (incoming && g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
        g_object_unref(message);
        return nullptr;
    }
    return message;
}

bool ownSecretServiceNameSilently() {
    gchar* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    if (address == nullptr) {
        return false;
    }
    // Kept open for the life of the child.
    GDBusConnection* connection = g_dbus_connection_new_for_address_sync(
        address,
        GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                             G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr);
    g_free(address);
    if (connection == nullptr) {
        return false;
    }
    g_dbus_connection_add_filter(connection, dropMethodCalls, nullptr, nullptr);
    GVariant* reply = g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", "org.freedesktop.secrets", 0u), nullptr,
        G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr);
    if (reply == nullptr) {
        return false;
    }
    g_variant_unref(reply);
    return true;
}

bool lockDefaultCollection() {
    QProcess gdbus;
    gdbus.start("gdbus",
                {"call", "--session", "--dest", "org.freedesktop.secrets", "--object-path",
                 "/org/freedesktop/secrets", "--method", "org.freedesktop.Secret.Service.Lock",
                 "['/org/freedesktop/secrets/aliases/default']"});
    return gdbus.waitForFinished(10000) && gdbus.exitCode() == 0;
}

int runChild(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    const QByteArray scenario = argv[2];
    if (scenario == "silent") {
        // Every call waits out the time-out here: two operations are enough.
        if (!ownSecretServiceNameSilently()) {
            return 2;
        }
        reportOperations({"read", "writeFlag"});
        return 0;
    }
    if (scenario == "locked" &&
        (!secret_tool::store({u"service"_s, childService, u"account"_s, childKey}, "old") ||
         !lockDefaultCollection())) {
        return 2;
    }
    reportOperations({"read", "write", "remove", "readFlag", "writeFlag"});
    return 0;
}

// A session bus with no service files: nothing can be activated on it.
const char* const privateBusConfig = R"(<busconfig>
  <type>session</type>
  <listen>unix:tmpdir=/tmp</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

} // namespace

class KeychainFailsFastWithoutSecretService : public QObject {
    Q_OBJECT

    QTemporaryDir scratch;

    // Runs a command line ending in this executable as a child scenario
    // and gives its standard output.
    static QByteArray runChild(QStringList command, const QString& scenario) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        // No display: a keyring must not be able to show an unlock prompt.
        environment.remove(u"DISPLAY"_s);
        environment.remove(u"WAYLAND_DISPLAY"_s);
        command << QCoreApplication::applicationFilePath() << u"--child"_s << scenario;
        QProcess child;
        child.setProcessEnvironment(environment);
        child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        child.start(command.takeFirst(), command);
        if (!child.waitForFinished(60000)) {
            child.kill();
            child.waitForFinished();
            return "child did not finish";
        }
        const QByteArray output = child.readAllStandardOutput();
        if (child.exitStatus() != QProcess::NormalExit || child.exitCode() != 0) {
            return "child failed: " + output;
        }
        return output;
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(scratch.isValid());
        QVERIFY(QDir(scratch.path()).mkpath(u"runtime"_s));
        QFile config(scratch.filePath("bus.conf"));
        QVERIFY(config.open(QIODevice::WriteOnly));
        config.write(privateBusConfig);
    }

    void operationsGiveTheirStatus_data() {
        QTest::addColumn<QStringList>("launcher");
        QTest::addColumn<QString>("scenario");
        QTest::addColumn<QStringList>("results");
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<int>("limitMs");

        const QByteArray notAvailableLine =
            "OSStatus error:[-25291] No keychain is available. You may need to restart your "
            "computer.";
        const QStringList unavailable{"read notAvailable", "write notAvailable",
                                      "remove notAvailable", "readFlag false", "writeFlag done"};
        const QStringList noBus{"env", "-u", "DBUS_SESSION_BUS_ADDRESS",
                                u"XDG_RUNTIME_DIR="_s + scratch.filePath("runtime")};
        const QStringList busWithoutKeyring{
            "dbus-run-session", u"--config-file="_s + scratch.filePath("bus.conf"), "--"};
        QTest::newRow("no session bus")
            << noBus << u"all"_s << unavailable << notAvailableLine << 3000;
        QTest::newRow("bus without secret service")
            << busWithoutKeyring << u"all"_s << unavailable << notAvailableLine << 3000;
        QTest::newRow("secret service that never answers")
            << busWithoutKeyring << u"silent"_s
            << QStringList{"read notAvailable", "writeFlag done"} << notAvailableLine
            << Keychain::callTimeoutMs + 2000;
        // An item in a locked collection that can't be unlocked is no
        // absent item: reads and changes are refused alike.
        QTest::newRow("locked collection")
            << QStringList{"bash", CORVINA_SOURCE_DIR "/scripts/with-keyring.sh"} << u"locked"_s
            << QStringList{"read interactionNotAllowed", "write interactionNotAllowed",
                           "remove interactionNotAllowed", "readFlag false", "writeFlag done"}
            << QByteArray("OSStatus error:[-25308] User interaction is not allowed.") << 3000;
    }
    void operationsGiveTheirStatus() {
        QFETCH(QStringList, launcher);
        QFETCH(QString, scenario);
        QFETCH(QStringList, results);
        QFETCH(QByteArray, line);
        QFETCH(int, limitMs);

        const QByteArray output = runChild(launcher, scenario);
        QStringList seen;
        for (const QByteArray& result : output.split('\n')) {
            const QList<QByteArray> fields = result.split(' ');
            if (fields.size() == 4 && fields[0] == "RESULT") {
                QVERIFY2(fields[3].toInt() < limitMs, result.constData());
                seen << QString::fromUtf8(fields[1] + ' ' + fields[2]);
            }
        }
        QCOMPARE(seen, results);
        QVERIFY2(output.split('\n').contains(line), output.constData());
    }

    // The conversion failure writes its own line, not an OSStatus line.
    void bytesThatAreNoUtf8WriteTheConversionLine() {
        const QStringList attributes{u"service"_s, childService, u"account"_s, childKey};
        QVERIFY(secret_tool::store(attributes, "\xff\xfe"));
        const QByteArray output = runChild({}, u"all"_s);
        secret_tool::clear(attributes);
        secret_tool::clear({u"account"_s, childKey});

        const QList<QByteArray> lines = output.split('\n');
        QVERIFY2(lines.contains("failed to convert data to string"), output.constData());
        QVERIFY2(lines.first().startsWith("failed to convert data to string"), output.constData());
        QVERIFY2(output.contains("RESULT read conversionError "), output.constData());
        QVERIFY2(!output.contains("OSStatus"), output.constData());
    }
};

int main(int argc, char** argv) {
    if (argc >= 3 && std::strcmp(argv[1], "--child") == 0) {
        return runChild(argc, argv);
    }
    QCoreApplication application(argc, argv);
    KeychainFailsFastWithoutSecretService test;
    return QTest::qExec(&test, argc, argv);
}

#include "KeychainFailsFastWithoutSecretService.moc"
