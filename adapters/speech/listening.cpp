#include "adapters/speech/listening.h"

#include <array>
#include <cstdint>
#include <fstream>
#include <future>
#include <iterator>
#include <vector>

#include "base/text.h"
#include "voice/hearing/second_opinion.h"

namespace tolvik {
namespace {

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Silence before and after the words, in samples.
constexpr std::size_t usualRoom = 8000;
constexpr std::size_t lessRoom = 4000;
constexpr std::size_t leastRoom = 1600;

std::vector<float> padded(std::span<const float> samples, std::size_t room) {
    std::vector<float> out(samples.size() + 2 * room, 0.0F);
    std::copy(samples.begin(), samples.end(), out.begin() + static_cast<std::ptrdiff_t>(room));
    return out;
}

// A sound as short as this, with what lies around it, holds one word. It is heard more slowly too, for the engine knows
// words of a second best.
constexpr std::size_t longestWord = 19200;
constexpr std::array<float, 2> slower = {0.88F, 0.80F};

std::vector<float> slowed(std::span<const float> samples, float speed) {
    std::vector<float> out;
    for (float at = 0; at + 1 < static_cast<float>(samples.size()); at += speed) {
        const auto before = static_cast<std::size_t>(at);
        const float share = at - static_cast<float>(before);
        out.push_back(samples[before] * (1 - share) + samples[before + 1] * share);
    }
    return out;
}

/// The samples in a quiet room: the second listener takes the mean of what it gets for silence's colour and fits a
/// word badly that is all there is. The noise is the same each time, so that fits can be compared.
std::vector<float> inQuietRoom(std::span<const float> samples) {
    constexpr float level = 0.001F;
    std::vector<float> out = padded(samples, lessRoom);
    std::uint32_t state = 12345;
    for (float& each : out) {
        state = state * 1664525U + 1013904223U;
        each += (static_cast<float>(state >> 8U) / 8388608.0F - 1.0F) * level;
    }
    return out;
}

}  // namespace

Result<std::unique_ptr<Listening>, std::string> Listening::load(const SpeechPlaces& places) {
    const auto model = inspectSpeechModel(places.modelFolder);
    if (!model) {
        return failure(model.error());
    }
    auto small = std::async(std::launch::async, [&] {
        auto pronouncer = std::make_unique<Pronouncer>(contentOf(places.dictionary));
        auto listener = GrammarListener::load(places.acousticModel, *pronouncer);
        return std::pair{std::move(pronouncer), listener ? std::move(*listener) : nullptr};
    });
    auto engine = SpeechEngine::load(places.engineLibrary, *model);
    auto [pronouncer, listener] = small.get();
    if (!engine) {
        return failure(engine.error());
    }
    return std::unique_ptr<Listening>(
        new Listening(std::move(*engine), std::move(pronouncer), std::move(listener), model->name));
}

Listening::Listening(std::unique_ptr<SpeechEngine> engine, std::unique_ptr<Pronouncer> pronouncer,
                     std::unique_ptr<GrammarListener> listener, std::string modelName)
    : engine_(std::move(engine)),
      pronouncer_(std::move(pronouncer)),
      modelName_(std::move(modelName)),
      listener_(std::move(listener)) {
    setVocabulary({});
}

Listening::~Listening() = default;

void Listening::setVocabulary(const SpeechVocabulary& vocabulary) {
    KnownWords known{vocabulary.taskTitles, vocabulary.terms};
    known.names.insert(known.names.end(), vocabulary.projectNames.begin(), vocabulary.projectNames.end());
    auto grammar = std::make_shared<const CommandGrammar>(*pronouncer_, known);
    {
        const std::lock_guard lock(grammarMutex_);
        grammar_ = grammar;
    }
    const std::lock_guard lock(listenerMutex_);
    if (listener_ != nullptr) {
        listenerGrammar_ = listener_->setGrammar(*grammar) ? grammar : nullptr;
    }
}

void Listening::setBias(bool on) {
    const std::lock_guard lock(grammarMutex_);
    bias_ = on;
}

Listening::Heard Listening::hear(std::span<const float> samples, bool mayBeCommand) {
    std::shared_ptr<const CommandGrammar> grammar;
    {
        const std::lock_guard lock(grammarMutex_);
        grammar = bias_ && mayBeCommand ? grammar_ : nullptr;
    }
    struct Second {
        bool listens = false;
        std::optional<std::string> heard;
    };
    std::future<Second> second;
    if (grammar) {
        second = std::async(std::launch::async, [&]() -> Second {
            const std::lock_guard lock(listenerMutex_);
            const bool listens = listener_ != nullptr && listenerGrammar_ == grammar;
            return {listens, listens ? listener_->hear(samples) : std::nullopt};
        });
    }
    Heard heard;
    // Silence around the words matters to the engine, which writes fewest wrong with half a second of it, and now and
    // then nothing at all; then it does with less.
    const auto decoded = [&](std::size_t room) { return withoutPunctuation(engine_->decode(padded(samples, room))); };
    heard.engineText = decoded(usualRoom);
    SoundEvidence evidence;
    if (grammar) {
        const Second opinion = second.get();
        evidence.grammarHeard = opinion.heard;
        if (opinion.listens) {
            evidence.fit = [&](const std::string& spoken) {
                const std::lock_guard lock(listenerMutex_);
                return listener_->fit(samples, spoken);
            };
        }
    }
    std::optional<std::string> secondTry;
    const auto again = [&] {
        if (!secondTry) {
            secondTry = decoded(lessRoom);
        }
        return *secondTry;
    };
    std::vector<float> alone;
    if (evidence.fit && samples.size() <= longestWord) {
        alone = inQuietRoom(samples);
        evidence.oneWord = {[&] {
                                std::vector<std::future<std::string>> under;
                                for (const float speed : slower) {
                                    under.push_back(std::async(std::launch::async, [&, speed] {
                                        return engine_->decode(padded(slowed(samples, speed), lessRoom));
                                    }));
                                }
                                static_cast<void>(again());  // beside them
                                std::vector<std::string> tries;
                                for (auto& each : under) {
                                    tries.push_back(each.get());
                                }
                                return tries;
                            },
                            [&](const std::string& spoken) {
                                const std::lock_guard lock(listenerMutex_);
                                return listener_->fit(alone, spoken);
                            }};
    }
    if (grammar) {
        evidence.again = again;
        heard.text = bestText(heard.engineText, *grammar, *pronouncer_, evidence);
    }
    if (heard.engineText.empty()) {
        heard.engineText = again();
    }
    if (heard.engineText.empty()) {
        heard.engineText = decoded(leastRoom);
    }
    if (heard.text.empty()) {
        heard.text = heard.engineText;
    }
    return heard;
}

}  // namespace tolvik
