#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <utility>

namespace tolvik {

/// An open descriptor, closed at the end of its life.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd) : fd_(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor();

    [[nodiscard]] int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }

private:
    int fd_ = -1;
};

/// The address of a socket file. A path too long for an address is reached through its folder's descriptor, which
/// must stay open while the address is used.
struct SocketFile {
    sockaddr_un address{};
    FileDescriptor folder;

    [[nodiscard]] const sockaddr* get() const;
};
/// None when the folder cannot be opened or the name alone is too long.
[[nodiscard]] std::optional<SocketFile> socketFileAt(const std::filesystem::path& path);

/// True when the process at the other end belongs to the same user.
[[nodiscard]] bool isOwnPeer(int socket);

}  // namespace tolvik
