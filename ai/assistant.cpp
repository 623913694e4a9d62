#include "ai/assistant.h"

#include <utility>

#include "base/text.h"

namespace tolvik {

AnswerLog answerLogOf(const AppStore& store) {
    return {store.tasks(), store.tags(), store.timeEntries()};
}

Assistant::Assistant(Ports ports) : ports_(ports) {}
Assistant::~Assistant() = default;

void Assistant::later(std::function<void()> call) {
    ports_.loop.post([call = std::move(call), alive = std::weak_ptr<bool>(alive_)] {
        if (!alive.expired()) {
            call();
        }
    });
}

bool Assistant::ask(std::string_view question, std::function<void(AssistantReply)> done) {
    const auto text = trimmed(question);
    if (text.empty() || asking_) {
        return false;
    }
    asking_ = true;
    if (!ports_.session.currentToken()) {
        later([this, text, done = std::move(done)] {
            asking_ = false;
            auto answer = answerQuestion(text, answerLogOf(ports_.store), frame());
            done(answer ? AssistantReply{AssistantReply::Kind::answer, std::move(answer->text),
                                         std::move(answer->citations)}
                        : AssistantReply{AssistantReply::Kind::refusal, std::move(answer.error().text), {}});
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
        later([this, day, done = std::move(done)] { done(summaryOf(day, answerLogOf(ports_.store), frame())); });
        return;
    }
    ports_.service.dailySummary(day, [done = std::move(done)](Result<DaySummary, AIError> summary) {
        done(summary ? std::optional(std::move(*summary)) : std::nullopt);
    });
}

void Assistant::narrative(const DaySpan& days, std::function<void(std::optional<std::string>)> done) {
    if (!ports_.session.currentToken()) {
        later([this, days, done = std::move(done)] { done(narrativeOf(days, answerLogOf(ports_.store), frame())); });
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
    assistant_.summary(day, [this, day, changed = std::move(changed),
                             alive = std::weak_ptr<bool>(alive_)](std::optional<DaySummary> summary) {
        // An answer for a day that was left meanwhile is of no use.
        if (alive.expired() || underway_ != day) {
            return;
        }
        underway_.reset();
        if (summary) {
            lastFetched_ = day;
            summary_ = std::move(summary);
            changed();
        }
    });
}

}  // namespace tolvik
