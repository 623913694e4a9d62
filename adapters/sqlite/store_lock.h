#pragma once

#include <optional>
#include <string>

namespace tolvik {

/// The right to open the log: a lock on a file beside it, let go when its holder ends, however it ends.
class StoreLock {
public:
    /// `path` is the lock file's, for example ".../tolvik.lock".
    explicit StoreLock(std::string path) : path_(std::move(path)) {}
    StoreLock(const StoreLock&) = delete;
    StoreLock& operator=(const StoreLock&) = delete;
    ~StoreLock() { release(); }

    enum class Outcome : unsigned char {
        held,        ///< this process has it (now or already)
        elsewhere,   ///< another process, or another StoreLock, has it
        impossible,  ///< the file can neither be made nor opened, for example in a read-only home
    };
    /// Returns at once. The folder is made when missing.
    [[nodiscard]] Outcome tryLock();
    void release();
    [[nodiscard]] bool isHeld() const { return file_ >= 0; }
    /// The process that has the lock, as it wrote itself into the file; for messages only.
    [[nodiscard]] std::optional<int> holder() const;

private:
    std::string path_;
    int file_ = -1;
};

}  // namespace tolvik
