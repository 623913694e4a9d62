#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "adapters/asio/asio_main_loop.h"
#include "adapters/http/curl_http_client.h"
#include "adapters/system/system_clock.h"
#include "tests/fakes/fake_secret_store.h"
#include "tests/fakes/fake_voice_parts.h"
#include "tests/fakes/local_server.h"
#include "tests/fakes/memory_value_store.h"
#include "tests/fakes/virtual_main_loop.h"
#include "voice/capture/push_to_talk_hotkey.h"
#include "voice/capture/whisper_service.h"

namespace tolvik {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr Millis kPatience{30'000};

std::string folderForTest() {
    std::string name = (std::filesystem::temp_directory_path() / "tolvik-XXXXXX").string();
    const char* made = ::mkdtemp(name.data());
    return made == nullptr ? "" : made;
}

std::string answer(int status, std::string_view body) {
    return "HTTP/1.1 " + std::to_string(status) + " X\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
           std::string(body);
}

/// The controller with the real upload and a recogniser that hears "start here"; the server is a thread of the test's.
class TwoListenersTest : public testing::Test, protected FakeVoiceParts {
protected:
    TwoListenersTest() : certificate(folder.string()) {
        for (const char* name : {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}) {
            ::unsetenv(name);
        }
        ::setenv("SSL_CERT_FILE", certificate.certificate.c_str(), 1);
        EXPECT_TRUE(session.establish("tok", "u1", "ann@example.org", "Ann"));
        voice.setEnabled(true);
    }
    ~TwoListenersTest() override {
        ::unsetenv("SSL_CERT_FILE");
        std::filesystem::remove_all(folder);
    }

    void speak() {
        const std::size_t before = recognizer.utterances.size();
        chord.hold(PushToTalkHotkey::defaultModifiers);
        loop.runPosted();
        microphone.hear(1600, 0.5F);
        // Held for long enough to be no tap.
        loop.runUntil([] { return false; }, 2 * VoiceManager::minimumPress);
        loop.runPosted();
        chord.hold(0);
        ASSERT_TRUE(loop.runUntil([&] { return recognizer.utterances.size() > before && recognizer.last().finished; },
                                  kPatience));
    }
    /// Until the pill shows what was done, or why nothing was.
    void listen() {
        EXPECT_TRUE(loop.runUntil([&] { return voice.phase() == VoicePhase::done || voice.error(); }, kPatience));
    }

    VoiceManager::Ports ports() {
        auto out = voicePorts(loop, workers, clock, random, values, folder);
        out.transcription = &transcription;
        out.execute = [this](const std::string& transcript, const std::function<void(const CommandOutcome&)>& done) {
            executed.push_back(transcript);
            CommandOutcome outcome;
            outcome.action = "start";
            outcome.feedback = "started";
            done(outcome);
        };
        out.preview = [](const std::string&) { return CommandOutcome(); };
        out.undo = [] { return std::optional<std::string>(); };
        return out;
    }

    std::filesystem::path folder = folderForTest();
    TestCertificate certificate;
    std::string base;
    AsioMainLoop loop;
    SystemClock clock;
    FakeRandom random;
    ImmediateWorkers workers;
    MemoryValueStore values;
    FakeSecretStore secrets;
    Session session{values, secrets};
    BackendEndpoint endpoint{[this] { return std::optional(base); }};
    CurlHttpClient http{loop};
    WhisperService transcription{{http, endpoint, session, loop, random}};
    std::vector<std::string> executed;
    VoiceManager voice{ports()};
};

TEST_F(TwoListenersTest, TheServersAnswerDecidesWhoseTextIsUsed) {
    ASSERT_TRUE(certificate.isMade);
    std::string reply = answer(200, R"({"transcript":"start there"})");
    LocalServer server(
        [&](LocalServer::Connection& connection) {
            server.record(connection.readRequest());
            connection.write(reply);
        },
        &certificate);
    base = server.url();
    speak();
    recognizer.hearAll("start here");
    listen();
    EXPECT_THAT(executed, ElementsAre("start there"));
    EXPECT_EQ(voice.doneNote(), "");
    ASSERT_EQ(server.seen().size(), 1U);
    EXPECT_THAT(server.seen()[0], testing::StartsWith("POST /voice/transcribe HTTP/1.1\r\n"));

    for (const int status : {500, 503, 429}) {
        executed.clear();
        reply = answer(status, "{}");
        speak();
        recognizer.hearAll("start here");
        listen();
        EXPECT_THAT(executed, ElementsAre("start here")) << status;
        EXPECT_EQ(voice.doneNote(), "heard on this device");
    }
    executed.clear();
    for (const auto& [bad, told] :
         {std::pair(answer(400, R"({"error":"bad audio"})"), "Transcribe failed (400): bad audio"),
          std::pair(answer(200, "<html>"), "Transcribe response was not valid JSON")}) {
        reply = bad;
        speak();
        recognizer.hearAll("start here");
        EXPECT_TRUE(loop.runUntil([&] { return voice.error() == std::string(told); }, kPatience)) << told;
    }
    EXPECT_THAT(executed, IsEmpty());
    // The session is over, and this device goes on hearing.
    reply = answer(401, "{}");
    speak();
    recognizer.hearAll("start here");
    listen();
    EXPECT_FALSE(session.isSignedIn());
    EXPECT_THAT(executed, ElementsAre("start here"));
    EXPECT_EQ(voice.doneNote(), "heard on this device");
}

TEST_F(TwoListenersTest, ASlowServerHasTwoSecondsAndAnAbsentOneNone) {
    ASSERT_TRUE(certificate.isMade);
    std::atomic<bool> givenUp = false;
    {
        LocalServer server(
            [&](LocalServer::Connection& connection) {
                connection.readRequest();
                connection.waitForEnd();
                givenUp = true;
            },
            &certificate);
        base = server.url();
        speak();
        const auto begin = std::chrono::steady_clock::now();
        recognizer.hearAll("start here");
        loop.runPosted();
        EXPECT_THAT(executed, IsEmpty()) << "the server has its time";
        listen();
        EXPECT_GE(std::chrono::steady_clock::now() - begin, Millis{1'900});
        EXPECT_THAT(executed, ElementsAre("start here"));
        EXPECT_EQ(voice.doneNote(), "heard on this device");
        EXPECT_TRUE(loop.runUntil([&] { return givenUp.load(); }, kPatience)) << "nobody waits for it any more";
    }
    executed.clear();
    speak();
    recognizer.hearAll("start here");
    listen();
    EXPECT_THAT(executed, ElementsAre("start here"));
    EXPECT_EQ(voice.doneNote(), "heard on this device");
}

TEST_F(TwoListenersTest, NoSoundLeavesOverPlainHttp) {
    LocalServer server([](LocalServer::Connection& connection) { connection.readRequest(); });
    base = server.url();
    speak();
    recognizer.hearAll("start here");
    listen();
    EXPECT_EQ(voice.error(), "Refusing to upload audio over plain HTTP");
    EXPECT_THAT(executed, IsEmpty());
    EXPECT_EQ(server.connections(), 0);
}

}  // namespace
}  // namespace tolvik
