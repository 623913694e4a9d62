#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tolvik {

/// The address as it is sent: without blanks around it. None when it holds no "@" or no "."; nothing else is asked of
/// it, the code's arrival is the proof.
[[nodiscard]] std::optional<std::string> acceptedEmail(std::string_view entered);

/// What a code field keeps of what was typed or pasted: the digits, at most the first six.
[[nodiscard]] std::string codeDigits(std::string_view entered);
inline constexpr std::size_t codeLength = 6;

inline constexpr const char* invalidEmailText = "Enter a valid email address.";
inline constexpr const char* codeSentText = "Check your inbox, and your spam folder. The code expires in 10 minutes.";

/// What a sign-out asks first, by how many changes have not reached the server.
[[nodiscard]] std::string signOutQuestion(std::size_t pending);
inline constexpr const char* deleteAccountQuestion = "This will permanently delete your account and all data.";
inline constexpr const char* deleteAccountWarning = "Permanent. This cannot be undone.";

}  // namespace tolvik
