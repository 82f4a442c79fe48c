#include "ManagedObjectAccess.h"

#include <Poco/Message.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "AllocationHook.h"
#include "LogService.h"
#include "ModelTestSupport.h"

namespace OrvElement
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

const unsigned int READ = ZelOamSpiTransactionRead_2;
const char* const BOX = "ManagedElement=1,box=1";
const char* const ROOT = "ManagedElement=1";

// Keeps the lines with their priorities.
class TestChannel : public Poco::Channel
{
public:
    void log(const Poco::Message& message) override
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _lines.push_back(std::to_string(message.getPriority()) + " " + message.getText());
    }

    std::vector<std::string> lines()
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        return _lines;
    }

private:
    std::mutex _mutex;
    std::vector<std::string> _lines;
};

ZelOamSpiTransactionMaster_2& transactions()
{
    return ManagedObjectAccess::transactionMaster();
}

ZelOamSpiManagedObject_3& objects()
{
    return ManagedObjectAccess::managedObject();
}

// An element's access with room for four transactions and a clock that stands still.
class ManagedObjectAccessTest : public testing::Test
{
protected:
    unsigned long open(unsigned int timeout = 3600)
    {
        unsigned long transaction = 0;
        EXPECT_EQ(transactions().openTransaction(READ, timeout, &transaction), OrvOk);
        EXPECT_NE(transaction, 0u);
        return transaction;
    }

    // The values with their code, or the code of the failure.
    std::string read(unsigned long transaction, const char* dn, const char* attribute)
    {
        ZelMoAttributeValueResult_3 result{77, nullptr};
        const ZelReturnT code = objects().getMoAttribute(transaction, dn, attribute, &result);
        if (code != OrvOk)
        {
            EXPECT_EQ(result.status, 77);
            EXPECT_EQ(result.value, nullptr);
            return "code " + std::to_string(code);
        }
        EXPECT_EQ(result.status, 0);
        return ModelTest::text(*result.value);
    }

    Poco::AutoPtr<TestChannel> channel{new TestChannel};
    LogService log{LogService::DEFAULT_LEVEL, channel};
    std::chrono::steady_clock::time_point now = std::chrono::steady_clock::now();
    ModelTest::AwkwardElement element;
    ManagedObjectAccess access{ModelTest::awkwardModel(), element.data(), 4, [this] { return now; }};
    const std::string NOT_FOUND = "code " + std::to_string(OrvNotFound);
};

TEST_F(ManagedObjectAccessTest, ItsTablesBearTheInterfacesIdentities)
{
    EXPECT_STREQ(transactions().id.componentName, "ZelOamSpiTransactionService");
    EXPECT_STREQ(transactions().id.interfaceName, "ZelOamSpiTransactionMaster");
    EXPECT_STREQ(transactions().id.interfaceVersion, "2");
    EXPECT_STREQ(objects().id.componentName, "ZelOamSpiCmRouterService");
    EXPECT_STREQ(objects().id.interfaceName, "ZelOamSpiManagedObject");
    EXPECT_STREQ(objects().id.interfaceVersion, "3");
    const ZelOamSpiManagedObject_3& declared = ManagedObjectAccess::managedObjectForComponents();
    EXPECT_STREQ(declared.id.componentName, "OrvOamSpiExtCmRouterService");
    EXPECT_STREQ(declared.id.interfaceName, "OrvOamSpiManagedObject");
    EXPECT_STREQ(declared.id.interfaceVersion, "3");
    EXPECT_EQ(declared.getMoAttribute, objects().getMoAttribute);
}

TEST_F(ManagedObjectAccessTest, ItsReservedEntriesCanBeCalled)
{
    transactions().reserved2();
    objects().reserved1();
}

TEST_F(ManagedObjectAccessTest, ReadsAnAttributeInATransaction)
{
    element.edit("<item><name>a,b</name><value>7</value></item>");
    const unsigned long transaction = open();
    EXPECT_EQ(read(transaction, "ManagedElement=1,box=1,item=a%2Cb", "value"), "7: 7");
    EXPECT_EQ(read(transaction, "ManagedElement=node-7,box=1,item=a%2Cb", "name"), "9: a,b");
    EXPECT_EQ(read(transaction, BOX, "boxId"), "9: 1");
    EXPECT_EQ(read(transaction, BOX, "limit"), "5: none");
    EXPECT_EQ(transactions().closeTransaction(transaction), OrvOk);
}

TEST_F(ManagedObjectAccessTest, WhatIsUnknownIsNotFoundAndLeavesTheTransactionOpen)
{
    const unsigned long transaction = open();
    EXPECT_EQ(read(transaction, BOX, "nothing"), NOT_FOUND);
    EXPECT_EQ(read(transaction, "ManagedElement=1,box=1,item=a", "value"), NOT_FOUND);
    EXPECT_EQ(read(transaction, "ManagedElement=1,nothing=1", "value"), NOT_FOUND);
    EXPECT_EQ(read(transaction, "", ""), NOT_FOUND);
    EXPECT_EQ(read(transaction, BOX, "level"), "5: 5");
}

TEST_F(ManagedObjectAccessTest, ATransactionReadsTheOldValueWhileAnEditMakesTheNew)
{
    const unsigned long before = open();
    element.edit("<level>9</level>");
    const unsigned long after = open();
    EXPECT_EQ(read(before, BOX, "level"), "5: 5");
    EXPECT_EQ(read(after, BOX, "level"), "5: 9");
}

TEST_F(ManagedObjectAccessTest, AResultStaysWhileOthersAreReadAndEditsCome)
{
    const unsigned long transaction = open();
    ZelMoAttributeValueResult_3 first{};
    ZelMoAttributeValueResult_3 second{};
    EXPECT_EQ(objects().getMoAttribute(transaction, BOX, "dialects", &first), OrvOk);
    element.edit("<dialects>fr</dialects>");
    EXPECT_EQ(objects().getMoAttribute(transaction, BOX, "level", &second), OrvOk);
    EXPECT_EQ(ModelTest::text(*first.value), "9: en|de");
    EXPECT_EQ(ModelTest::text(*second.value), "5: 5");
}

TEST_F(ManagedObjectAccessTest, AHandleThatIsNotOpenIsNotFound)
{
    const unsigned long closed = open();
    EXPECT_EQ(transactions().closeTransaction(closed), OrvOk);
    const unsigned long next = open();
    for (const unsigned long wrong : {0ul, closed, next + 1, ~0ul})
    {
        EXPECT_EQ(transactions().closeTransaction(wrong), OrvNotFound);
        EXPECT_EQ(read(wrong, BOX, "level"), NOT_FOUND);
    }
}

TEST_F(ManagedObjectAccessTest, OnlyReadingIsServed)
{
    for (const unsigned int mode : {0u, 2u, ~0u})
    {
        unsigned long transaction = 77;
        EXPECT_EQ(transactions().openTransaction(mode, 3600, &transaction), OrvBadArgument);
        EXPECT_EQ(transaction, 77u);
    }
    EXPECT_EQ(access.counters().opened, 0u);
}

TEST_F(ManagedObjectAccessTest, ATransactionWithoutATimeOutIsRefused)
{
    unsigned long transaction = 77;
    EXPECT_EQ(transactions().openTransaction(READ, 0, &transaction), OrvBadArgument);
    EXPECT_EQ(transaction, 77u);
    EXPECT_EQ(transactions().openTransaction(READ, ~0u, &transaction), OrvOk);
    EXPECT_EQ(read(transaction, BOX, "level"), "5: 5");
}

TEST_F(ManagedObjectAccessTest, ANullPointerIsABadArgument)
{
    const unsigned long transaction = open();
    ZelMoAttributeValueResult_3 result{77, nullptr};
    EXPECT_EQ(transactions().openTransaction(READ, 3600, nullptr), OrvBadArgument);
    EXPECT_EQ(objects().getMoAttribute(transaction, nullptr, "level", &result), OrvBadArgument);
    EXPECT_EQ(objects().getMoAttribute(transaction, BOX, nullptr, &result), OrvBadArgument);
    EXPECT_EQ(objects().getMoAttribute(transaction, BOX, "level", nullptr), OrvBadArgument);
    EXPECT_EQ(result.status, 77);
    EXPECT_EQ(result.value, nullptr);
    EXPECT_EQ(access.counters().openNow, 1u);
}

TEST_F(ManagedObjectAccessTest, ATransactionEndsWhenItsSecondsHavePassed)
{
    const unsigned long transaction = open(3600);
    now += std::chrono::milliseconds(3599999);
    EXPECT_EQ(read(transaction, BOX, "level"), "5: 5");
    now += std::chrono::milliseconds(1);
    EXPECT_EQ(read(transaction, BOX, "level"), NOT_FOUND);
    EXPECT_EQ(transactions().closeTransaction(transaction), OrvNotFound);
    EXPECT_EQ(access.counters().reclaimed, 1u);
    EXPECT_EQ(access.counters().closed, 0u);
}

TEST_F(ManagedObjectAccessTest, EveryCallOfATableReclaims)
{
    const unsigned long other = open(3600);
    open(1);
    now += std::chrono::seconds(1);
    open(3600);
    EXPECT_EQ(access.counters().reclaimed, 1u);
    open(1);
    now += std::chrono::seconds(1);
    read(other, BOX, "level");
    EXPECT_EQ(access.counters().reclaimed, 2u);
    open(1);
    now += std::chrono::seconds(1);
    transactions().closeTransaction(other);
    EXPECT_EQ(access.counters().reclaimed, 3u);
}

TEST_F(ManagedObjectAccessTest, ABatchOfReclaimedTransactionsIsOneWarning)
{
    open(1);
    open(1);
    access.reclaim();
    EXPECT_THAT(channel->lines(), IsEmpty());
    now += std::chrono::seconds(1);
    access.reclaim();
    access.reclaim();
    EXPECT_THAT(channel->lines(), ElementsAre("4 transactions left open beyond their time-out and reclaimed: 2"));
}

TEST_F(ManagedObjectAccessTest, AReclaimedTransactionLetsGoOfTheOldData)
{
    const std::weak_ptr<const DataTree> old = element.data().snapshot();
    open(1);
    element.edit("<level>9</level>");
    EXPECT_FALSE(old.expired());
    now += std::chrono::seconds(1);
    access.reclaim();
    EXPECT_TRUE(old.expired());
}

TEST_F(ManagedObjectAccessTest, BeyondTheLimitOpeningFailsAndOneLineSaysSo)
{
    const unsigned long first = open();
    open();
    open();
    open();
    unsigned long transaction = 77;
    EXPECT_EQ(transactions().openTransaction(READ, 3600, &transaction), OrvFailure);
    EXPECT_EQ(transactions().openTransaction(READ, 3600, &transaction), OrvFailure);
    EXPECT_EQ(transaction, 77u);
    EXPECT_THAT(channel->lines(), ElementsAre("4 no transaction can be opened: 4 are open"));
    EXPECT_EQ(read(first, BOX, "level"), "5: 5");

    EXPECT_EQ(transactions().closeTransaction(first), OrvOk);
    open();
    EXPECT_EQ(transactions().openTransaction(READ, 3600, &transaction), OrvFailure);
    EXPECT_EQ(channel->lines().size(), 2u);
}

TEST_F(ManagedObjectAccessTest, ReclaimedTransactionsMakeRoom)
{
    for (int i = 0; i < 4; ++i)
    {
        open(1);
    }
    now += std::chrono::seconds(1);
    open();
    EXPECT_EQ(access.counters().openNow, 1u);
}

TEST_F(ManagedObjectAccessTest, OpenedIsClosedWhenEverybodyHasClosed)
{
    for (int i = 0; i < 100; ++i)
    {
        EXPECT_EQ(transactions().closeTransaction(open()), OrvOk);
    }
    const TransactionCounters counters = access.counters();
    EXPECT_EQ(counters.opened, 100u);
    EXPECT_EQ(counters.opened, counters.closed);
    EXPECT_EQ(counters.reclaimed, 0u);
    EXPECT_EQ(counters.openNow, 0u);
    EXPECT_THAT(channel->lines(), IsEmpty());
}

TEST_F(ManagedObjectAccessTest, WithoutMemoryOpeningAndReadingFailAndClosingDoesNot)
{
    const unsigned long transaction = open();
    unsigned long second = 77;
    ZelMoAttributeValueResult_3 result{77, nullptr};
    ZelReturnT opened;
    ZelReturnT readCode;
    ZelReturnT closed;
    {
        const NoMemory none;
        opened = transactions().openTransaction(READ, 3600, &second);
        readCode = objects().getMoAttribute(transaction, BOX, "level", &result);
        closed = transactions().closeTransaction(transaction);
    }
    EXPECT_EQ(opened, OrvFailure);
    EXPECT_EQ(second, 77u);
    EXPECT_EQ(readCode, OrvFailure);
    EXPECT_EQ(result.status, 77);
    EXPECT_EQ(closed, OrvOk);
    EXPECT_EQ(access.counters().opened, 1u);
    EXPECT_EQ(access.counters().openNow, 0u);
}

TEST_F(ManagedObjectAccessTest, WithoutMemoryAnEndedTimeOutDoesNotKeepATransactionFromBeingClosed)
{
    open(1);
    open(1);
    const unsigned long transaction = open();
    now += std::chrono::seconds(1);
    ZelReturnT closed;
    {
        const NoMemory none;
        closed = transactions().closeTransaction(transaction);
    }
    EXPECT_EQ(closed, OrvOk);
    EXPECT_EQ(access.counters().closed, 1u);
    EXPECT_EQ(access.counters().reclaimed, 2u);
    EXPECT_EQ(access.counters().openNow, 0u);
}

TEST_F(ManagedObjectAccessTest, ReclaimingNeedsNoMemory)
{
    open(1);
    now += std::chrono::seconds(1);
    {
        const NoMemory none;
        EXPECT_NO_THROW(access.reclaim());
    }
    EXPECT_EQ(access.counters().reclaimed, 1u);
    EXPECT_EQ(access.counters().openNow, 0u);
}

TEST_F(ManagedObjectAccessTest, ASecondLivingOneIsRefused)
{
    EXPECT_NE(ModelTest::errorOf([this] { ManagedObjectAccess second(ModelTest::awkwardModel(), element.data()); }),
              "");
    EXPECT_EQ(read(open(), BOX, "level"), "5: 5");
}

TEST_F(ManagedObjectAccessTest, AReadOnATransactionThatAnotherThreadClosesIsSafe)
{
    std::atomic<unsigned long> current(0);
    std::atomic<bool> ended(false);
    std::atomic<int> found(0);
    std::thread reader(
        [&]
        {
            while (!ended)
            {
                ZelMoAttributeValueResult_3 result{};
                const ZelReturnT code = objects().getMoAttribute(current, BOX, "level", &result);
                EXPECT_TRUE(code == OrvOk || code == OrvNotFound);
                found += code == OrvOk;
            }
        });
    for (int i = 0; i < 1000 || found == 0; ++i)
    {
        const unsigned long transaction = open();
        current = transaction;
        EXPECT_EQ(read(transaction, BOX, "level"), "5: 5");
        EXPECT_EQ(transactions().closeTransaction(transaction), OrvOk);
    }
    ended = true;
    reader.join();
}

TEST_F(ManagedObjectAccessTest, ReadersAndAnEditorMayWorkAtOnce)
{
    std::atomic<bool> editing(true);
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i)
    {
        readers.emplace_back(
            [&]
            {
                do
                {
                    // What one edit has set together is read together.
                    const unsigned long transaction = open();
                    const std::string level = read(transaction, BOX, "level");
                    EXPECT_EQ(read(transaction, "ManagedElement=1,box=1,settings=1,deep=1", "depth"),
                              level == "5: 5" ? "5: none" : level);
                    EXPECT_EQ(transactions().closeTransaction(transaction), OrvOk);
                } while (editing);
            });
    }
    for (int i = 10; i < 60; ++i)
    {
        const std::string number = std::to_string(i);
        element.edit("<level>" + number + "</level><settings><deep><depth>" + number +
                     "</depth></deep></settings><item><name>" + number + "</name></item>");
        access.reclaim();
    }
    editing = false;
    for (std::thread& reader : readers)
    {
        reader.join();
    }
    EXPECT_EQ(access.counters().openNow, 0u);
}

TEST(ManagedObjectAccessTables, WithoutALivingObjectTheirFunctionsFail)
{
    unsigned long transaction = 77;
    ZelMoAttributeValueResult_3 result{77, nullptr};
    EXPECT_EQ(transactions().openTransaction(READ, 3600, &transaction), OrvFailure);
    EXPECT_EQ(transactions().closeTransaction(1), OrvFailure);
    EXPECT_EQ(objects().getMoAttribute(1, ROOT, "managedElementId", &result), OrvFailure);
    EXPECT_EQ(transaction, 77u);
    EXPECT_EQ(result.status, 77);
}

TEST(ManagedObjectAccessTables, AHandleOfAnEarlierObjectIsNotFound)
{
    ModelTest::AwkwardElement element;
    unsigned long stale = 0;
    {
        const ManagedObjectAccess earlier(ModelTest::awkwardModel(), element.data());
        EXPECT_EQ(transactions().openTransaction(READ, 3600, &stale), OrvOk);
    }
    const ManagedObjectAccess later(ModelTest::awkwardModel(), element.data());
    unsigned long transaction = 0;
    EXPECT_EQ(transactions().openTransaction(READ, 3600, &transaction), OrvOk);
    EXPECT_EQ(transactions().closeTransaction(stale), OrvNotFound);
}

}  // namespace
}  // namespace OrvElement
