#include "voice/capture/transcription_prompt.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "base/text.h"

namespace tolvik {
namespace {

constexpr std::size_t kLongest = 900;
constexpr std::size_t kMostTitles = 8;

constexpr std::array<std::pair<std::string_view, std::string_view>, 6> kRoles{{
    {"engineer", "software engineer"},
    {"designer", "designer"},
    {"founder", "startup founder"},
    {"consultant", "consultant or freelancer"},
    {"manager", "team manager"},
    {"student", "student"},
}};

}  // namespace

std::string transcriptionPrompt(const PromptSource& source) {
    std::vector<std::string> sentences;
    if (const auto* role = std::ranges::find(kRoles, source.role, [](const auto& known) { return known.first; });
        role != kRoles.end()) {
        sentences.push_back("The speaker is a " + std::string(role->second) + ".");
    }
    if (source.project && source.project->find_first_not_of(" \t") != std::string::npos) {
        sentences.push_back("They are working on a project called " + *source.project + ".");
    }
    if (!source.titles.empty()) {
        const auto count = static_cast<std::ptrdiff_t>(std::min(source.titles.size(), kMostTitles));
        sentences.push_back(
            "Recent task titles: " + joined({source.titles.begin(), source.titles.begin() + count}, "; ") + ".");
    }
    if (!source.terms.empty()) {
        sentences.push_back("Vocabulary they often use: " + joined(source.terms, ", ") + ".");
    }
    std::string prompt = joined(sentences, " ");
    while (sentences.size() > 1 && graphemeCount(prompt) > kLongest) {
        sentences.erase(sentences.begin());
        prompt = joined(sentences, " ");
    }
    return graphemeCount(prompt) > kLongest ? firstGraphemes(prompt, kLongest) : prompt;
}

}  // namespace tolvik
