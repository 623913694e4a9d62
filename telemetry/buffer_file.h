#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "base/main_loop.h"

namespace tolvik {

/// A file that is replaced as a whole, readable for its owner only, again and again. With workers it is written by one
/// of them: of states that follow each other quickly the last is written. Failures are passed over. One thread; copies
/// are the same file.
class BufferFile {
public:
    explicit BufferFile(std::filesystem::path path);

    /// From now on `write` leaves the work to them. They outlive this.
    void setWorkers(Workers& workers) { workers_ = &workers; }

    /// What the file holds; empty when there is none.
    [[nodiscard]] std::string read() const;
    /// The folder is made when it is missing.
    void write(std::string bytes) const;
    /// The same at once, in place of what may still be under way.
    void writeNow(const std::string& bytes) const;
    /// Nothing that was written before appears after this.
    void remove() const;

private:
    struct State;
    std::shared_ptr<State> state_;
    Workers* workers_ = nullptr;
};

}  // namespace tolvik
