#include "server/api/record_form.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

#include "base/json_writer.h"
#include "base/text.h"
#include "base/time.h"
#include "core/record_shape.h"
#include "server/api/json_value.h"

namespace tolvik::server {
namespace {

using Type = MemberForm::Type;
/// Titles are cut at 500 units on the device, names and terms not at all.
constexpr std::size_t mostTitle = 2000;
constexpr std::size_t mostText = 10'000;
constexpr std::size_t mostWord = 64;

constexpr std::array taskMembers{
    MemberForm{"id", Type::id},
    MemberForm{"title", Type::text, true, true, mostTitle},
    MemberForm{"status", Type::status, true, true},
    MemberForm{"isActive", Type::flag, true, true},
    MemberForm{"createdAt", Type::time},
    MemberForm{"updatedAt", Type::time},
    MemberForm{"completedAt", Type::time, false, true},
    MemberForm{"sortOrder", Type::whole, true, true},
    MemberForm{"colorIndex", Type::whole, true, true},
    MemberForm{"previousTaskId", Type::id, false},
    MemberForm{"tagId", Type::id, false, true},
};
constexpr std::array entryMembers{
    MemberForm{"id", Type::id},
    MemberForm{"taskId", Type::id},
    MemberForm{"startedAt", Type::time},
    MemberForm{"endedAt", Type::time, false, true},
    MemberForm{"durationMs", Type::whole, false, true},
    MemberForm{"createdAt", Type::time},
};
constexpr std::array logMembers{
    MemberForm{"id", Type::id},
    MemberForm{"fromTaskId", Type::id, false, true},
    MemberForm{"toTaskId", Type::id},
    MemberForm{"switchedAt", Type::time},
    MemberForm{"reason", Type::text, false, true, mostText},
    MemberForm{"source", Type::text, true, false, mostWord},
};
constexpr std::array tagMembers{
    MemberForm{"id", Type::id},
    MemberForm{"name", Type::text, true, true, mostTitle},
    MemberForm{"colorIndex", Type::whole, true, true},
    MemberForm{"createdAt", Type::time},
    MemberForm{"updatedAt", Type::time},
};
constexpr std::array termMembers{
    MemberForm{"id", Type::id},
    MemberForm{"tagId", Type::id, false},
    MemberForm{"term", Type::text, true, false, mostText},
    MemberForm{"hint", Type::text, true, false, mostText},
    MemberForm{"createdAt", Type::time, false},
    MemberForm{"updatedAt", Type::time, false},
};

template <std::size_t N>
constexpr bool isShapeOf(const std::array<MemberForm, N>& members, const std::array<std::string_view, N>& names) {
    return std::ranges::equal(members, names, {}, &MemberForm::name);
}
static_assert(isShapeOf(taskMembers, RecordShape<TaskModel>::names));
static_assert(isShapeOf(entryMembers, RecordShape<TimeEntry>::names));
static_assert(isShapeOf(logMembers, RecordShape<SwitchLog>::names));
static_assert(isShapeOf(tagMembers, RecordShape<TagModel>::names));

std::string wrong(const MemberForm& member, std::string_view what) {
    return std::string(member.name) + ": " + std::string(what);
}

Result<RecordForm::Member, std::string> readText(const MemberForm& member, const std::string& text) {
    switch (member.type) {
        case Type::id:
            if (!isRecordId(text)) {
                return failure(wrong(member, "not a UUID in upper case"));
            }
            break;
        case Type::time:
            if (!isWrittenInstant(text)) {
                return failure(wrong(member, "not a time like 2026-01-31T09:05:00.000Z"));
            }
            break;
        case Type::status:
            if (text != "open" && text != "done") {
                return failure(wrong(member, "neither open nor done"));
            }
            break;
        default:
            if (utf16Length(text) > member.most) {
                return failure(wrong(member, "longer than " + std::to_string(member.most) + " characters"));
            }
    }
    return RecordForm::Member(text);
}

Result<RecordForm::Member, std::string> readMember(const MemberForm& member, const JsonValue& value) {
    if (value.isNull()) {
        if (member.required) {
            return failure(wrong(member, "missing"));
        }
        return RecordForm::Member(RecordForm::Null{});
    }
    if (member.type == Type::flag) {
        if (const bool* flag = value.flag()) {
            return RecordForm::Member(*flag);
        }
        return failure(wrong(member, "neither true nor false"));
    }
    if (member.type == Type::whole) {
        if (const auto whole = value.whole()) {
            return RecordForm::Member(*whole);
        }
        return failure(wrong(member, "not a whole number"));
    }
    if (const std::string* text = value.text()) {
        return readText(member, *text);
    }
    return failure(wrong(member, "not a text"));
}

Result<RecordForm, std::string> readForm(RecordKind kind, std::string_view json, bool isWhole) {
    const auto object = readJsonObject(json);
    if (!object) {
        return failure(object.error());
    }
    RecordForm out{kind, {}};
    bool isEmpty = true;
    for (const MemberForm& member : membersOf(kind)) {
        RecordForm::Member& into = out.members.emplace_back();
        if (!isWhole && !member.changes) {
            continue;
        }
        const JsonValue* value = object->member(member.name);
        if (value == nullptr) {
            if (isWhole && member.required) {
                return failure(wrong(member, "missing"));
            }
            continue;
        }
        auto read = readMember(member, *value);
        if (!read) {
            return failure(std::move(read).error());
        }
        isEmpty = false;
        if (!isWhole || !std::holds_alternative<RecordForm::Null>(*read)) {
            into = *std::move(read);
        }
    }
    if (isEmpty) {
        return failure(std::string("The body changes nothing."));
    }
    return out;
}

std::optional<Instant> instantOf(const std::optional<std::string>& text) {
    return text ? parseInstant(*text) : std::nullopt;
}

}  // namespace

std::span<const MemberForm> membersOf(RecordKind kind) {
    switch (kind) {
        case RecordKind::task:
            return taskMembers;
        case RecordKind::timeEntry:
            return entryMembers;
        case RecordKind::switchLog:
            return logMembers;
        case RecordKind::tag:
            return tagMembers;
        default:
            return termMembers;
    }
}

const RecordForm::Member& RecordForm::at(std::string_view name) const {
    const auto all = membersOf(kind);
    const auto found = std::ranges::find(all, name, &MemberForm::name);
    return members.at(static_cast<std::size_t>(found - all.begin()));
}

RecordForm::Member& RecordForm::at(std::string_view name) {
    return const_cast<Member&>(std::as_const(*this).at(name));  // NOLINT(cppcoreguidelines-pro-type-const-cast)
}

std::optional<std::string> RecordForm::text(std::string_view name) const {
    const auto* found = std::get_if<std::string>(&at(name));
    return found == nullptr ? std::nullopt : std::optional(*found);
}

Result<RecordForm, std::string> readRecord(RecordKind kind, std::string_view json) {
    return readForm(kind, json, true);
}

Result<RecordForm, std::string> readChange(RecordKind kind, std::string_view json) {
    return readForm(kind, json, false);
}

RecordForm changed(RecordForm record, const RecordForm& change) {
    for (std::size_t i = 0; i < record.members.size(); ++i) {
        const auto& member = change.members.at(i);
        if (std::holds_alternative<RecordForm::Null>(member)) {
            record.members[i] = RecordForm::Absent{};
        } else if (!std::holds_alternative<RecordForm::Absent>(member)) {
            record.members[i] = member;
        }
    }
    return record;
}

RecordRow rowOf(const RecordForm& record) {
    RecordRow out;
    out.kind = record.kind;
    out.id = record.text("id").value_or("");
    {
        JsonObjectWriter writer(out.json);
        const auto all = membersOf(record.kind);
        for (std::size_t i = 0; i < all.size(); ++i) {
            if (const auto* text = std::get_if<std::string>(&record.members[i])) {
                writer.text(all[i].name, *text);
            } else if (const auto* whole = std::get_if<std::int64_t>(&record.members[i])) {
                writer.number(all[i].name, *whole);
            } else if (const auto* flag = std::get_if<bool>(&record.members[i])) {
                writer.boolean(all[i].name, *flag);
            }
        }
    }
    std::string_view dated = "createdAt";
    switch (record.kind) {
        case RecordKind::task:
            out.live = std::get<bool>(record.at("isActive"));
            out.tag = record.text("tagId");
            break;
        case RecordKind::timeEntry:
            dated = "startedAt";
            out.task = record.text("taskId");
            out.ended = instantOf(record.text("endedAt"));
            out.live = !out.ended;
            break;
        case RecordKind::switchLog:
            dated = "switchedAt";
            out.task = record.text("toTaskId");
            out.origin = record.text("fromTaskId");
            break;
        case RecordKind::dictionary:
            out.tag = record.text("tagId");
            break;
        default:
            break;
    }
    out.dated = instantOf(record.text(dated)).value_or(Instant{});
    return out;
}

bool isRecordId(std::string_view text) {
    constexpr std::size_t length = 36;
    constexpr std::size_t variantAt = 19;
    if (text.size() != length) {
        return false;
    }
    for (std::size_t i = 0; i < length; ++i) {
        const bool isDash = i == 8 || i == 13 || i == 18 || i == 23;
        const bool isDigit = (text[i] >= '0' && text[i] <= '9') || (text[i] >= 'A' && text[i] <= 'F');
        if (isDash ? text[i] != '-' : !isDigit) {
            return false;
        }
    }
    return std::string_view("89AB").contains(text[variantAt]);
}

bool isWrittenInstant(std::string_view text) {
    const auto instant = parseInstant(text);
    return instant && formatInstant(*instant) == text;
}

}  // namespace tolvik::server
