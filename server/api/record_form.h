#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "base/result.h"
#include "server/storage/transaction.h"

namespace tolvik::server {

/// What one member of a record may be.
struct MemberForm {
    enum class Type : std::uint8_t { id, text, status, time, whole, flag };
    std::string_view name;
    Type type = Type::text;
    bool required = true;
    /// May be changed by PATCH.
    bool changes = false;
    /// For a text, the most UTF-16 units.
    std::size_t most = 0;
};

/// The members of a kind, in the order in which they are written.
[[nodiscard]] std::span<const MemberForm> membersOf(RecordKind kind);

/// A record, or the changed members of one, read and checked. One place for each member of the kind.
struct RecordForm {
    struct Absent {
        bool operator==(const Absent&) const = default;
    };
    struct Null {
        bool operator==(const Null&) const = default;
    };
    using Member = std::variant<Absent, Null, std::string, std::int64_t, bool>;
    RecordKind kind = RecordKind::task;
    std::vector<Member> members;

    [[nodiscard]] const Member& at(std::string_view name) const;
    [[nodiscard]] Member& at(std::string_view name);
    /// None unless it is a text.
    [[nodiscard]] std::optional<std::string> text(std::string_view name) const;
    bool operator==(const RecordForm&) const = default;
};

/// Reads a whole record. Members that are not known are passed over; of a member that comes twice the first counts. The
/// error is a text for the sender that names the member.
[[nodiscard]] Result<RecordForm, std::string> readRecord(RecordKind kind, std::string_view json);
/// Reads the members that PATCH may change; at least one must be there.
[[nodiscard]] Result<RecordForm, std::string> readChange(RecordKind kind, std::string_view json);
/// `record` with the members of `change`.
[[nodiscard]] RecordForm changed(RecordForm record, const RecordForm& change);

/// The record as it is kept.
[[nodiscard]] RecordRow rowOf(const RecordForm& record);

/// True for a UUID in its canonical upper-case form of the usual variant, which every device makes.
[[nodiscard]] bool isRecordId(std::string_view text);
/// True for an instant in the one form that is written.
[[nodiscard]] bool isWrittenInstant(std::string_view text);

}  // namespace tolvik::server
