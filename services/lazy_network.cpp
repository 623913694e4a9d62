#include "services/lazy_network.h"

#include <dlfcn.h>
#include <spdlog/spdlog.h>
#include <utility>

namespace tolvik {
namespace {

/// The factory in a module, which is never closed: its libraries keep state of their own. Null when there is none.
template <class Factory>
Factory* factoryIn(const std::filesystem::path& module, const char* name) {
    void* opened = ::dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
    void* factory = opened == nullptr ? nullptr : ::dlsym(opened, name);
    if (factory == nullptr) {
        const char* why = ::dlerror();
        spdlog::error("a part of the program cannot be loaded: {}", why == nullptr ? name : why);
    }
    return reinterpret_cast<Factory*>(factory);
}

/// A refusal on its way.
class Refused final : public HttpExchange {
public:
    Refused(MainLoop& loop, std::function<void()> call) : timer_(loop.after(Millis{0}, std::move(call))) {}

private:
    Timer timer_;
};

HttpFailure missing() {
    return {HttpFailure::Kind::transport, "the program's network part is missing; install the program again"};
}

std::unexpected<SecretProblem> missingStore() {
    return failure(SecretProblem{"The program's part for the secret service is missing. Install the program again."});
}

}  // namespace

LazyHttpClient::LazyHttpClient(std::filesystem::path module, MainLoop& loop)
    : module_(std::move(module)), loop_(loop) {}
LazyHttpClient::~LazyHttpClient() = default;

HttpClient* LazyHttpClient::loaded() {
    if (!std::exchange(tried_, true)) {
        if (auto* make = factoryIn<HttpClientFactory>(module_, kHttpClientFactoryName)) {
            client_.reset(make(&loop_));
        }
    }
    return client_.get();
}

std::unique_ptr<HttpExchange> LazyHttpClient::send(HttpRequest request, Done done) {
    if (HttpClient* client = loaded()) {
        return client->send(std::move(request), std::move(done));
    }
    return std::make_unique<Refused>(loop_, [done = std::move(done)] { done(failure(missing())); });
}

std::unique_ptr<HttpExchange> LazyHttpClient::stream(HttpRequest request, StreamHandlers handlers) {
    if (HttpClient* client = loaded()) {
        return client->stream(std::move(request), std::move(handlers));
    }
    return std::make_unique<Refused>(loop_, [handlers = std::move(handlers)] {
        if (handlers.onEnd) {
            handlers.onEnd(missing());
        }
    });
}

LazySecretStore::LazySecretStore(std::filesystem::path module) : module_(std::move(module)) {}
LazySecretStore::~LazySecretStore() = default;

SecretStore* LazySecretStore::loaded() {
    if (!std::exchange(tried_, true)) {
        if (auto* make = factoryIn<SecretStoreFactory>(module_, kSecretStoreFactoryName)) {
            store_.reset(make());
        }
    }
    return store_.get();
}

Result<std::optional<std::string>, SecretProblem> LazySecretStore::read(std::string_view account) {
    const std::scoped_lock lock(mutex_);
    SecretStore* store = loaded();
    return store == nullptr ? missingStore() : store->read(account);
}

Result<void, SecretProblem> LazySecretStore::write(std::string_view account, std::string_view secret) {
    const std::scoped_lock lock(mutex_);
    SecretStore* store = loaded();
    return store == nullptr ? missingStore() : store->write(account, secret);
}

Result<void, SecretProblem> LazySecretStore::erase(std::string_view account) {
    const std::scoped_lock lock(mutex_);
    SecretStore* store = loaded();
    return store == nullptr ? missingStore() : store->erase(account);
}

}  // namespace tolvik
