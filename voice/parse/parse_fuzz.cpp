// Any bytes may be said or typed, over any titles. The parser must answer within its own rules.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "voice/parse/local_voice_parser.h"

// The name is libFuzzer's.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const tolvik::LocalVoiceParser parser;
    // The first line is the sentence, the others are titles.
    const std::string all(reinterpret_cast<const char*>(data), size);
    std::vector<tolvik::TaskInfo> tasks;
    std::size_t end = all.find('\n');
    const std::string sentence = all.substr(0, end);
    while (end != std::string::npos && tasks.size() < 50) {
        const std::size_t begin = end + 1;
        end = all.find('\n', begin);
        const int position = static_cast<int>(tasks.size()) + 1;
        tasks.push_back({tolvik::Identifier(std::to_string(position)),
                         all.substr(begin, end == std::string::npos ? end : end - begin), position, position == 1});
    }
    const tolvik::ParseResult result = parser.parse(sentence, tasks);
    const bool isKnown =
        result.action == "start" || result.action == "switch" || result.action == "done" || result.action == "stop";
    if (!isKnown || !(result.confidence >= 0 && result.confidence <= 1) ||
        (result.action == "start" && result.taskId)) {
        std::abort();
    }
    return 0;
}
