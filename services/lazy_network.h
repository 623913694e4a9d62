#pragma once

#include <filesystem>
#include <memory>
#include <mutex>

#include "backend/http_client.h"
#include "backend/secret_store.h"
#include "base/main_loop.h"

namespace tolvik {

/// Requests by a module that is loaded with the first one: most commands send none, and its libraries take longer to
/// load than such a command runs. Main loop only.
class LazyHttpClient final : public HttpClient {
public:
    LazyHttpClient(std::filesystem::path module, MainLoop& loop);
    ~LazyHttpClient() override;

    [[nodiscard]] std::unique_ptr<HttpExchange> send(HttpRequest request, Done done) override;
    [[nodiscard]] std::unique_ptr<HttpExchange> stream(HttpRequest request, StreamHandlers handlers) override;

private:
    HttpClient* loaded();

    std::filesystem::path module_;
    MainLoop& loop_;
    bool tried_ = false;
    std::unique_ptr<HttpClient> client_;
};

/// The same for the secret store. Any thread; a caller waits for the one before.
class LazySecretStore final : public SecretStore {
public:
    explicit LazySecretStore(std::filesystem::path module);
    ~LazySecretStore() override;

    [[nodiscard]] Result<std::optional<std::string>, SecretProblem> read(std::string_view account) override;
    [[nodiscard]] Result<void, SecretProblem> write(std::string_view account, std::string_view secret) override;
    [[nodiscard]] Result<void, SecretProblem> erase(std::string_view account) override;

private:
    SecretStore* loaded();

    std::filesystem::path module_;
    std::mutex mutex_;
    bool tried_ = false;
    std::unique_ptr<SecretStore> store_;
};

/// What the modules export under these names. The caller owns the result; null when there is no memory.
using HttpClientFactory = HttpClient*(MainLoop* loop);
inline constexpr const char* kHttpClientFactoryName = "tolvikMakeHttpClient";
using SecretStoreFactory = SecretStore*();
inline constexpr const char* kSecretStoreFactoryName = "tolvikMakeSecretStore";

}  // namespace tolvik
