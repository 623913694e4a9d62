#include "sync/outbox_journal.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "base/json_reader.h"
#include "base/json_writer.h"
#include "sync/bulk_file.h"

namespace tolvik {
namespace {

constexpr std::string_view kDone = R"({"done":)";
constexpr std::string_view kReplace = R"({"replace":)";
constexpr std::string_view kClear = R"({"clear":)";

std::optional<OutboxOp> readOp(std::string_view json) {
    auto ops = readOps("[" + std::string(json) + "]");
    return ops && ops->size() == 1 ? std::optional(std::move(ops->front())) : std::nullopt;
}

std::optional<std::string> readDone(const std::string& item) {
    JsonReader reader({.bytes = item.size()});
    const auto object = reader.readObject(item);
    std::string_view id;
    if (!object || object->at_key("done").get(id) != simdjson::SUCCESS) {
        return std::nullopt;
    }
    return std::string(id);
}

}  // namespace

std::string outboxJournalOf(std::string_view user) {
    return user.empty() ? "outbox" : "outbox/" + std::string(user);
}

std::string doneItem(std::string_view opId) {
    std::string out;
    {
        JsonObjectWriter json(out);
        json.text("done", opId);
    }
    return out;
}

std::string replaceItem(const OutboxOp& op) {
    std::string out(kReplace);
    appendOp(out, op);
    return out + "}";
}

std::string clearItem() {
    return std::string(kClear) + "true}";
}

void applyJournal(std::deque<OutboxOp>& ops, const std::vector<JournalItem>& items, const std::string& folder) {
    std::unordered_set<std::string> done;
    std::unordered_map<std::string, OutboxOp*> known;
    known.reserve(ops.size() + items.size());
    for (OutboxOp& op : ops) {
        known.emplace(op.id, &op);
    }
    const auto append = [&](OutboxOp op) {
        if (!known.contains(op.id)) {
            // A deque's elements stay where they are when it grows at its end.
            ops.push_back(std::move(op));
            known.emplace(ops.back().id, &ops.back());
        }
    };
    for (const JournalItem& item : items) {
        if (item.bytes.starts_with(kDone)) {
            if (auto id = readDone(item.bytes)) {
                done.insert(std::move(*id));
            }
        } else if (item.bytes.starts_with(kClear)) {
            ops.clear();
            known.clear();
            done.clear();
        } else if (item.bytes.starts_with(kReplace)) {
            auto op =
                readOp(std::string_view(item.bytes).substr(kReplace.size(), item.bytes.size() - kReplace.size() - 1));
            if (const auto found = op ? known.find(op->id) : known.end(); found != known.end()) {
                *found->second = std::move(*op);
            }
        } else if (item.bytes.starts_with('[') || bulkFileOf(item.bytes)) {
            for (OutboxOp& op : readOps(bulkContent(folder, item.bytes)).value_or(std::vector<OutboxOp>())) {
                append(std::move(op));
            }
        } else if (auto op = readOp(item.bytes)) {
            append(std::move(*op));
        }
    }
    std::erase_if(ops, [&](const OutboxOp& op) { return done.contains(op.id); });
}

}  // namespace tolvik
