#include "voice/capture/ticket_names.h"

#include "base/text.h"

namespace tolvik {

std::string withTicketNames(std::string_view text) {
    static const Pattern spoken(R"(([A-Za-z]+)\s+-\s+(\d+))");
    return spoken.replacedAll(text, "$1-$2");
}

}  // namespace tolvik
