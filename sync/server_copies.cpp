#include "sync/server_copies.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <utility>

#include "base/json_writer.h"
#include "sync/bulk_file.h"
#include "sync/op_effect.h"

namespace tolvik {
namespace {

constexpr std::size_t kTidyAt = 512;

void writeRecord(JsonObjectWriter& out, const std::optional<std::string>& record) {
    if (record) {
        out.text("record", *record);
    }
}

void appendFirst(std::string& item, const ServerCopy& before, const std::optional<Identifier>& holder) {
    JsonObjectWriter out(item);
    out.text("first", before.id.text());
    out.text("kind", kindText(before.kind));
    if (holder) {
        out.text("holder", holder->text());
    }
    writeRecord(out, before.record);
}

}  // namespace

std::string ServerCopies::journalOf(std::string_view user) {
    return user.empty() ? "outbox.copies" : "outbox.copies/" + std::string(user);
}

void ServerCopies::stageFirst(WriteBatch& batch, const std::string& journal, const ServerCopy& before,
                              const std::optional<Identifier>& holder) {
    std::string item;
    appendFirst(item, before, holder);
    batch.writes.emplace_back(WriteBatch::AppendJournal{journal, std::move(item)});
}

void ServerCopies::Many::add(const ServerCopy& before, const Identifier& holder) {
    item += item.size() > 1 ? "," : "";
    appendFirst(item, before, holder);
    copies.try_emplace(before.id, Copy{before.kind, before.record, {}}).first->second.holders.insert(holder);
    byHolder[holder].insert(before.id);
}

bool ServerCopies::takeSome(Many& many, std::size_t& count) {
    for (; count > 0 && !many.copies.empty(); --count) {
        auto placed = copies_.insert(many.copies.extract(many.copies.begin()));
        if (!placed.inserted) {
            // The first copy counts.
            placed.position->second.holders.merge(placed.node.mapped().holders);
        }
        ++items_;
    }
    for (; count > 0 && !many.byHolder.empty(); --count) {
        auto placed = byHolder_.insert(many.byHolder.extract(many.byHolder.begin()));
        if (!placed.inserted) {
            placed.position->second.merge(placed.node.mapped());
        }
    }
    return many.copies.empty() && many.byHolder.empty();
}

void ServerCopies::load(std::string journal, const std::vector<JournalItem>& items, const std::string& folder) {
    unload();
    journal_ = std::move(journal);
    for (const JournalItem& item : items) {
        read(nlohmann::json::parse(bulkContent(folder, item.bytes), nullptr, false));
    }
    items_ = items.size();
}

void ServerCopies::unload() {
    copies_.clear();
    byHolder_.clear();
    items_ = 0;
}

void ServerCopies::read(const nlohmann::json& json) {
    using Json = nlohmann::json;
    if (json.is_array()) {
        for (const Json& one : json) {
            if (one.is_object()) {
                read(one);
            }
        }
        return;
    }
    const auto text = [&](const char* name) -> std::optional<std::string> {
        const auto found = json.is_object() ? json.find(name) : json.end();
        return json.is_object() && found != json.end() && found->is_string() ? std::optional(found->get<std::string>())
                                                                             : std::nullopt;
    };
    if (const auto erased = text("erase")) {
        forget(Identifier(*erased));
        return;
    }
    if (json.is_object() && json.contains("clear")) {
        unload();
        return;
    }
    const auto kind = kindFromText(text("kind").value_or(""));
    if (!kind) {
        return;
    }
    if (const auto first = text("first")) {
        const auto holder = text("holder");
        addFirst({*kind, Identifier(*first), text("record")},
                 holder ? std::optional(Identifier(*holder)) : std::nullopt);
    } else if (const auto set = text("set")) {
        const Identifier id(*set);
        forget(id);
        Copy& copy = copies_[id];
        copy.kind = *kind;
        copy.record = text("record");
        if (const auto holders = json.find("holders"); holders != json.end() && holders->is_array()) {
            for (const Json& holder : *holders) {
                if (holder.is_string()) {
                    copy.holders.emplace(holder.get<std::string>());
                    byHolder_[Identifier(holder.get<std::string>())].insert(id);
                }
            }
        }
    }
}

void ServerCopies::addFirst(const ServerCopy& before, const std::optional<Identifier>& holder) {
    Copy& copy = copies_.try_emplace(before.id, Copy{before.kind, before.record, {}}).first->second;
    if (holder) {
        copy.holders.insert(*holder);
        byHolder_[*holder].insert(before.id);
    }
    ++items_;
}

void ServerCopies::carriedOut(WriteBatch& batch, const OutboxOp& op, bool isLast) {
    if (!op.entityId) {
        return;
    }
    const Identifier holder(*op.entityId);
    for (const Identifier& id : heldBy(holder)) {
        Copy& copy = copies_.at(id);
        const auto before = copy.record;
        if (id == holder) {
            copy.record = recordAfter(copy.record, op);
        } else if (op.method == "DELETE") {
            copy.record.reset();
        }
        if (isLast) {
            dropHolder(batch, id, holder);
        } else if (copy.record != before) {
            set(batch, id, copy);
        }
    }
}

void ServerCopies::released(WriteBatch& batch, const Identifier& holder) {
    for (const Identifier& id : heldBy(holder)) {
        dropHolder(batch, id, holder);
    }
}

void ServerCopies::replace(WriteBatch& batch, const ServerCopy& copy) {
    if (const auto found = copies_.find(copy.id); found != copies_.end() && found->second.record != copy.record) {
        found->second.record = copy.record;
        set(batch, copy.id, found->second);
    }
}

void ServerCopies::erase(WriteBatch& batch, const Identifier& id) {
    if (!copies_.contains(id)) {
        return;
    }
    forget(id);
    std::string item;
    {
        JsonObjectWriter out(item);
        out.text("erase", id.text());
    }
    append(batch, std::move(item));
}

const ServerCopies::Copy* ServerCopies::find(const Identifier& id) const {
    const auto found = copies_.find(id);
    return found == copies_.end() ? nullptr : &found->second;
}

std::vector<Identifier> ServerCopies::heldBy(const Identifier& holder) const {
    const auto found = byHolder_.find(holder);
    return found == byHolder_.end() ? std::vector<Identifier>()
                                    : std::vector<Identifier>(found->second.begin(), found->second.end());
}

void ServerCopies::tidy(WriteBatch& batch) {
    if (items_ == 0 || (!copies_.empty() && (items_ < kTidyAt || items_ < 4 * copies_.size()))) {
        return;
    }
    batch.writes.emplace_back(WriteBatch::TrimJournal{journal_, INT64_MAX});
    items_ = 0;
    for (const auto& [id, copy] : copies_) {
        set(batch, id, copy);
    }
}

void ServerCopies::set(WriteBatch& batch, const Identifier& id, const Copy& copy) {
    std::string item;
    {
        JsonObjectWriter out(item);
        out.text("set", id.text());
        out.text("kind", kindText(copy.kind));
        writeRecord(out, copy.record);
        std::string holders = "[";
        for (const Identifier& holder : copy.holders) {
            if (holders.size() > 1) {
                holders += ',';
            }
            appendJsonString(holders, holder.text());
        }
        out.raw("holders", holders + "]");
    }
    append(batch, std::move(item));
}

void ServerCopies::append(WriteBatch& batch, std::string item) {
    batch.writes.emplace_back(WriteBatch::AppendJournal{journal_, std::move(item)});
    ++items_;
}

void ServerCopies::dropHolder(WriteBatch& batch, const Identifier& id, const Identifier& holder) {
    Copy& copy = copies_.at(id);
    copy.holders.erase(holder);
    if (const auto found = byHolder_.find(holder); found != byHolder_.end()) {
        found->second.erase(id);
        if (found->second.empty()) {
            byHolder_.erase(found);
        }
    }
    if (copy.holders.empty()) {
        erase(batch, id);
    } else {
        set(batch, id, copy);
    }
}

void ServerCopies::forget(const Identifier& id) {
    const auto found = copies_.find(id);
    if (found == copies_.end()) {
        return;
    }
    for (const Identifier& holder : found->second.holders) {
        if (const auto held = byHolder_.find(holder); held != byHolder_.end()) {
            held->second.erase(id);
            if (held->second.empty()) {
                byHolder_.erase(held);
            }
        }
    }
    copies_.erase(found);
}

}  // namespace tolvik
