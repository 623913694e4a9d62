#include "telemetry/buffer_file.h"

#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <mutex>
#include <optional>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace tolvik {
namespace {

bool writeWhole(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        const auto written = ::write(file, bytes.data(), bytes.size());
        if (written <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

std::string draftOf(const std::filesystem::path& path) {
    return path.string() + ".new";
}

void replace(const std::filesystem::path& path, std::string_view bytes) {
    std::error_code error;
    std::filesystem::create_directories(path.parent_path(), error);
    const std::string draft = draftOf(path);
    const int file = ::open(draft.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0) {
        return;
    }
    const bool whole = writeWhole(file, bytes);
    if (::close(file) == 0 && whole) {
        std::filesystem::rename(draft, path, error);
    } else {
        std::filesystem::remove(draft, error);
    }
}

}  // namespace

struct BufferFile::State {
    std::filesystem::path path;
    /// Held while the file is touched; taken before the other.
    std::mutex disk;
    std::mutex mutex;
    std::optional<std::string> next;
    bool isQueued = false;

    std::optional<std::string> take() {
        const std::scoped_lock lock(mutex);
        isQueued = false;
        return std::exchange(next, std::nullopt);
    }
};

BufferFile::BufferFile(std::filesystem::path path) : state_(std::make_shared<State>()) {
    state_->path = std::move(path);
}

std::string BufferFile::read() const {
    const std::scoped_lock disk(state_->disk);
    std::ifstream file(state_->path, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(file), {}};
    return file.bad() ? std::string() : bytes;
}

void BufferFile::write(std::string bytes) const {
    if (workers_ == nullptr) {
        writeNow(bytes);
        return;
    }
    {
        const std::scoped_lock lock(state_->mutex);
        state_->next = std::move(bytes);
        if (std::exchange(state_->isQueued, true)) {
            return;
        }
    }
    workers_->run([state = state_] {
        const std::scoped_lock disk(state->disk);
        if (const auto next = state->take()) {
            replace(state->path, *next);
        }
    });
}

void BufferFile::writeNow(const std::string& bytes) const {
    const std::scoped_lock disk(state_->disk);
    static_cast<void>(state_->take());
    replace(state_->path, bytes);
}

void BufferFile::remove() const {
    const std::scoped_lock disk(state_->disk);
    static_cast<void>(state_->take());
    std::error_code error;
    std::filesystem::remove(state_->path, error);
    std::filesystem::remove(draftOf(state_->path), error);
}

}  // namespace tolvik
