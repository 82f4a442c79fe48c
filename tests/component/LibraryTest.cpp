// The built library as a file and as a guest of the process.
#include <algorithm>
#include <array>
#include <cstdio>
#include <regex>
#include <sstream>

#include "ComponentTest.h"

namespace OrvTest
{
namespace
{

// The lines that a tool writes for the library.
std::vector<std::string> linesOf(const std::string& command)
{
    std::vector<std::string> lines;
    FILE* output = popen((command + " '" + LoadedComponent::libraryPath() + "'").c_str(), "r");
    if (output == nullptr)
    {
        return lines;
    }
    std::string text;
    std::array<char, 4096> part;
    for (size_t length; (length = fread(part.data(), 1, part.size(), output)) > 0;)
    {
        text.append(part.data(), length);
    }
    EXPECT_EQ(0, pclose(output)) << command;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
    {
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> neededLibraries()
{
    const std::regex needed("\\(NEEDED\\).*\\[(.*)\\]");
    std::vector<std::string> names;
    for (const std::string& line : linesOf(ORV_READELF " -d"))
    {
        std::smatch match;
        if (std::regex_search(line, match, needed))
        {
            names.push_back(match[1]);
        }
    }
    return names;
}

TEST(Library, ExportsExactlyTheTwoLifeCycleFunctions)
{
    std::vector<std::string> symbols;
    for (const std::string& line : linesOf(ORV_NM " -D --defined-only"))
    {
        symbols.push_back(line.substr(line.rfind(' ') + 1));
    }
    EXPECT_THAT(symbols, testing::UnorderedElementsAre("zelLCMinit", "zelLCMterminate"));
}

TEST(Library, NeedsTheSupportLibraryPocoFoundationAndPocoXml)
{
    const std::vector<std::string> needed = neededLibraries();
    EXPECT_THAT(needed, testing::Contains("liborv_common.so"));
    EXPECT_THAT(needed, testing::Contains(testing::StartsWith("libPocoFoundation.so")));
    EXPECT_THAT(needed, testing::Contains(testing::StartsWith("libPocoXML.so")));
}

TEST(Library, NeedsNothingElseButTheLanguageAndTheSystem)
{
    // pcre, z and expat are what POCO itself is made of; a linker may write them down as well.
    const std::regex known(
        "liborv_common\\.so|libPoco(Foundation|XML)\\.so\\..*|lib(stdc\\+\\+|gcc_s|m|c|asan|ubsan|tsan|pcre|z|expat)\\."
        "so\\..*");
    for (const std::string& name : neededLibraries())
    {
        EXPECT_TRUE(std::regex_match(name, known)) << name;
    }
}

TEST_F(ComponentTest, LoadingTheLibraryAsksTheFrameworkForNothing)
{
    // What stands there is the support library's own start.
    EXPECT_THAT(framework.plan().calls(), testing::ElementsAre("getPortal:1", "portal1.getInterface:OrvMwSpiLog",
                                                               "portal1.getInterface:ZelMwSpiTrace"));
    EXPECT_EQ(nullptr, framework.component());
}

TEST_F(ComponentTest, LeavesTheProcessWhenItIsUnloadedAfterUse)
{
    startService();
    {
        Subscriber subscriber(table());
        ASSERT_EQ(OrvOk, push(1, "A=1"));
        ASSERT_TRUE(subscriber->waitFor(1));
    }
    ASSERT_EQ(OrvOk, component.stop());
    ASSERT_EQ(OrvOk, component.terminate());
    EXPECT_TRUE(component.unload());
}

TEST_F(ComponentTest, LeavesTheProcessWhenItIsUnloadedUnused)
{
    EXPECT_TRUE(component.unload());
}

TEST(Library, StartsWithFreshCountersAfterItWasLoadedAgain)
{
    FakeFramework framework;
    for (int round = 0; round < 2; ++round)
    {
        LoadedComponent component(framework);
        ASSERT_EQ(OrvOk, component.initWithConfiguration(configurationWithBufferSize("100")));
        ASSERT_EQ(OrvOk, component.start());
        OrvOamSpiNbiNotificationHandler_1 record = RecordingHandler::handlerRecord();
        unsigned int handlerId = 0;
        unsigned int handle = 0;
        EXPECT_EQ(OrvOk, component.table().registerHandler(&record, &handlerId));
        EXPECT_EQ(OrvOk, component.table().getSubscriptionHandle(&handle));
        EXPECT_EQ(1u, handlerId);
        EXPECT_EQ(1u, handle);
        ASSERT_EQ(OrvOk, component.stop());
        ASSERT_EQ(OrvOk, component.terminate());
        ASSERT_TRUE(component.unload());
    }
}

}  // namespace
}  // namespace OrvTest
