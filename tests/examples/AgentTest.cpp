#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
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

    // The next line without its end; empty if none comes in time. Calls `whenStalled` for as long as nothing comes.
    std::string nextLine(const std::function<void()>& whenStalled)
    {
        const int sliceMilliseconds = 200;
        int slicesLeft = 300;  // turns a hang into a failure
        std::string line;
        char character = '\0';
        while (slicesLeft > 0)
        {
            pollfd waiting = {_readEnd, POLLIN, 0};
            if (poll(&waiting, 1, sliceMilliseconds) != 1)
            {
                --slicesLeft;
                whenStalled();
            }
            else if (read(_readEnd, &character, 1) != 1 || character == '\n')
            {
                break;
            }
            else
            {
                line += character;
            }
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
    // A record that came while a delivery ended waits for the next one, wanted or not.
    const auto nudge = [this] { push("ManagedElement=me,interfaces=1,interface=eth1", objectDeleted); };
    EXPECT_EQ("ManagedElement=me,interfaces=1,interface=eth0", output.nextLine(nudge));
    EXPECT_EQ("ManagedElement=me,interfaces=1,interface=eth1", output.nextLine(nudge));
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
