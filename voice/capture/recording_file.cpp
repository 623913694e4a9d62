#include "voice/capture/recording_file.h"

#include <atomic>
#include <mutex>
#include <utility>

namespace tolvik {

namespace fs = std::filesystem;

namespace {
constexpr const char* prefix = "tolvik-voice-";
constexpr const char* suffix = ".m4a";
}  // namespace

struct RecordingFile::State {
    MainLoop& loop;
    AudioFileCodec& codec;
    fs::path path;
    AudioFormat format;
    std::shared_ptr<const CaptureBuffer> sound;
    std::atomic<bool> busy = false;

    // Jobs may run on several workers; whoever comes later finds what is left to do.
    std::mutex mutex{};
    std::unique_ptr<AudioFile> file{};
    std::size_t position = 0;
    bool created = false;
    bool closed = false;

    void open(const std::weak_ptr<std::function<void(std::string)>>& onFailed) {
        const std::scoped_lock lock(mutex);
        if (closed) {
            return;
        }
        auto opened = codec.create(path, format);
        if (opened) {
            file = std::move(*opened);
            created = true;
            return;
        }
        closed = true;
        loop.post([onFailed, reason = opened.error()] {
            if (const auto failed = onFailed.lock()) {
                (*failed)(reason);
            }
        });
    }

    void encode() {
        const std::scoped_lock lock(mutex);
        if (file) {
            position = sound->read(position, [this](std::span<const float> samples) { file->append(samples); });
        }
    }

    /// Whether there is a file, complete now.
    bool close() {
        const std::scoped_lock lock(mutex);
        file.reset();
        closed = true;
        return created;
    }
};

RecordingFile::RecordingFile(Workers& workers, MainLoop& loop, AudioFileCodec& codec, fs::path file, AudioFormat format,
                             std::shared_ptr<const CaptureBuffer> sound, std::function<void(std::string)> onFailed)
    : workers_(workers),
      state_(new State{
          .loop = loop, .codec = codec, .path = std::move(file), .format = format, .sound = std::move(sound)}) {
    onFailed_ = std::make_shared<std::function<void(std::string)>>(std::move(onFailed));
    workers_.run([state = state_, failed = std::weak_ptr(onFailed_)] { state->open(failed); });
}

RecordingFile::~RecordingFile() {
    workers_.run([state = state_] {
        if (state->close()) {
            std::error_code ignored;
            fs::remove(state->path, ignored);
        }
    });
}

void RecordingFile::update() {
    if (state_->busy.exchange(true)) {
        return;
    }
    workers_.run([state = state_] {
        state->encode();
        state->busy = false;
    });
}

void RecordingFile::finish(Finished finished) {
    onFinished_ = std::make_shared<Finished>(std::move(finished));
    workers_.run([state = state_, weak = std::weak_ptr(onFinished_)] {
        state->encode();
        const bool complete = state->close();
        state->loop.post([state, weak, complete] {
            if (const auto callback = weak.lock()) {
                (*callback)(complete ? Result<fs::path, std::string>(state->path)
                                     : failure(std::string("The recording could not be written.")));
            }
        });
    });
}

std::string RecordingFile::nameFor(const std::string& id) {
    return prefix + id + suffix;
}

void RecordingFile::sweep(const fs::path& folder, fs::file_time_type writtenBefore) {
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        std::error_code ignored;
        if (name.starts_with(prefix) && name.ends_with(suffix) && entry->last_write_time(ignored) < writtenBefore) {
            fs::remove(entry->path(), ignored);
        }
    }
}

}  // namespace tolvik
