// What a server says, whatever it is: never a crash, never more than is asked for.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "backend/endpoint.h"
#include "base/text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto message = tolvik::readServerMessage(text);
    const std::string brief = tolvik::briefServerMessage(text);
    if (tolvik::graphemeCount(brief) > 200 || (!message.error && brief != "request failed")) {
        std::abort();
    }
    const auto seconds = tolvik::retryAfterSeconds({{"Retry-After", text}});
    if (seconds && text.find_first_of("0123456789") == std::string::npos) {
        std::abort();
    }
    // What passes as an address cannot end a line or a word.
    if (tolvik::isUrl(text) && text.find_first_of(std::string(" \t\r\n\0\"<>", 8)) != std::string::npos) {
        std::abort();
    }
    return 0;
}
