#include <algorithm>

#include "server/api/handlers.h"
#include "server/api/hash.h"
#include "server/api/record_form.h"
#include "server/api/replies.h"
#include "server/api/settle.h"

namespace tolvik::server {
namespace {

constexpr Millis operationWindow{std::chrono::hours{1}};
/// More than a device can send in that time.
constexpr std::int64_t mostOperations = 500'000;
constexpr std::int64_t mostRecords = 2'000'000;
constexpr std::int64_t mostOfSmallKind = 10'000;
constexpr std::size_t longestOperationId = 64;
constexpr std::size_t printDigits = 32;
constexpr int badStatus = 400;
constexpr int firstServerStatus = 500;

/// What became of an operation.
struct Effect {
    Response response = done();
    bool changed = true;
};

Effect nothing() {
    return {done(), false};
}
Effect refused(Response response) {
    return {std::move(response), false};
}

std::string_view nameOf(RecordKind kind) {
    switch (kind) {
        case RecordKind::task:
            return "task";
        case RecordKind::timeEntry:
            return "time entry";
        case RecordKind::switchLog:
            return "switch";
        case RecordKind::tag:
            return "project";
        default:
            return "term";
    }
}

Response noSuch(RecordKind kind) {
    return problem(404, "not_found", "There is no such " + std::string(nameOf(kind)) + ".");
}

/// An open task has no completion, a done one has.
void completeOrReopen(RecordForm& task, const std::string& moment) {
    if (task.text("status") == "open") {
        task.at("completedAt") = RecordForm::Absent{};
    } else if (!task.text("completedAt")) {
        task.at("completedAt") = moment;
    }
}

/// Checks what a record refers to: only what the user has may be named. None when all is well.
std::optional<Response> checkReferences(Context& context, RecordForm& record) {
    Transaction& transaction = context.transaction;
    const std::int64_t account = context.session.account;
    const auto has = [&](RecordKind kind, const std::string& id) {
        return transaction.record(account, kind, id).has_value();
    };
    switch (record.kind) {
        case RecordKind::task:
            if (const auto tag = record.text("tagId"); tag && !has(RecordKind::tag, *tag)) {
                return badRequest("tagId: there is no such project");
            }
            break;
        case RecordKind::timeEntry:
            if (const auto task = record.text("taskId"); task && !has(RecordKind::task, *task)) {
                return badRequest("taskId: there is no such task");
            }
            break;
        case RecordKind::switchLog:
            if (const auto task = record.text("toTaskId"); task && !has(RecordKind::task, *task)) {
                return badRequest("toTaskId: there is no such task");
            }
            // The switch to the other task happened all the same.
            if (const auto task = record.text("fromTaskId"); task && !has(RecordKind::task, *task)) {
                record.at("fromTaskId") = RecordForm::Null{};
            }
            break;
        case RecordKind::dictionary:
            // Terms of a project stay when it goes, and another device may still edit them.
            if (const auto tag = record.text("tagId");
                tag && !has(RecordKind::tag, *tag) && !transaction.isMarked(account, RecordKind::tag, *tag)) {
                return badRequest("tagId: there is no such project");
            }
            break;
        default:
            break;
    }
    return std::nullopt;
}

bool settles(RecordKind kind) {
    return kind == RecordKind::task || kind == RecordKind::timeEntry;
}

std::optional<Response> checkRoom(Context& context, RecordKind kind, std::int64_t records) {
    const bool isSmallKind = kind == RecordKind::tag || kind == RecordKind::dictionary;
    if (records >= mostRecords ||
        (isSmallKind && context.transaction.countOf(context.session.account, kind) >= mostOfSmallKind)) {
        return problem(409, "too_many", "There are too many records in this account.");
    }
    return std::nullopt;
}

/// Terms are sent whole when they are added and when they are edited.
Effect putTerm(Context& context, RecordForm term, std::int64_t records) {
    Transaction& transaction = context.transaction;
    const std::int64_t account = context.session.account;
    const auto present = transaction.record(account, term.kind, term.text("id").value_or(""));
    const std::string now = formatInstant(context.now);
    if (present) {
        const auto before = readRecord(term.kind, present->json);
        term.at("createdAt") = before ? before->at("createdAt") : RecordForm::Member(now);
        term.at("updatedAt") = before ? before->at("updatedAt") : RecordForm::Member(now);
        if (before && term == *before) {
            return nothing();
        }
        term.at("updatedAt") = now;
        transaction.setRecord(account, rowOf(term), context.now);
        return {};
    }
    if (auto full = checkRoom(context, term.kind, records)) {
        return refused(*std::move(full));
    }
    for (const std::string_view name : {"createdAt", "updatedAt"}) {
        if (!term.text(name)) {
            term.at(name) = now;
        }
    }
    transaction.addRecord(account, rowOf(term), context.now);
    return {};
}

Effect post(Context& context, RecordKind kind, std::int64_t records) {
    auto record = readRecord(kind, context.request.body);
    if (!record) {
        return refused(badRequest(record.error()));
    }
    if (auto bad = checkReferences(context, *record)) {
        return refused(*std::move(bad));
    }
    if (kind == RecordKind::dictionary) {
        return putTerm(context, *std::move(record), records);
    }
    const std::int64_t account = context.session.account;
    if (context.transaction.record(account, kind, record->text("id").value_or(""))) {
        return nothing();
    }
    if (auto full = checkRoom(context, kind, records)) {
        return refused(*std::move(full));
    }
    if (kind == RecordKind::task) {
        completeOrReopen(*record, record->text("updatedAt").value_or(""));
    }
    const RecordRow row = rowOf(*record);
    context.transaction.addRecord(account, row, context.now);
    if (settles(kind) && row.live) {
        settle(context.transaction, account, context.now);
    }
    return {};
}

Effect patch(Context& context, RecordKind kind, std::int64_t) {
    const std::int64_t account = context.session.account;
    const auto present = context.transaction.record(account, kind, context.id);
    const auto before = present ? readRecord(kind, present->json) : failure(std::string());
    if (!before) {
        return refused(noSuch(kind));
    }
    const auto change = readChange(kind, context.request.body);
    if (!change) {
        return refused(badRequest(change.error()));
    }
    // A reference that stays is not looked up: what it named may be gone.
    RecordForm asked = *change;
    if (auto bad = checkReferences(context, asked)) {
        return refused(*std::move(bad));
    }
    RecordForm after = changed(*before, asked);
    if (kind == RecordKind::task) {
        completeOrReopen(after, formatInstant(context.now));
    }
    if (after == *before) {
        return nothing();
    }
    if (kind == RecordKind::task || kind == RecordKind::tag) {
        after.at("updatedAt") = formatInstant(context.now);
    }
    context.transaction.setRecord(account, rowOf(after), context.now);
    if (settles(kind)) {
        settle(context.transaction, account, context.now);
    }
    return {};
}

Effect remove(Context& context, RecordKind kind, std::int64_t) {
    Transaction& transaction = context.transaction;
    const std::int64_t account = context.session.account;
    const auto present = transaction.record(account, kind, context.id);
    if (!present) {
        return transaction.isMarked(account, kind, context.id) ? nothing() : refused(noSuch(kind));
    }
    const auto without = [&](const FoundRecord& found, std::string_view member, bool stamps) {
        if (auto form = readRecord(found.kind, found.json)) {
            form->at(member) = RecordForm::Absent{};
            if (stamps) {
                form->at("updatedAt") = formatInstant(context.now);
            }
            transaction.setRecord(account, rowOf(*form), context.now);
        }
    };
    if (kind == RecordKind::task) {
        transaction.dropRecordsOfTask(account, context.id, context.now);
        for (const FoundRecord& log : transaction.switchesFrom(account, context.id)) {
            without(log, "fromTaskId", false);
        }
    } else if (kind == RecordKind::tag) {
        for (const FoundRecord& task : transaction.tasksOfTag(account, context.id)) {
            without(task, "tagId", true);
        }
    }
    transaction.dropRecord(account, *present, context.now);
    if (settles(kind)) {
        settle(transaction, account, context.now);
    }
    return {};
}

bool isOperationId(std::string_view id) {
    return id.size() <= longestOperationId && std::ranges::all_of(id, [](char c) { return c > ' ' && c < '\x7f'; });
}

/// What tells a request from another one with the same operation id, such as the same change without its project.
std::string printOf(const Request& request) {
    return sha256(request.method + "\n" + request.path + "\n" + request.body).substr(0, printDigits);
}

using MakeEffect = Effect (*)(Context&, RecordKind, std::int64_t records);

/// Carries an operation out once, whenever and however often it comes.
Outcome once(Context& context, RecordKind kind, MakeEffect makeEffect) {
    Transaction& transaction = context.transaction;
    const std::int64_t account = context.session.account;
    const std::string_view id = context.request.header("x-op-id");
    if (!isOperationId(id)) {
        return {badRequest("x-op-id: not a short plain text")};
    }
    transaction.lock(account);
    const auto count = transaction.countOperation(account, context.now, operationWindow);
    if (!count) {
        // Deleted while this waited for the account.
        return {unauthorized()};
    }
    if (count->window.used > mostOperations) {
        return {tooMany((count->window.until - context.now).count() / 1000 + 1)};
    }
    const std::string print = id.empty() ? "" : printOf(context.request);
    if (!id.empty()) {
        const auto known = transaction.operation(account, id);
        if (known && known->status < badStatus) {
            return {done()};
        }
        if (known && known->print == print) {
            return {problem(known->status, "refused_before", "This change was refused when it first came.")};
        }
    }
    Effect effect = makeEffect(context, kind, count->records);
    if (!id.empty() && effect.response.status < firstServerStatus) {
#ifndef TOLVIK_PLANT_LOST_OP_ID
        transaction.addOperation(account, id, {print, effect.response.status}, context.now);
#endif
    }
    Outcome out{std::move(effect.response)};
    if (effect.changed) {
        out.announcements.push_back({context.session.userId, context.session.deviceId});
        transaction.announce(out.announcements.back());
    }
    return out;
}

}  // namespace

template <RecordKind kind>
Outcome postRecord(Context& context) {
    return once(context, kind, post);
}
template <RecordKind kind>
Outcome patchRecord(Context& context) {
    return once(context, kind, patch);
}
template <RecordKind kind>
Outcome deleteRecord(Context& context) {
    return once(context, kind, remove);
}

template Outcome postRecord<RecordKind::task>(Context&);
template Outcome postRecord<RecordKind::timeEntry>(Context&);
template Outcome postRecord<RecordKind::switchLog>(Context&);
template Outcome postRecord<RecordKind::tag>(Context&);
template Outcome postRecord<RecordKind::dictionary>(Context&);
template Outcome patchRecord<RecordKind::task>(Context&);
template Outcome patchRecord<RecordKind::timeEntry>(Context&);
template Outcome patchRecord<RecordKind::switchLog>(Context&);
template Outcome patchRecord<RecordKind::tag>(Context&);
template Outcome deleteRecord<RecordKind::task>(Context&);
template Outcome deleteRecord<RecordKind::timeEntry>(Context&);
template Outcome deleteRecord<RecordKind::switchLog>(Context&);
template Outcome deleteRecord<RecordKind::tag>(Context&);
template Outcome deleteRecord<RecordKind::dictionary>(Context&);

}  // namespace tolvik::server
