#include "server/resources.h"

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <fmt/format.h>
#include <openssl/rand.h>
#include <sys/resource.h>
#include <unistd.h>

#include "server/config/server_config.h"

namespace tolvik::server {

std::size_t raiseFileLimit() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return 1'024;
    }
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    ::getrlimit(RLIMIT_NOFILE, &limit);
    return limit.rlim_cur;
}

std::filesystem::path defaultDataFolder(bool dev) {
    const auto variable = [](const char* name) -> std::filesystem::path {
        const char* value = std::getenv(name);
        return value == nullptr ? "" : value;
    };
    if (const auto state = variable("STATE_DIRECTORY"); !dev && !state.empty()) {
        return state;
    }
    auto base = variable("XDG_DATA_HOME");
    if (base.empty()) {
        base = variable("HOME") / ".local/share";
    }
    return base / (dev ? "tolvik-server-dev" : "tolvik-server");
}

Result<std::string, std::string> keptSecret(const std::filesystem::path& file) {
    if (std::filesystem::exists(file)) {
        return readSecretFile(file);
    }
    std::array<unsigned char, 32> bytes{};
    std::string text;
    if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) {
        return failure(std::string("The system gives no random numbers."));
    }
    for (const auto byte : bytes) {
        text += fmt::format("{:02x}", byte);
    }
    const int descriptor = ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    const bool written = descriptor >= 0 && ::write(descriptor, text.data(), text.size()) == std::ssize(text) &&
                         ::fsync(descriptor) == 0;
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    if (!written) {
        return failure(fmt::format("{} cannot be written. Make its folder writable, or choose another with --data.",
                                   file.string()));
    }
    return text;
}

}  // namespace tolvik::server
