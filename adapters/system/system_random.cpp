#include "adapters/system/system_random.h"

#include <cerrno>
#include <cstdlib>
#include <sys/random.h>

namespace tolvik {

std::uint64_t SystemRandom::next() {
    if (used_ == lot_.size()) {
        // Requests of up to 256 bytes are never cut short once the kernel's pool is ready.
        ssize_t got = 0;
        do {
            got = getrandom(lot_.data(), sizeof lot_, 0);
        } while (got < 0 && errno == EINTR);
        if (got != static_cast<ssize_t>(sizeof lot_)) {
            // Identifiers that may collide would corrupt the log without a word.
            std::abort();
        }
        used_ = 0;
    }
    return lot_[used_++];
}

}  // namespace tolvik
