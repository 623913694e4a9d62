#include "voice/parse/command_executor.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/text.h"
#include "voice/parse/sentence_forms.h"
#include "voice/parse/task_matching.h"

namespace tolvik {
namespace {

constexpr std::size_t longestTitle = 500;

/// What becomes of a local result that is not sure enough and that nobody else can decide.
ParseResult fallbackFor(ParseResult local) {
    if (local.action == "start" && local.confidence >= CommandExecutor::localOnlyFloor) {
        return local;
    }
    return {"none", std::nullopt, "", std::nullopt, local.confidence, std::move(local.method)};
}

ParseResult fromBackend(BackendParser::Command command) {
    return {std::move(command.action),
            command.taskId,
            std::move(command.taskTitle),
            std::move(command.reason),
            1.0,
            "backend"};
}

/// Sentences about the log itself, which name no task.
enum class Special : std::uint8_t { none, undo, resume };

Special specialOf(std::string_view transcript) {
    constexpr std::array<std::string_view, 5> undoing{"undo", "undo that", "undo it", "undo this", "take that back"};
    constexpr std::array<std::string_view, 4> resuming{"resume", "continue", "go back", "switch back"};
    const std::string sentence = withoutTrailingFillers(normalised(withoutTrailingPunctuation(trimmed(transcript))));
    if (std::ranges::find(undoing, sentence) != undoing.end()) {
        return Special::undo;
    }
    if (std::ranges::find(resuming, sentence) != resuming.end()) {
        return Special::resume;
    }
    // "resume it", "continue with this task": whatever was going on.
    const std::string_view rest = withoutReferencePrefix(sentence);
    const bool continues = sentence.starts_with("resume ") || sentence.starts_with("continue ");
    return continues && isEmptyReference(rest) && !spokenPosition(rest) ? Special::resume : Special::none;
}

}  // namespace

struct CommandExecutor::Impl {
    explicit Impl(Ports given) : ports(std::move(given)) {}

    Ports ports;
    Signal<const CommandOutcome&> executed;
    /// The sentence that waits for the backend; a newer one replaces it.
    BackendParser::Request request;
    std::uint64_t generation = 0;

    bool isSignedIn() const { return ports.isSignedIn && ports.isSignedIn(); }
    std::vector<TaskInfo> candidates() const;
    bool isTitle(std::string_view sentence, const std::vector<TaskInfo>& tasks) const;
    /// The outcome of a sentence that is no ordinary command; none when it is one.
    std::optional<CommandOutcome> special(std::string_view transcript, const std::vector<TaskInfo>& tasks,
                                          std::optional<ChangeSource> source);
    /// Carries out, or only foretells when there is no source.
    CommandOutcome carryOut(const ParseResult& decision, std::string_view transcript,
                            std::optional<ChangeSource> source);
    CommandOutcome resume(std::string_view transcript, std::optional<ChangeSource> source);
    void start(CommandOutcome& outcome, std::string_view title, const std::optional<std::string>& reason,
               std::optional<ChangeSource> source);
    void askBackend(const std::string& transcript, ChangeSource source, const std::vector<TaskInfo>& tasks,
                    ParseResult local, std::function<void(const CommandOutcome&)> done);
};

std::vector<TaskInfo> CommandExecutor::Impl::candidates() const {
    std::vector<const TaskModel*> open;
    for (const TaskModel& task : ports.store.tasks()) {
        if (task.isOpen() || task.isActive) {
            open.push_back(&task);
        }
    }
    // Of tasks changed at the same instant the younger comes first, which the address tells within the collection.
    const auto before = [](const TaskModel* a, const TaskModel* b) {
        if (a->isActive != b->isActive) {
            return a->isActive;
        }
        return a->updatedAt != b->updatedAt ? a->updatedAt > b->updatedAt : a > b;
    };
    const auto count = static_cast<std::ptrdiff_t>(std::min(open.size(), maxCandidates));
    std::ranges::partial_sort(open, open.begin() + count, before);
    std::vector<TaskInfo> out;
    for (auto it = open.begin(); it != open.begin() + count; ++it) {
        out.push_back({(*it)->id, (*it)->title, static_cast<int>(out.size()) + 1, (*it)->isActive});
    }
    return out;
}

bool CommandExecutor::Impl::isTitle(std::string_view sentence, const std::vector<TaskInfo>& tasks) const {
    const std::string wanted = normalised(withoutTrailingPunctuation(trimmed(sentence)));
    return std::ranges::any_of(tasks, [&](const TaskInfo& task) { return comparableTitle(task.title) == wanted; });
}

std::optional<CommandOutcome> CommandExecutor::Impl::special(std::string_view transcript,
                                                             const std::vector<TaskInfo>& tasks,
                                                             std::optional<ChangeSource> source) {
    if (trimmed(transcript).empty()) {
        CommandOutcome blank;
        blank.action = "none";
        blank.method = "empty";
        blank.transcript = std::string(transcript);
        return blank;
    }
    const Special kind = specialOf(transcript);
    // What a task is called wins over what the words command.
    if (kind == Special::none || isTitle(transcript, tasks)) {
        return std::nullopt;
    }
    if (kind == Special::resume) {
        return resume(transcript, source);
    }
    CommandOutcome outcome;
    outcome.action = "undo";
    outcome.method = "keyword";
    outcome.confidence = 1.0;
    outcome.transcript = std::string(transcript);
    const std::optional<std::string> words = source ? ports.store.undo() : ports.store.undoable();
    if (words) {
        outcome.feedback = undoneLine(*words);
    } else {
        outcome.action = "none";
        outcome.feedback = "Nothing to undo";
    }
    return outcome;
}

CommandOutcome CommandExecutor::Impl::resume(std::string_view transcript, std::optional<ChangeSource> source) {
    if (const TaskModel* task = ports.store.taskToResume()) {
        return carryOut({"switch", task->id, task->title, std::nullopt, 1.0, "keyword"}, transcript, source);
    }
    CommandOutcome outcome;
    outcome.action = "none";
    outcome.method = "none";
    outcome.transcript = std::string(transcript);
    outcome.feedback = "Nothing to resume";
    return outcome;
}

void CommandExecutor::Impl::start(CommandOutcome& outcome, std::string_view title,
                                  const std::optional<std::string>& reason, std::optional<ChangeSource> source) {
    std::string stored = cutToUtf16(trimmed(title), longestTitle);
    std::optional<Identifier> id;
    if (source) {
        id = ports.store.startTask(title, *source, reason);
        if (const TaskModel* task = id ? ports.store.taskById(*id) : nullptr) {
            stored = task->title;
        }
    }
    if (source ? !id.has_value() : stored.empty()) {
        outcome.action = "none";
        outcome.feedback = "Nothing to start";
        return;
    }
    outcome.action = "start";
    outcome.taskId = id;
    outcome.taskTitle = stored;
    outcome.feedback = stored;
}

CommandOutcome CommandExecutor::Impl::carryOut(const ParseResult& decision, std::string_view transcript,
                                               std::optional<ChangeSource> source) {
    AppStore& store = ports.store;
    CommandOutcome outcome;
    outcome.action = "none";
    outcome.reason = decision.reason;
    outcome.confidence = decision.confidence;
    outcome.method = decision.method;
    outcome.transcript = std::string(transcript);
    const std::string spoken = trimmed(transcript);
    const std::string title = trimmed(decision.taskTitle);
    const TaskModel* task = decision.taskId ? store.taskById(*decision.taskId) : nullptr;
    const auto aboutTask = [&](std::string_view action, const TaskModel& t, std::string_view sign) {
        outcome.action = std::string(action);
        outcome.taskId = t.id;
        outcome.taskTitle = t.title;
        outcome.feedback = std::string(sign) + t.title;
    };

    if (decision.action == "switch") {
        if (task == nullptr) {
            outcome.feedback = "Couldn't find that task";
        } else if (task->isActive) {
            aboutTask("switch", *task, "Already running: ");
        } else {
            aboutTask("switch", *task, "→ ");
            if (decision.reason && !decision.reason->empty()) {
                outcome.feedback += " · " + *decision.reason;
            }
            if (source) {
                static_cast<void>(store.switchToTask(*decision.taskId, *source, decision.reason));
            }
        }
    } else if (decision.action == "stop") {
        if (const TaskModel* running = store.activeTask()) {
            aboutTask("stop", *running, "⏸ ");
            if (source) {
                static_cast<void>(store.stopTask(*outcome.taskId));
            }
        } else {
            outcome.feedback = "Nothing is running";
        }
    } else if (decision.action == "done") {
        if (!decision.taskId && title.empty()) {
            task = store.activeTask();
            outcome.feedback = "Nothing is running";
        } else {
            outcome.feedback = "Couldn't find that task";
        }
        if (task != nullptr) {
            aboutTask("done", *task, "✓ ");
            if (source) {
                static_cast<void>(store.markDone(*outcome.taskId));
            }
        }
    } else if (decision.action == "start") {
        start(outcome, title.empty() ? spoken : title, decision.reason, source);
    } else if (!spoken.empty()) {
        if (isSignedIn()) {
            outcome.feedback = "Heard: “" + spoken + "”";
        } else {
            start(outcome, spoken, decision.reason, source);
        }
    }
    return outcome;
}

void CommandExecutor::Impl::askBackend(const std::string& transcript, ChangeSource source,
                                       const std::vector<TaskInfo>& tasks, ParseResult local,
                                       std::function<void(const CommandOutcome&)> done) {
    std::vector<BackendParser::Candidate> sent;
    for (const TaskInfo& task : tasks) {
        const TaskModel* stored = ports.store.taskById(task.id);
        sent.push_back({task, stored != nullptr ? stored->status : "open"});
    }
    const std::uint64_t asked = generation;
    auto answered = std::make_shared<bool>(false);
    auto finish = [this, asked, answered, transcript, source, local = std::move(local),
                   done = std::move(done)](std::optional<BackendParser::Command> command) mutable {
        if (asked != generation || std::exchange(*answered, true)) {
            return;
        }
        // The request may be what holds this call, so it goes at the end.
        const BackendParser::Request keep = std::exchange(request, nullptr);
        const bool decides = command && isSignedIn();
        const CommandOutcome outcome =
            carryOut(decides ? fromBackend(std::move(*command)) : fallbackFor(local), transcript, source);
        done(outcome);
        executed.emit(outcome);
    };
    const std::string dictionary = ports.dictionary ? ports.dictionary() : std::string();
    BackendParser::Request made = ports.backend->parse(transcript, sent, dictionary, std::move(finish));
    // An adapter may answer at once.
    if (!*answered && asked == generation) {
        request = std::move(made);
    }
}

CommandExecutor::CommandExecutor(Ports ports) : impl_(std::make_unique<Impl>(std::move(ports))) {}
CommandExecutor::~CommandExecutor() = default;

std::vector<TaskInfo> CommandExecutor::candidates() const {
    return impl_->candidates();
}

void CommandExecutor::execute(std::string_view transcript, ChangeSource source,
                              std::function<void(const CommandOutcome&)> done) {
    ++impl_->generation;
    impl_->request.reset();
    const std::vector<TaskInfo> tasks = candidates();
    std::optional<CommandOutcome> outcome = impl_->special(transcript, tasks, source);
    if (!outcome) {
        ParseResult local = impl_->ports.parser.parse(transcript, tasks);
        const bool isSure = local.confidence >= confidenceThreshold;
        if (!isSure && impl_->ports.backend != nullptr && impl_->isSignedIn()) {
            impl_->askBackend(std::string(transcript), source, tasks, std::move(local), std::move(done));
            return;
        }
        outcome = impl_->carryOut(isSure ? std::move(local) : fallbackFor(std::move(local)), transcript, source);
    }
    done(*outcome);
    impl_->executed.emit(*outcome);
}

CommandOutcome CommandExecutor::preview(std::string_view transcript) const {
    const std::vector<TaskInfo> tasks = candidates();
    if (auto outcome = impl_->special(transcript, tasks, std::nullopt)) {
        return *std::move(outcome);
    }
    ParseResult local = impl_->ports.parser.parse(transcript, tasks);
    return impl_->carryOut(local.confidence >= confidenceThreshold ? std::move(local) : fallbackFor(std::move(local)),
                           transcript, std::nullopt);
}

CommandOutcome CommandExecutor::resume(ChangeSource source) {
    ++impl_->generation;
    impl_->request.reset();
    const CommandOutcome outcome = impl_->resume("", source);
    impl_->executed.emit(outcome);
    return outcome;
}

Subscription CommandExecutor::onExecuted(std::function<void(const CommandOutcome&)> callback) {
    return impl_->executed.connect(std::move(callback));
}

}  // namespace tolvik
