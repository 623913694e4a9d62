#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "server/mail/code_sender.h"

namespace tolvik::server {

struct SmtpSettings {
    /// "smtp://host:587" or "smtps://host:465".
    std::string url;
    /// The bare address that the mail comes from.
    std::string from;
    /// Both empty: no log-in.
    std::string user;
    std::string password;
    /// False only where the mail server is on this machine: with true, mail goes over TLS or not at all.
    bool requireTls = true;
    /// PEM file of an authority to trust besides the system's; empty for none.
    std::string authority;
    long timeoutSeconds = 20;
};

/// Sends each code as a mail of plain text through a mail server, one after the other on a thread of its own.
class SmtpCodeSender final : public CodeSender {
public:
    /// `told` hears of each mail's end on the sender's thread: an empty text when the server took it, otherwise why
    /// not (without the address).
    SmtpCodeSender(SmtpSettings settings, std::function<void(const std::string& problem)> told);
    /// Drops what waits; a mail under way is given up.
    ~SmtpCodeSender() override;

    void send(CodeMail mail) override;

private:
    void work();
    [[nodiscard]] std::string deliver(const CodeMail& mail);

    const SmtpSettings settings_;
    const std::function<void(const std::string&)> told_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<CodeMail> waiting_;
    bool ending_ = false;
    std::thread thread_;
};

/// The mail, with its header, lines ended by CR LF. `date` is RFC 5322's form, `id` is unique.
[[nodiscard]] std::string codeMailText(const CodeMail& mail, std::string_view from, std::string_view date,
                                       std::string_view id);

/// Whether the address can stand in a mail's header and a mail server's command as it is.
[[nodiscard]] bool isPlainMailAddress(std::string_view address);

}  // namespace tolvik::server
