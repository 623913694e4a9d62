#include "server/api/hash.h"

#include <array>
#include <cstdlib>
#include <fmt/format.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>

namespace tolvik::server {

std::string sha256(std::string_view bytes) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int length = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &length, EVP_sha256(), nullptr) != 1) {
        // Without its hash function nothing here is safe.
        std::abort();
    }
    std::string out;
    out.reserve(std::size_t{2} * length);
    for (unsigned int i = 0; i < length; ++i) {
        constexpr std::string_view digits = "0123456789abcdef";
        out += digits[digest.at(i) >> 4U];
        out += digits[digest.at(i) & 15U];
    }
    return out;
}

bool sameSecret(std::string_view a, std::string_view b) {
    return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

std::string newToken(Random& random) {
    std::string out;
    for (int i = 0; i < 4; ++i) {
        out += fmt::format("{:016x}", random.next());
    }
    return out;
}

std::string newCode(Random& random) {
    constexpr std::uint64_t codes = 1'000'000;
    constexpr std::uint64_t fair = ~std::uint64_t{0} / codes * codes;
    std::uint64_t number = random.next();
    while (number >= fair) {
        number = random.next();
    }
    return fmt::format("{:06}", number % codes);
}

}  // namespace tolvik::server
