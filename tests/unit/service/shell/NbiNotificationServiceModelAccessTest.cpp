// What the subtree filters read through the component: attributes in transactions, and names of key attributes.
#include <limits>

#include "ShellTest.h"
#include "Trace.h"

using namespace OrvTest;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

typedef std::vector<std::string> Texts;

const char MANAGED_OBJECT[] = "ZelOamSpiManagedObject";
const char TRANSACTION_MASTER[] = "ZelOamSpiTransactionMaster";
const char MODEL_REPOSITORY[] = "ZelOamSpiModelRepository";

const char MANAGED_OBJECT_LOOKUP[] = "portal3.getInterface:ZelOamSpiManagedObject";
const char TRANSACTION_MASTER_LOOKUP[] = "portal3.getInterface:ZelOamSpiTransactionMaster";
const char MODEL_REPOSITORY_LOOKUP[] = "portal3.getInterface:ZelOamSpiModelRepository";

const char NO_MANAGED_OBJECT[] = "Could not lookup cmrouterservice";

// Initialised and not started.
class ModelAccess : public ShellTest
{
protected:
    ModelAccess()
    {
        EXPECT_EQ(init(), OrvOk);
        framework.objects().setInt32("A=1,B=2", "x", 5);
        framework.plan().clearCalls();
        framework.log().clear();
    }
    ~ModelAccess() override { EXPECT_EQ(framework.objects().misuses(), 0u); }

    // Nothing but these words has been logged, once, and for the service's own subsystem.
    testing::AssertionResult failedWith(const std::string& words)
    {
        for (const LogLine& line : lines())
        {
            if (line.source == LogLine::traceV2 && line.subsystem != Orv::Trace::Notif)
            {
                return testing::AssertionFailure() << "another subsystem: " << describe(line);
            }
        }
        return messages(lines()).size() == 1 ? logged(lines(), 3, words)
                                             : testing::AssertionFailure() << describe(lines());
    }

    Texts calls() { return framework.plan().calls(); }
    Texts frameworkCalls() { return framework.objects().calls(); }
};

class ModelAccessRead : public ModelAccess
{
protected:
    ZelReturnT read(const char* dn = "A=1,B=2", const char* attribute = "x")
    {
        return component().getAttributeValue(dn, attribute, &result, transaction);
    }

    ZelMoAttributeValueResult_3 result = {4711, nullptr};
    unsigned long transaction = 4711;
};

TEST_F(ModelAccessRead, LooksUpTheManagedObjectThenTheTransactionMasterThenOpensAndReads)
{
    EXPECT_EQ(read(), OrvOk);
    EXPECT_THAT(calls(),
                ElementsAre(MANAGED_OBJECT_LOOKUP, TRANSACTION_MASTER_LOOKUP, "openTransaction", "getMoAttribute"));
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(ModelAccessRead, OpensWithModeOneAndAnHourAndReadsWithTheNewHandleAndTheGivenNames)
{
    EXPECT_EQ(read(), OrvOk);
    EXPECT_THAT(frameworkCalls(), ElementsAre("openTransaction(1, 3600)", "getMoAttribute(T1, A=1,B=2, x)"));
}

TEST_F(ModelAccessRead, FillsTheResultAndLeavesTheCallerAnOpenTransaction)
{
    EXPECT_EQ(read(), OrvOk);
    EXPECT_EQ(result.status, OrvOk);
    ASSERT_NE(result.value, nullptr);
    EXPECT_EQ(result.value->type, ZelMoAttributeInt32_3);
    ASSERT_EQ(result.value->noOfValues, 1u);
    EXPECT_EQ(result.value->values[0].i32, 5);
    EXPECT_THAT(framework.objects().openHandles(), ElementsAre(transaction));
    EXPECT_GT(transaction, static_cast<unsigned long>(std::numeric_limits<uint32_t>::max())) << "nothing is cut off";
}

TEST_F(ModelAccessRead, OpensATransactionOfItsOwnForEachReadOfAnObject)
{
    framework.objects().setInt32("A=1,B=2", "y", 6);
    EXPECT_EQ(read(), OrvOk);
    const unsigned long first = transaction;
    EXPECT_EQ(read("A=1,B=2", "y"), OrvOk);
    EXPECT_NE(transaction, first);
    EXPECT_THAT(frameworkCalls(), ElementsAre("openTransaction(1, 3600)", "getMoAttribute(T1, A=1,B=2, x)",
                                              "openTransaction(1, 3600)", "getMoAttribute(T2, A=1,B=2, y)"));
    EXPECT_THAT(framework.objects().openHandles(), ElementsAre(first, transaction));
}

TEST_F(ModelAccessRead, LooksItsInterfacesUpAnewEachTime)
{
    EXPECT_EQ(read(), OrvOk);
    EXPECT_EQ(read(), OrvOk);
    EXPECT_EQ(framework.plan().count(MANAGED_OBJECT_LOOKUP), 2u);
    EXPECT_EQ(framework.plan().count(TRANSACTION_MASTER_LOOKUP), 2u);
    framework.plan().fail(MANAGED_OBJECT_LOOKUP, 3, OrvFailure);
    EXPECT_EQ(read(), OrvFailure);
    EXPECT_EQ(read(), OrvOk) << "a failure is not kept either";
    framework.plan().fail(TRANSACTION_MASTER_LOOKUP, 4, 17);
    EXPECT_EQ(read(), 17);
    EXPECT_EQ(read(), OrvOk);
}

TEST_F(ModelAccessRead, FailsWithAnErrorWithoutAManagedObject)
{
    for (const ZelReturnT code : {17, +OrvNotFound, +OrvRetry})
    {
        framework.plan().clearCalls();
        framework.log().clear();
        framework.plan().failAlways(MANAGED_OBJECT_LOOKUP, code);
        EXPECT_EQ(read(), OrvFailure) << code;
        EXPECT_TRUE(failedWith(NO_MANAGED_OBJECT));
        EXPECT_THAT(calls(), ElementsAre(MANAGED_OBJECT_LOOKUP));
    }
    EXPECT_EQ(transaction, 4711u);
}

TEST_F(ModelAccessRead, PassesTheLookupsResultOnWithoutAWordWhenThereIsNoTransactionMaster)
{
    for (const ZelReturnT code : {17, +OrvFailure, +OrvRetry})
    {
        framework.plan().clearCalls();
        framework.plan().failAlways(TRANSACTION_MASTER_LOOKUP, code);
        EXPECT_EQ(read(), code);
        EXPECT_THAT(calls(), ElementsAre(MANAGED_OBJECT_LOOKUP, TRANSACTION_MASTER_LOOKUP));
    }
    framework.plan().succeed(TRANSACTION_MASTER_LOOKUP);
    framework.withdraw(TRANSACTION_MASTER);
    EXPECT_EQ(read(), OrvNotFound);
    EXPECT_THAT(messages(lines()), IsEmpty());
    EXPECT_EQ(transaction, 4711u);
}

TEST_F(ModelAccessRead, FailsWithAnErrorWithoutATransaction)
{
    for (const ZelReturnT code : {17, +OrvNotFound, +OrvRetry})
    {
        framework.plan().clearCalls();
        framework.log().clear();
        framework.plan().failAlways("openTransaction", code);
        EXPECT_EQ(read(), OrvFailure) << code;
        EXPECT_TRUE(failedWith("could not get a transaction handle"));
        EXPECT_THAT(calls(), ElementsAre(MANAGED_OBJECT_LOOKUP, TRANSACTION_MASTER_LOOKUP, "openTransaction"));
    }
}

TEST_F(ModelAccessRead, PassesTheResultOfAFailedReadOnAndLeavesTheTransactionOpen)
{
    framework.plan().fail("getMoAttribute", 1, 17);
    EXPECT_EQ(read(), 17);
    EXPECT_THAT(calls(),
                ElementsAre(MANAGED_OBJECT_LOOKUP, TRANSACTION_MASTER_LOOKUP, "openTransaction", "getMoAttribute"));
    EXPECT_THAT(framework.objects().openHandles(), ElementsAre(transaction));
    EXPECT_EQ(framework.objects().closed(), 0u);
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(ModelAccessRead, AnswersWhatTheFrameworkSaysOfAnUnknownAttributeOrObject)
{
    EXPECT_EQ(read("A=1,B=2", "nothing"), OrvNotFound);
    EXPECT_THAT(framework.objects().openHandles(), ElementsAre(transaction));
    const unsigned long first = transaction;
    EXPECT_EQ(read("A=1,B=3"), OrvNotFound);
    EXPECT_THAT(framework.objects().openHandles(), ElementsAre(first, transaction));
    EXPECT_EQ(result.value, nullptr);
    EXPECT_EQ(result.status, 4711);
}

TEST_F(ModelAccessRead, TracesTheReadOnceATransactionIsOpen)
{
    framework.setLevel(8);
    EXPECT_EQ(read(), OrvOk);
    EXPECT_THAT(tracesOf(lines()), ElementsAre("getAttributeValue: >> ", "getAttributeValue: Calling getMOAtrribute  ",
                                               "getAttributeValue: << "));
    EXPECT_TRUE(traced(lines(), 0, " Calling getMOAtrribute  "));
    framework.log().clear();
    framework.plan().fail("getMoAttribute", 2, OrvFailure);
    EXPECT_EQ(read(), OrvFailure);
    EXPECT_TRUE(traced(lines(), 0, " Calling getMOAtrribute  ")) << "before the read";
    framework.log().clear();
    framework.plan().failAlways("openTransaction", OrvFailure);
    EXPECT_EQ(read(), OrvFailure);
    EXPECT_THAT(tracesOf(lines()), ElementsAre("getAttributeValue: >> "));
}

TEST_F(ModelAccessRead, WorksBeforeTheStartAndAfterTheStopOfTheService)
{
    EXPECT_FALSE(component().notifyThread.isRunning());
    EXPECT_EQ(read(), OrvOk);
    EXPECT_EQ(component().endTransaction(transaction), OrvOk);
    ASSERT_EQ(start(), OrvOk);
    EXPECT_EQ(read(), OrvOk);
    EXPECT_EQ(component().endTransaction(transaction), OrvOk);
    ASSERT_EQ(stop(), OrvOk);
    EXPECT_EQ(read(), OrvOk);
    EXPECT_EQ(component().endTransaction(transaction), OrvOk);
    EXPECT_EQ(framework.objects().closed(), 3u);
}

TEST_F(ModelAccessRead, LetsAnExceptionPass)
{
    framework.plan().whenCalled("getMoAttribute", [] { throw 42; });
    EXPECT_THROW(read(), int);
    EXPECT_THAT(messages(lines()), IsEmpty());
}

class ModelAccessEnd : public ModelAccessRead
{
protected:
    ModelAccessEnd()
    {
        EXPECT_EQ(read(), OrvOk);
        framework.plan().clearCalls();
        framework.objects().clearCalls();
    }
    ZelReturnT end() { return component().endTransaction(transaction); }
};

TEST_F(ModelAccessEnd, LooksUpTheManagedObjectAndTheTransactionMasterAndCloses)
{
    EXPECT_EQ(end(), OrvOk);
    EXPECT_THAT(calls(), ElementsAre(MANAGED_OBJECT_LOOKUP, TRANSACTION_MASTER_LOOKUP, "closeTransaction"));
    EXPECT_THAT(frameworkCalls(), ElementsAre("closeTransaction(T1)"));
    EXPECT_THAT(framework.objects().openHandles(), IsEmpty());
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(ModelAccessEnd, ClosesTheTransactionThatItIsGiven)
{
    const unsigned long first = transaction;
    EXPECT_EQ(read(), OrvOk);
    EXPECT_EQ(component().endTransaction(first), OrvOk);
    EXPECT_THAT(framework.objects().openHandles(), ElementsAre(transaction));
}

TEST_F(ModelAccessEnd, FailsAndLeavesTheTransactionOpenWithoutAManagedObject)
{
    framework.withdraw(MANAGED_OBJECT);
    EXPECT_EQ(end(), OrvFailure);
    EXPECT_TRUE(failedWith(NO_MANAGED_OBJECT));
    EXPECT_THAT(calls(), ElementsAre(MANAGED_OBJECT_LOOKUP)) << "although the transaction master is there";
    EXPECT_THAT(framework.objects().openHandles(), ElementsAre(transaction));
    framework.restore(MANAGED_OBJECT);
    framework.plan().fail(MANAGED_OBJECT_LOOKUP, 3, 17);
    EXPECT_EQ(end(), OrvFailure) << "whatever the lookup says";
    EXPECT_EQ(end(), OrvOk) << "looked up anew";
}

TEST_F(ModelAccessEnd, PassesTheLookupsResultOnWithoutAWordWhenThereIsNoTransactionMaster)
{
    framework.plan().fail(TRANSACTION_MASTER_LOOKUP, 2, 17);
    EXPECT_EQ(end(), 17);
    EXPECT_THAT(calls(), ElementsAre(MANAGED_OBJECT_LOOKUP, TRANSACTION_MASTER_LOOKUP));
    framework.withdraw(TRANSACTION_MASTER);
    EXPECT_EQ(end(), OrvNotFound);
    EXPECT_THAT(messages(lines()), IsEmpty());
    EXPECT_THAT(framework.objects().openHandles(), ElementsAre(transaction));
}

TEST_F(ModelAccessEnd, PassesTheFrameworksResultOnWhenClosingFails)
{
    framework.plan().fail("closeTransaction", 1, 17);
    EXPECT_EQ(end(), 17);
    EXPECT_THAT(messages(lines()), IsEmpty());
    EXPECT_THAT(framework.objects().openHandles(), ElementsAre(transaction));
    EXPECT_EQ(end(), OrvOk);
}

TEST_F(ModelAccessEnd, TracesItsEntryAndItsExit)
{
    framework.setLevel(8);
    EXPECT_EQ(end(), OrvOk);
    EXPECT_THAT(tracesOf(lines()), ElementsAre("endTransaction: >> ", "endTransaction: << "));
}

class ModelAccessKey : public ModelAccess
{
protected:
    ModelAccessKey()
    {
        framework.objects().addKeyClass("A", {{"aId", true}, {"name", false}, {"second", true}});
        framework.objects().addKeyClass("B", {{"label", false}, {"state", false}, {"bId", true}, {"later", true}});
        framework.objects().addKeyClass("None", {{"label", false}, {"state", false}});
        framework.objects().addKeyClass("Bare", {});
    }

    ZelReturnT ask(const char* dn) { return component().getKeyName(dn, keyName); }

    // The call fails so, before anything else is asked.
    void expectFailure(const char* dn, const std::string& words)
    {
        framework.log().clear();
        framework.objects().clearCalls();
        EXPECT_EQ(ask(dn), OrvFailure) << words;
        EXPECT_TRUE(failedWith(words));
        EXPECT_EQ(keyName, "as it was");
    }

    std::string keyName = "as it was";
};

TEST_F(ModelAccessKey, AsksNoFurtherWhenTheFirstAttributeIsTheKey)
{
    EXPECT_EQ(ask("A=*"), OrvOk);
    EXPECT_EQ(keyName, "aId");
    EXPECT_THAT(calls(), ElementsAre(MODEL_REPOSITORY_LOOKUP, "repository3.getMocFromDn",
                                     "repository3.getFirstAttribute", "repository3.getAttributeFlag",
                                     "repository3.getGeneralProperties", "repository3.getPropertyText"));
    EXPECT_THAT(frameworkCalls(),
                ElementsAre("getMocFromDn(A=*, 0)", "getFirstAttribute(A)", "getAttributeFlag(A.aId, 0)",
                            "getGeneralProperties(A.aId)", "getPropertyText(A.aId, 0)"));
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(ModelAccessKey, WalksTheAttributesInTheRepositorysOrderUpToTheFirstKey)
{
    EXPECT_EQ(ask("A=1,B=*"), OrvOk);
    EXPECT_EQ(keyName, "bId");
    EXPECT_THAT(frameworkCalls(),
                ElementsAre("getMocFromDn(A=1,B=*, 0)", "getFirstAttribute(B)", "getAttributeFlag(B.label, 0)",
                            "getNextAttribute(B.label)", "getAttributeFlag(B.state, 0)", "getNextAttribute(B.state)",
                            "getAttributeFlag(B.bId, 0)", "getGeneralProperties(B.bId)", "getPropertyText(B.bId, 0)"));
}

TEST_F(ModelAccessKey, OpensNoTransaction)
{
    EXPECT_EQ(ask("A=*"), OrvOk);
    EXPECT_EQ(framework.objects().opened(), 0u);
    EXPECT_EQ(framework.plan().count(MANAGED_OBJECT_LOOKUP), 0u);
    EXPECT_EQ(framework.plan().count(TRANSACTION_MASTER_LOOKUP), 0u);
}

TEST_F(ModelAccessKey, LooksTheRepositoryUpAnewEachTimeAndKeepsWhatThePortalGaveLast)
{
    EXPECT_EQ(component().modelRepository.load(), nullptr);
    EXPECT_EQ(ask("A=*"), OrvOk);
    const ZelOamSpiModelRepository_3* const repository = component().modelRepository.load();
    ASSERT_NE(repository, nullptr);
    EXPECT_STREQ(repository->id.interfaceName, MODEL_REPOSITORY);
    EXPECT_EQ(ask("A=*"), OrvOk);
    EXPECT_EQ(framework.plan().count(MODEL_REPOSITORY_LOOKUP), 2u);
    component().modelRepository = nullptr;
    EXPECT_EQ(ask("A=*"), OrvOk) << "nothing is read from it";
    EXPECT_EQ(component().modelRepository.load(), repository);
    framework.withdraw(MODEL_REPOSITORY);
    EXPECT_EQ(ask("A=*"), OrvFailure) << "although it was there before";
    EXPECT_EQ(component().modelRepository.load(), nullptr);
    framework.restore(MODEL_REPOSITORY);
    EXPECT_EQ(ask("A=*"), OrvOk);
}

TEST_F(ModelAccessKey, FailsWithTheWordsOfTheStepThatFailsWhateverTheFrameworkSays)
{
    const std::vector<std::pair<std::string, std::string>> steps = {
        {MODEL_REPOSITORY_LOOKUP, "could not get a model repository interface"},
        {"repository3.getMocFromDn", "could not get MOC handle"},
        {"repository3.getFirstAttribute", "could not get attribute handle"},
        {"repository3.getAttributeFlag", "could not get attribute property handle"},
        {"repository3.getNextAttribute", "could not get next attribute handle"},
        {"repository3.getGeneralProperties", "could not get attribute general properties handle"},
        {"repository3.getPropertyText", "could not get attribute name property handle"}};
    for (const auto& step : steps)
    {
        for (const ZelReturnT code : {17, +OrvNotFound, +OrvRetry})
        {
            framework.plan().failAlways(step.first, code);
            framework.plan().clearCalls();
            expectFailure("A=1,B=*", step.second);
            EXPECT_EQ(calls().back(), step.first) << "nothing follows";
        }
        framework.plan().succeed(step.first);
    }
    EXPECT_EQ(ask("A=1,B=*"), OrvOk);
}

TEST_F(ModelAccessKey, FailsInTheMiddleOfTheWalkToo)
{
    framework.plan().fail("repository3.getAttributeFlag", 2, OrvFailure);
    expectFailure("A=1,B=*", "could not get attribute property handle");
    framework.plan().fail("repository3.getNextAttribute", 3, OrvFailure);
    expectFailure("A=1,B=*", "could not get next attribute handle");
}

TEST_F(ModelAccessKey, DoesNotKnowAClassThatTheModelDoesNotKnow)
{
    expectFailure("A=1,Unknown=*", "could not get MOC handle");
}

TEST_F(ModelAccessKey, FindsNoKeyOfAClassWithoutOne)
{
    expectFailure("A=1,None=*", "could not get next attribute handle");
    EXPECT_THAT(frameworkCalls(), ElementsAre("getMocFromDn(A=1,None=*, 0)", "getFirstAttribute(None)",
                                              "getAttributeFlag(None.label, 0)", "getNextAttribute(None.label)",
                                              "getAttributeFlag(None.state, 0)", "getNextAttribute(None.state)"));
    expectFailure("A=1,Bare=*", "could not get attribute handle");
}

TEST_F(ModelAccessKey, FailsAtTheFlagWhereTheRepositoryWalksPastTheLastAttribute)
{
    framework.objects().walkPastTheEnd();
    expectFailure("A=1,None=*", "could not get attribute property handle");
}

TEST_F(ModelAccessKey, TakesANullNameForAMissingOne)
{
    framework.objects().answerNullNames();
    expectFailure("A=1,B=*", "could not get attribute name property handle");
}

TEST_F(ModelAccessKey, TracesTheNameOfEveryKeyStandardOrNot)
{
    framework.setLevel(8);
    framework.objects().addKeyClass("Odd", {{"whatever", true}});
    for (const auto& expected : {std::pair<std::string, std::string>{"A=*", "aId"}, {"A=1,Odd=*", "whatever"}})
    {
        framework.log().clear();
        EXPECT_EQ(ask(expected.first.c_str()), OrvOk);
        const std::string text = "Non standard key attribute name is " + expected.second;
        EXPECT_TRUE(traced(lines(), 0, text));
        EXPECT_THAT(tracesOf(lines()), ElementsAre("getKeyName: >> ", "getKeyName:" + text, "getKeyName: << "));
    }
    framework.log().clear();
    EXPECT_EQ(ask("None=*"), OrvFailure);
    EXPECT_THAT(tracesOf(lines()), ElementsAre("getKeyName: >> ")) << "only where there is a name";
}

TEST_F(ModelAccessKey, ReplacesWhatTheCallersNameHeld)
{
    keyName = "a much longer name than the one that replaces it";
    EXPECT_EQ(ask("A=*"), OrvOk);
    EXPECT_EQ(keyName, "aId");
}

TEST_F(ModelAccessKey, LetsAnExceptionPass)
{
    framework.plan().whenCalled("repository3.getPropertyText", [] { throw 42; });
    EXPECT_THROW(ask("A=*"), int);
    EXPECT_EQ(keyName, "as it was");
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(ModelAccessKey, WorksBeforeTheStartAndAfterTheStopOfTheService)
{
    EXPECT_EQ(ask("A=*"), OrvOk);
    ASSERT_EQ(start(), OrvOk);
    EXPECT_EQ(ask("A=*"), OrvOk);
    ASSERT_EQ(stop(), OrvOk);
    EXPECT_EQ(ask("A=*"), OrvOk);
}

TEST_F(ModelAccess, EndsWithTheUnloadingThatClearsThePortal)
{
    EXPECT_NE(component().portal3, nullptr);
    ASSERT_EQ(zelLCMterminate(), OrvOk);
    EXPECT_EQ(component().portal3, nullptr);
}

TEST_F(ModelAccess, AsksNothingOfTheFrameworkButItsOwnInterfaces)
{
    framework.objects().addKeyClass("B", {{"bId", true}});
    ZelMoAttributeValueResult_3 result = {0, nullptr};
    unsigned long transaction = 0;
    std::string keyName;
    EXPECT_EQ(component().getAttributeValue("A=1,B=2", "x", &result, transaction), OrvOk);
    EXPECT_EQ(component().endTransaction(transaction), OrvOk);
    EXPECT_EQ(component().getKeyName("A=1,B=*", keyName), OrvOk);
    for (const std::string& call : calls())
    {
        EXPECT_NE(call, "portal3.getInterface:OrvOamSpiManagedObject");
        EXPECT_THAT(call, testing::Not(StartsWith("portal1.")));
    }
}

}  // namespace
