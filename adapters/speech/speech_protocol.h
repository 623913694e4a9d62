#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "voice/capture/speech_recognizer.h"

namespace tolvik {

/// What the application and the speech process say to each other. On the wire each message is its length in bytes
/// without these four (32 bits), its kind (8 bits), the utterance's number (32 bits) and the fields of its kind, all
/// little-endian, texts and lists led by their 32-bit length.
struct SpeechMessage {
    enum class Kind : std::uint8_t {
        // to the speech process
        prepare = 1,  ///< load the engine
        begin = 2,    ///< sampleRate, channels, vocabulary
        samples = 3,  ///< samples
        finish = 4,
        abandon = 5,
        // from the speech process
        ready = 16,     ///< text: the model's name
        failed = 17,    ///< text: why there is no engine
        partial = 18,   ///< text
        final = 19,     ///< text
        progress = 20,  ///< a sign that work goes on: after each decode, and each second in which something was worked
    };
    Kind kind = Kind::prepare;
    std::uint32_t utterance = 0;
    std::int32_t sampleRate = 0;
    std::int32_t channels = 0;
    SpeechVocabulary vocabulary;
    std::vector<float> samples;
    std::string text;
};

/// One message as bytes. A message that would be longer than a reader accepts is cut: texts and lists at the end.
[[nodiscard]] std::string encoded(const SpeechMessage& message);
/// The same for samples, without a copy of them.
[[nodiscard]] std::string encodedSamples(std::uint32_t utterance, std::span<const float> samples);

/// Cuts a stream of bytes into messages. Whatever the bytes are, memory stays bounded and nothing is read beyond them.
class SpeechMessageReader {
public:
    static constexpr std::size_t longestMessage = std::size_t{1} << 20;

    void append(std::string_view bytes) { buffer_.append(bytes); }
    /// The next whole message, none while it is incomplete; the error says what is wrong with the stream, which cannot
    /// be read on then.
    [[nodiscard]] Result<std::optional<SpeechMessage>, std::string> next();

private:
    std::string buffer_;
    std::size_t at_ = 0;
};

}  // namespace tolvik
