// glib and libsecret come before Qt: glib uses the word "signals".
#include <gio/gio.h>
#include <libsecret/secret.h>

#include "session/Keychain.h"

#include "engine/ApplicationIdentity.h"

#include <QStringDecoder>
#include <QStringEncoder>

#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace corvina {
namespace {

// Items carry "service" and "account"; the schema name is not matched, so
// items written by other programs (secret-tool) are found as well.
SecretSchema makeItemSchema() {
    SecretSchema schema{};
    schema.name = "de.Corvina-Backup-Manager";
    schema.flags = SECRET_SCHEMA_DONT_MATCH_NAME;
    schema.attributes[0] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
    schema.attributes[1] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
    return schema;
}
const SecretSchema itemSchema = makeItemSchema();

const char* const contentType = "text/plain";

// Keychain lines go to standard output in every build.
void writeKeychainLine(const QString& line) {
    const QByteArray bytes = line.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    std::fflush(stdout);
}

// A failed step inside this file; the public operations report it (see
// `reported`), the flag operations swallow it.
struct StoreFailure {
    Status status;
};

// Runs one public operation: a failure writes its OSStatus line (except for a
// cancellation by the user) and leaves as `KeychainError`.
template <typename Operation> auto reported(Operation operation) {
    try {
        return operation();
    } catch (const StoreFailure& failure) {
        if (!(failure.status == Status::userCanceled)) {
            writeKeychainLine(QStringLiteral("OSStatus error:[%1] %2")
                                  .arg(failure.status.code())
                                  .arg(failure.status.description()));
        }
        throw KeychainError(failure.status);
    }
}

struct ErrorDeleter {
    void operator()(GError* error) const { g_error_free(error); }
};
using ErrorPtr = std::unique_ptr<GError, ErrorDeleter>;

struct ObjectDeleter {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T> using ObjectPtr = std::unique_ptr<T, ObjectDeleter>;

struct ValueDeleter {
    void operator()(SecretValue* value) const { secret_value_unref(value); }
};
using ValuePtr = std::unique_ptr<SecretValue, ValueDeleter>;

struct ItemListDeleter {
    void operator()(GList* list) const { g_list_free_full(list, g_object_unref); }
};
using ItemListPtr = std::unique_ptr<GList, ItemListDeleter>;

struct HashTableDeleter {
    void operator()(GHashTable* table) const { g_hash_table_unref(table); }
};

// Attribute table of one query; keeps the UTF-8 texts alive while it is used.
class Attributes {
public:
    Attributes(const QString& service, const QString& account)
        : service_(service.toUtf8())
        , account_(account.toUtf8())
        , table_(g_hash_table_new(g_str_hash, g_str_equal)) {
        if (!service.isNull()) {
            g_hash_table_insert(table_.get(), const_cast<char*>("service"), service_.data());
        }
        g_hash_table_insert(table_.get(), const_cast<char*>("account"), account_.data());
    }

    [[nodiscard]] GHashTable* table() const { return table_.get(); }

private:
    QByteArray service_;
    QByteArray account_;
    std::unique_ptr<GHashTable, HashTableDeleter> table_;
};

// One bounded conversation with the secret store. The asynchronous libsecret
// calls run in a private main context on the calling thread; a deadline
// cancels whatever is still running, so a store that doesn't answer costs at
// most `Keychain::callTimeoutMs`.
class SecretCall {
public:
    using Start = std::function<void(GCancellable*, GAsyncReadyCallback, gpointer)>;

    SecretCall()
        : context_(g_main_context_new())
        , cancellable_(g_cancellable_new())
        , deadline_(g_timeout_source_new(Keychain::callTimeoutMs)) {
        g_main_context_push_thread_default(context_);
        g_source_set_callback(deadline_, &SecretCall::onDeadline, this, nullptr);
        g_source_attach(deadline_, context_);
    }

    ~SecretCall() {
        // Objects that went away during the call leave their clean-up (the
        // release of their signal subscriptions) queued on this context.
        while (g_main_context_iteration(context_, FALSE)) {
        }
        g_source_destroy(deadline_);
        g_source_unref(deadline_);
        g_object_unref(cancellable_);
        g_main_context_pop_thread_default(context_);
        g_main_context_unref(context_);
    }

    SecretCall(const SecretCall&) = delete;
    SecretCall& operator=(const SecretCall&) = delete;

    // Starts one asynchronous step and waits for its result, which the
    // caller hands to the step's finish function.
    ObjectPtr<GAsyncResult> await(const Start& start) {
        result_ = nullptr;
        start(cancellable_, &SecretCall::onReady, this);
        while (result_ == nullptr) {
            g_main_context_iteration(context_, TRUE);
        }
        return ObjectPtr<GAsyncResult>(std::exchange(result_, nullptr));
    }

    // The Status for a failed step.
    [[nodiscard]] Status statusFor(const GError* error) const {
        if (timedOut_) {
            return Status::notAvailable;
        }
        if (error->domain == G_IO_ERROR) {
            switch (error->code) {
            case G_IO_ERROR_CANCELLED:
                return Status::userCanceled;
            case G_IO_ERROR_DBUS_ERROR:
                return Status::unexpectedError;
            default:
                // No session bus, or the bus is unreachable or timed out.
                return Status::notAvailable;
            }
        }
        if (error->domain == G_DBUS_ERROR) {
            switch (error->code) {
            case G_DBUS_ERROR_SERVICE_UNKNOWN:
            case G_DBUS_ERROR_NAME_HAS_NO_OWNER:
            case G_DBUS_ERROR_NO_SERVER:
            case G_DBUS_ERROR_TIMEOUT:
            case G_DBUS_ERROR_TIMED_OUT:
            case G_DBUS_ERROR_SPAWN_EXEC_FAILED:
            case G_DBUS_ERROR_SPAWN_FORK_FAILED:
            case G_DBUS_ERROR_SPAWN_CHILD_EXITED:
            case G_DBUS_ERROR_SPAWN_CHILD_SIGNALED:
            case G_DBUS_ERROR_SPAWN_FAILED:
            case G_DBUS_ERROR_SPAWN_SERVICE_NOT_FOUND:
                return Status::notAvailable;
            default:
                return Status::unexpectedError;
            }
        }
        if (error->domain == SECRET_ERROR && error->code == SECRET_ERROR_IS_LOCKED) {
            return Status::interactionNotAllowed;
        }
        return Status::unexpectedError;
    }

    // Throws the Status of a failed step.
    [[noreturn]] void fail(ErrorPtr error) const { throw StoreFailure{statusFor(error.get())}; }

private:
    static void onReady(GObject*, GAsyncResult* result, gpointer self) {
        static_cast<SecretCall*>(self)->result_ = G_ASYNC_RESULT(g_object_ref(result));
    }

    static gboolean onDeadline(gpointer self) {
        auto* call = static_cast<SecretCall*>(self);
        call->timedOut_ = true;
        g_cancellable_cancel(call->cancellable_);
        return G_SOURCE_REMOVE;
    }

    GMainContext* context_;
    GCancellable* cancellable_;
    GSource* deadline_;
    GAsyncResult* result_ = nullptr;
    bool timedOut_ = false;
};

ObjectPtr<SecretService> connectService(SecretCall& call) {
    auto result =
        call.await([](GCancellable* cancellable, GAsyncReadyCallback ready, gpointer data) {
            secret_service_get(SECRET_SERVICE_OPEN_SESSION, cancellable, ready, data);
        });
    GError* error = nullptr;
    ObjectPtr<SecretService> service(secret_service_get_finish(result.get(), &error));
    if (!service) {
        call.fail(ErrorPtr(error));
    }
    return service;
}

ItemListPtr searchItems(SecretCall& call, SecretService* service, const Attributes& attributes) {
    auto result =
        call.await([&](GCancellable* cancellable, GAsyncReadyCallback ready, gpointer data) {
            secret_service_search(service, &itemSchema, attributes.table(), SECRET_SEARCH_ALL,
                                  cancellable, ready, data);
        });
    GError* error = nullptr;
    ItemListPtr items(secret_service_search_finish(service, result.get(), &error));
    if (error != nullptr) {
        call.fail(ErrorPtr(error));
    }
    return items;
}

// The lookup of `readData` and `readFlag`: nullopt when no item matches.
// The search asks the store to unlock what it finds (the store may prompt);
// an item that stays locked is a failure, never "no item": a locked keyring
// must not read as one without a password.
std::optional<QByteArray> lookup(SecretCall& call, const Attributes& attributes) {
    auto service = connectService(call);
    auto result =
        call.await([&](GCancellable* cancellable, GAsyncReadyCallback ready, gpointer data) {
            secret_service_search(service.get(), &itemSchema, attributes.table(),
                                  SecretSearchFlags(SECRET_SEARCH_ALL | SECRET_SEARCH_UNLOCK |
                                                    SECRET_SEARCH_LOAD_SECRETS),
                                  cancellable, ready, data);
        });
    GError* error = nullptr;
    ItemListPtr items(secret_service_search_finish(service.get(), result.get(), &error));
    if (error != nullptr) {
        call.fail(ErrorPtr(error));
    }
    bool lockedItemFound = false;
    for (GList* node = items.get(); node != nullptr; node = node->next) {
        auto* item = SECRET_ITEM(node->data);
        ValuePtr value(secret_item_get_secret(item));
        if (secret_item_get_locked(item) || !value) {
            lockedItemFound = true;
            continue;
        }
        gsize length = 0;
        const gchar* bytes = secret_value_get(value.get(), &length);
        return QByteArray(bytes, static_cast<qsizetype>(length));
    }
    if (lockedItemFound) {
        throw StoreFailure{Status::interactionNotAllowed};
    }
    return std::nullopt;
}

void store(SecretCall& call, SecretService* service, const Attributes& attributes,
           const QString& label, const QByteArray& bytes) {
    ValuePtr value(secret_value_new(bytes.constData(), bytes.size(), contentType));
    const QByteArray labelBytes = label.toUtf8();
    auto result = call.await([&](GCancellable* cancellable, GAsyncReadyCallback ready,
                                 gpointer data) {
        secret_service_store(service, &itemSchema, attributes.table(), SECRET_COLLECTION_DEFAULT,
                             labelBytes.constData(), value.get(), cancellable, ready, data);
    });
    GError* error = nullptr;
    if (!secret_service_store_finish(service, result.get(), &error)) {
        call.fail(ErrorPtr(error));
    }
}

void deleteItem(SecretCall& call, SecretItem* item) {
    auto result =
        call.await([&](GCancellable* cancellable, GAsyncReadyCallback ready, gpointer data) {
            secret_item_delete(item, cancellable, ready, data);
        });
    GError* error = nullptr;
    if (!secret_item_delete_finish(item, result.get(), &error)) {
        call.fail(ErrorPtr(error));
    }
}

// Removes every item that matches; a locked item can't be removed, so it
// fails the removal instead of being skipped silently.
void removeMatching(SecretCall& call, const Attributes& attributes) {
    auto service = connectService(call);
    auto items = searchItems(call, service.get(), attributes);
    for (GList* node = items.get(); node != nullptr; node = node->next) {
        if (secret_item_get_locked(SECRET_ITEM(node->data))) {
            throw StoreFailure{Status::interactionNotAllowed};
        }
    }
    for (GList* node = items.get(); node != nullptr; node = node->next) {
        deleteItem(call, SECRET_ITEM(node->data));
    }
}

// Updates the items that match in place, or adds one.
void writeItem(const Keychain::Options& options, const QByteArray& value, const QString& key) {
    SecretCall call;
    const Attributes attributes(options.service, key);
    auto service = connectService(call);
    auto items = searchItems(call, service.get(), attributes);
    if (items) {
        // Present: every item that matches gets the new value in place, so
        // that whichever of them a read finds carries it.
        ValuePtr secret(secret_value_new(value.constData(), value.size(), contentType));
        for (GList* node = items.get(); node != nullptr; node = node->next) {
            auto* item = SECRET_ITEM(node->data);
            auto result = call.await(
                [&](GCancellable* cancellable, GAsyncReadyCallback ready, gpointer data) {
                    secret_item_set_secret(item, secret.get(), cancellable, ready, data);
                });
            GError* error = nullptr;
            if (!secret_item_set_secret_finish(item, result.get(), &error)) {
                call.fail(ErrorPtr(error));
            }
        }
        return;
    }
    store(call, service.get(), attributes, options.label.value_or(options.service + u' ' + key),
          value);
}

bool isValidUtf8(const QByteArray& bytes, QString* text) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    *text = decoder.decode(bytes);
    return !decoder.hasError();
}

} // namespace

Keychain::Keychain()
    : Keychain(bundleIdentifier) {}

Keychain::Keychain(const QString& service) {
    options.service = service;
}

std::optional<QString> Keychain::readString(const QString& key) const {
    const auto data = readData(key);
    if (!data) {
        return std::nullopt;
    }
    QString text;
    if (!isValidUtf8(*data, &text)) {
        writeKeychainLine(QStringLiteral("failed to convert data to string"));
        throw KeychainError(Status::conversionError);
    }
    return text;
}

void Keychain::writeString(const QString& value, const QString& key) const {
    QStringEncoder encoder(QStringEncoder::Utf8, QStringEncoder::Flag::Stateless);
    const QByteArray bytes = encoder.encode(value);
    if (encoder.hasError()) {
        writeKeychainLine(QStringLiteral("failed to convert string to data"));
        throw KeychainError(Status::conversionError);
    }
    writeData(bytes, key);
}

std::optional<QByteArray> Keychain::readData(const QString& key) const {
    return reported([&] {
        SecretCall call;
        return lookup(call, Attributes(options.service, key));
    });
}

void Keychain::writeData(const QByteArray& value, const QString& key) const {
    reported([&] { writeItem(options, value, key); });
}

void Keychain::removeItem(const QString& key) const {
    reported([&] {
        SecretCall call;
        removeMatching(call, Attributes(options.service, key));
    });
}

bool Keychain::readFlag(const QString& key) {
    try {
        SecretCall call;
        const auto data = lookup(call, Attributes(QString(), key));
        return data && *data == "true";
    } catch (const StoreFailure&) {
        return false;
    }
}

void Keychain::writeFlag(const QString& key, bool value) {
    const Attributes attributes(QString(), key);
    const QByteArray bytes = value ? QByteArrayLiteral("true") : QByteArrayLiteral("false");
    // Both steps share one deadline; neither outcome is looked at.
    SecretCall call;
    try {
        removeMatching(call, attributes);
    } catch (const StoreFailure&) {
    }
    try {
        auto service = connectService(call);
        store(call, service.get(), attributes, key, bytes);
    } catch (const StoreFailure&) {
    }
}

} // namespace corvina
