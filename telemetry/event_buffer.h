#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "telemetry/buffer_file.h"

namespace tolvik {

/// One member of an event's JSON object.
struct EventMember {
    enum class Kind : std::uint8_t { text, whole, number, flag };
    std::string_view name;
    Kind kind = Kind::text;
    bool isOptional = false;
};

/// Where events wait until they are sent: in memory and as a JSON array in a file, oldest first. Failures of the file
/// are passed over; the events live on in memory. One thread.
class EventBuffer {
public:
    /// `shape` lists the members of an event in their order and outlives this; the first is its id. Beyond `cap` the
    /// oldest are dropped. Nothing is read yet.
    EventBuffer(std::filesystem::path file, std::span<const EventMember> shape, std::size_t cap);

    /// Takes in what the file holds; nothing when it is no list of whole events.
    void load();
    /// From now on changes are written by workers, which outlive this.
    void setWorkers(Workers& workers) { file_.setWorkers(workers); }
    /// Writes the file anew before it returns.
    void save() const { file_.writeNow(fileBytes()); }
    /// Forgets every event and removes the file.
    void drop();

    struct Event {
        std::string id;
        /// The JSON object.
        std::string json;
    };
    /// Appends and has the file written.
    void append(Event event);
    [[nodiscard]] const std::vector<Event>& events() const { return events_; }
    /// How many are not on their way.
    [[nodiscard]] std::size_t waiting() const { return events_.size() - inFlight_.size(); }

    /// The body of the next upload: all events that are not on their way. Empty when there are none.
    [[nodiscard]] std::string body() const;
    /// The events of `body` are on their way: their ids.
    [[nodiscard]] std::vector<std::string> take();
    /// They have arrived, and leave the file too.
    void arrived(const std::vector<std::string>& ids);
    /// They have not, and wait again.
    void returned(const std::vector<std::string>& ids);

private:
    [[nodiscard]] std::string fileBytes() const;

    BufferFile file_;
    std::span<const EventMember> shape_;
    std::size_t cap_;
    std::vector<Event> events_;
    std::set<std::string> inFlight_;
};

}  // namespace tolvik
