#include "TimeText.h"

#include <gtest/gtest.h>

#include "ElementError.h"

namespace OrvElement
{
namespace
{

const int64_t NOW = 1700000000000000;  // 2023-11-14T22:13:20Z

TEST(TimeText, FormatsInUtcWithSixDigits)
{
    EXPECT_EQ(formatTime(1700000000000000), "2023-11-14T22:13:20.000000Z");
    EXPECT_EQ(formatTime(1700000000000042), "2023-11-14T22:13:20.000042Z");
    EXPECT_EQ(formatTime(0), "1970-01-01T00:00:00.000000Z");
    EXPECT_EQ(formatTime(-1), "1969-12-31T23:59:59.999999Z");
}

TEST(TimeText, ParsesRfc3339)
{
    EXPECT_EQ(parseTime("2023-11-14T22:13:20Z", NOW), 1700000000000000);
    EXPECT_EQ(parseTime("2023-11-14t22:13:20z", NOW), 1700000000000000);
    EXPECT_EQ(parseTime("2023-11-14T23:13:20+01:00", NOW), 1700000000000000);
    EXPECT_EQ(parseTime("2023-11-14T20:43:20-01:30", NOW), 1700000000000000);
    EXPECT_EQ(parseTime("2024-02-29T00:00:00Z", NOW), 1709164800000000);
    EXPECT_EQ(parseTime("9999-12-31T23:59:59.999999Z", NOW), 253402300799999999);
}

TEST(TimeText, ParsesFractionsToMicrosecondsAndCutsTheRest)
{
    EXPECT_EQ(parseTime("2023-11-14T22:13:20.5Z", NOW), 1700000000500000);
    EXPECT_EQ(parseTime("2023-11-14T22:13:20.000042Z", NOW), 1700000000000042);
    EXPECT_EQ(parseTime("2023-11-14T22:13:20.0000429Z", NOW), 1700000000000042);
}

TEST(TimeText, ParsesOffsetsFromNow)
{
    EXPECT_EQ(parseTime("-60s", NOW), NOW - 60000000);
    EXPECT_EQ(parseTime("+5m", NOW), NOW + 300000000);
    EXPECT_EQ(parseTime("-2h", NOW), NOW - 7200000000);
    EXPECT_EQ(parseTime("+0s", NOW), NOW);
}

TEST(TimeText, ReadsBackWhatItFormats)
{
    EXPECT_EQ(parseTime(formatTime(NOW + 123456), NOW), NOW + 123456);
}

TEST(TimeText, RefusesEverythingElse)
{
    for (const char* text : {"",
                             "now",
                             "60s",
                             "-60",
                             "-s",
                             "+1d",
                             "2023-11-14",
                             "2023-11-14T22:13:20",
                             "2023-11-14 22:13:20Z",
                             "2023-13-14T22:13:20Z",
                             "2023-00-14T22:13:20Z",
                             "2023-02-29T00:00:00Z",
                             "1900-02-29T00:00:00Z",
                             "2023-11-31T22:13:20Z",
                             "2023-11-14T24:13:20Z",
                             "2023-11-14T22:60:20Z",
                             "2023-11-14T22:13:61Z",
                             "2023-11-14T22:13:20+24:00",
                             "2023-11-14T22:13:20.Z",
                             "2023-11-14T22:13:20Zx",
                             "1970-01-01T00:00:00Z",
                             "1969-12-31T23:59:59Z",
                             "-999999999h"})
    {
        EXPECT_THROW(parseTime(text, NOW), ElementError) << text;
    }
}

TEST(TimeText, QuotesWhatItRefuses)
{
    try
    {
        parseTime("yesterday", NOW);
        FAIL() << "accepted";
    }
    catch (const ElementError& e)
    {
        EXPECT_NE(std::string(e.what()).find("\"yesterday\""), std::string::npos) << e.what();
    }
}

}  // namespace
}  // namespace OrvElement
