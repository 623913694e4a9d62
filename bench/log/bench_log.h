#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "adapters/sqlite/sqlite_value_store.h"
#include "base/zone.h"
#include "bench/log/log_generator.h"
#include "core/app_store.h"
#include "sync/sync_outbox.h"
#include "tests/fakes/fake_sinks.h"
#include "tests/fakes/virtual_main_loop.h"

namespace tolvik {

/// A store over an SQLite file as the programs put it together, in virtual time.
struct OpenLog {
    explicit OpenLog(const std::filesystem::path& folder, bool checkpointOnClose = true)
        : values((folder / "tolvik.sqlite").string(),
                 {.fileSystem = std::nullopt, .checkpointOnClose = checkpointOnClose}),
          outbox(SyncOutbox::Ports{values, clock, random, loop, workers, folder.string()}),
          store(AppStorePorts{values,
                              clock,
                              zone,
                              random,
                              loop,
                              outbox,
                              holdOff,
                              [] { return std::optional<Identifier>(); },
                              [] { return false; },
                              {}}) {}

    FakeClock clock;
    NamedTimeZone zone{"Europe/Helsinki"};
    FakeRandom random{99};
    VirtualMainLoop loop{clock};
    ImmediateWorkers workers;
    FakeHoldOff holdOff;
    SqliteValueStore values;
    SyncOutbox outbox;
    AppStore store;
};

/// Writes a made-up log into a folder.
inline void writeLog(const std::filesystem::path& folder, Instant now, LogSize size = {}) {
    OpenLog log(folder);
    std::string json;
    appendWholeLog(json, makeLog(now, size));
    if (const auto done = log.store.importAll(json); !done) {
        throw std::runtime_error(done.error());
    }
}

/// A folder that is removed at the end. TMPDIR chooses the disk.
class ScratchFolder {
public:
    ScratchFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "tolvik-bench-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        path = name;
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    ~ScratchFolder() { std::filesystem::remove_all(path); }

    std::filesystem::path path;
};

/// Bytes that this process has handed to the system for writing.
inline std::int64_t bytesWritten() {
    std::ifstream io("/proc/self/io");
    std::string name;
    std::int64_t value = 0;
    while (io >> name >> value) {
        if (name == "wchar:") {
            return value;
        }
    }
    return 0;
}

}  // namespace tolvik
