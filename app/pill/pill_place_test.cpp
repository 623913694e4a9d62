#include "app/pill/pill_place.h"

#include <gtest/gtest.h>

namespace tolvik {
namespace {

TEST(PillPosition, standsAboveThePanelInTheMiddleOfItsScreen) {
    // A second screen to the right, with a panel of 40 pixels at its lower edge.
    const QRect workArea(1920, 100, 1280, 984);
    EXPECT_EQ(pillPosition(workArea, QSize(360, 60)), QPoint(1920 + 460, 100 + 984 - 32 - 60));
}

TEST(PillPosition, staysOnAScreenSmallerThanThePill) {
    EXPECT_EQ(pillPosition(QRect(0, 0, 320, 80), QSize(360, 60)), QPoint(0, 0));
}

}  // namespace
}  // namespace tolvik
