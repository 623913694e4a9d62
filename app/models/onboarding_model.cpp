#include "app/models/onboarding_model.h"

#include <QPointer>
#include <algorithm>
#include <utility>

#include "app/models/onboarding_options.h"
#include "app/models/wording.h"

namespace tolvik {
namespace {

constexpr int kLookMs = 1000;
constexpr std::array<const char*, OnboardingModel::kSteps> kNames{"welcome", "howItWorks", "permissions", "role",
                                                                  "useCase", "source",     "signIn"};

bool wasCarriedOut(const CommandOutcome& outcome) {
    return outcome.action == "start" || outcome.action == "switch" || outcome.action == "stop" ||
           outcome.action == "done";
}

}  // namespace

OnboardingModel::OnboardingModel(OnboardingPorts ports, SettingsModel& settings, QObject* parent)
    : QObject(parent), ports_(std::move(ports)), settings_(settings) {
    answers_ = profileAnswersIn(ports_.values);
    hasSpoken_ = ports_.values.flag(spokenKey, false);
    const auto kept = ports_.values.integer(stepKey).value_or(0);
    step_ = static_cast<Step>(std::clamp<std::int64_t>(kept, 0, kSteps - 1));
    active_ = !ports_.onlyOnRequest && !ports_.values.flag(completedKey, false);

    for (const auto signal : {&SettingsModel::changed, &SettingsModel::devicesChanged, &SettingsModel::engineChanged}) {
        connect(&settings_, signal, this, &OnboardingModel::permissionsChanged);
    }
    look_.setInterval(kLookMs);
    connect(&look_, &QTimer::timeout, this, [this] {
        if (!micGranted() || !speechGranted() || !accessibilityGranted()) {
            settings_.refresh();
        }
    });
    if (ports_.voice != nullptr) {
        voiceSubscription_ = ports_.voice->onChanged([this] { voiceChanged(); });
        heldSubscription_ = ports_.voice->onModifiers([this](std::uint32_t held) { heldChanged(held); });
    }
    if (active_) {
        arrive();
    }
}

QString OnboardingModel::step() const {
    return QString::fromLatin1(kNames.at(static_cast<std::size_t>(step_)));
}

// --- the walk --------------------------------------------------------------------------------------------------------

void OnboardingModel::go(int step) {
    step_ = static_cast<Step>(std::clamp(step, 0, kSteps - 1));
    keep(ports_.values.setInteger(stepKey, static_cast<int>(step_)));
    arrive();
    Q_EMIT stepChanged();
    Q_EMIT answerChanged();
}

void OnboardingModel::arrive() {
    if (ports_.shown) {
        ports_.shown(kNames.at(static_cast<std::size_t>(step_)));
    }
    if (step_ == Step::permissions) {
        look_.start();
    } else {
        look_.stop();
    }
    if (step_ == Step::signIn && ports_.lookAtSecrets) {
        ports_.lookAtSecrets([model = QPointer(this)](const std::string& problem) {
            if (model) {
                model->secretsProblem_ = wording::fromUtf8(problem);
                Q_EMIT model->secretsChanged();
            }
        });
    }
}

void OnboardingModel::next() {
    if (step_ == Step::signIn) {
        complete(false);
    } else {
        go(stepIndex() + 1);
    }
}

void OnboardingModel::back() {
    go(stepIndex() - 1);
}

void OnboardingModel::skip() {
    if (std::string* answer = answerOfStep()) {
        answer->clear();
        keep(keepProfileAnswers(ports_.values, answers_));
    }
    next();
}

void OnboardingModel::skipAll() {
    complete(true);
}

void OnboardingModel::complete(bool skipped) {
    look_.stop();
    auto kept = saveProfileAnswers(ports_.values, answers_);
    if (kept) {
        kept = ports_.values.setFlag(completedKey, true);
    }
    if (kept) {
        kept = ports_.values.erase(stepKey);
    }
    keep(kept);
    active_ = false;
    Q_EMIT activeChanged();
    if (ports_.completed) {
        ports_.completed(skipped, hasSpoken_);
    }
}

void OnboardingModel::reset() {
    keep(ports_.values.setFlag(completedKey, false));
    hasSpoken_ = false;
    keep(ports_.values.setFlag(spokenKey, false));
    trial_ = Trial::waiting;
    heard_.clear();
    outcome_.clear();
    active_ = true;
    go(0);
    Q_EMIT trialChanged();
    Q_EMIT activeChanged();
    if (ports_.reset) {
        ports_.reset();
    }
}

void OnboardingModel::lookAgain() {
    settings_.refresh();
}

void OnboardingModel::keep(const Result<void, StoreError>& saved) {
    const std::string_view text = saved ? std::string_view() : describe(saved.error());
    problem_ = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

// --- the questions ---------------------------------------------------------------------------------------------------

std::string* OnboardingModel::answerOfStep() {
    switch (step_) {
        case Step::role:
            return &answers_.role;
        case Step::useCase:
            return &answers_.useCase;
        case Step::source:
            return &answers_.source;
        default:
            return nullptr;
    }
}

QVariantList OnboardingModel::options() const {
    switch (step_) {
        case Step::role:
            return onboardingOptions::roles();
        case Step::useCase:
            return onboardingOptions::useCases();
        case Step::source:
            return onboardingOptions::sources();
        default:
            return {};
    }
}

QString OnboardingModel::answer() const {
    const std::string* answer = const_cast<OnboardingModel*>(this)->answerOfStep();
    return answer != nullptr ? wording::fromUtf8(*answer) : QString();
}

void OnboardingModel::setAnswer(const QString& answer) {
    if (std::string* kept = answerOfStep()) {
        const std::string wanted = answer.toStdString();
        *kept = *kept == wanted ? std::string() : wanted;
        keep(keepProfileAnswers(ports_.values, answers_));
        Q_EMIT answerChanged();
    }
}

// --- speaking --------------------------------------------------------------------------------------------------------

QString OnboardingModel::trial() const {
    constexpr std::array names{"waiting", "listening", "working", "done", "missed"};
    return QString::fromLatin1(names.at(static_cast<std::size_t>(trial_)));
}

void OnboardingModel::voiceChanged() {
    if (!active_) {
        return;
    }
    const VoiceManager& voice = *ports_.voice;
    const Trial before = trial_;
    const QString heardBefore = heard_;
    switch (voice.phase()) {
        case VoicePhase::listening:
            trial_ = Trial::listening;
            heard_ = wording::fromUtf8(voice.transcript());
            outcome_.clear();
            break;
        case VoicePhase::transcribing:
            trial_ = Trial::working;
            break;
        case VoicePhase::done:
            if (const auto& outcome = voice.doneOutcome()) {
                heard_ = wording::fromUtf8(voice.transcript());
                outcome_ = wording::fromUtf8(voice.doneText());
                trial_ = wasCarriedOut(*outcome) ? Trial::done : Trial::missed;
            }
            break;
        case VoicePhase::idle:
            // The outcome stays on the page when the pill has gone; a session without one was no attempt.
            if (voice.error()) {
                outcome_ = wording::fromUtf8(*voice.error());
                trial_ = Trial::missed;
            } else if (trial_ == Trial::listening || trial_ == Trial::working) {
                trial_ = hasSpoken_ ? Trial::done : Trial::waiting;
            }
            break;
    }
    if (trial_ == Trial::done && !std::exchange(hasSpoken_, true)) {
        keep(ports_.values.setFlag(spokenKey, true));
    }
    if (trial_ != before || heard_ != heardBefore) {
        Q_EMIT trialChanged();
    }
}

void OnboardingModel::heldChanged(std::uint32_t held) {
    if (active_ && held != held_) {
        held_ = held;
        Q_EMIT heldKeysChanged();
    }
}

QStringList OnboardingModel::heldKeys() const {
    return keyNames(held_);
}

}  // namespace tolvik
