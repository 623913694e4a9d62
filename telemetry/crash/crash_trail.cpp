#include "telemetry/crash/crash_trail.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

#include "base/json_writer.h"
#include "base/text.h"

namespace tolvik {
namespace {

constexpr std::array<char, 8> kMagic{'T', 'L', 'V', 'T', 'R', 'L', '0', '1'};
constexpr std::array<std::pair<int, std::string_view>, 6> kSignals{{{SIGSEGV, "SIGSEGV"},
                                                                    {SIGABRT, "SIGABRT"},
                                                                    {SIGBUS, "SIGBUS"},
                                                                    {SIGFPE, "SIGFPE"},
                                                                    {SIGILL, "SIGILL"},
                                                                    {SIGSYS, "SIGSYS"}}};
/// Enough for a handler that only stores, also after a stack overflow.
constexpr std::size_t kStackBytes = std::size_t{64} << 10U;

template <std::size_t size>
std::string textIn(const std::array<char, size>& bytes) {
    const auto* const end = std::ranges::find(bytes, '\0');
    return toValidUtf8(std::string(bytes.begin(), end));
}

template <std::size_t size>
void store(std::array<char, size>& into, std::string_view text) noexcept {
    const auto length = std::min(text.size(), size - 1);
    std::copy_n(text.begin(), length, into.begin());
    std::memset(into.data() + length, 0, size - length);
}

}  // namespace

/// The file as it lies in memory. Only this program reads it, on the machine that wrote it.
struct CrashTrail::Page {
    std::array<char, 8> magic;
    std::array<char, 32> version;
    std::int64_t startedMs;
    std::int64_t crashedMs;
    std::int32_t signal;
    /// 1 while the process runs.
    std::int32_t isOpen;
    std::atomic<std::uint32_t> crumbs;
    std::array<std::array<char, kLongestCrumb + 1>, kCrumbs> texts;

    [[nodiscard]] std::optional<CrashReport> report() const {
        if (magic != kMagic || isOpen != 1) {
            return std::nullopt;
        }
        CrashReport out;
        out.version = textIn(version);
        out.startedAt = {startedMs};
        const auto* const known = std::ranges::find(kSignals, signal, &std::pair<int, std::string_view>::first);
        if (known != kSignals.end()) {
            out.signal = known->second;
            out.crashedAt = Instant{crashedMs};
        }
        const std::uint32_t count = crumbs.load();
        const std::uint32_t kept = std::min<std::uint32_t>(count, kCrumbs);
        for (std::uint32_t i = count - kept; i != count; ++i) {
            out.crumbs.push_back(textIn(texts.at(i % kCrumbs)));
        }
        return out;
    }
};

namespace {
/// What the handler stores into; the one trail of the process.
std::atomic<void*> watchedPage{nullptr};
}  // namespace

std::unique_ptr<CrashTrail> CrashTrail::begin(const std::filesystem::path& file, std::string_view version, Instant now,
                                              std::optional<CrashReport>& before) {
    static_assert(std::atomic<std::uint32_t>::is_always_lock_free && std::atomic<void*>::is_always_lock_free);
    before.reset();
    std::error_code error;
    std::filesystem::create_directories(file.parent_path(), error);
    const int descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        return std::unique_ptr<CrashTrail>(new CrashTrail(nullptr));
    }
    // The room is taken now, so that no later store meets a full disk.
    const bool hasRoom = ::posix_fallocate(descriptor, 0, sizeof(Page)) == 0;
    void* mapped =
        hasRoom ? ::mmap(nullptr, sizeof(Page), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0) : MAP_FAILED;
    ::close(descriptor);
    if (mapped == MAP_FAILED) {
        return std::unique_ptr<CrashTrail>(new CrashTrail(nullptr));
    }
    auto* page = static_cast<Page*>(mapped);
    before = page->report();
    page->isOpen = 0;
    page->magic = kMagic;
    store(page->version, version);
    page->startedMs = now.ms;
    page->crashedMs = 0;
    page->signal = 0;
    page->crumbs = 0;
    page->isOpen = 1;
    return std::unique_ptr<CrashTrail>(new CrashTrail(page));
}

CrashTrail::~CrashTrail() {
    if (watches_) {
        for (const auto& [number, name] : kSignals) {
            std::signal(number, SIG_DFL);
        }
        watchedPage = nullptr;
    }
    if (page_ != nullptr) {
        page_->isOpen = 0;
        ::munmap(page_, sizeof(Page));
    }
}

void CrashTrail::leave(std::string_view crumb) noexcept {
    if (page_ != nullptr) {
        const auto place = page_->crumbs.fetch_add(1) % kCrumbs;
        store(page_->texts[place], crumb);
    }
}

void CrashTrail::onSignal(int number) {
    // Nothing here but stores and calls that POSIX lists as safe in a handler.
    if (auto* page = static_cast<Page*>(watchedPage.load()); page != nullptr && page->signal == 0) {
        timespec now{};
        ::clock_gettime(CLOCK_REALTIME, &now);
        page->crashedMs = std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
        page->signal = number;
    }
    // The handler was removed as it was called: the signal now does what it always does.
    ::raise(number);
}

void CrashTrail::watchSignals() {
    if (page_ == nullptr || watches_) {
        return;
    }
    // Belongs to the process for the rest of its life: a handler may run at any time until then.
    static std::array<char, kStackBytes> stack;
    stack_t alternate{};
    alternate.ss_sp = stack.data();
    alternate.ss_size = stack.size();
    ::sigaltstack(&alternate, nullptr);
    watchedPage = page_;
    watches_ = true;
    struct sigaction action{};
    action.sa_handler = onSignal;
    action.sa_flags = static_cast<int>(SA_ONSTACK | SA_RESETHAND | SA_NODEFER);
    ::sigemptyset(&action.sa_mask);
    for (const auto& [number, name] : kSignals) {
        ::sigaction(number, &action, nullptr);
    }
}

std::string crashNotice(const CrashReport& report) {
    const auto how = report.signal.empty() ? std::string("was ended from outside or with the machine")
                                           : fmt::format("ended because of an error in it ({})", report.signal);
    return fmt::format("Tolvik {} {}. Nothing of the log was lost: each change is on the disk before it is shown.",
                       report.version, how);
}

std::string crashJson(const CrashReport& report) {
    std::string out;
    {
        JsonObjectWriter json(out);
        json.text("version", report.version);
        json.text("startedAt", formatInstant(report.startedAt));
        if (report.crashedAt) {
            json.text("crashedAt", formatInstant(*report.crashedAt));
            json.text("signal", report.signal);
        }
        std::string crumbs = "[";
        for (const auto& crumb : report.crumbs) {
            crumbs += crumbs.size() == 1 ? "" : ",";
            appendJsonString(crumbs, crumb);
        }
        json.raw("crumbs", crumbs + "]");
    }
    return out;
}

}  // namespace tolvik
