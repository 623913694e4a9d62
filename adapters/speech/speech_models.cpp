#include "adapters/speech/speech_models.h"

#include <algorithm>
#include <cstdlib>
#include <system_error>

namespace tolvik {
namespace fs = std::filesystem;
namespace {

std::vector<fs::path> filesOf(const fs::path& folder) {
    std::vector<fs::path> files;
    std::error_code error;
    for (fs::directory_iterator each(folder, error), end; !error && each != end; each.increment(error)) {
        if (each->is_regular_file(error)) {
            files.push_back(each->path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

bool isModelFile(const fs::path& file) {
    const auto extension = file.extension();
    return extension == ".onnx" || extension == ".ort";
}

/// The model file whose name contains `part`; of several the quantised one, which is as good and twice as fast.
fs::path modelFile(const std::vector<fs::path>& files, std::string_view part, std::string_view butNot = "\n") {
    fs::path found;
    for (const auto& file : files) {
        const std::string name = file.filename().string();
        if (!isModelFile(file) || name.find(part) == std::string::npos || name.find(butNot) != std::string::npos) {
            continue;
        }
        if (found.empty() || name.find("int8") != std::string::npos) {
            found = file;
        }
    }
    return found;
}

fs::path tokensFile(const std::vector<fs::path>& files) {
    const auto found = std::find_if(files.begin(), files.end(), [](const fs::path& file) {
        const std::string name = file.filename().string();
        return name.ends_with("tokens.txt");
    });
    return found == files.end() ? fs::path() : *found;
}

fs::path ownFolder() {
    std::error_code error;
    const fs::path self = fs::read_symlink("/proc/self/exe", error);
    return error ? fs::path() : self.parent_path();
}

}  // namespace

Result<SpeechModel, std::string> inspectSpeechModel(const fs::path& folder) {
    std::error_code error;
    if (!fs::is_directory(folder, error)) {
        return failure("There is no folder " + folder.string() + ".");
    }
    const std::vector<fs::path> files = filesOf(folder);
    SpeechModel model;
    model.tokens = tokensFile(files);
    if (model.tokens.empty()) {
        return failure("There is no tokens.txt in " + folder.string() + ".");
    }
    const auto named = [&](SpeechModel::Kind kind, std::string_view label) {
        model.kind = kind;
        model.name = std::string(label) + " (" + folder.filename().string() + ")";
        return model;
    };
    const fs::path encoder = modelFile(files, "encod");
    if (const fs::path merged = modelFile(files, "decoder_model_merged"); !merged.empty() && !encoder.empty()) {
        model.encoder = encoder;
        model.decoder = merged;
        return named(SpeechModel::Kind::moonshine, "Moonshine");
    }
    model.preprocessor = modelFile(files, "preprocess");
    if (!model.preprocessor.empty() && !encoder.empty()) {
        model.encoder = modelFile(files, "encode");
        model.joiner = modelFile(files, "uncached_decode");
        model.decoder = modelFile(files, "cached_decode", "uncached");
        if (!model.joiner.empty() && !model.decoder.empty()) {
            return named(SpeechModel::Kind::moonshineSplit, "Moonshine");
        }
    }
    const fs::path decoder = modelFile(files, "decoder");
    const fs::path joiner = modelFile(files, "joiner");
    if (!encoder.empty() && !decoder.empty()) {
        model.encoder = encoder;
        model.decoder = decoder;
        model.joiner = joiner;
        if (joiner.empty()) {
            return named(SpeechModel::Kind::whisper, "Whisper");
        }
        std::string label = folder.filename().string();
        std::transform(label.begin(), label.end(), label.begin(),
                       [](unsigned char each) { return static_cast<char>(std::tolower(each)); });
        const bool nemo = label.find("nemo") != std::string::npos || label.find("parakeet") != std::string::npos;
        return nemo ? named(SpeechModel::Kind::nemoTransducer, "NeMo transducer")
                    : named(SpeechModel::Kind::transducer, "Zipformer transducer");
    }
    if (const fs::path single = modelFile(files, "model"); !single.empty()) {
        model.encoder = single;
        return named(SpeechModel::Kind::nemoCtc, "NeMo CTC");
    }
    return failure("The files in " + folder.string() +
                   " are none of a Moonshine, Whisper, Zipformer transducer or NeMo model.");
}

fs::path modelsRoot() {
    if (const char* set = std::getenv("TOLVIK_MODELS"); set != nullptr && *set != '\0') {
        return set;
    }
    std::error_code error;
    if (const fs::path own = ownFolder(); !own.empty()) {
        const fs::path beside = (own / ".." / ".." / "models").lexically_normal();
        if (fs::is_directory(beside, error)) {
            return beside;
        }
    }
    return "/usr/share/tolvik/models";
}

SpeechPlaces findSpeechPlaces(const fs::path& chosenModelFolder) {
    const fs::path root = modelsRoot();
    SpeechPlaces places;
    places.program = ownFolder() / "tolvik-speech";
    std::error_code error;
    if (!fs::exists(places.program, error)) {
        places.program = "/usr/libexec/tolvik/tolvik-speech";
    }
    places.engineLibrary = root / "engine" / "lib" / "libsherpa-onnx-c-api.so";
    places.modelFolder = chosenModelFolder.empty() ? root / "speech" : chosenModelFolder;
    const fs::path sphinx = "/usr/share/pocketsphinx/model/en-us";
    if (fs::is_directory(sphinx / "en-us", error)) {
        places.acousticModel = sphinx / "en-us";
    }
    if (fs::exists(sphinx / "cmudict-en-us.dict", error)) {
        places.dictionary = sphinx / "cmudict-en-us.dict";
    }
    return places;
}

std::string missingSpeechParts(const SpeechPlaces& places) {
    std::error_code error;
    if (!fs::exists(places.program, error)) {
        return "The speech program tolvik-speech is not installed beside this program.";
    }
    if (!fs::exists(places.engineLibrary, error)) {
        return "The speech engine is not installed. Run ./setup (from a package: sudo tolvik-get-models) to get it.";
    }
    if (const auto model = inspectSpeechModel(places.modelFolder); !model) {
        return model.error() +
               " Run ./setup (from a package: sudo tolvik-get-models) to get the speech model, or choose another "
               "folder in the settings.";
    }
    return {};
}

}  // namespace tolvik
