#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "sync/outbox_op.h"

/// The queue's file: any bytes are read or refused, and what was read is written and read again the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto ops = tolvik::readOps({reinterpret_cast<const char*>(data), size});
    if (!ops) {
        return 0;
    }
    std::string out = "[";
    for (const auto& op : *ops) {
        if (out.size() > 1) {
            out += ',';
        }
        tolvik::appendOp(out, op);
    }
    if (tolvik::readOps(out + "]") != *ops) {
        std::abort();
    }
    return 0;
}
