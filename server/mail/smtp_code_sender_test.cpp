#include "server/mail/smtp_code_sender.h"

#include <array>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "server/tls/dev_authority.h"

namespace tolvik::server {
namespace {

using Json = nlohmann::json;

/// Debian's mail server program for tests, on a port of its own.
class MailSink {
public:
    explicit MailSink(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"/usr/bin/python3", TOLVIK_MAIL_SINK});
        std::vector<char*> argv;
        argv.reserve(arguments.size() + 1);
        for (auto& one : arguments) {
            argv.push_back(one.data());
        }
        argv.push_back(nullptr);
        std::array<int, 2> to{};
        std::array<int, 2> from{};
        if (::pipe2(to.data(), O_CLOEXEC) != 0 || ::pipe2(from.data(), O_CLOEXEC) != 0) {
            return;
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, to[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, from[1], STDOUT_FILENO);
        ::posix_spawn(&process_, argv[0], &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        ::close(to[0]);
        ::close(from[1]);
        to_ = to[1];
        lines_ = ::fdopen(from[0], "r");
    }
    MailSink(const MailSink&) = delete;
    MailSink& operator=(const MailSink&) = delete;
    ~MailSink() {
        ::close(to_);
        ::kill(process_, SIGTERM);
        ::waitpid(process_, nullptr, 0);
        std::fclose(lines_);
    }
    std::string line() {
        std::array<char, 8192> text{};
        return std::fgets(text.data(), text.size(), lines_) == nullptr ? std::string() : text.data();
    }

private:
    pid_t process_ = -1;
    int to_ = -1;
    std::FILE* lines_ = nullptr;
};

/// Waits for what the sender says of each mail.
class Outcomes {
public:
    void add(const std::string& problem) {
        const std::lock_guard lock(mutex_);
        all_.push_back(problem);
        came_.notify_all();
    }
    std::string next() {
        std::unique_lock lock(mutex_);
        if (!came_.wait_for(lock, std::chrono::seconds(20), [this] { return !all_.empty(); })) {
            return "nothing came";
        }
        auto first = all_.front();
        all_.erase(all_.begin());
        return first;
    }

private:
    std::mutex mutex_;
    std::condition_variable came_;
    std::vector<std::string> all_;
};

TEST(SmtpCodeSender, bringsCodesToAMailServerOverTls) {
    const std::filesystem::path folder = testing::TempDir() + "tolvik-mail-" + std::to_string(::getpid());
    const auto files = devCertificates(folder);
    ASSERT_TRUE(files) << files.error();
    MailSink sink({files->certificate.string(), files->key.string()});
    const auto port = std::atoi(sink.line().c_str());
    ASSERT_GT(port, 0) << "python3-aiosmtpd is needed";
    Outcomes outcomes;
    SmtpSettings settings{
        "smtp://localhost:" + std::to_string(port), "codes@tolvik.example", {}, {}, true, files->authority.string()};
    {
        SmtpCodeSender sender(settings, [&](const std::string& problem) { outcomes.add(problem); });
        sender.send({"ann@example.org", "042137"});
        EXPECT_EQ(outcomes.next(), "");
        const Json mail = Json::parse(sink.line(), nullptr, false);
        ASSERT_TRUE(mail.is_object());
        EXPECT_EQ(mail["to"], Json::array({"ann@example.org"}));
        EXPECT_EQ(mail["from"], "codes@tolvik.example");
        EXPECT_TRUE(mail["tls"].get<bool>());
        const auto text = mail["text"].get<std::string>();
        EXPECT_NE(text.find("Subject: 042137 is your Tolvik code\r\n"), std::string::npos);
        EXPECT_NE(text.find("\r\n\r\n    042137\r\n"), std::string::npos);
        sender.send({"refused@example.org", "1"});
        const auto problem = outcomes.next();
        EXPECT_NE(problem.find("550"), std::string::npos) << problem;
        EXPECT_EQ(problem.find("refused@"), std::string::npos) << "an address in the log: " << problem;
        // Nothing that a header or a command could be made of reaches the mail server.
        sender.send({"ann@example.org>\r\nRCPT TO:<eve@example.org", "1"});
        EXPECT_NE(outcomes.next(), "");
    }
    settings.authority.clear();
    SmtpCodeSender stranger(settings, [&](const std::string& problem) { outcomes.add(problem); });
    stranger.send({"ann@example.org", "1"});
    EXPECT_NE(outcomes.next(), "") << "mail went to a server whose certificate nobody vouches for";
    std::filesystem::remove_all(folder);
}

TEST(SmtpCodeSender, sendsNoCodeInTheClearUnlessAllowed) {
    MailSink sink({});
    const auto port = std::atoi(sink.line().c_str());
    Outcomes outcomes;
    SmtpSettings settings;
    settings.url = "smtp://127.0.0.1:" + std::to_string(port);
    settings.from = "codes@tolvik.example";
    SmtpCodeSender strict(settings, [&](const std::string& problem) { outcomes.add(problem); });
    strict.send({"ann@example.org", "1"});
    EXPECT_NE(outcomes.next(), "");
    settings.requireTls = false;
    SmtpCodeSender local(settings, [&](const std::string& problem) { outcomes.add(problem); });
    local.send({"ann@example.org", "555555"});
    EXPECT_EQ(outcomes.next(), "");
    EXPECT_NE(sink.line().find("555555"), std::string::npos);
}

}  // namespace
}  // namespace tolvik::server
