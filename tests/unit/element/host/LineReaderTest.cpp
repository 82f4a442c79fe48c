#include "LineReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "ElementError.h"

namespace OrvElement
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

class LineReaderTest : public testing::Test
{
protected:
    LineReaderTest() { EXPECT_EQ(pipe(ends), 0); }
    ~LineReaderTest() override
    {
        close(ends[0]);
        closeWriter();
    }

    void send(const std::string& text)
    {
        ASSERT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    void closeWriter()
    {
        if (ends[1] != -1)
        {
            close(ends[1]);
            ends[1] = -1;
        }
    }

    int ends[2];
};

TEST_F(LineReaderTest, GivesCompleteLinesAndKeepsABegunOne)
{
    LineReader reader(ends[0]);
    send("one\n\ntwo\nthr");
    EXPECT_THAT(reader.readLines(), ElementsAre("one", "", "two"));
    send("ee\n");
    EXPECT_THAT(reader.readLines(), ElementsAre("three"));
    EXPECT_FALSE(reader.atEnd());
}

TEST_F(LineReaderTest, GivesALastLineWithoutALineBreakAtTheEnd)
{
    LineReader reader(ends[0]);
    send("one\nlast");
    EXPECT_THAT(reader.readLines(), ElementsAre("one"));
    closeWriter();
    EXPECT_THAT(reader.readLines(), ElementsAre("last"));
    EXPECT_TRUE(reader.atEnd());
}

TEST_F(LineReaderTest, EndsWithoutALineIfNothingWasBegun)
{
    LineReader reader(ends[0]);
    closeWriter();
    EXPECT_THAT(reader.readLines(), IsEmpty());
    EXPECT_TRUE(reader.atEnd());
}

TEST_F(LineReaderTest, TakesALineThatIsLongerThanOneRead)
{
    LineReader reader(ends[0]);
    const std::string line(10000, 'x');
    send(line + "\n");
    std::vector<std::string> lines;
    while (lines.empty())
    {
        lines = reader.readLines();
    }
    EXPECT_THAT(lines, ElementsAre(line));
}

TEST_F(LineReaderTest, FailsOnADescriptorThatCannotBeRead)
{
    LineReader reader(ends[1]);
    EXPECT_THROW(reader.readLines(), ElementError);
}

}  // namespace
}  // namespace OrvElement
