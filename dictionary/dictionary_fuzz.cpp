// Any bytes may stand where the vocabulary is kept. What decodes must come back equal when it is written and read.
// Any bytes may be pasted too, and no term of theirs is empty.

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "dictionary/dict_entry.h"
#include "dictionary/dictionary_import.h"

// The name is libFuzzer's.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    if (const auto storage = tolvik::decodeStorage(bytes)) {
        if (tolvik::decodeStorage(tolvik::encodeStorage(*storage)) != storage) {
            std::abort();
        }
    }
    for (const auto& term : tolvik::parseImport(bytes).terms) {
        if (term.term.empty()) {
            std::abort();
        }
    }
    return 0;
}
