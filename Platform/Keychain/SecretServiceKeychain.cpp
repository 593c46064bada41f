// The desktop's keyring by way of libsecret. Items bear the attributes "service" or "label", and "account", under the
// schema below; the secret itself is never part of them.
#include <libsecret/secret.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Keychain/Keychain.h"
#include "MessageBus/BusConnection.h"

namespace qs {

namespace {

constexpr std::chrono::seconds kAnswerTime(5);
constexpr TimeInterval kPauseAfterSilence = 30;

const SecretSchema* schema() {
    static const SecretSchema made = [] {
        SecretSchema all{};
        all.name = "com.tallowbay.Quillstead.Item";
        all.flags = SECRET_SCHEMA_NONE;
        all.attributes[0] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
        all.attributes[1] = {"label", SECRET_SCHEMA_ATTRIBUTE_STRING};
        all.attributes[2] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
        return all;
    }();
    return &made;
}

template <class T>
struct Release {
    void operator()(T* object) const { g_object_unref(object); }
};
template <class T>
using Ref = std::unique_ptr<T, Release<T>>;

struct Fault {
    GError* error = nullptr;
    Fault() = default;
    Fault(const Fault&) = delete;
    Fault& operator=(const Fault&) = delete;
    ~Fault() { g_clear_error(&error); }
    std::string text() const { return error ? error->message : "no reason given"; }
    bool isTooLate() const { return g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED); }
    bool isLocked() const { return g_error_matches(error, SECRET_ERROR, SECRET_ERROR_IS_LOCKED); }
};

Error errorOf(KeychainError code, std::string description) {
    return {kKeychainErrorDomain, static_cast<int>(code), std::move(description), {}};
}
Error isLocked() { return errorOf(KeychainError::Locked, "The keyring is locked."); }
Error tooLate() { return errorOf(KeychainError::Unreachable, "The keyring does not answer."); }
Error errorOf(const Fault& fault) {
    if (fault.isLocked()) return isLocked();
    if (fault.isTooLate()) return tooLate();
    return errorOf(KeychainError::Unreachable, "The keyring does not answer: " + fault.text());
}

// The bus takes only text: bytes that are none are written as %XX, and so is the percent sign.
std::string attributeText(std::string_view bytes) {
    const bool isText = g_utf8_validate(bytes.data(), static_cast<gssize>(bytes.size()), nullptr);
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (c != '%' && byte >= 0x20 && (isText || byte < 0x80)) {
            text += c;
            continue;
        }
        constexpr const char* digits = "0123456789ABCDEF";
        text += {'%', digits[byte >> 4], digits[byte & 15]};
    }
    return text;
}

struct Attributes {
    GHashTable* table = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free);
    explicit Attributes(const KeychainName& name) {
        add(name.kind == KeychainName::Kind::Service ? "service" : "label", name.place);
        add("account", name.account);
    }
    ~Attributes() { g_hash_table_unref(table); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

private:
    void add(const char* key, std::string_view bytes) {
        g_hash_table_insert(table, g_strdup(key), g_strdup(attributeText(bytes).c_str()));
    }
};

class Items {
public:
    explicit Items(GList* list) : list_(list) {}
    ~Items() { g_list_free_full(list_, g_object_unref); }
    Items(const Items&) = delete;
    Items& operator=(const Items&) = delete;
    bool isEmpty() const { return list_ == nullptr; }
    SecretItem* firstUnlocked() const {
        for (const GList* each = list_; each; each = each->next)
            if (auto* item = static_cast<SecretItem*>(each->data); !secret_item_get_locked(item)) return item;
        return nullptr;
    }

private:
    GList* list_;
};

// Ends what waits for the keyring when one question has taken too long: neither the bus nor the daemon behind it is
// bound to answer.
class Deadline {
public:
    Deadline() : thread_([this](const std::stop_token& inTime) { wait(inTime); }) {}
    GCancellable* get() const { return cancellable_.get(); }

private:
    void wait(const std::stop_token& inTime) {
        std::mutex lock;
        std::unique_lock hold(lock);
        std::condition_variable_any end;
        end.wait_for(hold, inTime, kAnswerTime, [] { return false; });
        if (!inTime.stop_requested()) g_cancellable_cancel(cancellable_.get());
    }

    const Ref<GCancellable> cancellable_{g_cancellable_new()};
    std::jthread thread_;
};

class SecretServiceKeychain : public Keychain {
public:
    Result<std::string> read(const KeychainName& name) override {
        return inTime<std::string>([&](GCancellable* deadline) { return readFrom(name, deadline); });
    }

    Result<void> write(const KeychainName& name, std::string_view secret) override {
        return inTime<void>([&](GCancellable* deadline) { return writeTo(name, secret, deadline); });
    }

    Result<void> remove(const KeychainName& name) override {
        return inTime<void>([&](GCancellable* deadline) { return removeFrom(name, deadline); });
    }

    bool unlock() override {
        const Deadline deadline;
        const auto service = connect(deadline.get());
        if (!service) return false;
        const auto collection = collectionByDefault(service->get(), deadline.get());
        if (!collection) return false;
        // From here on the person is asked, who may take minutes.
        if (!*collection) {
            const Ref<SecretCollection> made(secret_collection_create_sync(
                service->get(), "Login", SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_CREATE_NONE, nullptr, nullptr));
            return made != nullptr;
        }
        if (!secret_collection_get_locked(collection->get())) return true;
        GList* wanted = g_list_append(nullptr, collection->get());
        const int unlocked = secret_service_unlock_sync(service->get(), wanted, nullptr, nullptr, nullptr);
        g_list_free(wanted);
        return unlocked > 0;
    }

private:
    // A keyring that let one question lie is left alone for a while: many are asked at the start, one after the other.
    template <class T, class Ask>
    Result<T> inTime(const Ask& ask) {
        const RunLoop* const loop = RunLoop::mainIfInstalled();
        if (loop && loop->uptime() < silentUntil_) return failure(tooLate());
        const Deadline deadline;
        auto answer = ask(deadline.get());
        if (answer || !g_cancellable_is_cancelled(deadline.get())) return answer;
        if (loop) silentUntil_ = loop->uptime() + kPauseAfterSilence;
        logWarning("The keyring does not answer. Its passwords are missing until it does.");
        return answer;
    }

    static Result<std::string> readFrom(const KeychainName& name, GCancellable* deadline) {
        const auto service = connect(deadline);
        if (!service) return failed(service);
        const Attributes attributes(name);
        Fault fault;
        const Items items(secret_service_search_sync(service->get(), schema(), attributes.table, SECRET_SEARCH_ALL,
                                                     deadline, &fault.error));
        if (fault.error) return failure(errorOf(fault));
        if (items.isEmpty()) {
            // A keyring that was never open since its daemon started does not know what it holds.
            const auto collection = collectionByDefault(service->get(), deadline);
            if (!collection) return failed(collection);
            if (*collection && secret_collection_get_locked(collection->get())) return failure(isLocked());
            return failure(errorOf(KeychainError::Missing, "The keychain holds no such item."));
        }
        SecretItem* item = items.firstUnlocked();
        if (!item) return failure(isLocked());
        if (!secret_item_load_secret_sync(item, deadline, &fault.error)) return failure(errorOf(fault));
        const std::unique_ptr<SecretValue, void (*)(SecretValue*)> value(
            secret_item_get_secret(item), [](SecretValue* held) { secret_value_unref(held); });
        if (!value) return failure(isLocked());
        gsize size = 0;
        const char* bytes = secret_value_get(value.get(), &size);
        return std::string(bytes, size);
    }

    static Result<void> writeTo(const KeychainName& name, std::string_view secret, GCancellable* deadline) {
        const auto service = connect(deadline);
        if (!service) return failed(service);
        // Storing into a locked keyring, or where there is none yet, would ask the person and wait.
        if (const auto open = checkOpen(service->get(), deadline); !open) return failed(open);
        const Attributes attributes(name);
        const std::unique_ptr<SecretValue, void (*)(SecretValue*)> value(
            secret_value_new(secret.data(), static_cast<gssize>(secret.size()), "application/octet-stream"),
            [](SecretValue* held) { secret_value_unref(held); });
        Fault fault;
        const std::string title = "Quillstead (" + attributeText(name.account) + ")";
        if (!secret_service_store_sync(service->get(), schema(), attributes.table, SECRET_COLLECTION_DEFAULT,
                                       title.c_str(), value.get(), deadline, &fault.error))
            return failure(errorOf(fault));
        const auto again = readFrom(name, deadline);
        if (!again) return failed(again);
        if (*again != secret) return failure(errorOf(KeychainError::Failed, "The keyring did not keep what it took."));
        return {};
    }

    static Result<void> removeFrom(const KeychainName& name, GCancellable* deadline) {
        if (const auto there = readFrom(name, deadline); !there) return failed(there);
        const auto service = connect(deadline);
        if (!service) return failed(service);
        const Attributes attributes(name);
        Fault fault;
        if (!secret_service_clear_sync(service->get(), schema(), attributes.table, deadline, &fault.error))
            return failure(fault.error ? errorOf(fault)
                                       : errorOf(KeychainError::Failed, "The keyring did not remove the item."));
        return {};
    }

    static Result<Ref<SecretService>> connect(GCancellable* deadline) {
        if (isSessionBusSilent())
            return failure(errorOf(KeychainError::Unreachable, "The desktop's session bus does not answer."));
        Fault fault;
        const Ref<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, deadline, &fault.error));
        if (!bus) return failure(errorOf(fault));
        if (g_dbus_connection_is_closed(bus.get()))
            return failure(errorOf(KeychainError::Unreachable, "The desktop session has ended."));
        g_dbus_connection_set_exit_on_close(bus.get(), FALSE);  // the desktop may end before us
        // Not the shared one, which stays bound to a keyring daemon that has gone.
        Ref<SecretService> service(secret_service_open_sync(SECRET_TYPE_SERVICE, nullptr, SECRET_SERVICE_OPEN_SESSION,
                                                            deadline, &fault.error));
        if (!service) return failure(errorOf(fault));
        return service;
    }

    // Null when there is none.
    static Result<Ref<SecretCollection>> collectionByDefault(SecretService* service, GCancellable* deadline) {
        Fault fault;
        Ref<SecretCollection> collection(secret_collection_for_alias_sync(
            service, SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, deadline, &fault.error));
        if (fault.error) return failure(errorOf(fault));
        return collection;
    }
    // One that can be written to.
    static Result<void> checkOpen(SecretService* service, GCancellable* deadline) {
        const auto collection = collectionByDefault(service, deadline);
        if (!collection) return failed(collection);
        if (!*collection) return failure(errorOf(KeychainError::Locked, "There is no keyring yet."));
        if (secret_collection_get_locked(collection->get())) return failure(isLocked());
        return {};
    }

    std::atomic<TimeInterval> silentUntil_ = 0;  // on the run loop's uptime
};

}  // namespace

std::shared_ptr<Keychain> Keychain::secretService() { return std::make_shared<SecretServiceKeychain>(); }

}  // namespace qs
