#include "Figures.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace
{

using OrvBench::Figures;
using OrvBench::quantile;

TEST(Figures, WritesALineOfJsonForEach)
{
    testing::internal::CaptureStdout();
    Figures figures("A", "service", {{"S", 8}, {"share", 0.5}});
    figures.report("rate", "1/s", 1.5);
    figures.report("nudges", "1", 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "{\"scenario\":\"A\",\"contestant\":\"service\",\"parameters\":{\"S\":8,\"share\":0.5},"
              "\"metric\":\"rate\",\"unit\":\"1/s\",\"value\":1.5}\n"
              "{\"scenario\":\"A\",\"contestant\":\"service\",\"parameters\":{\"S\":8,\"share\":0.5},"
              "\"metric\":\"nudges\",\"unit\":\"1\",\"value\":0.0}\n");
}

TEST(Quantile, IsTheSampleThatTheFractionDoesNotExceed)
{
    std::vector<int64_t> samples;
    for (int64_t sample = 101; sample > 0; --sample)
    {
        samples.push_back(sample);
    }
    EXPECT_EQ(quantile(samples, 0.0), 1.0);
    EXPECT_EQ(quantile(samples, 0.5), 51.0);
    EXPECT_EQ(quantile(samples, 0.99), 100.0);
    EXPECT_EQ(quantile(samples, 1.0), 101.0);
}

TEST(Quantile, OfNothingIsAnError)
{
    std::vector<int64_t> none;
    EXPECT_THROW(quantile(none, 0.5), std::runtime_error);
}

}  // namespace
