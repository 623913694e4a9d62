#include <array>
#include <charconv>
#include <unordered_set>
#include <vector>

#include "base/json_writer.h"
#include "base/zone.h"
#include "server/api/handlers.h"
#include "server/api/query_string.h"
#include "server/api/replies.h"

namespace tolvik::server {
namespace {

constexpr std::array kinds{RecordKind::task, RecordKind::timeEntry, RecordKind::switchLog, RecordKind::tag,
                           RecordKind::dictionary};
constexpr std::array<std::string_view, kinds.size()> names{"tasks", "timeEntries", "switchLogs", "tags",
                                                           "dictionaries"};
/// No zone lies farther from UTC.
constexpr int mostOffset = 18 * 60;
constexpr int longestRange = 366 * 200;

/// Minutes west of UTC; 0 when the header is absent.
std::optional<int> offsetOf(const Request& request) {
    const std::string_view text = request.header("x-tz-offset");
    int out = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), out);
    if (text.empty()) {
        return 0;
    }
    if (error != std::errc() || end != text.data() + text.size() || out < -mostOffset || out > mostOffset) {
        return std::nullopt;
    }
    return out;
}

Instant midnight(DayKey day, int offset) {
    return Instant{std::int64_t{day.days} * 86'400'000} + std::chrono::minutes{offset};
}

/// The arrays of an answer while they grow.
class Arrays {
public:
    void add(RecordKind kind, std::string_view json) {
        std::string& to = texts_.at(static_cast<std::size_t>(kind));
        to += to.empty() ? '[' : ',';
        to += json;
    }
    /// Passes over records that were added before.
    void addOnce(RecordKind kind, std::int64_t number, std::string_view json) {
        if (seen_.insert(number).second) {
            add(kind, json);
        }
    }
    /// The records, the earliest day and the markers as one object.
    [[nodiscard]] std::string answer(std::optional<Instant> earliest, int offset,
                                     const std::vector<MarkerRow>& markers) const {
        std::string deleted = "[";
        for (const MarkerRow& marker : markers) {
            deleted += deleted.size() == 1 ? "" : ",";
            JsonObjectWriter one(deleted);
            one.text("kind", kindText(marker.kind));
            one.text("id", marker.id);
            one.text("deletedAt", formatInstant(marker.deleted));
        }
        deleted += ']';
        std::string out;
        std::size_t size = deleted.size();
        for (const std::string& text : texts_) {
            size += text.size() + 32;
        }
        out.reserve(size);
        {
            JsonObjectWriter writer(out);
            for (std::size_t i = 0; i < kinds.size(); ++i) {
                writer.raw(names.at(i), texts_.at(i).empty() ? "[]" : texts_.at(i) + "]");
            }
            if (earliest) {
                constexpr std::int64_t dayMs = 86'400'000;
                const std::int64_t local = (*earliest - std::chrono::minutes{offset}).ms;
                const std::int64_t days = (local >= 0 ? local : local - dayMs + 1) / dayMs;
                writer.text("earliestDate", DayKey{static_cast<std::int32_t>(days)}.text());
            }
            writer.raw("deleted", deleted);
        }
        return out;
    }

private:
    std::array<std::string, kinds.size()> texts_;
    std::unordered_set<std::int64_t> seen_;
};

struct Range {
    Instant begin;
    Instant end;
};

/// The instants of the days; the last one ends when its zone says so, where the request names it.
Range rangeOf(DayKey from, DayKey to, int offset, std::string_view zoneName) {
    Range out{midnight(from, offset), midnight(to.plus(1), offset)};
    if (const auto zone = zoneName.empty() ? std::nullopt : NamedTimeZone::find(zoneName);
        zone && zone->startOf(from) == out.begin) {
        out.end = zone->startOf(to.plus(1));
    }
    return out;
}

Outcome pullRange(Context& context, Range range, int offset) {
    Transaction& transaction = context.transaction;
    const std::int64_t account = context.session.account;
    Arrays arrays;
    for (const RecordKind kind : {RecordKind::task, RecordKind::timeEntry, RecordKind::switchLog}) {
        transaction.eachDated(account, kind, range.begin, range.end,
                              [&](std::int64_t number, std::string_view json) { arrays.addOnce(kind, number, json); });
    }
    transaction.eachLong(account, RecordKind::timeEntry, range.begin, [&](std::int64_t number, std::string_view json) {
        arrays.addOnce(RecordKind::timeEntry, number, json);
    });
    transaction.eachChanged(account, range.begin, range.end,
                            [&](std::int64_t number, RecordKind kind, std::string_view json) {
                                if (kind != RecordKind::tag) {
                                    arrays.addOnce(kind, number, json);
                                }
                            });
    transaction.eachLive(account, [&](std::int64_t number, RecordKind kind, std::string_view json) {
        arrays.addOnce(kind, number, json);
    });
    transaction.eachOfKind(account, RecordKind::tag, [&](std::string_view json) { arrays.add(RecordKind::tag, json); });
    return {json(
        arrays.answer(transaction.earliest(account), offset, transaction.markers(account, range.begin, range.end)))};
}

}  // namespace

Outcome pull(Context& context) {
    if (auto over = context.app.countRead(context.session.account, context.now)) {
        return {*std::move(over)};
    }
    const auto offset = offsetOf(context.request);
    if (!offset) {
        return {badRequest("X-TZ-Offset: not the minutes that a zone lies west of UTC")};
    }
    const auto query = parseQuery(context.request.query);
    if (!query) {
        return {badRequest(query.error())};
    }
    const auto from = itemOf(*query, "from");
    const auto to = itemOf(*query, "to");
    if (from || to) {
        const auto first = DayKey::parse(from.value_or(""));
        const auto last = DayKey::parse(to.value_or(""));
        if (!first || !last || *last < *first || last->days - first->days > longestRange) {
            return {badRequest("from, to: not two days like 2026-01-31 in order")};
        }
        return pullRange(context, rangeOf(*first, *last, *offset, context.request.header("x-tz")), *offset);
    }
    Transaction& transaction = context.transaction;
    const std::int64_t account = context.session.account;
    Arrays arrays;
    for (const RecordKind kind : kinds) {
        transaction.eachOfKind(account, kind, [&](std::string_view json) { arrays.add(kind, json); });
    }
    return {json(arrays.answer(transaction.earliest(account), *offset, transaction.markers(account)))};
}

}  // namespace tolvik::server
