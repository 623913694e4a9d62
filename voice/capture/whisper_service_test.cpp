#include "voice/capture/whisper_service.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

#include "base/text.h"
#include "tests/fakes/fake_http_client.h"
#include "tests/fakes/fake_secret_store.h"
#include "tests/fakes/memory_value_store.h"
#include "tests/fakes/virtual_main_loop.h"
#include "voice/capture/transcription_prompt.h"

namespace tolvik {
namespace {

namespace fs = std::filesystem;

class WhisperServiceTest : public testing::Test {
protected:
    WhisperServiceTest() {
        std::ofstream(file) << std::string("AAC\0\r\n--", 8);
        EXPECT_TRUE(session.establish("tok", "u1", "ann@example.org", ""));
    }
    ~WhisperServiceTest() override { fs::remove(file); }

    /// Uploads, answers when something was sent, and gives the text, or the error and whether this device's text
    /// serves.
    std::string upload(int status = 200, std::string body = {}, const std::string& prompt = {}) {
        std::string out = "nothing";
        const auto before = http.exchanges.size();
        const auto request = service.transcribe(file, prompt, [&](const auto& text) {
            out = text ? *text : text.error().text + (text.error().deviceTextServes ? " | device" : "");
        });
        wasSent = http.exchanges.size() > before;
        if (wasSent) {
            http.reply(status, std::move(body));
        }
        loop.runFor(Millis{0});
        return out;
    }

    FakeClock clock;
    VirtualMainLoop loop{clock};
    FakeHttpClient http{loop};
    FakeRandom random;
    MemoryValueStore values;
    FakeSecretStore secrets;
    std::string base = "https://api.example.org";
    BackendEndpoint endpoint{[this] { return base; }};
    Session session{values, secrets};
    std::size_t sendingBytes = 0;
    WhisperService service{
        {http, endpoint, session, loop, random, [this](std::size_t bytes) { sendingBytes = bytes; }}};
    fs::path file = fs::path(testing::TempDir()) / ("whisper-" + std::to_string(::getpid()) + ".m4a");
    bool wasSent = false;
};

TEST_F(WhisperServiceTest, uploadsSoundAndPromptInOneBody) {
    EXPECT_EQ(upload(200, R"({"transcript":" start X "})", "Recent task titles: Ö."), " start X ");
    EXPECT_EQ(sendingBytes, 8U) << "of the sound alone";
    const HttpRequest& sent = http.last();
    EXPECT_EQ(sent.method + " " + sent.url, "POST https://api.example.org/voice/transcribe");
    EXPECT_EQ(sent.timeout, Millis{15'000});
    ASSERT_EQ(sent.headers.size(), 3U);
    const std::string type = sent.headers[0].second;
    ASSERT_TRUE(type.starts_with("multipart/form-data; boundary=tolvik-"));
    const std::string boundary = type.substr(type.find('=') + 1);
    EXPECT_EQ(boundary.size(), 7U + 36U);
    EXPECT_EQ(boundary.substr(7).find_first_not_of("0123456789ABCDEF-"), std::string::npos);
    EXPECT_EQ(sent.headers,
              (HttpHeaders{{"content-type", type}, {"x-client", "macos"}, {"authorization", "Bearer tok"}}));
    const std::string audio = "--" + boundary + "\r\nContent-Disposition: form-data; name=\"audio\"; filename=\"" +
                              file.filename().string() + "\"\r\nContent-Type: audio/mp4\r\n\r\n" +
                              std::string("AAC\0\r\n--", 8) + "\r\n";
    EXPECT_EQ(sent.body, audio + "--" + boundary +
                             "\r\nContent-Disposition: form-data; name=\"prompt\"\r\n\r\nRecent task titles: "
                             "Ö.\r\n--" +
                             boundary + "--\r\n");
    EXPECT_EQ(upload(200, R"({"transcript":""})"), "");
    EXPECT_EQ(http.last().body->find("prompt"), std::string::npos);
    EXPECT_NE(http.last().headers[0].second, type) << "a fresh boundary each time";
}

TEST_F(WhisperServiceTest, tellsWhyThereIsNoText) {
    const std::string malformed = "Transcribe response was not valid JSON";
    EXPECT_EQ(upload(200, R"({"text":"x"})"), malformed);
    EXPECT_EQ(upload(200, R"({"transcript":5})"), malformed);
    EXPECT_EQ(upload(200, R"(["transcript"])"), malformed);
    EXPECT_EQ(upload(200, "{"), malformed);
    EXPECT_EQ(upload(400, R"({"error":"bad audio"})"), "Transcribe failed (400): bad audio");
    EXPECT_EQ(upload(404, "<html>"), "Transcribe failed (404): request failed");
    EXPECT_EQ(upload(400, R"({"error":")" + std::string(300, 'e') + "\"}"),
              "Transcribe failed (400): " + std::string(200, 'e'));
    for (const int status : {429, 500, 503}) {
        EXPECT_TRUE(upload(status).ends_with(" | device")) << status;
    }
    EXPECT_TRUE(session.isSignedIn());
    EXPECT_EQ(upload(401), "Transcribe failed (401): request failed | device");
    EXPECT_FALSE(session.isSignedIn());
}

TEST_F(WhisperServiceTest, checksInOrderBeforeAnythingIsSent) {
    base = "http://localhost:1";
    EXPECT_EQ(upload(), "Refusing to upload audio over plain HTTP");
    EXPECT_FALSE(wasSent);
    fs::remove(file);
    EXPECT_TRUE(upload().ends_with("the recording could not be read | device"));
    base = "https://a b";
    EXPECT_EQ(upload(), "Transcribe failed (0): Invalid backend URL");
    session.clear();
    EXPECT_EQ(upload(), "Sign in required for voice transcription | device");
    EXPECT_FALSE(wasSent);
    EXPECT_FALSE(service.isWanted());
}

TEST(TranscriptionPrompt, tellsWhatIsKnown) {
    EXPECT_EQ(transcriptionPrompt({}), "");
    EXPECT_EQ(transcriptionPrompt({"engineer", "Atlas", {"Fix login", "Write docs"}, {"Tamsin", "Brivio"}}),
              "The speaker is a software engineer. They are working on a project called Atlas. Recent task titles: Fix "
              "login; Write docs. Vocabulary they often use: Tamsin, Brivio.");
    EXPECT_EQ(transcriptionPrompt({"Engineer", " \t", {}, {}}), "");
    EXPECT_EQ(transcriptionPrompt({"other", " A ", {}, {}}), "They are working on a project called  A .");
    std::vector<std::string> titles;
    for (int i = 1; i <= 12; ++i) {
        titles.push_back("T" + std::to_string(i));
    }
    EXPECT_EQ(transcriptionPrompt({"", {}, titles, {}}), "Recent task titles: T1; T2; T3; T4; T5; T6; T7; T8.");
}

TEST(TranscriptionPrompt, losesWholeSentencesFromTheFrontWhenItIsTooLong) {
    // Role, project and tasks make 161; with the last sentence it is over 900 until the role is gone.
    const PromptSource source{"student", "P", {"T"}, {std::string(820, 'v')}};
    const std::string prompt = transcriptionPrompt(source);
    EXPECT_FALSE(prompt.contains("student"));
    EXPECT_TRUE(prompt.ends_with("v."));
    EXPECT_LE(graphemeCount(prompt), 900U);
    std::string umlauts;
    for (int i = 0; i < 2000; ++i) {
        umlauts += "ö";
    }
    const std::string cut = transcriptionPrompt({"student", "P", {"T"}, {umlauts}});
    EXPECT_EQ(graphemeCount(cut), 900U);
    EXPECT_TRUE(cut.starts_with("Vocabulary they often use: ö"));
}

}  // namespace
}  // namespace tolvik
