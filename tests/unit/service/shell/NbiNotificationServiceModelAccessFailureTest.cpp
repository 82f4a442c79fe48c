// The model access where a portal, a model or the memory lets it down.
#include <cstring>
#include <new>
#include <optional>

#include "AllocationHook.h"
#include "ShellTest.h"

using namespace OrvTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

// Initialised and not started.
class ModelAccessFailure : public ShellTest
{
protected:
    ModelAccessFailure()
    {
        EXPECT_EQ(init(), OrvOk);
        framework.objects().addKeyClass("B", {{"label", false}, {"bId", true}});
        framework.objects().setInt32("A=1", "x", 5);
        framework.log().clear();
    }
    ~ModelAccessFailure() override { EXPECT_EQ(framework.objects().misuses(), 0u); }

    ZelReturnT read() { return component().getAttributeValue("A=1", "x", &result, transaction); }
    ZelReturnT end() { return component().endTransaction(transaction); }
    ZelReturnT ask() { return component().getKeyName("A=1,B=*", keyName); }

    ZelMoAttributeValueResult_3 result = {4711, nullptr};
    unsigned long transaction = 4711;
    std::string keyName = "as it was";
};

typedef ZelReturnT (*GetInterface)(ZelMgmtSpiInterface_1 id, void** table);

ZelReturnT findWithoutATable(ZelMgmtSpiInterface_1, void**)
{
    return OrvOk;
}

ZelReturnT findTheTransactionMasterWithoutATable(ZelMgmtSpiInterface_1 id, void** table)
{
    const bool lost = std::strcmp(id.interfaceName, "ZelOamSpiTransactionMaster") == 0;
    return lost ? findWithoutATable(id, table) : FakeFramework::current()->getInterface("portal3", id, table);
}

// While it lives, the component's portal looks up like this.
class OtherPortal
{
public:
    OtherPortal(ZelMgmtSpiInterfacePortal_3*& used, GetInterface getInterface)
        : _used(used), _real(used), _portal(*used)
    {
        _portal.getInterface = getInterface;
        _used = &_portal;
    }
    ~OtherPortal() { _used = _real; }

    OtherPortal(const OtherPortal&) = delete;
    OtherPortal& operator=(const OtherPortal&) = delete;

private:
    ZelMgmtSpiInterfacePortal_3*& _used;
    ZelMgmtSpiInterfacePortal_3* const _real;
    ZelMgmtSpiInterfacePortal_3 _portal;
};

TEST_F(ModelAccessFailure, ASuccessfulLookupWithoutATableIsAFailure)
{
    const OtherPortal portal(component().portal3, findWithoutATable);
    EXPECT_EQ(read(), OrvFailure);
    EXPECT_EQ(end(), OrvFailure);
    EXPECT_EQ(ask(), OrvFailure);
    EXPECT_THAT(messages(lines()),
                ElementsAre("3 Could not lookup cmrouterservice", "3 Could not lookup cmrouterservice",
                            "3 could not get a model repository interface"));
    EXPECT_EQ(keyName, "as it was");
}

TEST_F(ModelAccessFailure, AReadWithoutATableOfTransactionsFailsWithoutAWordAndOpensNothing)
{
    const OtherPortal portal(component().portal3, findTheTransactionMasterWithoutATable);
    EXPECT_EQ(read(), OrvFailure);
    EXPECT_THAT(messages(lines()), IsEmpty());
    EXPECT_THAT(framework.objects().calls(), IsEmpty());
    EXPECT_EQ(transaction, 4711u);
    EXPECT_EQ(result.status, 4711);
}

TEST_F(ModelAccessFailure, AnEndWithoutATableOfTransactionsFailsWithoutAWordAndClosesNothing)
{
    ASSERT_EQ(read(), OrvOk);
    const OtherPortal portal(component().portal3, findTheTransactionMasterWithoutATable);
    EXPECT_EQ(end(), OrvFailure);
    EXPECT_THAT(messages(lines()), IsEmpty());
    EXPECT_THAT(framework.objects().openHandles(), ElementsAre(transaction));
    EXPECT_EQ(framework.plan().count("closeTransaction"), 0u);
}

TEST_F(ModelAccessFailure, AFlagThatIsNotAnsweredMakesNoKey)
{
    framework.objects().leaveFlagsUnwritten();
    EXPECT_EQ(ask(), OrvFailure);
    EXPECT_THAT(messages(lines()), ElementsAre("3 could not get next attribute handle"));
    EXPECT_THAT(framework.objects().calls(),
                ElementsAre("getMocFromDn(A=1,B=*, 0)", "getFirstAttribute(B)", "getAttributeFlag(B.label, 0)",
                            "getNextAttribute(B.label)", "getAttributeFlag(B.bId, 0)", "getNextAttribute(B.bId)"));
    EXPECT_EQ(keyName, "as it was");
}

TEST_F(ModelAccessFailure, ANameThatIsNotAnsweredIsAMissingOne)
{
    framework.objects().leaveNamesUnwritten();
    EXPECT_EQ(ask(), OrvFailure);
    EXPECT_THAT(messages(lines()), ElementsAre("3 could not get attribute name property handle"));
    EXPECT_EQ(keyName, "as it was");
}

TEST_F(ModelAccessFailure, ANameForWhichThereIsNoMemoryIsToldAndThrownToTheCaller)
{
    const std::string name(500, 'k');
    const std::string told = "Non standard key attribute name is " + name;
    framework.objects().addKeyClass("Long", {{name, true}});
    framework.setLevel(8);
    std::optional<NoMemory> noMemory;
    framework.log().whenLine(LogLine::traceV2, told, [&] { noMemory.emplace(); });

    EXPECT_THROW(
        {
            try
            {
                component().getKeyName("A=1,Long=*", keyName);
            }
            catch (...)
            {
                noMemory.reset();
                throw;
            }
        },
        std::bad_alloc);

    framework.log().whenLine(LogLine::log, "", nullptr);
    EXPECT_TRUE(traced(lines(), 0, told));
    EXPECT_THAT(tracesOf(lines()), ElementsAre("getKeyName: >> ", "getKeyName:" + told)) << "and no exit";
    EXPECT_THAT(messages(lines()), IsEmpty());
    EXPECT_EQ(keyName, "as it was");
}

// Unloaded, the component has no portal, and nothing asks for one.
class ModelAccessDeathTest : public ModelAccessFailure
{
protected:
    ModelAccessDeathTest()
    {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        EXPECT_EQ(zelLCMterminate(), OrvOk);
    }
};

TEST_F(ModelAccessDeathTest, AReadAfterTheUnloadingIsNotSurvived)
{
    EXPECT_DEATH(read(), "");
}

TEST_F(ModelAccessDeathTest, AnEndAfterTheUnloadingIsNotSurvived)
{
    EXPECT_DEATH(end(), "");
}

TEST_F(ModelAccessDeathTest, AQuestionForAKeyAfterTheUnloadingIsNotSurvived)
{
    EXPECT_DEATH(ask(), "");
}

}  // namespace
