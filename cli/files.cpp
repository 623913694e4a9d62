#include "cli/files.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tolvik {
namespace {

std::string because(std::string_view what, const std::string& path) {
    return fmt::format("Cannot {} {}: {}.", what, path, std::strerror(errno));
}

}  // namespace

bool writeOut(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const auto written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

Result<std::string, std::string> readFile(const std::string& path) {
    const int file = path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return failure(because("read", path));
    }
    std::string bytes;
    std::array<char, std::size_t{64} << 10U> part{};
    ssize_t got = 0;
    while ((got = ::read(file, part.data(), part.size())) != 0) {
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            break;
        }
        bytes.append(part.data(), static_cast<std::size_t>(got));
        if (bytes.size() > kLargestFile) {
            break;
        }
    }
    std::string problem = got < 0 ? because("read", path) : std::string();
    if (bytes.size() > kLargestFile) {
        problem = fmt::format("Cannot read {}: it is larger than {} MB.", path, kLargestFile >> 20U);
    }
    if (file != STDIN_FILENO) {
        ::close(file);
    }
    if (!problem.empty()) {
        return failure(std::move(problem));
    }
    return bytes;
}

Result<void, std::string> writeFile(const std::string& path, std::string_view bytes) {
    if (path == "-") {
        if (!writeOut(STDOUT_FILENO, bytes)) {
            return failure(because("write", "the output"));
        }
        return {};
    }
    struct stat status{};
    const bool isSpecial = ::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
    std::string target = isSpecial ? path : path + ".XXXXXX";
    const int file = isSpecial ? ::open(path.c_str(), O_WRONLY | O_CLOEXEC) : ::mkostemp(target.data(), O_CLOEXEC);
    if (file < 0) {
        return failure(because("write", path));
    }
    const bool whole = writeOut(file, bytes) && (isSpecial || ::fsync(file) == 0);
    const bool placed = whole && (isSpecial || ::rename(target.c_str(), path.c_str()) == 0);
    std::string problem = placed ? std::string() : because("write", path);
    ::close(file);
    if (!placed && !isSpecial) {
        ::unlink(target.c_str());
    }
    if (!problem.empty()) {
        return failure(std::move(problem));
    }
    return {};
}

}  // namespace tolvik
