#pragma once

#include <QObject>
#include <QTimer>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>
#include <array>
#include <functional>
#include <optional>

#include "app/models/settings_model.h"
#include "backend/profile_answers.h"
#include "core/value_store.h"
#include "voice/capture/voice_manager.h"

namespace tolvik {

/// What the first-run steps lend from the rest of the application; empty functions stand for what is not there.
/// Everything outlives the model.
struct OnboardingPorts {
    ValueStore& values;
    /// Null where nobody can speak.
    VoiceManager* voice = nullptr;
    /// The steps are shown only on request, whatever was finished before.
    bool onlyOnRequest = false;
    /// Says on the main loop why passwords cannot be kept here; an empty problem when they can. Asks the user nothing.
    std::function<void(std::function<void(std::string problem)> done)> lookAtSecrets = {};
    /// A step is shown; `name` as in `OnboardingModel::step`.
    std::function<void(const std::string& name)> shown = {};
    /// The steps are finished, or were left by "Skip setup".
    std::function<void(bool skipped, bool hasSpoken)> completed = {};
    std::function<void()> reset = {};
};

/// The first-run steps: from a welcome to the first spoken command and, for those who want one, an account. The step
/// and the answers are kept as they come, so that a process that ends goes on where it was. Main thread only.
class OnboardingModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the window's model")
    /// The steps are to be shown in place of the window's pages.
    Q_PROPERTY(bool active READ active NOTIFY activeChanged)
    /// "welcome", "howItWorks", "permissions", "role", "useCase", "source", "signIn".
    Q_PROPERTY(QString step READ step NOTIFY stepChanged)
    Q_PROPERTY(int stepIndex READ stepIndex NOTIFY stepChanged)
    Q_PROPERTY(int stepCount READ stepCount CONSTANT)

    Q_PROPERTY(bool micGranted READ micGranted NOTIFY permissionsChanged)
    Q_PROPERTY(bool speechGranted READ speechGranted NOTIFY permissionsChanged)
    Q_PROPERTY(bool accessibilityGranted READ accessibilityGranted NOTIFY permissionsChanged)
    /// The names of the chord's keys that are down now, as on this keyboard.
    Q_PROPERTY(QStringList heldKeys READ heldKeys NOTIFY heldKeysChanged)

    /// The options of the present question and the chosen one; empty on the other steps.
    Q_PROPERTY(QVariantList options READ options NOTIFY stepChanged)
    Q_PROPERTY(QString answer READ answer WRITE setAnswer NOTIFY answerChanged)

    /// A spoken command was carried out during the steps.
    Q_PROPERTY(bool hasSpoken READ hasSpoken NOTIFY trialChanged)
    /// "waiting", "listening", "working", "done" or "missed".
    Q_PROPERTY(QString trial READ trial NOTIFY trialChanged)
    /// What was heard, and what came of it or went wrong.
    Q_PROPERTY(QString heard READ heard NOTIFY trialChanged)
    Q_PROPERTY(QString outcome READ outcome NOTIFY trialChanged)

    /// Why an account could not be kept on this machine; empty when it could or is not known yet.
    Q_PROPERTY(QString secretsProblem READ secretsProblem NOTIFY secretsChanged)
    Q_PROPERTY(bool secretsReady READ secretsReady NOTIFY secretsChanged)
    /// What went wrong with keeping the answers; empty when nothing did.
    Q_PROPERTY(QString problem READ problem NOTIFY answerChanged)
public:
    enum class Step : std::uint8_t { welcome, howItWorks, permissions, role, useCase, source, signIn };
    static constexpr int kSteps = 7;

    static constexpr const char* completedKey = "tolvik.onboarding.completed";
    /// Integer: where the steps stand.
    static constexpr const char* stepKey = "tolvik.onboarding.step";
    /// Flag: a command was spoken.
    static constexpr const char* spokenKey = "tolvik.onboarding.spoken";

    /// `settings` knows microphone, engine and chord; it outlives the model.
    OnboardingModel(OnboardingPorts ports, SettingsModel& settings, QObject* parent = nullptr);

    [[nodiscard]] bool active() const { return active_; }
    [[nodiscard]] QString step() const;
    [[nodiscard]] int stepIndex() const { return static_cast<int>(step_); }
    [[nodiscard]] static int stepCount() { return kSteps; }
    [[nodiscard]] bool micGranted() const { return settings_.microphoneProblem().isEmpty(); }
    [[nodiscard]] bool speechGranted() const { return settings_.engineReady(); }
    [[nodiscard]] bool accessibilityGranted() const { return settings_.chordProblem().isEmpty(); }
    [[nodiscard]] QStringList heldKeys() const;
    [[nodiscard]] QVariantList options() const;
    [[nodiscard]] QString answer() const;
    /// Choosing what is chosen takes the choice back.
    void setAnswer(const QString& answer);
    [[nodiscard]] bool hasSpoken() const { return hasSpoken_; }
    [[nodiscard]] QString trial() const;
    [[nodiscard]] QString heard() const { return heard_; }
    [[nodiscard]] QString outcome() const { return outcome_; }
    [[nodiscard]] QString secretsProblem() const { return secretsProblem_.value_or(QString()); }
    [[nodiscard]] bool secretsReady() const { return secretsProblem_ && secretsProblem_->isEmpty(); }
    [[nodiscard]] QString problem() const { return problem_; }

    /// To the next step; from the last one the steps are finished.
    Q_INVOKABLE void next();
    Q_INVOKABLE void back();
    /// To the next step without an answer.
    Q_INVOKABLE void skip();
    /// Finishes at once.
    Q_INVOKABLE void skipAll();
    /// From settings: everything from the beginning. Answers stay as proposals.
    Q_INVOKABLE void reset();
    /// Looks again at what the steps need of the machine.
    Q_INVOKABLE void lookAgain();

signals:
    void activeChanged();
    void stepChanged();
    void permissionsChanged();
    void heldKeysChanged();
    void answerChanged();
    void trialChanged();
    void secretsChanged();

private:
    enum class Trial : std::uint8_t { waiting, listening, working, done, missed };

    [[nodiscard]] std::string* answerOfStep();
    void go(int step);
    void arrive();
    void complete(bool skipped);
    void keep(const Result<void, StoreError>& saved);
    void voiceChanged();
    void heldChanged(std::uint32_t held);

    OnboardingPorts ports_;
    SettingsModel& settings_;
    bool active_ = false;
    Step step_ = Step::welcome;
    ProfileAnswers answers_;
    QString problem_;
    std::uint32_t held_ = 0;
    bool hasSpoken_ = false;
    Trial trial_ = Trial::waiting;
    QString heard_;
    QString outcome_;
    std::optional<QString> secretsProblem_;
    /// Looks at the machine while a row waits for something.
    QTimer look_;
    Subscription voiceSubscription_;
    Subscription heldSubscription_;
};

}  // namespace tolvik
