#pragma once

#include "backend/secret_store.h"

namespace tolvik {

/// The secret service of the session (GNOME Keyring, KWallet, KeePassXC …) over libsecret. An item carries the
/// attributes `service` and `account`. Where there is no session bus none is started. Calls block for the time of a bus
/// call; where the service asks the user to unlock it, for two minutes at most.
class LibsecretStore final : public SecretStore {
public:
    [[nodiscard]] Result<std::optional<std::string>, SecretProblem> read(std::string_view account) override;
    /// Refused where the service would keep the secret only until the end of the session.
    [[nodiscard]] Result<void, SecretProblem> write(std::string_view account, std::string_view secret) override;
    [[nodiscard]] Result<void, SecretProblem> erase(std::string_view account) override;
};

}  // namespace tolvik
