#include "ai/assistant.h"

#include <algorithm>
#include <utility>

#include "base/text.h"

namespace tolvik {

namespace {

AssistantReply replyOf(Result<Answer, Refusal> answer) {
    return answer ? AssistantReply{AssistantReply::Kind::answer, std::move(answer->text), std::move(answer->citations)}
                  : AssistantReply{AssistantReply::Kind::refusal, std::move(answer.error().text), {}};
}

/// What a narrative of the days counts: they, as many days before them, and what began even earlier and ran into them.
std::vector<TimeEntry> entriesAbout(const AppStore& store, const DaySpan& days) {
    auto entries = store.entriesStarting(days.first.plus(-days.days()), days.last);
    const auto known = entries.size();
    for (const TimeEntry& entry : store.entriesOn(days.first)) {
        const auto end = entries.begin() + static_cast<std::ptrdiff_t>(known);
        if (std::ranges::find(entries.begin(), end, entry.id, &TimeEntry::id) == end) {
            entries.push_back(entry);
        }
    }
    return entries;
}

}  // namespace

Assistant::Assistant(Ports ports) : ports_(ports) {}
Assistant::~Assistant() = default;

template <class Make, class Done>
void Assistant::onDevice(std::vector<TimeEntry> entries, Make make, Done done) {
    struct Job {
        std::vector<TaskModel> tasks;
        std::vector<TagModel> projects;
        std::vector<TimeEntry> entries;
        AnswerFrame frame;
    };
    auto job = std::make_shared<const Job>(Job{ports_.store.tasks(),
                                               ports_.store.tags(),
                                               std::move(entries),
                                               {ports_.clock.now(), ports_.timeZone, ports_.firstWeekday}});
    auto work = [job = std::move(job), make = std::move(make), done = std::move(done), &loop = ports_.loop,
                 alive = std::weak_ptr<bool>(alive_)] {
        auto made = make(AnswerLog{job->tasks, job->projects, job->entries}, job->frame);
        loop.post([made = std::move(made), done, alive] {
            if (!alive.expired()) {
                done(made);
            }
        });
    };
    if (ports_.workers != nullptr) {
        ports_.workers->run(std::move(work));
    } else {
        ports_.loop.post(std::move(work));
    }
}

bool Assistant::ask(std::string_view question, std::function<void(AssistantReply)> done) {
    const auto text = trimmed(question);
    if (text.empty() || asking_) {
        return false;
    }
    asking_ = true;
    if (!ports_.session.currentToken()) {
        onDevice(
            ports_.store.timeEntries(),
            [text](const AnswerLog& log, const AnswerFrame& frame) {
                return replyOf(answerQuestion(text, log, frame));
            },
            [this, done = std::move(done)](const AssistantReply& reply) {
                asking_ = false;
                done(reply);
            });
        return true;
    }
    ports_.service.query(text, [this, alive = std::weak_ptr<bool>(alive_),
                                done = std::move(done)](Result<Answer, AIError> answer) {
        if (alive.expired()) {
            return;
        }
        asking_ = false;
        done(answer
                 ? AssistantReply{AssistantReply::Kind::answer, std::move(answer->text), std::move(answer->citations)}
                 : AssistantReply{AssistantReply::Kind::failure, std::string(kAssistantFailure), {}});
    });
    return true;
}

void Assistant::summary(DayKey day, std::function<void(std::optional<DaySummary>)> done) {
    if (!ports_.session.currentToken()) {
        onDevice(
            ports_.store.entriesOn(day),
            [day](const AnswerLog& log, const AnswerFrame& frame) { return std::optional(summaryOf(day, log, frame)); },
            std::move(done));
        return;
    }
    ports_.service.dailySummary(day, [done = std::move(done)](Result<DaySummary, AIError> summary) {
        done(summary ? std::optional(std::move(*summary)) : std::nullopt);
    });
}

void Assistant::narrative(const DaySpan& days, std::function<void(std::optional<std::string>)> done) {
    if (!ports_.session.currentToken()) {
        onDevice(
            entriesAbout(ports_.store, days),
            [days](const AnswerLog& log, const AnswerFrame& frame) {
                return std::optional(narrativeOf(days, log, frame));
            },
            std::move(done));
        return;
    }
    ports_.service.narrative(days, [done = std::move(done)](Result<std::string, AIError> narrative) {
        done(narrative ? std::optional(std::move(*narrative)) : std::nullopt);
    });
}

void SummaryCard::show(DayKey day, std::function<void()> changed) {
    if ((lastFetched_ == day && summary_) || underway_ == day) {
        return;
    }
    underway_ = day;
    assistant_.summary(day, [this, day, number = ++asked_, changed = std::move(changed),
                             alive = std::weak_ptr<bool>(alive_)](std::optional<DaySummary> summary) {
        if (alive.expired() || number != asked_) {
            return;
        }
        underway_.reset();
        if (summary) {
            lastFetched_ = day;
            summary_ = std::move(summary);
            changed();
        }
    });
}  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks): the function that was passed on owns what it captures

}  // namespace tolvik
