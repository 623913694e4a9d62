#include "adapters/embedding/mapped_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace tolvik {
namespace {

void* addressOf(std::span<const std::byte> bytes) {
    return const_cast<std::byte*>(bytes.data());
}

}  // namespace

std::optional<MappedFile> MappedFile::open(const std::filesystem::path& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return std::nullopt;
    }
    struct stat about{};
    void* address = MAP_FAILED;
    std::size_t size = 0;
    if (::fstat(file, &about) == 0 && S_ISREG(about.st_mode) && about.st_size > 0) {
        size = static_cast<std::size_t>(about.st_size);
        address = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
    }
    ::close(file);
    if (address == MAP_FAILED) {
        return std::nullopt;
    }
    return MappedFile(std::span(static_cast<const std::byte*>(address), size));
}

MappedFile::MappedFile(MappedFile&& other) noexcept : bytes_(std::exchange(other.bytes_, {})) {}

MappedFile& MappedFile::operator=(MappedFile&& other) noexcept {
    std::swap(bytes_, other.bytes_);
    return *this;
}

MappedFile::~MappedFile() {
    if (!bytes_.empty()) {
        ::munmap(addressOf(bytes_), bytes_.size());
    }
}

void MappedFile::release() const {
    ::madvise(addressOf(bytes_), bytes_.size(), MADV_DONTNEED);
    ::madvise(addressOf(bytes_), bytes_.size(), MADV_RANDOM);
}

}  // namespace tolvik
