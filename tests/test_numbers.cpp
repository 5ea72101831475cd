#include "base/Numbers.h"

#include <gtest/gtest.h>

#include <cmath>

TEST(NumericValue, ReadsDecimalHexOctalAndStopsAtTheFirstStrangeCharacter) {
    const struct {
        const char* text;
        double value;
    } cases[] = {
        {"3", 3},     {"&hFF", 255},  {"&HFF", 255},    {"&hff", 255},    {"&h100", 256},
        {"&o17", 15}, {"&O777", 511}, {"255.9", 255.9}, {"-0.5", -0.5},   {"12abc", 12},
        {" 31", 31},  {"1 2", 12},    {"0 3", 3},       {"\t4\n2", 42},   {"+7", 7},
        {"2.9", 2.9}, {"1e3", 1000},  {"1D2", 100},     {"2.5d-1", 0.25}, {"1e", 1},
        {".5", 0.5},  {"- 5", -5},    {"& h 1f", 31},   {"&h1G", 1},      {"", 0},
        {"abc", 0},   {"Stop", 0},    {"Constans", 0},  {"-", 0},         {"&", 0},
        {"&x1", 0},   {"&h", 0},      {"1.2.3", 1.2},   {"\r5", 0},       {"1, 2, 3", 1},
    };
    for (const auto& c : cases)
        EXPECT_DOUBLE_EQ(numericValue(QString::fromLatin1(c.text)), c.value) << c.text;
}

TEST(NumericValue, AbsurdInputsGiveInfinityOrZeroAndNeverCrash) {
    EXPECT_TRUE(std::isinf(numericValue(QString(5000, u'9'))));
    EXPECT_TRUE(std::isinf(numericValue(QStringLiteral("-1e999999999999999999"))));
    EXPECT_LT(numericValue(QStringLiteral("-1e999999999999999999")), 0);
    EXPECT_EQ(numericValue(QStringLiteral("1e-99999")), 0.0);
    EXPECT_EQ(numericValue(QStringLiteral("0.") + QString(400, u'0') + QStringLiteral("1")), 0.0);
    EXPECT_TRUE(std::isinf(numericValue(QStringLiteral("&h") + QString(400, u'F'))));
    EXPECT_DOUBLE_EQ(numericValue(QStringLiteral("4294967296")), 4294967296.0);
}

TEST(NumberText, LeadsWithABlankInPlaceOfThePlusSign) {
    EXPECT_EQ(numberText(1), QStringLiteral(" 1"));
    EXPECT_EQ(numberText(0), QStringLiteral(" 0"));
    EXPECT_EQ(numberText(1000), QStringLiteral(" 1000"));
    EXPECT_EQ(numberText(-3), QStringLiteral("-3"));
}
