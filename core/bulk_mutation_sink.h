#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "base/identifier_series.h"
#include "base/time.h"
#include "core/mutation_sink.h"

namespace tolvik {

/// Many mutations made ready for `BulkMutationSink::stageReady`.
class ReadyMutations {
public:
    ReadyMutations() = default;
    ReadyMutations(const ReadyMutations&) = delete;
    ReadyMutations& operator=(const ReadyMutations&) = delete;
    virtual ~ReadyMutations() = default;
};

/// A mutation sink that takes thousands at once: what costs time is done on another thread, before.
class BulkMutationSink {
public:
    BulkMutationSink() = default;
    BulkMutationSink(const BulkMutationSink&) = delete;
    BulkMutationSink& operator=(const BulkMutationSink&) = delete;
    virtual ~BulkMutationSink() = default;

    /// Makes mutations ready at the moment `now`. Blocks for the disk; any thread, also after the sink is gone.
    using MakeReady = std::function<std::shared_ptr<ReadyMutations>(const std::vector<Mutation>& mutations, Instant now,
                                                                    IdentifierSeries ids)>;
    [[nodiscard]] virtual MakeReady makeReady() = 0;
    /// As `MutationSink::stage`, once for what this sink's `makeReady` made; `takeIn` and then `staged` follow. Main
    /// loop only.
    virtual void stageReady(WriteBatch& batch, std::shared_ptr<ReadyMutations> ready) = 0;
    /// Brings a stretch of what was staged into memory, in a millisecond or two; true when all of it is there. Whoever
    /// looks at the mutations sooner finds all of them. Main loop only.
    [[nodiscard]] virtual bool takeIn() = 0;
};

}  // namespace tolvik
