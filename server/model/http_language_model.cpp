#include "server/model/http_language_model.h"

#include <curl/curl.h>
#include <memory>
#include <nlohmann/json.hpp>

namespace tolvik::server {
namespace {

using Json = nlohmann::json;

/// The answer's envelope included.
constexpr std::size_t longestReply = std::size_t{96} * 1024;
constexpr std::size_t longestAnswer = std::size_t{64} * 1024;

struct CurlFree {
    void operator()(CURL* curl) const { curl_easy_cleanup(curl); }
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

std::size_t keep(char* bytes, std::size_t size, std::size_t count, void* user) {
    auto& reply = *static_cast<std::string*>(user);
    if (reply.size() + size * count > longestReply) {
        return 0;
    }
    reply.append(bytes, size * count);
    return size * count;
}

ServiceProblem unavailable() {
    return {ServiceProblem::Kind::unavailable, "The language model gave no answer."};
}

}  // namespace

Result<std::string, ServiceProblem> HttpLanguageModel::complete(std::string_view instructions, std::string_view input) {
    const std::string body =
        Json{{"model", options_.name},
             {"temperature", 0},
             {"max_tokens", 400},
             {"messages", {{{"role", "system"}, {"content", instructions}}, {{"role", "user"}, {"content", input}}}}}
            .dump(-1, ' ', false, Json::error_handler_t::replace);
    const std::unique_ptr<CURL, CurlFree> curl(curl_easy_init());
    std::unique_ptr<curl_slist, CurlFree> fields(curl_slist_append(nullptr, "content-type: application/json"));
    if (!curl || !fields) {
        return failure(unavailable());
    }
    if (!options_.key.empty()) {
        curl_slist_append(fields.get(), ("authorization: Bearer " + options_.key).c_str());
    }
    std::string reply;
    auto* handle = curl.get();
    curl_easy_setopt(handle, CURLOPT_URL, (options_.url + "/chat/completions").c_str());
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 0L);
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, fields.get());
    curl_easy_setopt(handle, CURLOPT_POSTFIELDS, body.data());
    curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, static_cast<long>(options_.timeout.count()));
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, keep);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &reply);
    const auto result = curl_easy_perform(handle);
    long status = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    if (result != CURLE_OK || status != 200) {
        return failure(unavailable());
    }
    // Deep nesting cannot exhaust the stack: the reply is bounded, and the reader keeps its own one.
    const Json json = Json::parse(reply, nullptr, false);
    const auto* choices = json.is_object() && json.contains("choices") ? &json["choices"] : nullptr;
    if (choices == nullptr || !choices->is_array() || choices->empty()) {
        return failure(unavailable());
    }
    const auto pointer = Json::json_pointer("/message/content");
    const auto& first = choices->front();
    if (!first.is_object() || !first.contains("message") || !first["message"].is_object() || !first.contains(pointer) ||
        !first[pointer].is_string()) {
        return failure(unavailable());
    }
    return first[pointer].get<std::string>().substr(0, longestAnswer);
}

}  // namespace tolvik::server
