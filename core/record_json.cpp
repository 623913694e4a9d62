#include "core/record_json.h"

#include <cmath>
#include <cstring>
#include <fmt/format.h>
#include <simdjson.h>
#include <unordered_map>
#include <utility>

#include "base/json_writer.h"
#include "core/record_shape.h"

namespace tolvik {
namespace {

using simdjson::dom::element;
using simdjson::dom::object;

constexpr std::size_t kMaxDepth = 64;
/// No text that is decoded at once is longer; ten years of a log are 50 MB.
constexpr std::size_t kMaxBytes = 1'000'000'000;

// --- writing ---------------------------------------------------------------------------------------------------------

void writeMember(JsonObjectWriter& out, std::string_view name, const std::string& value) {
    out.text(name, value);
}
void writeMember(JsonObjectWriter& out, std::string_view name, const Identifier& value) {
    out.text(name, value.text());
}
void writeMember(JsonObjectWriter& out, std::string_view name, const Timestamp& value) {
    out.text(name, value.text());
}
void writeMember(JsonObjectWriter& out, std::string_view name, std::int64_t value) {
    out.number(name, value);
}
void writeMember(JsonObjectWriter& out, std::string_view name, bool value) {
    out.boolean(name, value);
}
template <class T>
void writeMember(JsonObjectWriter& out, std::string_view name, const std::optional<T>& value) {
    if (value) {
        writeMember(out, name, *value);
    }
}

// --- reading ---------------------------------------------------------------------------------------------------------

const char* readMember(const element& json, std::string& out) {
    std::string_view text;
    if (json.get(text) != simdjson::SUCCESS) {
        return "not a text";
    }
    out.assign(text);
    return nullptr;
}
template <class Text>
    requires std::same_as<Text, Identifier> || std::same_as<Text, Timestamp>
const char* readMember(const element& json, Text& out) {
    std::string_view text;
    if (json.get(text) != simdjson::SUCCESS) {
        return "not a text";
    }
    out = Text(text);
    return nullptr;
}
const char* readMember(const element& json, bool& out) {
    return json.get(out) == simdjson::SUCCESS ? nullptr : "not true or false";
}
const char* readMember(const element& json, std::int64_t& out) {
    if (json.get(out) == simdjson::SUCCESS) {
        return nullptr;
    }
    double number = 0;
    // Doubles hold every integer up to 2^53.
    if (json.get(number) != simdjson::SUCCESS || std::trunc(number) != number ||
        std::abs(number) > 9007199254740992.0) {
        return "not a whole number";
    }
    out = static_cast<std::int64_t>(number);
    return nullptr;
}
template <class T>
const char* readMember(const element& json, std::optional<T>& out) {
    if (json.is_null()) {
        out.reset();
        return nullptr;
    }
    return readMember(json, out.emplace());
}

template <class T>
const char* missing(T&) {
    return "missing";
}
template <class T>
const char* missing(std::optional<T>& out) {
    out.reset();
    return nullptr;
}

/// Reads the members of an object in their listed order, which is how they are written, and looks for a member by
/// name only where the order differs.
class MemberReader {
public:
    explicit MemberReader(const object& json) : object_(json), next_(json.begin()) {}

    template <class T>
    bool read(std::string_view name, T& out) {
        const char* problem = nullptr;
        if (next_ != object_.end() && next_.key() == name) {
            problem = readMember(next_.value(), out);
            ++next_;
        } else if (element found; object_.at_key(name).get(found) == simdjson::SUCCESS) {
            problem = readMember(found, out);
        } else {
            problem = missing(out);
        }
        if (problem != nullptr) {
            error = fmt::format(".{}: {}", name, problem);
        }
        return problem == nullptr;
    }

    std::string error;

private:
    const object& object_;
    object::iterator next_;
};

template <class Record>
std::optional<DecodeError> readRecord(const element& json, Record& out) {
    using Shape = RecordShape<Record>;
    object members;
    if (json.get(members) != simdjson::SUCCESS) {
        return ": not an object";
    }
    MemberReader reader(members);
    const bool good = [&]<std::size_t... I>(std::index_sequence<I...>) {
        auto fields = Shape::fields(out);
        return (reader.read(Shape::names[I], std::get<I>(fields)) && ...);
    }(std::make_index_sequence<Shape::names.size()>{});
    if (!good) {
        return reader.error;
    }
    return std::nullopt;
}

template <class Record>
Result<void, DecodeError> readArray(const element& json, std::vector<Record>& out) {
    simdjson::dom::array items;
    if (json.get(items) != simdjson::SUCCESS) {
        return failure(DecodeError(": not an array"));
    }
    const std::size_t before = out.size();
    for (const element item : items) {
        if (auto problem = readRecord(item, out.emplace_back())) {
            const std::size_t index = out.size() - before - 1;
            out.resize(before);
            return failure(fmt::format("[{}]{}", index, *problem));
        }
    }
    return {};
}

template <class Record>
std::optional<DecodeError> repeatedId(const std::vector<Record>& records) {
    std::unordered_map<Identifier, std::size_t> seen;
    seen.reserve(records.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        const auto [first, isNew] = seen.emplace(records[i].id, i);
        if (!isNew) {
            return fmt::format("[{}].id: the same as [{}].id", i, first->second);
        }
    }
    return std::nullopt;
}

template <class Record>
Result<bool, DecodeError> readCollection(const object& all, std::vector<Record>& out) {
    const std::string_view key = RecordShape<Record>::key;
    element json;
    if (all.at_key(key).get(json) != simdjson::SUCCESS) {
        return false;
    }
    if (auto read = readArray(json, out); !read) {
        return failure(std::string(key) + read.error());
    }
    if (auto repeated = repeatedId(out)) {
        return failure(std::string(key) + *repeated);
    }
    return true;
}

template <class Record>
bool readChanges(const object& all, std::string_view name, std::vector<RecordChange<Record>>& out) {
    simdjson::dom::array items;
    if (all.at_key(name).get(items) != simdjson::SUCCESS) {
        return false;
    }
    for (const element item : items) {
        auto& change = out.emplace_back();
        std::uint64_t index = 0;
        if (item.at_key("index").get(index) != simdjson::SUCCESS) {
            return false;
        }
        change.index = index;
        element json;
        if (item.at_key("before").get(json) == simdjson::SUCCESS && readRecord(json, change.before.emplace())) {
            return false;
        }
        if (item.at_key("after").get(json) == simdjson::SUCCESS && readRecord(json, change.after.emplace())) {
            return false;
        }
        if (!change.before && !change.after) {
            return false;
        }
    }
    return true;
}

template <class Record>
void writeChanges(JsonObjectWriter& out, std::string_view name, const std::vector<RecordChange<Record>>& changes) {
    std::string items = "[";
    for (const auto& change : changes) {
        if (items.size() > 1) {
            items += ',';
        }
        JsonObjectWriter item(items);
        item.number("index", static_cast<std::int64_t>(change.index));
        std::string record;
        if (change.before) {
            appendRecord(record, *change.before);
            item.raw("before", record);
        }
        if (change.after) {
            record.clear();
            appendRecord(record, *change.after);
            item.raw("after", record);
        }
    }
    items += ']';
    out.raw(name, items);
}

}  // namespace

template <class Record>
void appendRecord(std::string& out, const Record& record) {
    using Shape = RecordShape<Record>;
    JsonObjectWriter writer(out);
    [&]<std::size_t... I>(std::index_sequence<I...>) {
        const auto fields = Shape::fields(record);
        (writeMember(writer, Shape::names[I], std::get<I>(fields)), ...);
    }(std::make_index_sequence<Shape::names.size()>{});
}

template <class Record>
void appendRecords(std::string& out, const std::vector<Record>& records) {
    out += '[';
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (i > 0) {
            out += ',';
        }
        appendRecord(out, records[i]);
    }
    out += ']';
}

struct RecordDecoder::Impl {
    simdjson::dom::parser parser{kMaxBytes};
    std::string buffer;

    /// Parses `head` + `json` + `tail`; the element lives until the next call.
    Result<element, DecodeError> parse(std::string_view head, std::string_view json, std::string_view tail) {
        const std::size_t length = head.size() + json.size() + tail.size();
        if (length > kMaxBytes) {
            return failure(DecodeError(": too long"));
        }
        if (parser.max_depth() != kMaxDepth || parser.capacity() < length) {
            if (parser.allocate(std::max(length, std::size_t{1} << 16U), kMaxDepth) != simdjson::SUCCESS) {
                return failure(DecodeError(": not enough memory"));
            }
        }
        buffer.clear();
        buffer.reserve(length + simdjson::SIMDJSON_PADDING);
        buffer.append(head).append(json).append(tail);
        element out;
        if (const auto problem = parser.parse(buffer.data(), length, false).get(out); problem != simdjson::SUCCESS) {
            return failure(fmt::format(": {}", simdjson::error_message(problem)));
        }
        return out;
    }
};

RecordDecoder::RecordDecoder() : impl_(std::make_unique<Impl>()) {}
RecordDecoder::~RecordDecoder() = default;

template <class Record>
Result<std::vector<Record>, DecodeError> RecordDecoder::array(std::string_view json) {
    std::vector<Record> out;
    const auto parsed = impl_->parse("", json, "");
    if (!parsed) {
        return failure(parsed.error());
    }
    if (auto read = readArray(*parsed, out); !read) {
        return failure(read.error());
    }
    if (auto repeated = repeatedId(out)) {
        return failure(*repeated);
    }
    return out;
}

template <class Record>
Result<void, DecodeError> RecordDecoder::piece(std::string_view objects, std::vector<Record>& out) {
    const auto parsed = impl_->parse("[", objects, "]");
    if (!parsed) {
        return failure(parsed.error());
    }
    return readArray(*parsed, out);
}

Result<WholeLog, DecodeError> RecordDecoder::wholeLog(std::string_view json) {
    const auto parsed = impl_->parse("", json, "");
    if (!parsed) {
        return failure("the file" + parsed.error());
    }
    object all;
    if (parsed->get(all) != simdjson::SUCCESS) {
        return failure(DecodeError("the file: not an object"));
    }
    WholeLog log;
    std::optional<DecodeError> problem;
    bool any = false;
    const auto read = [&](auto& out) {
        const auto found = readCollection(all, out);
        if (!found && !problem) {
            problem = found.error();
        }
        any = any || found.value_or(false);
    };
    read(log.tasks);
    read(log.timeEntries);
    read(log.switchLogs);
    read(log.tags);
    if (problem) {
        return failure(*problem);
    }
    if (!any) {
        return failure(DecodeError("the file: holds none of the four collections (\"tolvik:tasks\" …)"));
    }
    return log;
}

Result<WholeLog, DecodeError> RecordDecoder::pull(std::string_view json, std::vector<PullMember>& others) {
    const auto parsed = impl_->parse("", json, "");
    if (!parsed) {
        return failure(parsed.error());
    }
    object all;
    if (parsed->get(all) != simdjson::SUCCESS) {
        return failure(DecodeError(": not an object"));
    }
    WholeLog log;
    std::optional<DecodeError> problem;
    const auto read = [&](std::string_view name, auto& out) {
        element member;
        if (problem) {
            return;
        }
        if (all.at_key(name).get(member) != simdjson::SUCCESS) {
            problem = fmt::format(".{}: missing", name);
        } else if (auto records = readArray(member, out); !records) {
            problem = fmt::format(".{}{}", name, records.error());
        }
    };
    read("tasks", log.tasks);
    read("timeEntries", log.timeEntries);
    read("switchLogs", log.switchLogs);
    read("tags", log.tags);
    if (problem) {
        return failure(std::move(*problem));
    }
    for (PullMember& other : others) {
        element member;
        other.json = all.at_key(other.name).get(member) == simdjson::SUCCESS ? simdjson::minify(member) : "";
    }
    return log;
}

Result<OperationRecord, DecodeError> RecordDecoder::operation(std::string_view json) {
    const auto parsed = impl_->parse("", json, "");
    if (!parsed) {
        return failure(parsed.error());
    }
    object all;
    OperationRecord out;
    std::string_view text;
    if (parsed->get(all) != simdjson::SUCCESS || all.at_key("words").get(text) != simdjson::SUCCESS) {
        return failure(DecodeError(": not an operation"));
    }
    out.words.assign(text);
    if (!readChanges(all, "tags", out.tags) || !readChanges(all, "tasks", out.tasks) ||
        !readChanges(all, "entries", out.entries) || !readChanges(all, "logs", out.logs)) {
        return failure(DecodeError(": not an operation"));
    }
    return out;
}

void appendWholeLog(std::string& out, const WholeLog& log) {
    JsonObjectWriter writer(out);
    const auto write = [&]<class Record>(const std::vector<Record>& records) {
        std::string json;
        appendRecords(json, records);
        writer.raw(RecordShape<Record>::key, json);
    };
    write(log.tasks);
    write(log.timeEntries);
    write(log.switchLogs);
    write(log.tags);
}

void appendOperation(std::string& out, const OperationRecord& operation) {
    JsonObjectWriter writer(out);
    writer.text("words", operation.words);
    writeChanges(writer, "tags", operation.tags);
    writeChanges(writer, "tasks", operation.tasks);
    writeChanges(writer, "entries", operation.entries);
    writeChanges(writer, "logs", operation.logs);
}

template void appendRecord(std::string&, const TaskModel&);
template void appendRecord(std::string&, const TimeEntry&);
template void appendRecord(std::string&, const SwitchLog&);
template void appendRecord(std::string&, const TagModel&);
template void appendRecord(std::string&, const DictEntry&);
template void appendRecords(std::string&, const std::vector<TaskModel>&);
template void appendRecords(std::string&, const std::vector<TimeEntry>&);
template void appendRecords(std::string&, const std::vector<SwitchLog>&);
template void appendRecords(std::string&, const std::vector<TagModel>&);
template void appendRecords(std::string&, const std::vector<DictEntry>&);
template Result<std::vector<TaskModel>, DecodeError> RecordDecoder::array(std::string_view);
template Result<std::vector<TimeEntry>, DecodeError> RecordDecoder::array(std::string_view);
template Result<std::vector<SwitchLog>, DecodeError> RecordDecoder::array(std::string_view);
template Result<std::vector<TagModel>, DecodeError> RecordDecoder::array(std::string_view);
template Result<std::vector<DictEntry>, DecodeError> RecordDecoder::array(std::string_view);
template Result<void, DecodeError> RecordDecoder::piece(std::string_view, std::vector<TaskModel>&);
template Result<void, DecodeError> RecordDecoder::piece(std::string_view, std::vector<TimeEntry>&);
template Result<void, DecodeError> RecordDecoder::piece(std::string_view, std::vector<SwitchLog>&);
template Result<void, DecodeError> RecordDecoder::piece(std::string_view, std::vector<TagModel>&);
template Result<void, DecodeError> RecordDecoder::piece(std::string_view, std::vector<DictEntry>&);

}  // namespace tolvik
