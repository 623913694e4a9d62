#include "server/speech/prompt_vocabulary.h"

#include <array>
#include <string>
#include <vector>

namespace tolvik::server {
namespace {

constexpr std::string_view projectStart = "They are working on a project called ";
constexpr std::string_view titlesStart = "Recent task titles: ";
constexpr std::string_view termsStart = "Vocabulary they often use: ";
constexpr std::size_t mostItems = 200;

/// From behind `start` to the next sentence that is known, or the end; without the full stop. A title may hold full
/// stops of its own.
std::string_view sentence(std::string_view prompt, std::string_view start) {
    const auto at = prompt.find(start);
    if (at == std::string_view::npos) {
        return {};
    }
    auto rest = prompt.substr(at + start.size());
    for (const auto next : {projectStart, titlesStart, termsStart}) {
        if (const auto end = rest.find(std::string(". ") + std::string(next)); end != std::string_view::npos) {
            rest = rest.substr(0, end + 1);
        }
    }
    return rest.ends_with('.') ? rest.substr(0, rest.size() - 1) : rest;
}

std::vector<std::string> items(std::string_view text, std::string_view separator) {
    std::vector<std::string> list;
    while (!text.empty() && list.size() < mostItems) {
        const auto end = text.find(separator);
        if (const auto item = text.substr(0, end); !item.empty()) {
            list.emplace_back(item);
        }
        text = end == std::string_view::npos ? "" : text.substr(end + separator.size());
    }
    return list;
}

}  // namespace

SpeechVocabulary vocabularyOfPrompt(std::string_view prompt) {
    SpeechVocabulary vocabulary;
    vocabulary.taskTitles = items(sentence(prompt, titlesStart), "; ");
    vocabulary.terms = items(sentence(prompt, termsStart), ", ");
    if (const auto project = sentence(prompt, projectStart); !project.empty()) {
        vocabulary.projectNames.emplace_back(project);
    }
    return vocabulary;
}

}  // namespace tolvik::server
