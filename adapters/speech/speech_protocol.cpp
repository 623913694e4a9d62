#include "adapters/speech/speech_protocol.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace tolvik {
namespace {

static_assert(std::endian::native == std::endian::little, "The wire format is that of the machine.");

constexpr std::size_t headerSize = 5;
/// Lists and texts of a begin message stay well under the longest message.
constexpr std::size_t mostTexts = 4096;
constexpr std::size_t longestText = std::size_t{64} * 1024;
constexpr std::size_t mostVocabularyBytes = SpeechMessageReader::longestMessage / 2;

void appendNumber(std::string& out, std::uint32_t number) {
    char bytes[sizeof number];
    std::memcpy(bytes, &number, sizeof number);
    out.append(bytes, sizeof number);
}

void appendText(std::string& out, std::string_view text) {
    text = text.substr(0, longestText);
    appendNumber(out, static_cast<std::uint32_t>(text.size()));
    out.append(text);
}

void appendTexts(std::string& out, const std::vector<std::string>& texts) {
    std::size_t count = 0;
    std::size_t bytes = out.size();
    while (count < std::min(texts.size(), mostTexts) && bytes + texts[count].size() + 4 < mostVocabularyBytes) {
        bytes += std::min(texts[count].size(), longestText) + 4;
        ++count;
    }
    appendNumber(out, static_cast<std::uint32_t>(count));
    for (std::size_t at = 0; at < count; ++at) {
        appendText(out, texts[at]);
    }
}

std::string framed(SpeechMessage::Kind kind, std::uint32_t utterance, std::string_view fields) {
    std::string out;
    out.reserve(fields.size() + headerSize + 4);
    appendNumber(out, static_cast<std::uint32_t>(fields.size() + headerSize));
    out += static_cast<char>(kind);
    appendNumber(out, utterance);
    out += fields;
    return out;
}

/// Reads fields; after a field that is not whole everything is empty and `ok` is false.
class Fields {
public:
    explicit Fields(std::string_view bytes) : bytes_(bytes) {}

    std::uint32_t number() {
        std::uint32_t value = 0;
        if (bytes_.size() < sizeof value) {
            ok_ = false;
            bytes_ = {};
            return 0;
        }
        std::memcpy(&value, bytes_.data(), sizeof value);
        bytes_.remove_prefix(sizeof value);
        return value;
    }
    std::string text() {
        const std::size_t size = number();
        if (size > bytes_.size() || size > longestText) {
            ok_ = false;
            bytes_ = {};
            return {};
        }
        std::string value(bytes_.substr(0, size));
        bytes_.remove_prefix(size);
        return value;
    }
    std::vector<std::string> texts() {
        const std::size_t count = number();
        std::vector<std::string> values;
        if (count > mostTexts) {
            ok_ = false;
            return values;
        }
        for (std::size_t at = 0; at < count && ok_; ++at) {
            values.push_back(text());
        }
        return values;
    }
    std::vector<float> samples() {
        const std::size_t count = number();
        if (count > bytes_.size() / sizeof(float)) {
            ok_ = false;
            return {};
        }
        std::vector<float> values(count);
        if (count > 0) {
            std::memcpy(values.data(), bytes_.data(), count * sizeof(float));
        }
        bytes_.remove_prefix(count * sizeof(float));
        return values;
    }
    /// True when every field was whole and nothing is left.
    [[nodiscard]] bool complete() const { return ok_ && bytes_.empty(); }

private:
    std::string_view bytes_;
    bool ok_ = true;
};

}  // namespace

std::string encodedSamples(std::uint32_t utterance, std::span<const float> samples) {
    constexpr std::size_t most = SpeechMessageReader::longestMessage / sizeof(float) - 16;
    samples = samples.first(std::min(samples.size(), most));
    std::string fields;
    appendNumber(fields, static_cast<std::uint32_t>(samples.size()));
    fields.append(reinterpret_cast<const char*>(samples.data()), samples.size_bytes());
    return framed(SpeechMessage::Kind::samples, utterance, fields);
}

std::string encoded(const SpeechMessage& message) {
    std::string fields;
    switch (message.kind) {
        case SpeechMessage::Kind::begin:
            appendNumber(fields, static_cast<std::uint32_t>(message.sampleRate));
            appendNumber(fields, static_cast<std::uint32_t>(message.channels));
            appendTexts(fields, message.vocabulary.taskTitles);
            appendTexts(fields, message.vocabulary.projectNames);
            appendTexts(fields, message.vocabulary.terms);
            break;
        case SpeechMessage::Kind::samples:
            return encodedSamples(message.utterance, message.samples);
        case SpeechMessage::Kind::ready:
        case SpeechMessage::Kind::failed:
        case SpeechMessage::Kind::partial:
        case SpeechMessage::Kind::final:
            appendText(fields, message.text);
            break;
        default:
            break;
    }
    return framed(message.kind, message.utterance, fields);
}

Result<std::optional<SpeechMessage>, std::string> SpeechMessageReader::next() {
    const auto rest = std::string_view(buffer_).substr(at_);
    std::uint32_t size = 0;
    if (rest.size() >= sizeof size) {
        std::memcpy(&size, rest.data(), sizeof size);
        if (size < headerSize || size > longestMessage) {
            return failure(std::string("a message of impossible length"));
        }
    }
    if (rest.size() < sizeof size || rest.size() - sizeof size < size) {
        buffer_.erase(0, at_);
        at_ = 0;
        return std::nullopt;
    }
    const std::string_view bytes = rest.substr(sizeof size, size);
    at_ += sizeof size + size;
    SpeechMessage message;
    message.kind = static_cast<SpeechMessage::Kind>(bytes[0]);
    std::memcpy(&message.utterance, bytes.data() + 1, sizeof message.utterance);
    Fields fields(bytes.substr(headerSize));
    switch (message.kind) {
        case SpeechMessage::Kind::prepare:
        case SpeechMessage::Kind::finish:
        case SpeechMessage::Kind::abandon:
        case SpeechMessage::Kind::progress:
            break;
        case SpeechMessage::Kind::begin:
            message.sampleRate = static_cast<std::int32_t>(fields.number());
            message.channels = static_cast<std::int32_t>(fields.number());
            message.vocabulary.taskTitles = fields.texts();
            message.vocabulary.projectNames = fields.texts();
            message.vocabulary.terms = fields.texts();
            break;
        case SpeechMessage::Kind::samples:
            message.samples = fields.samples();
            break;
        case SpeechMessage::Kind::ready:
        case SpeechMessage::Kind::failed:
        case SpeechMessage::Kind::partial:
        case SpeechMessage::Kind::final:
            message.text = fields.text();
            break;
        default:
            return failure(std::string("a message of unknown kind"));
    }
    if (!fields.complete()) {
        return failure(std::string("a message whose fields do not fill it"));
    }
    return message;
}

}  // namespace tolvik
