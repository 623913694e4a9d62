#include "voice/hearing/decode_plan.h"

#include <algorithm>
#include <cctype>

#include "base/text.h"

namespace tolvik {
namespace {

constexpr std::size_t samplesOf(std::size_t milliseconds) {
    return DecodePlan::rate * milliseconds / 1000;
}

constexpr std::size_t pause = samplesOf(60);       ///< silence after which a word may have been the last
constexpr std::size_t shortPause = samplesOf(30);  ///< the same while nothing else is being decoded
constexpr std::size_t previewEvery = samplesOf(500);
constexpr std::size_t roomBefore = samplesOf(120);
constexpr std::size_t roomAfter = samplesOf(100);
constexpr std::size_t fewest = samplesOf(250);  ///< less sound only makes the engine invent words
// The engine returned nothing for some clips of 10 s and more.
constexpr std::size_t comfortablePart = samplesOf(6000);
constexpr std::size_t longestPart = samplesOf(8500);
constexpr std::size_t partingPause = samplesOf(250);

}  // namespace

void DecodePlan::append(std::span<const float> samples) {
    samples_.insert(samples_.end(), samples.begin(), samples.end());
    activity_.append(samples);
}

DecodePlan::Job DecodePlan::jobTo(std::size_t speechEnd, std::size_t end) {
    const std::size_t from = std::max(activity_.speechAfter(partBegins_.back()).value_or(0), partBegins_.back());
    Job job;
    job.id = ++lastId_;
    job.begin = std::max(partBegins_.back(), from < roomBefore ? 0 : from - roomBefore);
    job.end = std::min({end, samples_.size(), speechEnd + roomAfter});
    job.heardTo = speechEnd;
    running_.emplace_back(job.id, partBegins_.size() - 1);
    begunTo_ = std::max(begunTo_, speechEnd);
    begunAt_ = samples_.size();
    return job;
}

std::optional<DecodePlan::Job> DecodePlan::closingJob() {
    const auto speechEnd = activity_.speechEnd();
    const auto first = activity_.speechAfter(partBegins_.back());
    if (!speechEnd || !first || *speechEnd <= *first) {
        return std::nullopt;
    }
    const std::size_t length = *speechEnd - *first;
    const bool atPause = length > comfortablePart && samples_.size() - *speechEnd >= partingPause;
    if (!atPause && length <= longestPart) {
        return std::nullopt;
    }
    const std::size_t cut = atPause ? *speechEnd + partingPause / 2
                                    : activity_.quietestPlace(*first + longestPart / 2, *first + longestPart);
    Job job = jobTo(std::min(*speechEnd, cut), cut);
    job.closesPart = true;
    partBegins_.push_back(cut);
    parts_.emplace_back();
    return job;
}

std::optional<DecodePlan::Job> DecodePlan::next(std::size_t running) {
    if (!activity_.hasSpeech()) {
        return std::nullopt;
    }
    constexpr std::size_t mostAtOnce = 2;
    if (running >= mostAtOnce) {
        return std::nullopt;
    }
    if (auto job = closingJob()) {
        return job;
    }
    const std::size_t speechEnd = activity_.speechEnd().value_or(0);
    const auto first = activity_.speechAfter(partBegins_.back());
    if (speechEnd <= begunTo_ || !first || speechEnd <= *first) {
        return std::nullopt;
    }
    const bool atPause =
        samples_.size() - speechEnd >= (running == 0 ? shortPause : pause) && samples_.size() - *first >= fewest;
    // In a silence that may become a pause a preview would only stand in the way of the decode that counts.
    const bool speaking = samples_.size() - speechEnd < samplesOf(25);
    const bool preview = speaking && running == 0 && samples_.size() - begunAt_ >= previewEvery;
    if (!finished_ && !atPause && !preview) {
        return std::nullopt;
    }
    return jobTo(speechEnd, samples_.size());
}

void DecodePlan::decoded(const Job& job, std::string text) {
    const auto entry =
        std::find_if(running_.begin(), running_.end(), [&](const auto& each) { return each.first == job.id; });
    if (entry == running_.end()) {
        return;
    }
    Decoded& part = parts_[entry->second];
    running_.erase(entry);
    if (part.closed || (job.heardTo < part.heardTo && !job.closesPart)) {
        return;
    }
    part = {job.heardTo, job.closesPart, std::move(text)};
}

std::string DecodePlan::textSoFar() const {
    std::vector<std::string> texts;
    for (const Decoded& part : parts_) {
        texts.push_back(part.text);
    }
    return joinedParts(texts);
}

std::optional<std::string> DecodePlan::finalText() const {
    if (!finished_) {
        return std::nullopt;
    }
    if (!activity_.hasSpeech()) {
        return std::string();
    }
    for (std::size_t at = 0; at + 1 < parts_.size(); ++at) {
        if (!parts_[at].closed) {
            return std::nullopt;
        }
    }
    const std::size_t speechEnd = activity_.speechEnd().value_or(0);
    const auto first = activity_.speechAfter(partBegins_.back());
    if (first && *first < speechEnd && parts_.back().heardTo < speechEnd) {
        return std::nullopt;
    }
    return textSoFar();
}

std::string joinedParts(const std::vector<std::string>& parts) {
    std::vector<std::string> texts;
    for (const std::string& part : parts) {
        std::string text = trimmed(part);
        if (text.empty()) {
            continue;
        }
        if (!texts.empty()) {
            std::string& before = texts.back();
            while (!before.empty() && std::string_view(".,").find(before.back()) != std::string_view::npos) {
                before.pop_back();
            }
            // "I" and names in capitals stay; a sentence's first letter does not begin a sentence any more.
            if (text.size() > 1 && std::isupper(static_cast<unsigned char>(text[0])) != 0 &&
                std::islower(static_cast<unsigned char>(text[1])) != 0) {
                text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
            }
        }
        texts.push_back(std::move(text));
    }
    return joined(texts, " ");
}

}  // namespace tolvik
