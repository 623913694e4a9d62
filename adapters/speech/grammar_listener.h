#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "base/result.h"
#include "voice/hearing/command_grammar.h"

namespace tolvik {

/// The second opinion: an acoustic model of its own that hears nothing but the sentences it is given. It forces any
/// sound into one of them, so its word counts only beside the engine's. One thread at a time.
class GrammarListener {
public:
    /// Loads the acoustic model, some tens of milliseconds. `pronouncer` must outlive the listener.
    [[nodiscard]] static Result<std::unique_ptr<GrammarListener>, std::string> load(
        const std::filesystem::path& acousticModel, const Pronouncer& pronouncer);
    ~GrammarListener();
    GrammarListener(const GrammarListener&) = delete;
    GrammarListener& operator=(const GrammarListener&) = delete;

    /// From now on listens for the sentences of `grammar`.
    [[nodiscard]] bool setGrammar(const CommandGrammar& grammar);

    /// The sentence of the grammar that fits 16 kHz samples best, as spoken; none when the grammar fits nowhere.
    [[nodiscard]] std::optional<std::string> hear(std::span<const float> samples);

    /// How well the samples fit a sentence, as spoken: higher is better, comparable only for the same samples, in
    /// logarithmic units a frame. None when the sentence does not fit at all.
    [[nodiscard]] std::optional<double> fit(std::span<const float> samples, const std::string& spoken);

private:
    struct Impl;
    explicit GrammarListener(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

}  // namespace tolvik
