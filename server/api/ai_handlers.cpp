#include <charconv>
#include <memory>

#include "ai/answer/answer.h"
#include "ai/answer/summary.h"
#include "base/json_writer.h"
#include "base/text.h"
#include "base/zone.h"
#include "core/record_json.h"
#include "server/api/handlers.h"
#include "server/api/json_value.h"
#include "server/api/query_string.h"
#include "server/api/question_plan.h"
#include "server/api/replies.h"

namespace tolvik::server {
namespace {

/// No zone lies farther from UTC.
constexpr int mostOffset = 18 * 60;
constexpr int longestRange = 366 * 200;
constexpr std::size_t longestQuestion = 1000;
constexpr std::int64_t dayMs = 86'400'000;

/// A zone that always lies the same minutes from UTC: what is left when a device names a zone that is not known here.
class OffsetTimeZone final : public TimeZone {
public:
    explicit OffsetTimeZone(int minutesEast) : east_(minutesEast) {}

    [[nodiscard]] DayKey dayOf(Instant instant) const override {
        const auto local = localMs(instant);
        return {static_cast<std::int32_t>((local >= 0 ? local : local - dayMs + 1) / dayMs)};
    }
    [[nodiscard]] LocalTime timeOf(Instant instant) const override {
        const auto seconds = static_cast<int>((localMs(instant) - std::int64_t{dayOf(instant).days} * dayMs) / 1000);
        return {seconds / 3600, seconds / 60 % 60, seconds % 60};
    }
    [[nodiscard]] Instant startOf(DayKey day) const override {
        return Instant{std::int64_t{day.days} * dayMs} - std::chrono::minutes{east_};
    }
    [[nodiscard]] std::optional<Instant> at(DayKey day, LocalTime time) const override {
        return startOf(day) + std::chrono::seconds{time.hour * 3600 + time.minute * 60 + time.second};
    }
    [[nodiscard]] int offsetMinutes(Instant /*instant*/) const override { return east_; }
    [[nodiscard]] std::string name() const override { return "Etc/UTC"; }

private:
    [[nodiscard]] std::int64_t localMs(Instant instant) const { return (instant + std::chrono::minutes{east_}).ms; }

    int east_;
};

/// The zone of the sender; none when the offset is none.
std::unique_ptr<TimeZone> zoneOf(const Request& request) {
    if (auto zone = NamedTimeZone::find(request.header("x-tz"))) {
        return std::make_unique<NamedTimeZone>(*zone);
    }
    const auto text = request.header("x-tz-offset");
    int west = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), west);
    const bool isWhole = error == std::errc() && end == text.data() + text.size();
    if (!text.empty() && (!isWhole || west < -mostOffset || west > mostOffset)) {
        return nullptr;
    }
    return std::make_unique<OffsetTimeZone>(-west);
}

/// What an answer is made from, apart from the transaction.
struct Asked {
    std::vector<TaskModel> tasks;
    std::vector<TagModel> projects;
    std::vector<TimeEntry> entries;
    std::unique_ptr<TimeZone> zone;
    Instant now;

    [[nodiscard]] AnswerLog log() const { return {tasks, projects, entries}; }
    [[nodiscard]] AnswerFrame frame() const { return {.now = now, .zone = *zone}; }
};

/// The account's log; the answer when it is not to be read.
Result<std::shared_ptr<Asked>, Response> read(Context& context) {
    if (auto over = context.app.countRead(context.session.account, context.now)) {
        return failure(*std::move(over));
    }
    auto asked = std::make_shared<Asked>();
    asked->now = context.now;
    asked->zone = zoneOf(context.request);
    if (!asked->zone) {
        return failure(badRequest("X-TZ-Offset: not the minutes that a zone lies west of UTC"));
    }
    RecordDecoder decoder;
    const auto take = [&]<class Record>(RecordKind kind, std::vector<Record>& into) {
        context.transaction.eachOfKind(context.session.account, kind, [&](std::string_view json) {
            // What does not decode is not counted; every record was checked when it came.
            static_cast<void>(decoder.piece(json, into));
        });
    };
    take(RecordKind::task, asked->tasks);
    take(RecordKind::tag, asked->projects);
    take(RecordKind::timeEntry, asked->entries);
    return asked;
}

Response answered(std::string_view text, const std::vector<Citation>& citations) {
    std::string list = "[";
    for (const auto& citation : citations) {
        list += list.size() == 1 ? "" : ",";
        JsonObjectWriter one(list);
        one.text("taskId", citation.taskId.text());
        one.number("timeMs", citation.timeMs);
    }
    std::string out;
    {
        JsonObjectWriter writer(out);
        writer.text("answer", text);
        writer.raw("citations", list + "]");
    }
    return json(std::move(out));
}

}  // namespace

Outcome dailySummary(Context& context) {
    const auto query = parseQuery(context.request.query);
    const auto day = query ? DayKey::parse(itemOf(*query, "date").value_or("")) : std::nullopt;
    if (!day) {
        return {badRequest(query ? "date: not a day like 2026-01-31" : query.error())};
    }
    const auto asked = read(context);
    if (!asked) {
        return {asked.error()};
    }
    const auto summary = summaryOf(*day, (*asked)->log(), (*asked)->frame());
    std::string out;
    {
        JsonObjectWriter writer(out);
        writer.text("narrative", summary.narrative);
        std::string stats;
        {
            JsonObjectWriter inner(stats);
            inner.number("totalMs", summary.totalMs);
            inner.number("taskCount", summary.taskCount);
            inner.number("focusBlocks", summary.focusBlocks);
            if (summary.topProject) {
                inner.text("topProject", *summary.topProject);
            }
        }
        writer.raw("stats", stats);
    }
    return {json(std::move(out))};
}

Outcome rangeNarrative(Context& context) {
    const auto query = parseQuery(context.request.query);
    if (!query) {
        return {badRequest(query.error())};
    }
    const auto first = DayKey::parse(itemOf(*query, "from").value_or(""));
    const auto last = DayKey::parse(itemOf(*query, "to").value_or(""));
    if (!first || !last || *last < *first || last->days - first->days > longestRange) {
        return {badRequest("from, to: not two days like 2026-01-31 in order")};
    }
    const auto asked = read(context);
    if (!asked) {
        return {asked.error()};
    }
    std::string out;
    {
        JsonObjectWriter writer(out);
        writer.text("narrative", narrativeOf({*first, *last}, (*asked)->log(), (*asked)->frame()));
    }
    return {json(std::move(out))};
}

Outcome answerQuery(Context& context) {
    const auto body = readJsonObject(context.request.body);
    if (!body) {
        return {badRequest(body.error())};
    }
    const auto* member = body->member("question");
    const auto question = member == nullptr || member->text() == nullptr ? std::string() : trimmed(*member->text());
    if (question.empty() || utf16Length(question) > longestQuestion) {
        return {badRequest("question: not a text of 1 to 1000 characters")};
    }
    const auto asked = read(context);
    if (!asked) {
        return {asked.error()};
    }
    const auto answer = answerQuestion(question, (*asked)->log(), (*asked)->frame());
    if (answer) {
        return {answered(answer->text, answer->citations)};
    }
    if (context.app.ports.languageModel == nullptr) {
        return {answered(answer.error().text, {})};
    }
    Outcome out;
    out.slow = [&app = context.app, held = *asked, question, refusal = answer.error().text](const Request&) {
        const auto said =
            app.ports.languageModel->complete(planInstructions(), planInput(question, held->log(), held->frame()));
        const auto planned = said ? answerOfPlan(*said, held->log(), held->frame()) : std::nullopt;
        return planned ? answered(planned->text, planned->citations) : answered(refusal, {});
    };
    return out;
}

}  // namespace tolvik::server
