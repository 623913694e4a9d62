#include "backend/sign_in_form.h"

#include <fmt/format.h>

namespace tolvik {

std::optional<std::string> acceptedEmail(std::string_view entered) {
    const auto first = entered.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return std::nullopt;
    }
    const auto address = entered.substr(first, entered.find_last_not_of(" \t") - first + 1);
    if (!address.contains('@') || !address.contains('.')) {
        return std::nullopt;
    }
    return std::string(address);
}

std::string codeDigits(std::string_view entered) {
    std::string digits;
    for (const char c : entered) {
        if (c >= '0' && c <= '9' && digits.size() < codeLength) {
            digits += c;
        }
    }
    return digits;
}

std::string signOutQuestion(std::size_t pending) {
    constexpr const char* again = "You'll need to sign in again to sync.";
    if (pending == 0) {
        return again;
    }
    return fmt::format(
        "We'll try to send {} unsynced {} first; anything that can't be sent waits for your next sign-in on this Mac. "
        "{}",
        pending, pending == 1 ? "change" : "changes", again);
}

}  // namespace tolvik
