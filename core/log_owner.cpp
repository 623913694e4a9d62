#include "core/log_owner.h"

#include <array>
#include <string_view>
#include <utility>

#include "base/json_writer.h"
#include "core/record_shape.h"

namespace tolvik {
namespace {

constexpr const char* kOwner = "tolvik.log.owner";
constexpr std::array<std::string_view, 7> kKeys{RecordShape<TaskModel>::key, RecordShape<TimeEntry>::key,
                                                RecordShape<SwitchLog>::key, RecordShape<TagModel>::key,
                                                "tolvik.dictionaries",       "tolvik.undo",
                                                "tolvik.sync.earliestDate"};

std::string asideKey(std::string_view key, const std::string& user) {
    return std::string(key) + "@" + user;
}

WriteBatch::PutValue ownedBy(const std::string& user) {
    std::string json;
    appendJsonString(json, user);
    return {kOwner, std::move(json)};
}

}  // namespace

std::string logOwner(const ValueStore& values) {
    return values.text(kOwner);
}

Result<bool, StoreError> giveLogTo(ValueStore& values, const std::string& user) {
    const std::string owner = logOwner(values);
    if (user.empty() || owner == user) {
        return false;
    }
    WriteBatch batch;
    if (!owner.empty()) {
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
    return !owner.empty();
}

}  // namespace tolvik
