#pragma once

#include <filesystem>
#include <utility>

#include "tests/fakes/fake_audio_file_codec.h"
#include "tests/fakes/fake_chord_monitor.h"
#include "tests/fakes/fake_media_players.h"
#include "tests/fakes/fake_microphone.h"
#include "tests/fakes/fake_speech_recognizer.h"
#include "voice/capture/voice_manager.h"

namespace tolvik {

/// What a voice manager is given, with fakes for all that it hears by.
struct FakeVoiceParts {
    /// Ports with these fakes, no vocabulary, and no commands behind them yet. What is given outlives the manager, as
    /// these do.
    VoiceManager::Ports voicePorts(MainLoop& loop, Workers& workers, const Clock& clock, Random& random,
                                   ValueStore& values, std::filesystem::path folder) {
        return {.loop = loop,
                .workers = workers,
                .clock = clock,
                .random = random,
                .values = values,
                .chord = chord,
                .microphone = microphone,
                .recognizer = recognizer,
                .media = media,
                .codec = codec,
                .temporaryFolder = std::move(folder),
                .vocabulary = [] { return SpeechVocabulary{}; },
                .execute = {},
                .preview = {},
                .undo = {}};
    }

    FakeChordMonitor chord;
    FakeMicrophone microphone;
    FakeSpeechRecognizer recognizer;
    FakeMediaPlayers media;
    FakeAudioFileCodec codec;
};

}  // namespace tolvik
