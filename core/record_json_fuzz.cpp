#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "core/record_json.h"

/// Stored values, pieces, exports and undo records: any bytes are read or refused, and what was read is written and
/// read again the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    tolvik::RecordDecoder decoder;
    const auto checkArray = [&]<class Record>(const Record&) {
        if (const auto records = decoder.array<Record>(bytes)) {
            std::string out;
            tolvik::appendRecords(out, *records);
            if (decoder.array<Record>(out) != *records) {
                std::abort();
            }
        }
        std::vector<Record> piece;
        (void)decoder.piece(bytes, piece);
    };
    checkArray(tolvik::TaskModel{});
    checkArray(tolvik::TimeEntry{});
    checkArray(tolvik::SwitchLog{});
    checkArray(tolvik::TagModel{});
    if (const auto log = decoder.wholeLog(bytes)) {
        std::string out;
        tolvik::appendWholeLog(out, *log);
        if (decoder.wholeLog(out) != *log) {
            std::abort();
        }
    }
    (void)decoder.operation(bytes);
    return 0;
}
