#include <QAbstractItemModelTester>
#include <QGuiApplication>
#include <QSignalSpy>
#include <gtest/gtest.h>
#include <random>

#include "app/models/keyed_list_model.h"
#include "app/models/ribbon_labels.h"
#include "app/models/wording.h"

namespace tolvik {
namespace {

struct Row {
    int id = 0;
    int value = 0;

    [[nodiscard]] int key() const { return id; }
    static std::span<const RowRole<Row>> roles() {
        static constexpr std::array all{
            rowRole<&Row::value>("value"),
            RowRole<Row>{"sign", [](const Row& row) { return QVariant(row.value < 0 ? "-" : "+"); }}};
        return all;
    }
    bool operator==(const Row&) const = default;
};

class Rows final : public KeyedListModel<Row> {
public:
    using KeyedListModel::assign;
};

TEST(KeyedListModel, DelegatesReadByName) {
    Rows rows;
    rows.assign({{1, -10}});
    const auto read = [&](int row, const char* name) {
        return rows.data(rows.index(row), rows.roleNames().key(name, Qt::DisplayRole)).toString();
    };
    EXPECT_EQ(read(0, "value") + read(0, "sign"), QStringLiteral("-10-"));
    EXPECT_EQ(read(0, "other") + read(1, "value"), QString());
}

TEST(KeyedListModel, AnyReplacementIsAnnouncedAsItHappens) {
    Rows rows;
    const QAbstractItemModelTester tester(&rows, QAbstractItemModelTester::FailureReportingMode::Fatal);
    std::mt19937 random(7);
    for (int round = 0; round < 300; ++round) {
        std::vector<Row> next;
        const int count = static_cast<int>(random() % 9);
        for (int i = 0; i < count; ++i) {
            // Few keys, so that rows stay, move, come twice and go.
            next.push_back({.id = static_cast<int>(random() % 7), .value = static_cast<int>(random() % 3)});
        }
        rows.assign(next);
        ASSERT_EQ(rows.rows(), next);
    }
}

TEST(KeyedListModel, WhatStaysIsNotTouched) {
    Rows rows;
    rows.assign({{1, 10}, {2, 20}, {3, 30}});
    QSignalSpy changed(&rows, &QAbstractItemModel::dataChanged);
    QSignalSpy inserted(&rows, &QAbstractItemModel::rowsInserted);
    QSignalSpy removed(&rows, &QAbstractItemModel::rowsRemoved);
    QSignalSpy moved(&rows, &QAbstractItemModel::rowsMoved);

    rows.assign({{3, 30}, {1, 10}, {2, 21}});

    EXPECT_EQ(moved.count(), 1);
    ASSERT_EQ(changed.count(), 1);
    EXPECT_EQ(changed.first().first().toModelIndex().row(), 2);
    EXPECT_EQ(inserted.count() + removed.count(), 0);
}

double tenPixelsALetter(const QString& text) {
    return static_cast<double>(text.size()) * 10;
}

TEST(RibbonLabels, ShowALengthFromThirtyFourPixelsAndATitleWhereItFirstFits) {
    const auto labels = ribbonLabels({{.x = 0, .taskId = "a", .title = "Deep work"},
                                      {.x = 33, .taskId = "b", .title = "Call"},
                                      {.x = 67, .taskId = "a", .title = "Deep work"},
                                      {.x = 127, .taskId = "a", .title = "Deep work"}},
                                     400, tenPixelsALetter);
    ASSERT_EQ(labels.size(), 4U);
    EXPECT_FALSE(labels[0].showsLength);
    EXPECT_TRUE(labels[1].showsLength);
    EXPECT_TRUE(labels[1].titleLines.isEmpty()) << "forty pixels of title in thirty-four";
    EXPECT_EQ(labels[2].titleLines, (QStringList{"Deep", "work"}));
    EXPECT_TRUE(labels[3].showsLength);
    EXPECT_TRUE(labels[3].titleLines.isEmpty()) << "it stood before";
}

TEST(RibbonLabels, ATitleTakesTwoLinesAtMost) {
    const auto labels = ribbonLabels({{.x = 0, .taskId = "a", .title = "one two three"}}, 60, tenPixelsALetter);
    EXPECT_TRUE(labels[0].titleLines.isEmpty());
}

class WordingTest : public testing::Test {
protected:
    WordingTest() { QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedKingdom)); }
    ~WordingTest() override { QLocale::setDefault(QLocale::c()); }
};

TEST_F(WordingTest, LengthsAreShortAndNeverNegative) {
    EXPECT_EQ(wording::length(48 * 60'000 + 59'999), QStringLiteral("48m"));
    EXPECT_EQ(wording::length(std::int64_t{68} * 60'000), QStringLiteral("1h 08m"));
    EXPECT_EQ(wording::length(-5), QStringLiteral("0m"));
    EXPECT_EQ(wording::lengthOrDash(0), QStringLiteral("–"));
    EXPECT_EQ(wording::clock(48 * 60'000 + 8'999), QStringLiteral("48:08"));
    EXPECT_EQ(wording::clock(72 * 60'000 + 8'000), QStringLiteral("1:12:08"));
    EXPECT_EQ(wording::spokenLength(std::int64_t{61} * 60'000), QStringLiteral("1 hour 1 minute"));
    EXPECT_EQ(wording::spokenLength(std::int64_t{120} * 60'000), QStringLiteral("2 hours"));
}

TEST_F(WordingTest, TimesAndDaysFollowTheLocale) {
    EXPECT_EQ(wording::timeOfDay({.hour = 14, .minute = 6}), QStringLiteral("14:06"));
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    EXPECT_TRUE(wording::timeOfDay({.hour = 14, .minute = 6}).startsWith(QStringLiteral("2:06")));
    QLocale::setDefault(QLocale::c());
    EXPECT_EQ(wording::timeOfDay({.hour = 14, .minute = 6}), QStringLiteral("14:06"));

    const DayKey thursday = *DayKey::parse("2026-11-19");
    EXPECT_EQ(wording::longDay(thursday, thursday), QStringLiteral("Thursday 19 November"));
    EXPECT_EQ(wording::longDay(*DayKey::parse("2025-12-31"), thursday), QStringLiteral("Wednesday 31 December 2025"));
    EXPECT_EQ(wording::dayName(thursday.plus(-1), thursday), QStringLiteral("Yesterday"));
    EXPECT_EQ(wording::weekdayLetter(thursday.plus(3)), QStringLiteral("S"));
}

}  // namespace
}  // namespace tolvik
