#include "sync/sync_outbox.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <unordered_set>

#include "sync/outbox_file.h"

namespace tolvik {
namespace {

constexpr const char* kJournal = "outbox";
constexpr Millis kSoon{500};
constexpr Millis kLatest{60'000};
/// The file is written whole, so a long one is written less often: about this many bytes a second.
constexpr std::uintmax_t kBytesPerSecond = 100'000;
/// A process that ends writes a file of up to this size in any case.
constexpr std::uintmax_t kSmallFile = 256'000;
constexpr std::size_t kTrimAt = 64;

/// The operations of the journal's items; items that do not decode are passed over.
std::vector<OutboxOp> opsOf(const std::vector<JournalItem>& items) {
    std::string json = "[";
    for (const JournalItem& item : items) {
        if (json.size() > 1) {
            json += ',';
        }
        json += item.bytes;
    }
    json += ']';
    if (auto all = readOps(json)) {
        return std::move(*all);
    }
    std::vector<OutboxOp> out;
    for (const JournalItem& item : items) {
        if (auto one = readOps("[" + item.bytes + "]")) {
            std::ranges::move(*one, std::back_inserter(out));
        }
    }
    return out;
}

/// `more` behind `ops`, without those that are there already.
void appendNew(std::vector<OutboxOp>& ops, std::vector<OutboxOp> more) {
    std::unordered_set<std::string> known;
    known.reserve(ops.size());
    for (const OutboxOp& op : ops) {
        known.insert(op.id);
    }
    for (OutboxOp& op : more) {
        if (known.insert(op.id).second) {
            ops.push_back(std::move(op));
        }
    }
}

/// Brings the file up to the journal.
bool extendFile(const std::string& path, Instant now, std::vector<OutboxOp> journalled, bool sync) {
    auto ops = readOutboxFile(path, now);
    appendNew(ops, std::move(journalled));
    return writeOutboxFile(path, ops, sync);
}

std::uintmax_t sizeOf(const std::string& path) {
    std::error_code missing;
    const auto size = std::filesystem::file_size(path, missing);
    return missing ? 0 : size;
}

}  // namespace

struct SyncOutbox::Impl {
    explicit Impl(Ports lent) : ports(std::move(lent)) {}

    Ports ports;
    bool loaded = false;
    /// The whole queue once it is loaded, before that what this process has added.
    std::vector<OutboxOp> ops;
    Signal<> changed;
    bool writing = false;
    bool again = false;
    Timer writeTimer;
    std::shared_ptr<Impl*> alive = std::make_shared<Impl*>(this);

    [[nodiscard]] std::string filePath() const {
        std::string user = ports.values.text("tolvik.auth.userId");
        // An id never leads out of the folder.
        std::ranges::replace(user, '/', '_');
        return ports.folder + "/sync-outbox-" + (user.empty() ? "anon" : user) + ".json";
    }

    void load() {
        if (loaded) {
            return;
        }
        loaded = true;
        auto all = readOutboxFile(filePath(), ports.clock.now());
        if (const auto items = ports.values.journal(kJournal)) {
            appendNew(all, opsOf(*items));
        }
        appendNew(all, std::move(ops));
        ops = std::move(all);
    }

    void writeSoon() {
        if (writing) {
            again = true;
            return;
        }
        if (!writeTimer.isPending()) {
            const Millis wait{static_cast<std::int64_t>(sizeOf(filePath()) * 1000 / kBytesPerSecond)};
            writeTimer = ports.loop.after(std::clamp(wait, kSoon, kLatest), [this] { write(); });
        }
    }

    void write() {
        // Only what is durable: an operation whose change still waits for the disk is not in the journal yet.
        const auto items = ports.values.journal(kJournal);
        if (!items || items->empty()) {
            return;
        }
        writing = true;
        ports.workers.run([path = filePath(), now = ports.clock.now(), journalled = opsOf(*items),
                           upTo = items->back().number, &loop = ports.loop, weak = std::weak_ptr(alive)] {
            const bool good = extendFile(path, now, journalled, true);
            loop.post([weak, good, upTo] {
                if (const auto self = weak.lock()) {
                    (*self)->written(good, upTo);
                }
            });
        });
    }

    void written(bool good, std::int64_t upTo) {
        writing = false;
        // A trim that fails leaves items that the next writing finds in the file already.
        const bool trimmed = good && ports.values.commit({{WriteBatch::TrimJournal{kJournal, upTo}}}).has_value();
        if (std::exchange(again, false) || !trimmed) {
            writeSoon();
        }
    }
};

SyncOutbox::SyncOutbox(Ports ports) : impl_(std::make_unique<Impl>(std::move(ports))) {
    // What an earlier process left to the journal.
    impl_->writeSoon();
}

SyncOutbox::~SyncOutbox() = default;

void SyncOutbox::stage(WriteBatch& batch, std::span<const Mutation> mutations) {
    const std::string now = formatInstant(impl_->ports.clock.now());
    for (const Mutation& mutation : mutations) {
        OutboxOp op;
        op.id = impl_->ports.random.identifier().text();
        op.method = mutation.method;
        op.path = mutation.path;
        op.body = mutation.body;
        if (mutation.entityId) {
            op.entityId = mutation.entityId->text();
        }
        op.createdAt = now;
        std::string bytes;
        appendOp(bytes, op);
        batch.writes.emplace_back(WriteBatch::AppendJournal{kJournal, std::move(bytes)});
        impl_->ops.push_back(std::move(op));
    }
}

void SyncOutbox::staged() {
    impl_->writeSoon();
    impl_->changed.emit();
}

const std::vector<OutboxOp>& SyncOutbox::ops() const {
    impl_->load();
    return impl_->ops;
}

Subscription SyncOutbox::onChanged(std::function<void()> callback) {
    return impl_->changed.connect(std::move(callback));
}

void SyncOutbox::settle() {
    Impl& s = *impl_;
    const auto items = s.ports.values.journal(kJournal);
    if (s.writing || !items || items->empty()) {
        return;
    }
    std::uintmax_t journalBytes = 0;
    for (const JournalItem& item : *items) {
        journalBytes += item.bytes.size();
    }
    const std::string path = s.filePath();
    const auto fileBytes = sizeOf(path);
    if (fileBytes > kSmallFile && journalBytes < fileBytes / 8) {
        return;
    }
    const bool trim = items->size() >= kTrimAt;
    if (extendFile(path, s.ports.clock.now(), opsOf(*items), trim) && trim) {
        (void)s.ports.values.commit({{WriteBatch::TrimJournal{kJournal, items->back().number}}});
    }
}

std::string SyncOutbox::filePath() const {
    return impl_->filePath();
}

}  // namespace tolvik
