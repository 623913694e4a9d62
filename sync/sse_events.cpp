#include "sync/sse_events.h"

namespace tolvik {
namespace {

std::string_view trimmedBlock(std::string_view block) {
    const auto first = block.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) {
        return {};
    }
    return block.substr(first, block.find_last_not_of(" \t\r\n") - first + 1);
}

}  // namespace

std::vector<SseEvents::Event> SseEvents::take(std::string_view bytes) {
    constexpr std::string_view blankLine = "\n\n";
    std::vector<Event> out;
    // The end may stand half in what came before.
    std::size_t from = rest_.empty() ? 0 : rest_.size() - 1;
    rest_ += bytes;
    std::size_t begin = 0;
    for (auto end = rest_.find(blankLine, from); end != std::string::npos; end = rest_.find(blankLine, from)) {
        const auto block = trimmedBlock(std::string_view(rest_).substr(begin, end - begin));
        begin = end + blankLine.size();
        from = begin;
        if (block.starts_with(":ok")) {
            out.push_back(Event::greeting);
        } else if (!block.starts_with(':') && block.contains("data:")) {
            out.push_back(Event::change);
        }
    }
    rest_.erase(0, begin);
    return out;
}

}  // namespace tolvik
