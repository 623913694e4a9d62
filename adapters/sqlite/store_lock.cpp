#include "adapters/sqlite/store_lock.h"

#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>

namespace tolvik {

StoreLock::Outcome StoreLock::tryLock() {
    if (file_ >= 0) {
        return Outcome::held;
    }
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(path_).parent_path(), ignored);
    const int file = ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0) {
        return Outcome::impossible;
    }
    int locked = 0;
    do {
        locked = ::flock(file, LOCK_EX | LOCK_NB);
    } while (locked != 0 && errno == EINTR);
    if (locked != 0) {
        const bool taken = errno == EWOULDBLOCK;
        ::close(file);
        return taken ? Outcome::elsewhere : Outcome::impossible;
    }
    const std::string pid = std::to_string(::getpid()) + "\n";
    // The number is only for messages: a disk without room must not stop the reader of the log.
    if (::ftruncate(file, 0) == 0) {
        [[maybe_unused]] const auto written = ::pwrite(file, pid.data(), pid.size(), 0);
    }
    file_ = file;
    return Outcome::held;
}

void StoreLock::release() {
    if (file_ >= 0) {
        // The file stays: removing it would let two processes lock two files of the same name.
        ::close(file_);
        file_ = -1;
    }
}

std::optional<int> StoreLock::holder() const {
    const int file = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return std::nullopt;
    }
    char buffer[32];
    const auto length = ::read(file, buffer, sizeof buffer);
    ::close(file);
    int pid = 0;
    if (length <= 0 || std::from_chars(buffer, buffer + length, pid).ec != std::errc() || pid <= 0) {
        return std::nullopt;
    }
    return pid;
}

}  // namespace tolvik
