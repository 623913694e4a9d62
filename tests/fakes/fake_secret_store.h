#pragma once

#include <map>
#include <optional>
#include <string>

#include "backend/secret_store.h"

namespace tolvik {

/// Secrets in memory.
class FakeSecretStore final : public SecretStore {
public:
    [[nodiscard]] Result<std::optional<std::string>, SecretProblem> read(std::string_view account) override {
        ++reads;
        if (problem) {
            return failure(*problem);
        }
        const auto found = items.find(account);
        return found == items.end() ? std::nullopt : std::optional(found->second);
    }
    [[nodiscard]] Result<void, SecretProblem> write(std::string_view account, std::string_view secret) override {
        if (problem) {
            return failure(*problem);
        }
        items.insert_or_assign(std::string(account), std::string(secret));
        return {};
    }
    [[nodiscard]] Result<void, SecretProblem> erase(std::string_view account) override {
        if (problem) {
            return failure(*problem);
        }
        if (const auto found = items.find(account); found != items.end()) {
            items.erase(found);
        }
        return {};
    }

    /// While set, nothing works.
    std::optional<SecretProblem> problem;
    std::map<std::string, std::string, std::less<>> items;
    int reads = 0;
};

}  // namespace tolvik
