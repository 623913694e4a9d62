#pragma once

#include <chrono>
#include <string>

#include "server/api/ports.h"

namespace tolvik::server {

/// A language model behind an API of the OpenAI form. Any thread.
class HttpLanguageModel final : public LanguageModel {
public:
    struct Options {
        /// Without the final /chat/completions.
        std::string url;
        std::string name;
        /// Empty: no authorization header.
        std::string key;
        std::chrono::milliseconds timeout = std::chrono::seconds(4);
    };
    explicit HttpLanguageModel(Options options) : options_(std::move(options)) {}

    [[nodiscard]] Result<std::string, ServiceProblem> complete(std::string_view instructions,
                                                               std::string_view input) override;

private:
    const Options options_;
};

}  // namespace tolvik::server
