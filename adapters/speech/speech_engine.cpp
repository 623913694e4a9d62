#include "adapters/speech/speech_engine.h"

#include <algorithm>
#include <dlfcn.h>

#if __has_include(<sherpa-onnx/c-api/c-api.h>)
#include <sherpa-onnx/c-api/c-api.h>
#define TOLVIK_HAS_ENGINE_HEADER 1
#endif

namespace tolvik {

#ifdef TOLVIK_HAS_ENGINE_HEADER

struct SpeechEngine::Impl {
    decltype(&SherpaOnnxCreateOfflineRecognizer) createRecognizer = nullptr;
    decltype(&SherpaOnnxDestroyOfflineRecognizer) destroyRecognizer = nullptr;
    decltype(&SherpaOnnxCreateOfflineStream) createStream = nullptr;
    decltype(&SherpaOnnxDestroyOfflineStream) destroyStream = nullptr;
    decltype(&SherpaOnnxAcceptWaveformOffline) acceptWaveform = nullptr;
    decltype(&SherpaOnnxDecodeOfflineStream) decodeStream = nullptr;
    decltype(&SherpaOnnxGetOfflineStreamResult) getResult = nullptr;
    decltype(&SherpaOnnxDestroyOfflineRecognizerResult) destroyResult = nullptr;
    const SherpaOnnxOfflineRecognizer* recognizer = nullptr;

    Impl() = default;
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    ~Impl() {
        if (recognizer != nullptr) {
            destroyRecognizer(recognizer);
        }
    }

    template <class Function>
    static bool find(void* library, const char* name, Function& function) {
        function = reinterpret_cast<Function>(dlsym(library, name));
        return function != nullptr;
    }

    bool bind(void* library) {
        return find(library, "SherpaOnnxCreateOfflineRecognizer", createRecognizer) &&
               find(library, "SherpaOnnxDestroyOfflineRecognizer", destroyRecognizer) &&
               find(library, "SherpaOnnxCreateOfflineStream", createStream) &&
               find(library, "SherpaOnnxDestroyOfflineStream", destroyStream) &&
               find(library, "SherpaOnnxAcceptWaveformOffline", acceptWaveform) &&
               find(library, "SherpaOnnxDecodeOfflineStream", decodeStream) &&
               find(library, "SherpaOnnxGetOfflineStreamResult", getResult) &&
               find(library, "SherpaOnnxDestroyOfflineRecognizerResult", destroyResult);
    }
};

Result<std::unique_ptr<SpeechEngine>, std::string> SpeechEngine::load(const std::filesystem::path& library,
                                                                      const SpeechModel& model) {
    // The handle is kept for the life of the process: the engine's threads may outlast any object.
    void* handle = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        return failure("The speech engine cannot be loaded: " + std::string(dlerror()));
    }
    auto impl = std::make_unique<Impl>();
    if (!impl->bind(handle)) {
        return failure("The speech engine in " + library.string() + " lacks a function.");
    }
    SherpaOnnxOfflineRecognizerConfig config = {};
    config.feat_config.sample_rate = 16000;
    config.feat_config.feature_dim = 80;
    auto& files = config.model_config;
    files.tokens = model.tokens.c_str();
    files.num_threads = 1;
    files.provider = "cpu";
    config.decoding_method = "greedy_search";
    switch (model.kind) {
        case SpeechModel::Kind::moonshine:
            files.moonshine.encoder = model.encoder.c_str();
            files.moonshine.merged_decoder = model.decoder.c_str();
            break;
        case SpeechModel::Kind::moonshineSplit:
            files.moonshine.preprocessor = model.preprocessor.c_str();
            files.moonshine.encoder = model.encoder.c_str();
            files.moonshine.uncached_decoder = model.joiner.c_str();
            files.moonshine.cached_decoder = model.decoder.c_str();
            break;
        case SpeechModel::Kind::whisper:
            files.whisper.encoder = model.encoder.c_str();
            files.whisper.decoder = model.decoder.c_str();
            files.whisper.task = "transcribe";
            files.whisper.tail_paddings = -1;
            break;
        case SpeechModel::Kind::nemoTransducer:
            files.model_type = "nemo_transducer";
            [[fallthrough]];
        case SpeechModel::Kind::transducer:
            files.transducer.encoder = model.encoder.c_str();
            files.transducer.decoder = model.decoder.c_str();
            files.transducer.joiner = model.joiner.c_str();
            break;
        case SpeechModel::Kind::nemoCtc:
            files.nemo_ctc.model = model.encoder.c_str();
            break;
    }
    impl->recognizer = impl->createRecognizer(&config);
    if (impl->recognizer == nullptr) {
        return failure("The speech engine cannot read the model " + model.name + ".");
    }
    return std::unique_ptr<SpeechEngine>(new SpeechEngine(std::move(impl)));
}

std::string SpeechEngine::decode(std::span<const float> samples) const {
    const SherpaOnnxOfflineStream* stream = impl_->createStream(impl_->recognizer);
    if (stream == nullptr) {
        return {};
    }
    impl_->acceptWaveform(stream, 16000, samples.data(), static_cast<int32_t>(samples.size()));
    impl_->decodeStream(impl_->recognizer, stream);
    const SherpaOnnxOfflineRecognizerResult* result = impl_->getResult(stream);
    std::string text = result != nullptr && result->text != nullptr ? result->text : "";
    if (result != nullptr) {
        impl_->destroyResult(result);
    }
    impl_->destroyStream(stream);
    return text;
}

#else

struct SpeechEngine::Impl {};

Result<std::unique_ptr<SpeechEngine>, std::string> SpeechEngine::load(const std::filesystem::path&,
                                                                      const SpeechModel&) {
    return failure(
        std::string("This program was built before the speech engine was set up. Run ./setup and build again."));
}

std::string SpeechEngine::decode(std::span<const float>) const {
    return {};
}

#endif

SpeechEngine::SpeechEngine(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
SpeechEngine::~SpeechEngine() = default;

}  // namespace tolvik
