#include "sync/outbox_file.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <spdlog/spdlog.h>
#include <system_error>
#include <unistd.h>

namespace tolvik {
namespace {

bool writeAll(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        const auto written = ::write(file, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        bytes.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    return true;
}

void syncFolder(const std::filesystem::path& folder) {
    if (const int handle = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); handle >= 0) {
        ::fsync(handle);
        ::close(handle);
    }
}

}  // namespace

std::vector<OutboxOp> readOutboxFile(const std::string& path, Instant now) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return {};
    }
    const std::string json{std::istreambuf_iterator<char>(file), {}};
    auto ops = readOps(json);
    if (ops) {
        return std::move(*ops);
    }
    const std::string aside = path + ".unreadable-" + formatInstant(now);
    std::error_code failed;
    std::filesystem::rename(path, aside, failed);
    spdlog::warn("The queue of changes for the server could not be read ({}); it is kept at {}", ops.error(), aside);
    return {};
}

bool writeOutboxFile(const std::string& path, const std::vector<OutboxOp>& ops, bool sync) {
    std::error_code failed;
    const auto folder = std::filesystem::path(path).parent_path();
    if (ops.empty()) {
        std::filesystem::remove(path, failed);
        if (!failed && sync) {
            syncFolder(folder);
        }
        return !failed;
    }
    std::string json = "[";
    for (const OutboxOp& op : ops) {
        if (json.size() > 1) {
            json += ',';
        }
        appendOp(json, op);
    }
    json += ']';
    return replaceDurably(path, json, sync);
}

bool replaceDurably(const std::filesystem::path& path, std::string_view bytes, bool sync) {
    std::error_code failed;
    const auto folder = path.parent_path();
    std::filesystem::create_directories(folder, failed);
    const std::string next = path.string() + ".new";
    const int file = ::open(next.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0) {
        return false;
    }
    bool good = writeAll(file, bytes) && (!sync || ::fsync(file) == 0);
    good = ::close(file) == 0 && good;
    if (good) {
        std::filesystem::rename(next, path, failed);
        good = !failed;
    }
    if (!good) {
        std::filesystem::remove(next, failed);
        return false;
    }
    if (sync) {
        syncFolder(folder);
    }
    return true;
}

}  // namespace tolvik
