#pragma once

#include <string>
#include <vector>

#include "core/mutation_sink.h"

namespace tolvik {

/// Remembers what the log owes the server and writes it into the transaction like the real queue.
class FakeMutationSink final : public MutationSink {
public:
    void stage(WriteBatch& batch, std::span<const Mutation> mutations) override {
        for (const Mutation& mutation : mutations) {
            all.push_back(mutation);
            batch.writes.emplace_back(WriteBatch::AppendJournal{"fake", mutation.method + " " + mutation.path});
        }
    }
    void staged() override { ++stagedCalls; }
    void stageCopies(WriteBatch&, std::span<const ServerCopy> what) override {
        copies.insert(copies.end(), what.begin(), what.end());
    }

    /// "POST /tasks" and so on, since the last call; the id of a path is left out.
    [[nodiscard]] std::vector<std::string> takeLines() {
        std::vector<std::string> out;
        for (const Mutation& mutation : all) {
            out.push_back(mutation.method + " " + mutation.path.substr(0, mutation.path.find('/', 1)));
        }
        all.clear();
        return out;
    }

    std::vector<Mutation> all;
    std::vector<ServerCopy> copies;
    int stagedCalls = 0;
};

class FakeHoldOff final : public ChangeHoldOff {
public:
    void suppressUntil(Instant instant) override { until = instant; }

    Instant until;
};

}  // namespace tolvik
