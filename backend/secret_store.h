#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "base/result.h"

namespace tolvik {

/// Why a secret could not be read or kept: a sentence for the user that says what to do next, without the secret.
struct SecretProblem {
    std::string text;
};

/// The desktop's keeper of passwords. Any thread, one caller at a time. Reading may block for the time of a local bus
/// call; a keeper that asks the user to unlock is given two minutes.
class SecretStore {
public:
    SecretStore() = default;
    SecretStore(const SecretStore&) = delete;
    SecretStore& operator=(const SecretStore&) = delete;
    virtual ~SecretStore() = default;

    /// None when there is no such item.
    [[nodiscard]] virtual Result<std::optional<std::string>, SecretProblem> read(std::string_view account) = 0;
    /// Replaces what was kept under the account.
    [[nodiscard]] virtual Result<void, SecretProblem> write(std::string_view account, std::string_view secret) = 0;
    /// An absent item is no problem.
    [[nodiscard]] virtual Result<void, SecretProblem> erase(std::string_view account) = 0;
};

}  // namespace tolvik
