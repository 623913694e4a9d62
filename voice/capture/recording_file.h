#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "base/main_loop.h"
#include "voice/capture/audio_file_writer.h"
#include "voice/capture/capture_buffer.h"

namespace tolvik {

/// The compressed file of one recording, written on workers while the recording grows. Main loop only. The file goes
/// with this object.
class RecordingFile {
public:
    using Finished = std::function<void(Result<std::filesystem::path, std::string>)>;

    /// Opens the file; `onFailed` comes on the main loop with the reason when that fails. All that is referred to
    /// outlives the workers.
    RecordingFile(Workers& workers, MainLoop& loop, AudioFileCodec& codec, std::filesystem::path file,
                  AudioFormat format, std::shared_ptr<const CaptureBuffer> sound,
                  std::function<void(std::string)> onFailed);
    RecordingFile(const RecordingFile&) = delete;
    RecordingFile& operator=(const RecordingFile&) = delete;
    /// Closes and deletes the file, on a worker.
    ~RecordingFile();

    /// Encodes what has arrived since the last time, unless that is still under way.
    void update();
    /// Encodes the rest and completes the file; `finished` comes on the main loop with its path, unless this object
    /// is gone by then.
    void finish(Finished finished);

    /// "tolvik-voice-" + id + ".m4a".
    [[nodiscard]] static std::string nameFor(const std::string& id);
    /// Deletes the recordings that a crash left in `folder`, and nothing else there. Those written at or after
    /// `writtenBefore` are in use. Any thread.
    static void sweep(const std::filesystem::path& folder, std::filesystem::file_time_type writtenBefore);

private:
    struct State;
    Workers& workers_;
    std::shared_ptr<State> state_;
    // Held here alone, so that nothing is called back once this object is gone.
    std::shared_ptr<std::function<void(std::string)>> onFailed_;
    std::shared_ptr<Finished> onFinished_;
};

}  // namespace tolvik
