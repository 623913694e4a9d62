#include "app/desktop/voice_stack.h"

#include <utility>

#include "adapters/audiofile/av_audio_file_codec.h"
#include "adapters/mpris/mpris_media_players.h"
#include "adapters/pulse/pulse_microphone.h"
#include "adapters/speech/process_speech_recognizer.h"
#include "adapters/x11/xkb_chord_monitor.h"
#include "dictionary/dictionary_manager.h"
#include "voice/capture/transcription_prompt.h"
#include "voice/capture/whisper_service.h"

namespace tolvik {

namespace {

SpeechVocabulary vocabularyOf(LogServices& services) {
    SpeechVocabulary out;
    for (const TaskInfo& task : services.executor().candidates()) {
        out.taskTitles.push_back(task.title);
    }
    for (const TagModel& project : services.store().tags()) {
        out.projectNames.push_back(project.name);
    }
    out.terms = services.dictionary().terms();
    return out;
}

std::string promptOf(LogServices& services) {
    PromptSource source;
    source.role = services.values().text("tolvik.profile.role");
    const auto& active = services.dictionary().activeTagId();
    if (const TagModel* project = active ? services.store().tagById(*active) : nullptr) {
        source.project = project->name;
    }
    for (const TaskModel& task : services.store().tasksToShow()) {
        source.titles.push_back(task.title);
    }
    source.terms = services.dictionary().terms();
    return transcriptionPrompt(source);
}

}  // namespace

struct VoiceStack::Impl {
    explicit Impl(const Ports& ports)
        : services(ports.services),
          transcribed(ports.transcribed),
          chord(ports.loop),
          microphone(ports.loop),
          media(ports.loop),
          recognizer(ports.loop, findSpeechPlaces(ports.modelFolder)),
          whisper({.http = services.http(),
                   .endpoint = services.endpoint(),
                   .session = services.session(),
                   .loop = ports.loop,
                   .random = ports.random,
                   .sending = ports.uploading}),
          manager({.loop = ports.loop,
                   .workers = ports.workers,
                   .clock = ports.clock,
                   .random = ports.random,
                   .values = ports.services.values(),
                   .chord = chord,
                   .microphone = microphone,
                   .recognizer = recognizer,
                   .media = media,
                   .codec = codec,
                   .transcription = &whisper,
                   .temporaryFolder = std::filesystem::temp_directory_path(),
                   .vocabulary = [this] { return vocabularyOf(services); },
                   .execute =
                       [this](const std::string& transcript, auto done) {
                           if (transcribed) {
                               transcribed();
                           }
                           services.executor().execute(transcript, ChangeSource::voice, std::move(done));
                       },
                   .preview = [this](const std::string& words) { return services.executor().preview(words); },
                   .undo = [this]() -> std::optional<std::string> {
                       const auto words = services.store().undo();
                       return words ? std::optional(undoneLine(*words)) : std::nullopt;
                   },
                   .prompt = [this] { return promptOf(services); }}) {}

    LogServices& services;
    std::function<void()> transcribed;
    XkbChordMonitor chord;
    PulseMicrophone microphone;
    MprisMediaPlayers media;
    AvAudioFileCodec codec;
    ProcessSpeechRecognizer recognizer;
    WhisperService whisper;
    VoiceManager manager;
};

VoiceStack::VoiceStack(const Ports& ports) : impl_(std::make_unique<Impl>(ports)) {}
VoiceStack::~VoiceStack() = default;

VoiceManager& VoiceStack::manager() {
    return impl_->manager;
}
Microphone& VoiceStack::microphone() {
    return impl_->microphone;
}
SpeechRecognizer& VoiceStack::recognizer() {
    return impl_->recognizer;
}
void VoiceStack::setModelFolder(const std::filesystem::path& folder) {
    impl_->recognizer.setPlaces(findSpeechPlaces(folder));
}

}  // namespace tolvik
