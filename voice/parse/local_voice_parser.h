#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "voice/parse/command.h"
#include "voice/parse/sentence_embedder.h"

namespace tolvik {

/// Turns a transcript into a command by phrase tables, the user's own titles, meaning and spelling. Pure; any thread.
class LocalVoiceParser {
public:
    /// `embedder` may be null: then meaning is not asked. It must outlive the parser.
    explicit LocalVoiceParser(SentenceEmbedder* embedder = nullptr);
    LocalVoiceParser(const LocalVoiceParser&) = delete;
    LocalVoiceParser& operator=(const LocalVoiceParser&) = delete;
    ~LocalVoiceParser();

    /// `tasks` in candidate order.
    [[nodiscard]] ParseResult parse(std::string_view transcript, const std::vector<TaskInfo>& tasks) const;

    struct Intent {
        /// "start", "switch", "done", "stop" or "unknown".
        std::string kind;
        double confidence = 0;
        bool byEmbedding = false;
    };
    /// Of a normalised sentence.
    [[nodiscard]] Intent classifyIntent(std::string_view text) const;

    /// `classifyIntent` by the phrase tables alone: "unknown" where meaning would be asked.
    [[nodiscard]] static Intent classifyByPhrase(std::string_view text);

    struct AnchorMatch {
        std::string intent;
        std::string anchor;
        double similarity = 0;
    };
    [[nodiscard]] std::optional<AnchorMatch> classifyByEmbedding(std::string_view text) const;

    /// Embeds the anchors and these titles ahead of the first command; for a worker.
    void warm(const std::vector<std::string>& titles) const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tolvik
