#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "base/clock.h"
#include "base/main_loop.h"
#include "core/value_store.h"
#include "services/log_services.h"
#include "voice/capture/voice_manager.h"

namespace tolvik {

/// Keyboard, microphone, players, files and recogniser of this machine around one voice controller. What the machine
/// lacks is told by the parts themselves; nothing here fails. Main loop only.
class VoiceStack {
public:
    struct Ports {
        MainLoop& loop;
        Workers& workers;
        const Clock& clock;
        Random& random;
        LogServices& services;
        /// A folder with a speech model of the user's own; empty for the one that came with the program.
        std::filesystem::path modelFolder;
        /// What was said is known and will be carried out now; may be empty.
        std::function<void()> transcribed = {};
        /// A recording of so many bytes is on its way to the server; may be empty.
        std::function<void(std::size_t bytes)> uploading = {};
    };
    explicit VoiceStack(const Ports& ports);
    VoiceStack(const VoiceStack&) = delete;
    VoiceStack& operator=(const VoiceStack&) = delete;
    ~VoiceStack();

    [[nodiscard]] VoiceManager& manager();
    [[nodiscard]] Microphone& microphone();
    [[nodiscard]] SpeechRecognizer& recognizer();
    /// Takes another speech model from the next utterance on; empty for the one that came with the program.
    void setModelFolder(const std::filesystem::path& folder);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tolvik
