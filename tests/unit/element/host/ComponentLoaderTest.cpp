#include "ComponentLoader.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <vector>

#include "ComponentRegistry.h"
#include "ElementError.h"
#include "TemporaryDirectory.h"

namespace OrvElement
{
namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<std::string> theCalls;

// The interface through which the test components tell what is called.
struct CallLog
{
    ZelMgmtSpiInterface_1 id;
    void (*called)(const char* what, int argument);
};

void called(const char* what, int argument)
{
    theCalls.push_back(std::string(what) + " " + std::to_string(argument));
}

CallLog theCallLog = {{"Test", "CallLog", "1"}, called};

std::string library(const std::string& name)
{
    return std::string(ORV_FAULTY_COMPONENTS) + "/lib" + name + ".so";
}

bool isMapped(const std::string& path)
{
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr)
    {
        dlclose(handle);
    }
    return handle != nullptr;
}

class ComponentLoaderTest : public testing::Test
{
protected:
    ComponentLoaderTest()
    {
        theCalls.clear();
        registry.offer(theCallLog.id);
    }

    // The text with which loading or starting the library fails.
    std::string failure(const std::string& path)
    {
        try
        {
            loader.load(path, "config.xml");
            loader.start();
            return "no failure";
        }
        catch (const ElementError& e)
        {
            return e.what();
        }
    }

    ComponentRegistry registry;
    ComponentLoader loader{registry};
};

TEST_F(ComponentLoaderTest, DrivesAComponentThroughItsLife)
{
    const std::string path = library("component_healthy");
    loader.load(path, "config.xml");
    EXPECT_EQ(registry.components().size(), 1u);
    loader.start();
    EXPECT_THAT(theCalls, ElementsAre("init 0", "start 1"));
    loader.stop();
    loader.unload();
    EXPECT_THAT(theCalls, ElementsAre("init 0", "start 1", "stop 2", "terminate 0"));
    EXPECT_THAT(registry.components(), IsEmpty());
    EXPECT_FALSE(isMapped(path));
}

TEST_F(ComponentLoaderTest, CanStartAStoppedComponentAgain)
{
    loader.load(library("component_healthy"), "config.xml");
    loader.start();
    loader.stop();
    loader.stop();
    loader.start();
    loader.unload();
    EXPECT_THAT(theCalls, ElementsAre("init 0", "start 1", "stop 2", "start 1", "stop 2", "terminate 0"));
}

TEST_F(ComponentLoaderTest, DoesWhatIsLeftToDoInItsDestructor)
{
    const std::string path = library("component_healthy");
    {
        ComponentLoader other(registry);
        other.load(path, "config.xml");
        other.start();
    }
    EXPECT_THAT(theCalls, ElementsAre("init 0", "start 1", "stop 2", "terminate 0"));
    EXPECT_FALSE(isMapped(path));
}

TEST_F(ComponentLoaderTest, RefusesToLoadTwiceAndToStartTwice)
{
    loader.load(library("component_healthy"), "config.xml");
    EXPECT_THROW(loader.load(library("component_healthy"), "config.xml"), ElementError);
    loader.start();
    EXPECT_THROW(loader.start(), ElementError);
    EXPECT_THAT(theCalls, ElementsAre("init 0", "start 1"));
}

TEST_F(ComponentLoaderTest, NamesALibraryThatIsNotThere)
{
    EXPECT_THAT(failure("/nowhere/component.so"), HasSubstr("/nowhere/component.so"));
    EXPECT_THROW(loader.start(), ElementError);
}

TEST_F(ComponentLoaderTest, DoesNotWaitForTheWriterOfAFifo)
{
    const OrvTest::TemporaryDirectory directory;
    const std::string path = directory.path() + "/fifo";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(failure(path), "cannot load component: " + path + ": not a regular file");
}

TEST_F(ComponentLoaderTest, NamesTheEntryPointThatIsMissingAndUnloads)
{
    const std::string path = library("component_without_entry");
    EXPECT_THAT(failure(path), HasSubstr("does not export zelLCMterminate"));
    EXPECT_THAT(theCalls, IsEmpty());
    EXPECT_FALSE(isMapped(path));
}

TEST_F(ComponentLoaderTest, TerminatesAComponentThatRegisteredAndThenFailedToInitialise)
{
    const std::string path = library("component_failing_init");
    EXPECT_THAT(failure(path), HasSubstr("zelLCMinit with config.xml failed with code -7"));
    EXPECT_THAT(theCalls, ElementsAre("init 0", "terminate 0"));
    EXPECT_THAT(registry.components(), IsEmpty());
    EXPECT_FALSE(isMapped(path));
}

TEST_F(ComponentLoaderTest, RefusesALibraryThatDoesNotRegisterAComponent)
{
    const std::string path = library("component_unregistered");
    EXPECT_THAT(failure(path), HasSubstr("has registered 0 components instead of one"));
    EXPECT_FALSE(isMapped(path));
}

TEST_F(ComponentLoaderTest, NamesAllMissingDependenciesAndDoesNotStart)
{
    EXPECT_THAT(failure(library("component_missing_dependency")),
                HasSubstr("component FaultyComponent needs what nobody offers (component/interface/version): "
                          "Nobody/NobodysInterface/4, -/OrvMwSpiLog/1, -/AnotherInterface/-"));
    EXPECT_THAT(theCalls, ElementsAre("init 0"));
    loader.unload();
    EXPECT_THAT(theCalls, ElementsAre("init 0", "terminate 0")) << "what was not started is not stopped";
}

TEST_F(ComponentLoaderTest, DoesNotStopAComponentThatFailedToStart)
{
    EXPECT_THAT(failure(library("component_failing_start")), HasSubstr("start failed with code -9"));
    loader.unload();
    EXPECT_THAT(theCalls, ElementsAre("init 0", "start 1", "terminate 0"));
}

TEST_F(ComponentLoaderTest, UnloadsAComponentThatFailsToStop)
{
    const std::string path = library("component_failing_stop");
    loader.load(path, "config.xml");
    loader.start();
    loader.unload();
    EXPECT_THAT(theCalls, ElementsAre("init 0", "start 1", "stop 2", "terminate 0"));
    EXPECT_FALSE(isMapped(path));
}

}  // namespace
}  // namespace OrvElement
