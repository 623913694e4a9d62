#include "adapters/speech/grammar_listener.h"

#include <algorithm>
#include <cmath>
#include <pocketsphinx.h>
#include <set>
#include <sphinxbase/err.h>
#include <vector>

#include "base/text.h"

namespace tolvik {

struct GrammarListener::Impl {
    ps_decoder_t* decoder = nullptr;
    const Pronouncer* pronouncer = nullptr;
    std::set<std::string> added;

    Impl() = default;
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    ~Impl() {
        if (decoder != nullptr) {
            ps_free(decoder);
        }
    }

    void addWord(const std::string& word) {
        if (!added.insert(word).second) {
            return;
        }
        int way = 0;
        for (const Phones& phones : pronouncer->waysToSay(word)) {
            std::string names;
            for (const Phone phone : phones) {
                names += (names.empty() ? "" : " ") + std::string(phoneNames[phone]);
            }
            ++way;
            const std::string entry = way == 1 ? word : word + "(" + std::to_string(way) + ")";
            if (!names.empty()) {
                ps_add_word(decoder, entry.c_str(), names.c_str(), FALSE);
            }
        }
    }

    /// What the search named `name` makes of the samples.
    std::optional<std::pair<std::string, double>> run(const char* name, std::span<const float> samples) {
        if (ps_set_search(decoder, name) < 0 || samples.empty()) {
            return std::nullopt;
        }
        std::vector<int16> whole(samples.size());
        std::transform(samples.begin(), samples.end(), whole.begin(), [](float sample) {
            return static_cast<int16>(std::lround(std::clamp(sample, -1.0F, 1.0F) * 32767.0F));
        });
        if (ps_start_utt(decoder) < 0) {
            return std::nullopt;
        }
        ps_process_raw(decoder, whole.data(), whole.size(), FALSE, TRUE);
        ps_end_utt(decoder);
        int32 score = 0;
        const char* text = ps_get_hyp(decoder, &score);
        if (text == nullptr || *text == '\0') {
            return std::nullopt;
        }
        const double frames = std::max(1.0, static_cast<double>(ps_get_n_frames(decoder)));
        return std::pair{std::string(text), static_cast<double>(score) / frames};
    }
};

Result<std::unique_ptr<GrammarListener>, std::string> GrammarListener::load(const std::filesystem::path& acousticModel,
                                                                            const Pronouncer& pronouncer) {
    if (acousticModel.empty()) {
        return failure(std::string("The acoustic model of the second opinion is not installed."));
    }
    err_set_logfp(nullptr);
    cmd_ln_t* options = cmd_ln_init(nullptr, ps_args(), TRUE, "-hmm", acousticModel.c_str(), "-logfn", "/dev/null",
                                    "-fsgusefiller", "yes", "-remove_silence", "no", "-bestpath", "no", nullptr);
    if (options == nullptr) {
        return failure(std::string("The second opinion cannot be configured."));
    }
    auto impl = std::make_unique<Impl>();
    impl->pronouncer = &pronouncer;
    impl->decoder = ps_init(options);
    cmd_ln_free_r(options);
    if (impl->decoder == nullptr) {
        return failure("The acoustic model in " + acousticModel.string() + " cannot be read.");
    }
    return std::unique_ptr<GrammarListener>(new GrammarListener(std::move(impl)));
}

GrammarListener::GrammarListener(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
GrammarListener::~GrammarListener() = default;

bool GrammarListener::setGrammar(const CommandGrammar& grammar) {
    for (const std::string& word : grammar.vocabulary()) {
        impl_->addWord(word);
    }
    return ps_set_jsgf_string(impl_->decoder, "commands", grammar.jsgf().c_str()) == 0;
}

std::optional<std::string> GrammarListener::hear(std::span<const float> samples) {
    auto heard = impl_->run("commands", samples);
    if (!heard) {
        return std::nullopt;
    }
    return std::move(heard->first);
}

std::optional<double> GrammarListener::fit(std::span<const float> samples, const std::string& spoken) {
    const auto all = words(spoken);
    if (all.empty()) {
        return std::nullopt;
    }
    for (const std::string& word : all) {
        impl_->addWord(word);
    }
    const std::string grammar = "#JSGF V1.0;\ngrammar one;\npublic <one> = " + spoken + ";\n";
    if (ps_set_jsgf_string(impl_->decoder, "one", grammar.c_str()) != 0) {
        return std::nullopt;
    }
    const auto heard = impl_->run("one", samples);
    // A path that ran out of sound reports the words so far: then the sentence does not fit.
    if (!heard || words(heard->first).size() != all.size()) {
        return std::nullopt;
    }
    return heard->second;
}

}  // namespace tolvik
