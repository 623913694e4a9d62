#include "base/base64.h"

#include <gtest/gtest.h>

namespace tolvik {
namespace {

TEST(Base64, KeepsEveryLengthAndRefusesAnythingElse) {
    // The examples of RFC 4648.
    EXPECT_EQ(toBase64("foobar"), "Zm9vYmFy");
    EXPECT_EQ(toBase64("fooba"), "Zm9vYmE=");
    EXPECT_EQ(toBase64("foob"), "Zm9vYg==");
    std::string bytes;
    for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(fromBase64(toBase64(bytes)), bytes);
        bytes += static_cast<char>(i * 37);
    }
    for (const char* bad : {"Zg=", "Z===", "Zg=a", "Zm 9", "Zg==Zg==", "====", "Zm9vY"}) {
        EXPECT_FALSE(fromBase64(bad)) << bad;
    }
}

}  // namespace
}  // namespace tolvik
