#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <span>

namespace tolvik {

/// A file's bytes as memory, read as they are touched. The file must not shrink meanwhile.
class MappedFile {
public:
    /// None when it cannot be read or is empty.
    [[nodiscard]] static std::optional<MappedFile> open(const std::filesystem::path& path);
    MappedFile(MappedFile&& other) noexcept;
    MappedFile& operator=(MappedFile&& other) noexcept;
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    ~MappedFile();

    [[nodiscard]] std::span<const std::byte> bytes() const { return bytes_; }
    /// Gives back the memory of what was read; it is read again when it is touched again, without what lies around it.
    void release() const;

private:
    explicit MappedFile(std::span<const std::byte> bytes) : bytes_(bytes) {}

    std::span<const std::byte> bytes_;
};

}  // namespace tolvik
