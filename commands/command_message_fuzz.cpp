// What arrives over the socket is read, whatever it is; what is understood comes back the same when written again.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "commands/command_line.h"
#include "commands/command_message.h"
#include "commands/parse_lines.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    if (const auto request = tolvik::decodeRequest(bytes)) {
        const auto again = tolvik::decodeRequest(tolvik::encode(*request));
        if (!again || *again != *request) {
            std::abort();
        }
        [[maybe_unused]] const auto checked = tolvik::checkRequest(*request);
    }
    if (const auto response = tolvik::decodeResponse(bytes)) {
        const auto again = tolvik::decodeResponse(tolvik::encode(*response));
        if (!again || *again != *response) {
            std::abort();
        }
    }
    if (const auto tasks = tolvik::readCandidates(bytes)) {
        if (!tolvik::readCandidates(tolvik::writeCandidates(*tasks))) {
            std::abort();
        }
    }
    return 0;
}
