#include "adapters/secrets/libsecret_store.h"

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <libsecret/secret.h>
#include <memory>
#include <mutex>
#include <stop_token>
#include <thread>

namespace tolvik {
namespace {

constexpr const char* kService = "net.tolvik.Tolvik";
constexpr std::chrono::minutes kLongest{2};

const SecretSchema& schema() {
    static const SecretSchema made = [] {
        SecretSchema fields{};
        fields.name = "net.tolvik.Session";
        fields.flags = SECRET_SCHEMA_NONE;
        fields.attributes[0] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
        fields.attributes[1] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
        return fields;
    }();
    return made;
}

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
    void operator()(GHashTable* table) const { g_hash_table_unref(table); }
};
template <class T>
using Object = std::unique_ptr<T, Unref>;
using Attributes = std::unique_ptr<GHashTable, Unref>;

Attributes attributesOf(std::string_view account) {
    Attributes table(g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free));
    g_hash_table_insert(table.get(), g_strdup("service"), g_strdup(kService));
    g_hash_table_insert(table.get(), g_strdup("account"), g_strndup(account.data(), account.size()));
    return table;
}

/// One conversation with the service: its time limit and its error.
class Call {
public:
    Call() : cancellable_(g_cancellable_new()) {
        limit_ = std::jthread([this](const std::stop_token& stop) {
            std::unique_lock lock(mutex_);
            if (!over_.wait_for(lock, stop, kLongest, [&] { return stop.stop_requested(); }) &&
                !stop.stop_requested()) {
                g_cancellable_cancel(cancellable_.get());
            }
        });
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    ~Call() {
        limit_.request_stop();
        limit_.join();
        g_clear_error(&error_);
    }

    [[nodiscard]] GCancellable* cancellable() const { return cancellable_.get(); }
    [[nodiscard]] GError** error() {
        g_clear_error(&error_);
        return &error_;
    }
    [[nodiscard]] const GError* failed() const { return error_; }

private:
    Object<GCancellable> cancellable_;
    GError* error_ = nullptr;
    std::mutex mutex_;
    std::condition_variable_any over_;
    std::jthread limit_;
};

std::unexpected<SecretProblem> problem(std::string text) {
    return std::unexpected(SecretProblem{std::move(text)});
}

std::unexpected<SecretProblem> absent() {
    return problem(
        "This session has no secret service, and the account's key is kept nowhere else. Install GNOME Keyring "
        "(package gnome-keyring), KWallet or KeePassXC, sign in to the desktop again, and try once more.");
}

std::unexpected<SecretProblem> locked() {
    return problem(
        "The secret service is locked. Unlock your keyring (it usually opens with the desktop's sign-in; else "
        "with the program Passwords and Keys), and try once more.");
}

std::unexpected<SecretProblem> withoutKeyring() {
    return problem(
        "The secret service has no lasting keyring: what it keeps is lost at the end of the session. Make a "
        "keyring and set it as the default (program Passwords and Keys), and try once more.");
}

std::unexpected<SecretProblem> problemOf(const GError* error) {
    if (error == nullptr || g_error_matches(error, SECRET_ERROR, SECRET_ERROR_IS_LOCKED)) {
        return locked();
    }
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
        return problem("The secret service was not unlocked in time. Unlock your keyring, and try once more.");
    }
    if (g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN) ||
        g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER) ||
        (error->domain == G_DBUS_ERROR && error->code >= G_DBUS_ERROR_SPAWN_EXEC_FAILED &&
         error->code <= G_DBUS_ERROR_SPAWN_NO_MEMORY) ||
        g_error_matches(error, G_IO_ERROR, G_IO_ERROR_NOT_FOUND) ||
        g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CONNECTION_REFUSED)) {
        return absent();
    }
    // The keyring is missing at the place where it was announced.
    if (g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_METHOD) ||
        g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_OBJECT) ||
        g_error_matches(error, SECRET_ERROR, SECRET_ERROR_NO_SUCH_OBJECT)) {
        return withoutKeyring();
    }
    const std::unique_ptr<GError, decltype([](GError* copy) { g_error_free(copy); })> copy(g_error_copy(error));
    g_dbus_error_strip_remote_error(copy.get());
    return problem(
        fmt::format("The secret service did not answer as expected: {}. Restart it, or sign in to the "
                    "desktop again, and try once more.",
                    copy->message));
}

/// libsecret would start a bus of its own, whose keyring nobody sees.
bool hasSessionBus() {
    const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    if (address != nullptr && *address != '\0') {
        return true;
    }
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    std::error_code error;
    return runtime != nullptr && std::filesystem::exists(std::filesystem::path(runtime) / "bus", error);
}

Result<Object<SecretService>, SecretProblem> connect(Call& call) {
    if (!hasSessionBus()) {
        return absent();
    }
    Object<SecretService> service(
        secret_service_get_sync(SECRET_SERVICE_OPEN_SESSION, call.cancellable(), call.error()));
    if (!service) {
        return problemOf(call.failed());
    }
    return service;
}

/// The collection that new secrets go to; null when there is none yet.
Object<SecretCollection> defaultCollection(SecretService& service, Call& call) {
    return Object<SecretCollection>(secret_collection_for_alias_sync(
        &service, SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, call.cancellable(), call.error()));
}

}  // namespace

Result<std::optional<std::string>, SecretProblem> LibsecretStore::read(std::string_view account) {
    Call call;
    const auto service = connect(call);
    if (!service) {
        return std::unexpected(service.error());
    }
    gchar* secret =
        secret_password_lookupv_sync(&schema(), attributesOf(account).get(), call.cancellable(), call.error());
    if (secret != nullptr) {
        std::string out(secret);
        secret_password_free(secret);
        return out;
    }
    if (call.failed() != nullptr) {
        return problemOf(call.failed());
    }
    // A keyring that stays locked looks like one that has no such item.
    const auto collection = defaultCollection(**service, call);
    if (collection && secret_collection_get_locked(collection.get())) {
        return locked();
    }
    return std::nullopt;
}

Result<void, SecretProblem> LibsecretStore::write(std::string_view account, std::string_view secret) {
    Call call;
    const auto service = connect(call);
    if (!service) {
        return std::unexpected(service.error());
    }
    if (const auto collection = defaultCollection(**service, call)) {
        const std::string_view path = g_dbus_proxy_get_object_path(G_DBUS_PROXY(collection.get()));
        if (path.ends_with("/session")) {
            return withoutKeyring();
        }
    }
    const std::string text(secret);
    if (secret_password_storev_sync(&schema(), attributesOf(account).get(), SECRET_COLLECTION_DEFAULT, "Tolvik session",
                                    text.c_str(), call.cancellable(), call.error()) == FALSE) {
        return problemOf(call.failed());
    }
    return {};
}

Result<void, SecretProblem> LibsecretStore::erase(std::string_view account) {
    Call call;
    if (const auto service = connect(call); !service) {
        return std::unexpected(service.error());
    }
    static_cast<void>(
        secret_password_clearv_sync(&schema(), attributesOf(account).get(), call.cancellable(), call.error()));
    if (call.failed() != nullptr) {
        return problemOf(call.failed());
    }
    return {};
}

}  // namespace tolvik
