#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"

namespace tolvik::server {

/// An address of either family as 128 bits; IPv4 as its mapped form.
using AddressBits = std::array<std::uint8_t, 16>;

/// None when the text is no address. A zone (%eth0) is not part of an address here.
[[nodiscard]] std::optional<AddressBits> parseAddress(std::string_view text);

/// Whose word on the client's address is taken. A value; any thread.
class TrustedProxies {
public:
    TrustedProxies() = default;
    /// Addresses and networks ("10.0.0.0/8", "::1"), separated by commas or spaces. The error names the wrong one.
    [[nodiscard]] static Result<TrustedProxies, std::string> parse(std::string_view list);

    [[nodiscard]] bool trusts(std::string_view address) const;
    /// The client's address: the connection's own, or from a trusted one the last of X-Forwarded-For that is not
    /// trusted itself.
    [[nodiscard]] std::string clientAddress(std::string_view connection, std::string_view forwardedFor) const;

private:
    struct Network {
        AddressBits bits;
        int length;
    };
    std::vector<Network> networks_;
};

}  // namespace tolvik::server
