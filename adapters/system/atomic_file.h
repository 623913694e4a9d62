#pragma once

#include <string>
#include <string_view>

#include "base/result.h"

namespace tolvik {

/// A file that appears whole or not at all: bytes go to a neighbour that takes its name at the end, with the rights of
/// the file that it replaces. A symbolic link keeps pointing where it did. What is no plain file (a pipe, a device)
/// is written as it stands. One thread at a time.
class AtomicFile {
public:
    /// The error is for the user.
    [[nodiscard]] static Result<AtomicFile, std::string> open(const std::string& path);
    AtomicFile(AtomicFile&& other) noexcept;
    AtomicFile& operator=(AtomicFile&&) = delete;
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;
    /// Without `commit` nothing has happened to the path.
    ~AtomicFile();

    /// False when the disk does not take it; `commit` then tells why.
    [[nodiscard]] bool write(std::string_view bytes);
    /// Durable under its name when it returns.
    [[nodiscard]] Result<void, std::string> commit();

private:
    AtomicFile(std::string path, std::string target, int file, bool isSpecial);

    std::string path_;
    /// What is written to: the neighbour, or the path itself where it is no plain file.
    std::string target_;
    int file_ = -1;
    bool isSpecial_ = false;
    int error_ = 0;
};

}  // namespace tolvik
