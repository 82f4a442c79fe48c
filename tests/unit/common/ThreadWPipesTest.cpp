#include "ThreadWPipes.h"

#include <Poco/Event.h>
#include <Poco/Exception.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "AllocationHook.h"
#include "OrvException.h"

namespace
{

const long HANG = 60 * 1000;  // milliseconds, which turn a hang into a failure

class Message : public Orv::PipeMessage
{
public:
    explicit Message(int itsNumber, int itsSender = 0)
        : Orv::PipeMessage(Orv::MessageTypeNotification), number(itsNumber), sender(itsSender)
    {
        ++alive;
    }
    ~Message() override { --alive; }

    const int number;
    const int sender;
    static std::atomic<int> alive;
};
std::atomic<int> Message::alive{0};

class Body : public Poco::Runnable
{
public:
    explicit Body(std::function<void()> function) : _function(std::move(function)) {}
    void run() override { _function(); }

private:
    std::function<void()> _function;
};

bool isReadable(int fd)
{
    pollfd entry = {fd, POLLIN, 0};
    return poll(&entry, 1, 0) == 1;
}

// Takes everything, frees it, and tells the numbers.
std::vector<int> popNumbers(Orv::ThreadWPipes& thread)
{
    std::vector<int> numbers;
    for (Orv::PipeMessage* message : thread.popFromInput())
    {
        numbers.push_back(static_cast<Message*>(message)->number);
        delete message;
    }
    return numbers;
}

class ThreadWPipes : public testing::Test
{
protected:
    ThreadWPipes() : _aliveBefore(Message::alive) {}

    int alive() const { return Message::alive - _aliveBefore; }

    // Runs the thread once with this body.
    void runOnce(Orv::ThreadWPipes& thread, const std::function<void()>& function)
    {
        Body body(function);
        thread.start(body);
        thread.join();
    }

private:
    const int _aliveBefore;
};

TEST_F(ThreadWPipes, TellsMessagesApartByTheirType)
{
    EXPECT_EQ(Orv::PipeMessage(Orv::MessageTypeStateChange).getMessageType(), 5);
    EXPECT_EQ(Orv::PipeMessage(Orv::MessageTypeNotification).getMessageType(), 21);
    EXPECT_EQ(Orv::PipeMessage(static_cast<Orv::MessageTypeT>(7)).getMessageType(), 7);
}

TEST_F(ThreadWPipes, HasAReadableDescriptorExactlyWhileMessagesWait)
{
    Orv::ThreadWPipes thread;
    EXPECT_FALSE(isReadable(thread.getInputReadFD()));
    thread.pushToInput(new Message(1));
    EXPECT_TRUE(isReadable(thread.getInputReadFD()));
    thread.pushToInput(new Message(2));
    EXPECT_TRUE(isReadable(thread.getInputReadFD()));
    popNumbers(thread);
    EXPECT_FALSE(isReadable(thread.getInputReadFD()));
    thread.pushToInput(new Message(3));
    EXPECT_TRUE(isReadable(thread.getInputReadFD()));
}

TEST_F(ThreadWPipes, GivesAllThatWaitsAtOnceOldestFirst)
{
    Orv::ThreadWPipes thread;
    for (int i = 0; i < 200; ++i)
    {
        thread.pushToInput(new Message(i));
    }
    const std::vector<int> numbers = popNumbers(thread);
    ASSERT_EQ(numbers.size(), 200u);
    for (int i = 0; i < 200; ++i)
    {
        EXPECT_EQ(numbers[static_cast<size_t>(i)], i);
    }
    EXPECT_EQ(alive(), 0);
}

TEST_F(ThreadWPipes, GivesNothingWhenNothingWaits)
{
    Orv::ThreadWPipes thread;
    EXPECT_TRUE(thread.popFromInput().empty());
    EXPECT_FALSE(isReadable(thread.getInputReadFD()));
}

TEST_F(ThreadWPipes, MakesOneSystemCallWhenTheQueueTurnsFromEmptyToNonEmptyAndNoneOtherwise)
{
    Orv::ThreadWPipes thread;
    for (int round = 0; round < 3; ++round)
    {
        for (int i = 0; i < 100; ++i)
        {
            thread.pushToInput(new Message(i));
        }
        // The counter of the descriptor tells how many writes there were. The test puts back what it has read.
        uint64_t writes = 0;
        ASSERT_EQ(read(thread.getInputReadFD(), &writes, sizeof(writes)), 8);
        EXPECT_EQ(writes, 1u);
        ASSERT_EQ(write(thread.getInputReadFD(), &writes, sizeof(writes)), 8);
        EXPECT_EQ(popNumbers(thread).size(), 100u);
    }
}

TEST_F(ThreadWPipes, HandsTheMessagesOutEvenIfItsWakeUpIsGone)
{
    Orv::ThreadWPipes thread;
    thread.pushToInput(new Message(1));
    uint64_t writes = 0;
    ASSERT_EQ(read(thread.getInputReadFD(), &writes, sizeof(writes)), 8);
    EXPECT_EQ(popNumbers(thread), std::vector<int>{1});
}

TEST_F(ThreadWPipes, NeverBlocksAndDoesNotPassItsDescriptorOn)
{
    Orv::ThreadWPipes thread;
    EXPECT_NE(fcntl(thread.getInputReadFD(), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_NE(fcntl(thread.getInputReadFD(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(ThreadWPipes, WakesASelectOfTheRunningThread)
{
    Orv::ThreadWPipes thread;
    Poco::Event running;
    std::vector<int> numbers;
    Body body(
        [&]
        {
            auto* const self = static_cast<Orv::ThreadWPipes*>(Poco::Thread::current());
            running.set();
            fd_set readable;
            FD_ZERO(&readable);
            FD_SET(self->getInputReadFD(), &readable);
            timeval timeout = {HANG / 1000, 0};
            if (select(self->getInputReadFD() + 1, &readable, nullptr, nullptr, &timeout) == 1)
            {
                numbers = popNumbers(*self);
            }
        });
    thread.start(body);
    ASSERT_TRUE(running.tryWait(HANG));
    thread.pushToInput(new Message(17));
    thread.join();
    EXPECT_EQ(numbers, std::vector<int>{17});
}

TEST_F(ThreadWPipes, ShowsTheFirstRunWhatWasPushedBeforeIt)
{
    Orv::ThreadWPipes thread;
    thread.pushToInput(new Message(1));
    std::vector<int> numbers;
    runOnce(thread, [&] { numbers = popNumbers(thread); });
    EXPECT_EQ(numbers, std::vector<int>{1});
}

TEST_F(ThreadWPipes, ShowsNoMessageOfAnEarlierRunToALaterOne)
{
    Orv::ThreadWPipes thread;
    runOnce(thread, [] {});
    thread.pushToInput(new Message(1));
    thread.pushToInput(new Message(2));
    EXPECT_EQ(alive(), 2);
    bool readable = true;
    std::vector<int> numbers = {-1};
    runOnce(thread,
            [&]
            {
                readable = isReadable(thread.getInputReadFD());
                numbers = popNumbers(thread);
            });
    EXPECT_FALSE(readable);
    EXPECT_TRUE(numbers.empty());
    EXPECT_EQ(alive(), 0);
}

TEST_F(ThreadWPipes, WorksAgainAfterItWasStartedAgain)
{
    Orv::ThreadWPipes thread;
    for (int run = 0; run < 3; ++run)
    {
        std::vector<int> numbers;
        runOnce(thread,
                [&]
                {
                    thread.pushToInput(new Message(run));
                    numbers = popNumbers(thread);
                    thread.pushToInput(new Message(100));
                });
        EXPECT_EQ(numbers, std::vector<int>{run});
    }
    EXPECT_EQ(alive(), 1);
}

TEST_F(ThreadWPipes, KeepsTheMessagesOfARunThatIsStartedASecondTime)
{
    Orv::ThreadWPipes thread;
    runOnce(thread, [] {});
    Poco::Event goOn;
    std::vector<int> numbers;
    Body body(
        [&]
        {
            goOn.tryWait(HANG);
            numbers = popNumbers(thread);
        });
    thread.start(body);
    EXPECT_FALSE(thread._joined) << "what was waited for is the earlier run";
    thread.pushToInput(new Message(5));
    EXPECT_THROW(thread.start(body), Poco::SystemException);
    goOn.set();
    thread.join();
    EXPECT_EQ(numbers, std::vector<int>{5});
}

TEST_F(ThreadWPipes, FreesWhatStillWaitsWhenItIsDestroyed)
{
    {
        Orv::ThreadWPipes thread;
        thread.pushToInput(new Message(1));
        thread.pushToInput(new Message(2));
    }
    EXPECT_EQ(alive(), 0);
}

TEST_F(ThreadWPipes, ClosesItsDescriptorWhenItIsDestroyed)
{
    int fd;
    {
        const Orv::ThreadWPipes thread;
        fd = thread.getInputReadFD();
        EXPECT_NE(fcntl(fd, F_GETFD), -1);
    }
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
}

TEST_F(ThreadWPipes, FreesTheMessageOfAPushWithoutMemory)
{
    Orv::ThreadWPipes thread;
    std::vector<std::unique_ptr<Message>> stock;
    for (int i = 0; i < 1000; ++i)
    {
        stock.push_back(std::make_unique<Message>(i));
    }
    size_t pushed = 0;
    bool outOfMemory = false;
    {
        const NoMemory noMemory;
        while (pushed < stock.size() && !outOfMemory)
        {
            try
            {
                thread.pushToInput(stock[pushed].release());
                ++pushed;
            }
            catch (const std::bad_alloc&)
            {
                outOfMemory = true;
            }
        }
    }
    ASSERT_TRUE(outOfMemory);
    EXPECT_EQ(static_cast<size_t>(alive()), stock.size() - 1);
    EXPECT_EQ(popNumbers(thread).size(), pushed);
    EXPECT_FALSE(isReadable(thread.getInputReadFD()));
}

TEST_F(ThreadWPipes, FreesTheMessageOfAPushThatCannotWakeTheReader)
{
    Orv::ThreadWPipes thread;
    const int readOnly = open("/dev/null", O_RDONLY | O_CLOEXEC);
    ASSERT_GE(readOnly, 0);
    ASSERT_EQ(dup2(readOnly, thread.getInputReadFD()), thread.getInputReadFD());
    close(readOnly);
    EXPECT_THROW(thread.pushToInput(new Message(1)), Orv::OrvException);
    EXPECT_EQ(alive(), 0);
    EXPECT_TRUE(thread.popFromInput().empty());
}

// Raises or lowers the number of descriptors that the process may have, for the lifetime of the object.
class DescriptorLimit
{
public:
    explicit DescriptorLimit(rlim_t limit)
    {
        getrlimit(RLIMIT_NOFILE, &_before);
        const rlimit wanted = {limit, _before.rlim_max};
        _set = setrlimit(RLIMIT_NOFILE, &wanted) == 0;
    }
    ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &_before); }
    bool isSet() const { return _set; }

    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

private:
    rlimit _before;
    bool _set;
};

std::string refusalOfConstruction()
{
    try
    {
        const Orv::ThreadWPipes thread;
        return "none, the descriptor is " + std::to_string(thread.getInputReadFD());
    }
    catch (const Orv::OrvException& exception)
    {
        return exception.what();
    }
}

TEST_F(ThreadWPipes, RefusesADescriptorThatDoesNotFitAnFdSetAndClosesIt)
{
    const DescriptorLimit limit(FD_SETSIZE + 16);
    ASSERT_TRUE(limit.isSet()) << "the hard limit of open files must be above " << FD_SETSIZE;
    std::vector<int> fillers;
    for (int fd = fcntl(0, F_DUPFD_CLOEXEC, 0); fd >= 0; fd = fcntl(0, F_DUPFD_CLOEXEC, 0))
    {
        fillers.push_back(fd);
        if (fd == FD_SETSIZE - 1)
        {
            break;
        }
    }
    const std::string first = refusalOfConstruction();
    const std::string second = refusalOfConstruction();
    close(fillers.back());
    const std::string withTheLastPlaceFree = refusalOfConstruction();
    fillers.pop_back();
    for (const int fd : fillers)
    {
        close(fd);
    }
    EXPECT_EQ(first, "Descriptor 1024 for the input of a thread does not fit an fd_set of 1024");
    EXPECT_EQ(second, first);
    EXPECT_EQ(withTheLastPlaceFree, "none, the descriptor is 1023");
}

TEST_F(ThreadWPipes, TakesTheDescriptorOfAClosedStandardInputLikeAnyOther)
{
    const int input = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    {
        Orv::ThreadWPipes thread;
        EXPECT_EQ(thread.getInputReadFD(), STDIN_FILENO);
        thread.pushToInput(new Message(1));
        EXPECT_TRUE(isReadable(thread.getInputReadFD()));
    }
    if (input >= 0)
    {
        dup2(input, STDIN_FILENO);
        close(input);
    }
}

TEST_F(ThreadWPipes, SaysWhyItHasNoDescriptor)
{
    std::string refusal;
    try
    {
        const DescriptorLimit limit(0);
        const Orv::ThreadWPipes thread;
    }
    catch (const Orv::OrvException& exception)
    {
        refusal = exception.what();
    }
    EXPECT_EQ(refusal, "No descriptor for the input of a thread: Too many open files");
}

TEST_F(ThreadWPipes, DeliversEachMessageOfSeveralSendersOnceAndInTheSendersOrder)
{
    const int senders = 4;
    const int each = 2000;
    std::vector<int> next(senders, 0);
    int received = 0;
    bool inOrder = true;
    Orv::ThreadWPipes thread;
    Body body(
        [&]
        {
            while (received < senders * each)
            {
                pollfd entry = {thread.getInputReadFD(), POLLIN, 0};
                if (poll(&entry, 1, static_cast<int>(HANG)) != 1)
                {
                    return;
                }
                for (Orv::PipeMessage* base : thread.popFromInput())
                {
                    const std::unique_ptr<Message> message(static_cast<Message*>(base));
                    int& expected = next[static_cast<size_t>(message->sender)];
                    inOrder = inOrder && message->number == expected;
                    ++expected;
                    ++received;
                }
            }
        });
    thread.start(body);
    std::vector<std::thread> threads;
    for (int sender = 0; sender < senders; ++sender)
    {
        threads.emplace_back(
            [&, sender]
            {
                for (int i = 0; i < each; ++i)
                {
                    thread.pushToInput(new Message(i, sender));
                }
            });
    }
    for (std::thread& sender : threads)
    {
        sender.join();
    }
    thread.join();
    EXPECT_EQ(received, senders * each);
    EXPECT_TRUE(inOrder);
    EXPECT_FALSE(isReadable(thread.getInputReadFD()));
    EXPECT_EQ(alive(), 0);
}

}  // namespace
