// The program `tolvik-hear`: recognises one recording. Its libraries for sound take longer to load than most commands
// of `tolvik` run, which is why it is a program of its own. It takes the vocabulary as JSON on its input and writes
// one JSON object: text and transcribeMs, or error. With --check: what is missing, and the model's name.

#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>

#include "adapters/audiofile/av_audio_file_codec.h"
#include "adapters/speech/recognize_samples.h"
#include "adapters/speech/speech_models.h"

namespace {

using Json = nlohmann::ordered_json;
using namespace tolvik;

std::vector<std::string> texts(const Json& json, const char* key) {
    std::vector<std::string> list;
    if (const auto found = json.find(key); found != json.end() && found->is_array()) {
        for (const auto& item : *found) {
            if (item.is_string()) {
                list.push_back(item.get<std::string>());
            }
        }
    }
    return list;
}

Json check(const SpeechPlaces& places) {
    const auto model = inspectSpeechModel(places.modelFolder);
    return Json{{"missing", missingSpeechParts(places)}, {"model", model ? model->name : std::string()}};
}

Json recognise(const SpeechPlaces& places, const Json& words, const std::string& file) {
    AvAudioFileCodec codec;
    const auto sound = codec.read(file);
    if (!sound) {
        return Json{{"error", file + " cannot be heard: " + sound.error()}};
    }
    const SpeechVocabulary vocabulary{texts(words, "titles"), texts(words, "projects"), texts(words, "terms")};
    const auto heard =
        recognizeSamples(places, vocabulary, sound->format.sampleRate, sound->format.channels, sound->interleaved);
    if (!heard) {
        return Json{{"error", heard.error()}};
    }
    return Json{{"text", heard->text}, {"transcribeMs", heard->transcribeMs}};
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: tolvik-hear FILE | --check, with the vocabulary on the input\n";
        return 2;
    }
    const std::string input{std::istreambuf_iterator<char>(std::cin), {}};
    Json words = Json::parse(input, nullptr, false);
    if (!words.is_object()) {
        words = Json::object();
    }
    const auto folder = words.find("modelFolder");
    const auto places =
        findSpeechPlaces(folder != words.end() && folder->is_string() ? folder->get<std::string>() : std::string());
    const std::string argument = argv[1];
    const Json result = argument == "--check" ? check(places) : recognise(places, words, argument);
    std::cout << result.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n' << std::flush;
    return result.contains("error") ? 3 : 0;
}
