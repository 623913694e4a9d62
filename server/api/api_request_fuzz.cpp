#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "server/api/json_value.h"
#include "server/api/multipart.h"
#include "server/api/parse_request.h"
#include "server/api/query_string.h"
#include "server/api/record_form.h"

namespace {

using namespace tolvik::server;

void require(bool good) {
    if (!good) {
        std::abort();
    }
}

/// What was read of a record is kept as a text that reads as the same record.
void checkRecord(tolvik::RecordKind kind, std::string_view bytes) {
    const auto record = readRecord(kind, bytes);
    if (record) {
        const auto row = rowOf(*record);
        require(isRecordId(row.id) && row.json.find('\0') == std::string::npos);
        require(readRecord(kind, row.json) == record);
    }
    if (const auto change = readChange(kind, bytes); change && record) {
        require(changed(*record, *change).members.size() == record->members.size());
    }
}

void checkForm(std::string_view contentType, std::string_view body) {
    if (const auto parts = readMultipart(contentType, body)) {
        for (const FormPart& part : *parts) {
            require(part.bytes.empty() || (part.bytes.data() >= body.data() &&
                                           part.bytes.data() + part.bytes.size() <= body.data() + body.size()));
        }
    }
}

}  // namespace

/// Queries, JSON bodies, forms and a language model's answers: any bytes are read or refused.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    static_cast<void>(parseQuery(bytes));
    for (const auto kind : {tolvik::RecordKind::task, tolvik::RecordKind::timeEntry, tolvik::RecordKind::switchLog,
                            tolvik::RecordKind::tag, tolvik::RecordKind::dictionary}) {
        checkRecord(kind, bytes);
    }
    if (const auto value = readJson(bytes)) {
        std::string once;
        appendJson(once, *value);
        const auto again = readJson(once);
        require(again.has_value());
        std::string twice;
        appendJson(twice, *again);
        require(once == twice);
    }
    ParseRequest request;
    if (auto read = readParseRequest(bytes)) {
        request = *std::move(read);
    }
    if (const auto intent = checkedAnswer(bytes, request)) {
        require(!intent->taskId || !request.tasks.empty());
    }
    checkForm("multipart/form-data; boundary=B", bytes);
    const std::size_t line = bytes.find('\n');
    if (line != std::string_view::npos) {
        checkForm(bytes.substr(0, line), bytes.substr(line + 1));
    }
    return 0;
}
