#include "adapters/socket/socket_file.h"

#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace tolvik {

FileDescriptor::~FileDescriptor() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

const sockaddr* SocketFile::get() const {
    return reinterpret_cast<const sockaddr*>(&address);
}

std::optional<SocketFile> socketFileAt(const std::filesystem::path& path) {
    SocketFile file;
    file.address.sun_family = AF_UNIX;
    std::string name = path.string();
    if (name.size() >= sizeof file.address.sun_path) {
        file.folder = FileDescriptor(::open(path.parent_path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        if (!file.folder) {
            return std::nullopt;
        }
        name = "/proc/self/fd/" + std::to_string(file.folder.get()) + "/" + path.filename().string();
        if (name.size() >= sizeof file.address.sun_path) {
            return std::nullopt;
        }
    }
    std::memcpy(static_cast<void*>(file.address.sun_path), name.c_str(), name.size() + 1);
    return file;
}

bool isOwnPeer(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == ::geteuid();
}

}  // namespace tolvik
