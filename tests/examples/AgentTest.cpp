#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "FakeFramework.h"
#include "LoadedComponent.h"
#include "Records.h"

OrvReturnT agentStart(OrvMgmtSpiInterfacePortal_1* portal);
OrvReturnT agentStop();

namespace
{

// Standard output as a pipe, for the lifetime of the object, so that a test can wait for a line.
class PipedStandardOutput
{
public:
    PipedStandardOutput() : _original(dup(STDOUT_FILENO))
    {
        std::fflush(stdout);
        int ends[2] = {-1, -1};
        EXPECT_EQ(0, pipe(ends));
        _readEnd = ends[0];
        dup2(ends[1], STDOUT_FILENO);
        close(ends[1]);
    }

    ~PipedStandardOutput()
    {
        std::fflush(stdout);
        dup2(_original, STDOUT_FILENO);
        close(_original);
        close(_readEnd);
    }

    // The next line without its end; empty if none comes in time.
    std::string nextLine()
    {
        const int timeoutMilliseconds = 60000;
        std::string line;
        char character = '\0';
        pollfd waiting = {_readEnd, POLLIN, 0};
        while (poll(&waiting, 1, timeoutMilliseconds) == 1 && read(_readEnd, &character, 1) == 1 && character != '\n')
        {
            line += character;
        }
        return line;
    }

    PipedStandardOutput(const PipedStandardOutput&) = delete;
    PipedStandardOutput& operator=(const PipedStandardOutput&) = delete;

private:
    const int _original;
    int _readEnd;
};

class Agent : public testing::Test
{
protected:
    Agent() : component(framework)
    {
        EXPECT_EQ(OrvOk, component.initWithConfiguration(OrvTest::configurationWithBufferSize("100")));
        EXPECT_EQ(OrvOk, component.start());
    }

    OrvMgmtSpiInterfacePortal_1* portal()
    {
        return static_cast<OrvMgmtSpiInterfacePortal_1*>(framework.accessor()->getPortal("1"));
    }

    void push(const std::string& dn, int32_t type)
    {
        const int64_t anyTime = 1;
        EXPECT_EQ(OrvOk, component.table().pushNotification(*OrvTest::makeNotification(anyTime, dn, type)));
    }

    OrvTest::FakeFramework framework;
    OrvTest::LoadedComponent component;
};

}  // namespace

TEST_F(Agent, PrintsTheInterfacesThatAreCreatedAndNothingElse)
{
    PipedStandardOutput output;
    ASSERT_EQ(OrvOk, agentStart(portal()));
    push("ManagedElement=me,interfaces=1,interface=eth0", objectCreated);
    push("ManagedElement=me,interfaces=1,interface=eth0,ipv4=1", objectCreated);
    push("ManagedElement=me,interfaces=1,interface=eth0", attributeChanged);
    push("ManagedElement=me,interfaces=1,interface=eth0", objectDeleted);
    push("ManagedElement=me,interfaces=1,interface=eth1", objectCreated);
    EXPECT_EQ("ManagedElement=me,interfaces=1,interface=eth0", output.nextLine());
    EXPECT_EQ("ManagedElement=me,interfaces=1,interface=eth1", output.nextLine());
    EXPECT_EQ(OrvOk, agentStop());
}

TEST_F(Agent, DoesNotStartWithoutTheService)
{
    framework.withdraw("OrvOamSpiNbiNotificationService");
    EXPECT_EQ(OrvNotFound, agentStart(portal()));
}

TEST_F(Agent, SaysThatTheServiceDoesNotRun)
{
    EXPECT_EQ(OrvOk, component.stop());
    EXPECT_EQ(OrvNotRunning, agentStart(portal()));
}
