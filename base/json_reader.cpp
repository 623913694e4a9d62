#include "base/json_reader.h"

#include <algorithm>

namespace tolvik {
namespace {

/// A parser keeps the room of its largest text; beyond this it is given back with the next one.
constexpr std::size_t kKeptRoom = 1'000'000;
constexpr std::size_t kLeastRoom = 1024;

}  // namespace

Result<simdjson::dom::element, std::string_view> JsonReader::read(std::string_view text) {
    // The library takes the address of the first byte for granted.
    if (text.empty()) {
        return failure(std::string_view("the text is empty"));
    }
    if (text.size() > limits_.bytes) {
        return failure(std::string_view("the text is too long"));
    }
    const bool isLarge = parser_.capacity() > kKeptRoom && text.size() <= kKeptRoom;
    if (parser_.capacity() < text.size() || parser_.max_depth() != limits_.depth || isLarge) {
        parser_ = simdjson::dom::parser();
        if (parser_.allocate(std::max(text.size(), kLeastRoom), limits_.depth) != simdjson::SUCCESS) {
            return failure(std::string_view("there is no memory for the text"));
        }
    }
    simdjson::dom::element out;
    if (const auto problem = parser_.parse(text.data(), text.size()).get(out); problem != simdjson::SUCCESS) {
        return failure(std::string_view(simdjson::error_message(problem)));
    }
    return out;
}

Result<simdjson::dom::object, std::string_view> JsonReader::readObject(std::string_view text) {
    const auto value = read(text);
    if (!value) {
        return failure(value.error());
    }
    simdjson::dom::object out;
    if (value->get(out) != simdjson::SUCCESS) {
        return failure(std::string_view("not an object"));
    }
    return out;
}

}  // namespace tolvik
