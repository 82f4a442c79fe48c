#include "DirectoryWatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <cstdio>
#include <filesystem>

#include "ElementError.h"
#include "TemporaryDirectory.h"

namespace OrvElement
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

bool isReadable(const DirectoryWatch& watch)
{
    pollfd descriptor = {watch.descriptor(), POLLIN, 0};
    return poll(&descriptor, 1, 0) == 1;
}

TEST(DirectoryWatch, TellsWrittenFilesInTheOrderOfTheirNames)
{
    const OrvTest::TemporaryDirectory directory;
    DirectoryWatch watch(directory.path());
    const std::string second = directory.write("2.xml", "x");
    const std::string first = directory.write("1.xml", "x");
    EXPECT_TRUE(isReadable(watch));
    EXPECT_THAT(watch.newFiles(), ElementsAre(first, second));
    EXPECT_FALSE(isReadable(watch));
    EXPECT_THAT(watch.newFiles(), IsEmpty());
}

TEST(DirectoryWatch, TellsAFileThatIsMovedIn)
{
    const OrvTest::TemporaryDirectory elsewhere;
    const OrvTest::TemporaryDirectory directory;
    DirectoryWatch watch(directory.path());
    const std::string target = directory.path() + "/moved.json";
    ASSERT_EQ(std::rename(elsewhere.write("file", "x").c_str(), target.c_str()), 0);
    EXPECT_THAT(watch.newFiles(), ElementsAre(target));
}

TEST(DirectoryWatch, TellsAFileThatWasWrittenTwiceOnce)
{
    const OrvTest::TemporaryDirectory directory;
    DirectoryWatch watch(directory.path());
    directory.write("1.xml", "x");
    const std::string path = directory.write("1.xml", "y");
    EXPECT_THAT(watch.newFiles(), ElementsAre(path));
}

TEST(DirectoryWatch, DoesNotTellWhatWasThereBefore)
{
    const OrvTest::TemporaryDirectory directory;
    directory.write("1.xml", "x");
    DirectoryWatch watch(directory.path());
    EXPECT_FALSE(isReadable(watch));
}

TEST(DirectoryWatch, DoesNotTellNewDirectories)
{
    const OrvTest::TemporaryDirectory elsewhere;
    const OrvTest::TemporaryDirectory directory;
    DirectoryWatch watch(directory.path());
    std::filesystem::create_directory(elsewhere.path() + "/sub");
    std::filesystem::rename(elsewhere.path() + "/sub", directory.path() + "/sub.xml");
    EXPECT_THAT(watch.newFiles(), IsEmpty());
}

TEST(DirectoryWatch, FailsWhenTheDirectoryIsGone)
{
    const OrvTest::TemporaryDirectory directory;
    const std::string inner = directory.path() + "/inner";
    std::filesystem::create_directory(inner);
    DirectoryWatch watch(inner);
    std::filesystem::remove(inner);
    EXPECT_THROW(watch.newFiles(), ElementError);
}

TEST(DirectoryWatch, RefusesWhatIsNoDirectory)
{
    const OrvTest::TemporaryDirectory directory;
    EXPECT_THROW(DirectoryWatch(directory.path() + "/nothing"), ElementError);
    EXPECT_THROW(DirectoryWatch(directory.write("file", "x")), ElementError);
}

}  // namespace
}  // namespace OrvElement
