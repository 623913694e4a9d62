#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "ai/ai_service.h"
#include "core/app_store.h"

namespace tolvik {

/// What the query bar shows when the server's assistant did not answer.
constexpr std::string_view kAssistantFailure = "Couldn't reach the assistant. Try again.";

/// What the query bar shows.
struct AssistantReply {
    enum class Kind : std::uint8_t { answer, refusal, failure };
    Kind kind = Kind::failure;
    std::string text;
    std::vector<Citation> citations;
};

/// Answers questions about the log: signed in, the server does; signed out, this device. Main loop only; callbacks come
/// on the loop, never before the call has returned. What it was made with outlives it.
class Assistant {
public:
    struct Ports {
        const AppStore& store;
        AIService& service;
        Session& session;
        MainLoop& loop;
        const Clock& clock;
        const TimeZone& timeZone;
        /// 0 = Sunday … 6 = Saturday.
        int firstWeekday = 1;
        /// Where the device's own answers are made, from a copy of the log; null makes them on the loop.
        Workers* workers = nullptr;
    };
    explicit Assistant(Ports ports);
    Assistant(const Assistant&) = delete;
    Assistant& operator=(const Assistant&) = delete;
    ~Assistant();

    /// False, and nothing is asked, for a question without words and while one is being answered.
    bool ask(std::string_view question, std::function<void(AssistantReply)> done);
    /// A question is being answered.
    [[nodiscard]] bool isAsking() const { return asking_; }
    /// None when the server gave none; then what was shown stays. Signed out it and the narrative read only the entries
    /// that they are about.
    void summary(DayKey day, std::function<void(std::optional<DaySummary>)> done);
    void narrative(const DaySpan& days, std::function<void(std::optional<std::string>)> done);

private:
    /// Hands what `make` makes of the entries to `done`, on the loop while this object lives.
    template <class Make, class Done>
    void onDevice(std::vector<TimeEntry> entries, Make make, Done done);

    Ports ports_;
    bool asking_ = false;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

/// The home page's card: the summary of the shown day, fetched once a day. Main loop only.
class SummaryCard {
public:
    explicit SummaryCard(Assistant& assistant) : assistant_(assistant) {}

    /// Fetches the day's summary unless it is the one that is present or on its way. `changed` is called when there is
    /// something new to show.
    void show(DayKey day, std::function<void()> changed);
    /// The next `show` fetches again: the log or the account changed. What is shown stays until then.
    void expire() {
        lastFetched_.reset();
        underway_.reset();
    }
    /// Of the day that was last fetched.
    [[nodiscard]] const std::optional<DaySummary>& summary() const { return summary_; }
    [[nodiscard]] std::optional<DayKey> lastFetchedDate() const { return lastFetched_; }

private:
    Assistant& assistant_;
    std::optional<DayKey> lastFetched_;
    std::optional<DayKey> underway_;
    /// Counts the questions: only the answer to the latest one is of use.
    std::uint64_t asked_ = 0;
    std::optional<DaySummary> summary_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace tolvik
