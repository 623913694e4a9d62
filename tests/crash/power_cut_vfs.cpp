#include "tests/crash/power_cut_vfs.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "tests/fakes/fake_clock.h"

namespace tolvik {
namespace {

constexpr std::size_t kSector = 512;

struct OpenFile {
    sqlite3_file base;
    PowerCutVfs* disk;
    std::shared_ptr<PowerCutVfs::File>* file;
};
OpenFile& opened(sqlite3_file* file) {
    return *reinterpret_cast<OpenFile*>(file);
}
PowerCutVfs& diskOf(sqlite3_vfs* vfs) {
    return *static_cast<PowerCutVfs*>(vfs->pAppData);
}

void applyChange(std::string& bytes, const PowerCutVfs::Change& change) {
    const auto at = static_cast<std::size_t>(change.at);
    if (change.truncates) {
        bytes.resize(std::min(bytes.size(), at));
        return;
    }
    bytes.resize(std::max(bytes.size(), at + change.bytes.size()));
    bytes.replace(at, change.bytes.size(), change.bytes);
}

int closeFile(sqlite3_file* file) {
    delete opened(file).file;
    return SQLITE_OK;
}
int readFile(sqlite3_file* file, void* out, int count, sqlite3_int64 at) {
    const std::string& bytes = (*opened(file).file)->now;
    const auto wanted = static_cast<std::size_t>(count);
    const auto from = std::min(bytes.size(), static_cast<std::size_t>(at));
    const std::size_t there = std::min(wanted, bytes.size() - from);
    std::memcpy(out, bytes.data() + from, there);
    std::memset(static_cast<char*>(out) + there, 0, wanted - there);
    return there == wanted ? SQLITE_OK : SQLITE_IOERR_SHORT_READ;
}
int changeFile(sqlite3_file* file, PowerCutVfs::Change change, int failed) {
    if (!opened(file).disk->step()) {
        return failed;
    }
    auto& f = **opened(file).file;
    applyChange(f.now, change);
    f.unsynced.push_back(std::move(change));
    return SQLITE_OK;
}
int writeFile(sqlite3_file* file, const void* bytes, int count, sqlite3_int64 at) {
    return changeFile(file, {at, std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(count)), false},
                      SQLITE_IOERR_WRITE);
}
int truncateFile(sqlite3_file* file, sqlite3_int64 size) {
    return changeFile(file, {size, {}, true}, SQLITE_IOERR_TRUNCATE);
}
int syncFile(sqlite3_file* file, int) {
    if (!opened(file).disk->step()) {
        return SQLITE_IOERR_FSYNC;
    }
    auto& f = **opened(file).file;
    f.synced = f.now;
    f.unsynced.clear();
    f.everSynced = true;
    return SQLITE_OK;
}
int fileSize(sqlite3_file* file, sqlite3_int64* size) {
    *size = static_cast<sqlite3_int64>((*opened(file).file)->now.size());
    return SQLITE_OK;
}
int lockFile(sqlite3_file*, int) {
    return SQLITE_OK;
}
int isReserved(sqlite3_file*, int* out) {
    *out = 0;
    return SQLITE_OK;
}
int control(sqlite3_file*, int, void*) {
    return SQLITE_NOTFOUND;
}
int sectorSize(sqlite3_file*) {
    return static_cast<int>(kSector);
}
int characteristics(sqlite3_file*) {
    return 0;
}

constexpr sqlite3_io_methods makeMethods() {
    sqlite3_io_methods m{};
    m.iVersion = 1;
    m.xClose = closeFile;
    m.xRead = readFile;
    m.xWrite = writeFile;
    m.xTruncate = truncateFile;
    m.xSync = syncFile;
    m.xFileSize = fileSize;
    m.xLock = lockFile;
    m.xUnlock = lockFile;
    m.xCheckReservedLock = isReserved;
    m.xFileControl = control;
    m.xSectorSize = sectorSize;
    m.xDeviceCharacteristics = characteristics;
    return m;
}
constexpr sqlite3_io_methods kMethods = makeMethods();

int openFile(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* outFlags) {
    auto& disk = diskOf(vfs);
    file->pMethods = nullptr;
    auto found = disk.files.find(name == nullptr ? "" : name);
    if (found == disk.files.end()) {
        if ((flags & SQLITE_OPEN_CREATE) == 0 || disk.isCut()) {
            return SQLITE_CANTOPEN;
        }
        found = disk.files.emplace(name == nullptr ? "" : name, std::make_shared<PowerCutVfs::File>()).first;
    }
    opened(file).disk = &disk;
    opened(file).file = new std::shared_ptr<PowerCutVfs::File>(found->second);
    file->pMethods = &kMethods;
    if (outFlags != nullptr) {
        *outFlags = flags;
    }
    return SQLITE_OK;
}
int deleteFile(sqlite3_vfs* vfs, const char* name, int) {
    auto& disk = diskOf(vfs);
    if (!disk.step()) {
        return SQLITE_IOERR_DELETE;
    }
    return disk.files.erase(name) > 0 ? SQLITE_OK : SQLITE_IOERR_DELETE_NOENT;
}
int accessFile(sqlite3_vfs* vfs, const char* name, int, int* out) {
    *out = diskOf(vfs).files.contains(name) ? 1 : 0;
    return SQLITE_OK;
}
int fullPath(sqlite3_vfs*, const char* name, int size, char* out) {
    sqlite3_snprintf(size, out, "%s", name);
    return SQLITE_OK;
}
int randomness(sqlite3_vfs*, int size, char* out) {
    std::memset(out, 7, static_cast<std::size_t>(size));
    return size;
}
int sleepFor(sqlite3_vfs*, int) {
    return 0;
}
int currentTime(sqlite3_vfs*, double* out) {
    *out = 2'461'000.5;
    return SQLITE_OK;
}
int lastError(sqlite3_vfs*, int, char*) {
    return 0;
}

}  // namespace

PowerCutVfs::PowerCutVfs() {
    static std::atomic<int> count = 0;
    name_ = "power-cut-" + std::to_string(++count);
    vfs_.iVersion = 1;
    vfs_.szOsFile = sizeof(OpenFile);
    vfs_.mxPathname = 256;
    vfs_.zName = name_.c_str();
    vfs_.pAppData = this;
    vfs_.xOpen = openFile;
    vfs_.xDelete = deleteFile;
    vfs_.xAccess = accessFile;
    vfs_.xFullPathname = fullPath;
    vfs_.xRandomness = randomness;
    vfs_.xSleep = sleepFor;
    vfs_.xCurrentTime = currentTime;
    vfs_.xGetLastError = lastError;
    sqlite3_vfs_register(&vfs_, 0);
}

PowerCutVfs::~PowerCutVfs() {
    sqlite3_vfs_unregister(&vfs_);
}

bool PowerCutVfs::step() {
    ++steps_;
    cut_ = cut_ || steps_ == cutAt_;
    return !cut_;
}

void PowerCutVfs::restore(std::uint64_t seed) {
    FakeRandom chance(seed);
    for (auto it = files.begin(); it != files.end();) {
        File& file = *it->second;
        // How much of the cache had been written out by itself: nothing, everything, or any part of it.
        const auto share = chance.next() % 5;
        std::string bytes = file.synced;
        for (const Change& change : file.unsynced) {
            if (change.truncates) {
                if (chance.next() % 4 < share) {
                    applyChange(bytes, change);
                }
                continue;
            }
            for (std::size_t from = 0; from < change.bytes.size(); from += kSector) {
                if (chance.next() % 4 < share) {
                    applyChange(bytes, {change.at + static_cast<std::int64_t>(from), change.bytes.substr(from, kSector),
                                        false});
                }
            }
        }
        const bool isThere = file.everSynced || !bytes.empty();
        auto restored = std::make_shared<File>();
        restored->now = restored->synced = std::move(bytes);
        restored->everSynced = true;
        it->second = std::move(restored);
        it = isThere ? std::next(it) : files.erase(it);
    }
    cut_ = false;
    cutAt_ = 0;
}

}  // namespace tolvik
