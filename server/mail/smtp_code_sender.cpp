#include "server/mail/smtp_code_sender.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <curl/curl.h>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <memory>
#include <random>

namespace tolvik::server {
namespace {

/// More than this waiting means that the mail server is down: the codes would be too old when it is back.
constexpr std::size_t mostWaiting = 1'000;

struct CurlFree {
    void operator()(CURL* curl) const { curl_easy_cleanup(curl); }
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

std::size_t readMail(char* into, std::size_t size, std::size_t count, void* user) {
    auto& rest = *static_cast<std::string_view*>(user);
    const auto part = rest.substr(0, size * count);
    std::memcpy(into, part.data(), part.size());
    rest.remove_prefix(part.size());
    return part.size();
}

int stopWhenAsked(void* user, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    auto& check = *static_cast<std::function<bool()>*>(user);
    return check() ? 1 : 0;
}

std::string uniqueId() {
    static thread_local std::random_device device;
    return fmt::format("{:08x}{:08x}{:08x}", device(), device(), device());
}

}  // namespace

bool isPlainMailAddress(std::string_view address) {
    const auto at = address.find('@');
    return at != std::string_view::npos && at > 0 && at + 1 < address.size() && address.size() <= 254 &&
           address.find('@', at + 1) == std::string_view::npos && std::ranges::all_of(address, [](unsigned char c) {
               return c > ' ' && c != 0x7f && std::strchr("<>()[]\\,;:\"", c) == nullptr;
           });
}

std::string codeMailText(const CodeMail& mail, std::string_view from, std::string_view date, std::string_view id) {
    const auto at = from.find('@');
    return fmt::format(
        "Date: {}\r\n"
        "From: Tolvik <{}>\r\n"
        "To: <{}>\r\n"
        "Message-ID: <{}@{}>\r\n"
        "Subject: {} is your Tolvik code\r\n"
        "MIME-Version: 1.0\r\n"
        "Content-Type: text/plain; charset=utf-8\r\n"
        "Auto-Submitted: auto-generated\r\n"
        "\r\n"
        "Your code to sign in to Tolvik is\r\n"
        "\r\n"
        "    {}\r\n"
        "\r\n"
        "It expires in 10 minutes. If you did not ask for it, you can ignore this mail.\r\n",
        date, from, mail.address, id, at == std::string_view::npos ? "localhost" : from.substr(at + 1), mail.code,
        mail.code);
}

SmtpCodeSender::SmtpCodeSender(SmtpSettings settings, std::function<void(const std::string&)> told)
    : settings_(std::move(settings)), told_(std::move(told)), thread_([this] { work(); }) {}

SmtpCodeSender::~SmtpCodeSender() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
        waiting_.clear();
    }
    wake_.notify_all();
    thread_.join();
}

void SmtpCodeSender::send(CodeMail mail) {
    {
        const std::lock_guard lock(mutex_);
        if (waiting_.size() >= mostWaiting) {
            waiting_.pop_front();
        }
        waiting_.push_back(std::move(mail));
    }
    wake_.notify_one();
}

void SmtpCodeSender::work() {
    while (true) {
        CodeMail mail;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return ending_ || !waiting_.empty(); });
            if (ending_) {
                return;
            }
            mail = std::move(waiting_.front());
            waiting_.pop_front();
        }
        told_(deliver(mail));
    }
}

std::string SmtpCodeSender::deliver(const CodeMail& mail) {
    if (!isPlainMailAddress(mail.address)) {
        return "the address cannot be written in a mail";
    }
    const std::unique_ptr<CURL, CurlFree> curl(curl_easy_init());
    const std::unique_ptr<curl_slist, CurlFree> to(curl_slist_append(nullptr, ("<" + mail.address + ">").c_str()));
    if (!curl || !to) {
        return "out of memory";
    }
    const auto text =
        codeMailText(mail, settings_.from,
                     fmt::format("{:%a, %d %b %Y %H:%M:%S} +0000", fmt::gmtime(std::time(nullptr))), uniqueId());
    std::string_view rest = text;
    std::function<bool()> ending = [this] {
        const std::lock_guard lock(mutex_);
        return ending_;
    };
    auto* handle = curl.get();
    curl_easy_setopt(handle, CURLOPT_URL, settings_.url.c_str());
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "smtp,smtps");
    curl_easy_setopt(handle, CURLOPT_USE_SSL, settings_.requireTls ? CURLUSESSL_ALL : CURLUSESSL_TRY);
    curl_easy_setopt(handle, CURLOPT_MAIL_FROM, ("<" + settings_.from + ">").c_str());
    curl_easy_setopt(handle, CURLOPT_MAIL_RCPT, to.get());
    curl_easy_setopt(handle, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(handle, CURLOPT_READFUNCTION, readMail);
    curl_easy_setopt(handle, CURLOPT_READDATA, &rest);
    curl_easy_setopt(handle, CURLOPT_TIMEOUT, settings_.timeoutSeconds);
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(handle, CURLOPT_XFERINFOFUNCTION, stopWhenAsked);
    curl_easy_setopt(handle, CURLOPT_XFERINFODATA, &ending);
    if (!settings_.user.empty()) {
        curl_easy_setopt(handle, CURLOPT_USERNAME, settings_.user.c_str());
        curl_easy_setopt(handle, CURLOPT_PASSWORD, settings_.password.c_str());
    }
    if (!settings_.authority.empty()) {
        curl_easy_setopt(handle, CURLOPT_CAINFO, settings_.authority.c_str());
    }
    const auto result = curl_easy_perform(handle);
    long answer = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &answer);
    return result == CURLE_OK ? std::string()
                              : fmt::format("{} (mail server's answer {})", curl_easy_strerror(result), answer);
}

}  // namespace tolvik::server
