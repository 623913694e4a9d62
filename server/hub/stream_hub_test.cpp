#include "server/hub/stream_hub.h"

#include <gtest/gtest.h>

namespace tolvik::server {
namespace {

struct CountingSubscriber final : Subscriber {
    void announce() override { ++announced; }
    void end() override { ++ended; }
    int announced = 0;
    int ended = 0;
};

using Refusal = StreamHub::Refusal;

TEST(StreamHub, tellsTheOtherDevicesOfTheUserAndNobodyElse) {
    StreamHub hub({});
    const auto phone = std::make_shared<CountingSubscriber>();
    const auto desk = std::make_shared<CountingSubscriber>();
    const auto stranger = std::make_shared<CountingSubscriber>();
    EXPECT_EQ(hub.add("ann", "phone", phone), Refusal::none);
    EXPECT_EQ(hub.add("ann", "desk", desk), Refusal::none);
    EXPECT_EQ(hub.add("bob", "phone", stranger), Refusal::none);
    hub.announce({"ann", "phone"});
    EXPECT_EQ(phone->announced, 0);
    EXPECT_EQ(desk->announced, 1);
    EXPECT_EQ(stranger->announced, 0);
    hub.announceToAll();
    EXPECT_EQ(phone->announced, 1);
    EXPECT_EQ(desk->announced, 2);
    EXPECT_EQ(stranger->announced, 1);
    hub.endStreams("ann", "desk");
    hub.endStreams("bob", "");
    EXPECT_EQ(phone->ended, 0);
    EXPECT_EQ(desk->ended, 1);
    EXPECT_EQ(stranger->ended, 1);
    hub.remove("ann", desk.get());
    hub.announce({"ann", ""});
    EXPECT_EQ(desk->announced, 2);
    EXPECT_EQ(phone->announced, 2);
    EXPECT_EQ(hub.count(), 2U);
}

TEST(StreamHub, boundsStreamsAndLetsADeviceTakeItsOwnPlaceAgain) {
    StreamHub hub({4, 3, 2});
    std::vector<std::shared_ptr<CountingSubscriber>> all;
    const auto add = [&](const char* user, const char* device) {
        all.push_back(std::make_shared<CountingSubscriber>());
        return hub.add(user, device, all.back());
    };
    EXPECT_EQ(add("ann", "a"), Refusal::none);
    EXPECT_EQ(add("ann", "a"), Refusal::none);
    EXPECT_EQ(add("ann", "a"), Refusal::none);
    EXPECT_EQ(all[0]->ended, 1);
    EXPECT_EQ(hub.count(), 2U);
    EXPECT_EQ(add("ann", "b"), Refusal::none);
    EXPECT_EQ(add("ann", "c"), Refusal::tooManyOfUser);
    EXPECT_EQ(add("bob", "a"), Refusal::none);
    EXPECT_EQ(add("eve", "a"), Refusal::tooManyInAll);
    hub.remove("ann", all[1].get());
    EXPECT_EQ(add("eve", "a"), Refusal::none);
}

}  // namespace
}  // namespace tolvik::server
