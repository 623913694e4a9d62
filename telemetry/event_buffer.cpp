#include "telemetry/event_buffer.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>
#include <utility>

#include "base/json_reader.h"

namespace tolvik {
namespace {

/// A thousand events with the longest properties that are kept, all escaped.
constexpr std::size_t kLargestFile = 100'000'000;

bool isOfKind(simdjson::dom::element value, EventMember::Kind kind) {
    switch (kind) {
        case EventMember::Kind::text:
            return value.is_string();
        case EventMember::Kind::whole:
            return value.is_int64();
        case EventMember::Kind::number:
            return value.is_number();
        case EventMember::Kind::flag:
            return value.is_bool();
    }
    return false;
}

/// The event written anew with its members in order; none when it is not one.
std::optional<EventBuffer::Event> readEvent(simdjson::dom::element element, std::span<const EventMember> shape) {
    simdjson::dom::object object;
    if (element.get(object) != simdjson::SUCCESS) {
        return std::nullopt;
    }
    EventBuffer::Event event;
    event.json = "{";
    for (const auto& member : shape) {
        simdjson::dom::element value;
        if (object.at_key(member.name).get(value) != simdjson::SUCCESS || value.is_null()) {
            if (member.isOptional) {
                continue;
            }
            return std::nullopt;
        }
        if (!isOfKind(value, member.kind)) {
            return std::nullopt;
        }
        event.json +=
            fmt::format("{}\"{}\":{}", event.json.size() == 1 ? "" : ",", member.name, simdjson::minify(value));
        if (&member == shape.data()) {
            event.id = std::string(value.get_string().value());
        }
    }
    event.json += "}";
    return event;
}

}  // namespace

EventBuffer::EventBuffer(std::filesystem::path file, std::span<const EventMember> shape, std::size_t cap)
    : file_(std::move(file)), shape_(shape), cap_(cap) {}

void EventBuffer::load() {
    events_.clear();
    inFlight_.clear();
    const std::string bytes = file_.read();
    JsonReader reader({.bytes = kLargestFile});
    const auto value = reader.read(bytes);
    simdjson::dom::array array;
    if (!value || value->get(array) != simdjson::SUCCESS) {
        return;
    }
    for (const auto element : array) {
        auto event = readEvent(element, shape_);
        if (!event) {
            events_.clear();
            return;
        }
        events_.push_back(std::move(*event));
    }
    if (events_.size() > cap_) {
        events_.erase(events_.begin(), events_.end() - static_cast<std::ptrdiff_t>(cap_));
    }
}

std::string EventBuffer::fileBytes() const {
    std::string bytes = "[";
    for (const auto& event : events_) {
        bytes += (bytes.size() == 1 ? "" : ",") + event.json;
    }
    return bytes + "]";
}

void EventBuffer::drop() {
    events_.clear();
    inFlight_.clear();
    file_.remove();
}

void EventBuffer::append(Event event) {
    events_.push_back(std::move(event));
    while (events_.size() > cap_) {
        inFlight_.erase(events_.front().id);
        events_.erase(events_.begin());
    }
    file_.write(fileBytes());
}

std::string EventBuffer::body() const {
    std::string bytes;
    for (const auto& event : events_) {
        if (!inFlight_.contains(event.id)) {
            bytes += (bytes.empty() ? R"({"events":[)" : ",") + event.json;
        }
    }
    return bytes.empty() ? bytes : bytes + "]}";
}

std::vector<std::string> EventBuffer::take() {
    std::vector<std::string> ids;
    for (const auto& event : events_) {
        if (inFlight_.insert(event.id).second) {
            ids.push_back(event.id);
        }
    }
    return ids;
}

void EventBuffer::arrived(const std::vector<std::string>& ids) {
    const std::set<std::string> sent(ids.begin(), ids.end());
    std::erase_if(events_, [&](const Event& event) { return sent.contains(event.id); });
    returned(ids);
    file_.write(fileBytes());
}

void EventBuffer::returned(const std::vector<std::string>& ids) {
    for (const auto& id : ids) {
        inFlight_.erase(id);
    }
}

}  // namespace tolvik
