#include "server/net/trusted_proxies.h"

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>
#include <netinet/in.h>

namespace tolvik::server {
namespace {

std::string_view trimmedItem(std::string_view text) {
    const auto begin = text.find_first_not_of(" \t");
    return begin == std::string_view::npos ? "" : text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

}  // namespace

std::optional<AddressBits> parseAddress(std::string_view text) {
    if (text.size() > INET6_ADDRSTRLEN + 2) {
        return std::nullopt;
    }
    if (text.starts_with('[') && text.ends_with(']')) {
        text = text.substr(1, text.size() - 2);
    }
    const std::string copy(text);
    AddressBits bits{};
    if (in_addr four{}; ::inet_pton(AF_INET, copy.c_str(), &four) == 1) {
        bits[10] = bits[11] = 0xff;
        const auto value = ntohl(four.s_addr);
        for (std::size_t at = 0; at < 4; ++at) {
            bits[12 + at] = static_cast<std::uint8_t>(value >> (24 - 8 * at));
        }
        return bits;
    }
    if (in6_addr six{}; ::inet_pton(AF_INET6, copy.c_str(), &six) == 1) {
        std::copy(std::begin(six.s6_addr), std::end(six.s6_addr), bits.begin());
        return bits;
    }
    return std::nullopt;
}

Result<TrustedProxies, std::string> TrustedProxies::parse(std::string_view list) {
    TrustedProxies proxies;
    while (!list.empty()) {
        const auto end = list.find_first_of(", ");
        const auto item = trimmedItem(list.substr(0, end));
        list = end == std::string_view::npos ? "" : list.substr(end + 1);
        if (item.empty()) {
            continue;
        }
        const auto slash = item.find('/');
        const auto bits = parseAddress(item.substr(0, slash));
        const bool four = item.find(':') == std::string_view::npos;
        int length = four ? 32 : 128;
        bool good = bits.has_value();
        if (slash != std::string_view::npos) {
            const auto digits = item.substr(slash + 1);
            const auto [at, error] = std::from_chars(digits.data(), digits.data() + digits.size(), length);
            good = good && error == std::errc() && at == digits.data() + digits.size() && length >= 0 &&
                   length <= (four ? 32 : 128);
        }
        if (!good) {
            return failure("“" + std::string(item) + "” is neither an address nor a network such as 10.0.0.0/8");
        }
        proxies.networks_.push_back({*bits, four ? length + 96 : length});
    }
    return proxies;
}

bool TrustedProxies::trusts(std::string_view address) const {
    const auto bits = parseAddress(address);
    return bits && std::ranges::any_of(networks_, [&](const Network& network) {
               for (int bit = 0; bit < network.length; bit += 8) {
                   const auto at = static_cast<std::size_t>(bit / 8);
                   const int kept = std::min(8, network.length - bit);
                   const auto mask = static_cast<std::uint8_t>(0xff << (8 - kept));
                   if (((*bits)[at] & mask) != (network.bits[at] & mask)) {
                       return false;
                   }
               }
               return true;
           });
}

std::string TrustedProxies::clientAddress(std::string_view connection, std::string_view forwardedFor) const {
    std::string client(connection);
    // From the right: each hop that is trusted vouches for the one before it.
    while (trusts(client) && !forwardedFor.empty()) {
        const auto comma = forwardedFor.rfind(',');
        const auto item = trimmedItem(comma == std::string_view::npos ? forwardedFor : forwardedFor.substr(comma + 1));
        forwardedFor = comma == std::string_view::npos ? "" : forwardedFor.substr(0, comma);
        if (!parseAddress(item)) {
            break;
        }
        client = item;
    }
    return client;
}

}  // namespace tolvik::server
