#include "TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace
{

using OrvTest::TemporaryDirectory;

const char* const ROOT = "ORV_TEST_ROOT";
const char* const STAGE = "ORV_TEST_STAGE";
const char* const FILTER = "--gtest_filter=TemporaryDirectory.IsRemovedByTheProgramThatItsMakerHasBecome";

[[noreturn]] void becomeThisProgramAgain(const char* stage)
{
    setenv(STAGE, stage, 1);
    execl("/proc/self/exe", "again", FILTER, static_cast<char*>(nullptr));
    _exit(127);
}

// In the second program: the path for the test to look at, into the pipe that is standard error.
[[noreturn]] void tellRootAndBecomeTheThird()
{
    const std::string line = "root " + std::string(std::getenv(ROOT)) + "\n";
    if (write(STDERR_FILENO, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
    {
        _exit(126);
    }
    becomeThisProgramAgain("3");
}

std::string readAll(int descriptor)
{
    std::string text;
    char buffer[256];
    for (ssize_t count = 0; (count = read(descriptor, buffer, sizeof(buffer))) > 0;)
    {
        text.append(buffer, static_cast<size_t>(count));
    }
    return text;
}

TEST(TemporaryDirectory, IsRemovedAtTheEndOfItsLife)
{
    std::string path;
    {
        const TemporaryDirectory directory;
        path = directory.path();
        EXPECT_TRUE(std::filesystem::exists(directory.write("file", "content")));
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

// The directory that holds those of a process is made before main; a program that starts itself anew in the same
// process, for another library path, leaves it to the one that it becomes.
TEST(TemporaryDirectory, IsRemovedByTheProgramThatItsMakerHasBecome)
{
    const char* const stage = std::getenv(STAGE);
    if (stage != nullptr && std::string(stage) == "2")
    {
        tellRootAndBecomeTheThird();
    }
    if (stage != nullptr)
    {
        const TemporaryDirectory directory;
        ASSERT_EQ(directory.path().find(std::getenv(ROOT)), 0U);
        return;
    }
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0)
    {
        unsetenv(ROOT);
        dup2(ends[1], STDOUT_FILENO);
        dup2(ends[1], STDERR_FILENO);
        close(ends[0]);
        close(ends[1]);
        becomeThisProgramAgain("2");
    }
    close(ends[1]);
    const std::string text = readAll(ends[0]);
    close(ends[0]);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << text;
    const size_t begin = text.find("root ");
    ASSERT_NE(begin, std::string::npos) << text;
    const std::string root = text.substr(begin + 5, text.find('\n', begin) - begin - 5);
    EXPECT_NE(root, std::getenv(ROOT));
    EXPECT_FALSE(std::filesystem::exists(root)) << root;
}

}  // namespace
