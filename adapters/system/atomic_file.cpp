#include "adapters/system/atomic_file.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tolvik {
namespace {

std::string because(const std::string& path, int error) {
    return "Cannot write " + path + ": " + std::strerror(error) + ".";
}

/// The rights of a new file: what the process's mask leaves.
mode_t newFileRights() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666U & ~mask;
}

}  // namespace

AtomicFile::AtomicFile(std::string path, std::string target, int file, bool isSpecial)
    : path_(std::move(path)), target_(std::move(target)), file_(file), isSpecial_(isSpecial) {}

AtomicFile::AtomicFile(AtomicFile&& other) noexcept
    : path_(std::move(other.path_)),
      target_(std::move(other.target_)),
      file_(std::exchange(other.file_, -1)),
      isSpecial_(other.isSpecial_),
      error_(other.error_) {}

AtomicFile::~AtomicFile() {
    if (file_ >= 0) {
        ::close(file_);
        if (!isSpecial_) {
            ::unlink(target_.c_str());
        }
    }
}

Result<AtomicFile, std::string> AtomicFile::open(const std::string& path) {
    std::error_code error;
    // Through a link, the file that it names is replaced.
    const auto real = std::filesystem::weakly_canonical(path, error);
    const std::string place = error ? path : real.string();
    struct stat status{};
    const bool exists = ::stat(place.c_str(), &status) == 0;
    if (exists && !S_ISREG(status.st_mode)) {
        const int file = ::open(place.c_str(), O_WRONLY | O_CLOEXEC);
        return file < 0 ? Result<AtomicFile, std::string>(failure(because(path, errno)))
                        : AtomicFile(place, place, file, true);
    }
    if (exists && ::access(place.c_str(), W_OK) != 0) {
        return failure(because(path, errno));
    }
    std::string target = place + ".XXXXXX";
    const int file = ::mkostemp(target.data(), O_CLOEXEC);
    if (file < 0) {
        return failure(because(path, errno));
    }
    AtomicFile opened(place, target, file, false);
    if (::fchmod(file, exists ? status.st_mode & 07777U : newFileRights()) != 0) {
        return failure(because(path, errno));
    }
    return opened;
}

bool AtomicFile::write(std::string_view bytes) {
    while (error_ == 0 && !bytes.empty()) {
        const auto written = ::write(file_, bytes.data(), bytes.size());
        if (written >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            error_ = errno;
        }
    }
    return error_ == 0;
}

Result<void, std::string> AtomicFile::commit() {
    if (error_ == 0 && !isSpecial_ && (::fsync(file_) != 0 || ::rename(target_.c_str(), path_.c_str()) != 0)) {
        error_ = errno;
    }
    if (error_ != 0) {
        return failure(because(path_, error_));
    }
    ::close(std::exchange(file_, -1));
    return {};
}

}  // namespace tolvik
