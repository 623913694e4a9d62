#include "core/log_owner.h"

#include <array>
#include <string_view>
#include <utility>

#include "base/json_writer.h"
#include "core/record_shape.h"

namespace tolvik {
namespace {

constexpr const char* kOwner = "tolvik.log.owner";
constexpr std::array<std::string_view, 8> kKeys{RecordShape<TaskModel>::key,
                                                RecordShape<TimeEntry>::key,
                                                RecordShape<SwitchLog>::key,
                                                RecordShape<TagModel>::key,
                                                RecordShape<DictEntry>::key,
                                                "tolvik.dictionaries.active",
                                                "tolvik.undo",
                                                "tolvik.sync.earliestDate"};

std::string asideKey(std::string_view key, const std::string& user) {
    return std::string(key) + "@" + user;
}

/// The address of the owner's account, once that is deleted.
constexpr const char* kDeletedAccount = "tolvik.log.deletedAccount";
/// The address of who is signed in.
constexpr const char* kEmail = "tolvik.auth.email";

WriteBatch::PutValue ownedBy(const std::string& user) {
    std::string json;
    appendJsonString(json, user);
    return {kOwner, std::move(json)};
}

}  // namespace

std::string logOwner(const ValueStore& values) {
    return values.text(kOwner);
}

Result<void, StoreError> noteDeletedAccount(ValueStore& values, const std::string& email) {
    return values.setText(kDeletedAccount, email);
}

Result<bool, StoreError> giveLogTo(ValueStore& values, const std::string& user) {
    const std::string owner = logOwner(values);
    if (user.empty() || owner == user) {
        return false;
    }
    WriteBatch batch;
    const std::string deleted = values.text(kDeletedAccount);
    if (!deleted.empty()) {
        batch.writes.emplace_back(WriteBatch::EraseValue{kDeletedAccount});
    }
    const bool exchanges = !owner.empty() && (deleted.empty() || deleted != values.text(kEmail));
    if (exchanges) {
        for (const std::string_view key : kKeys) {
            auto present = values.get(key);
            auto returning = values.get(asideKey(key, user));
            if (!present || !returning) {
                return failure(present ? returning.error() : present.error());
            }
            if (*present) {
                batch.writes.emplace_back(WriteBatch::PutValue{asideKey(key, owner), std::move(**present)});
            }
            if (*returning) {
                batch.writes.emplace_back(WriteBatch::PutValue{std::string(key), std::move(**returning)});
                batch.writes.emplace_back(WriteBatch::EraseValue{asideKey(key, user)});
            } else {
                batch.writes.emplace_back(WriteBatch::EraseValue{std::string(key)});
            }
        }
    }
    batch.writes.emplace_back(ownedBy(user));
    if (const auto committed = values.commit(batch); !committed) {
        return failure(committed.error());
    }
    return exchanges;
}

}  // namespace tolvik
