#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "ElementProcess.h"

namespace OrvTest
{
namespace
{

using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST(DemoCommand, ShowsEveryKindOfRecordAndFindsItselfRight)
{
    const Outcome outcome = runElement({"demo"});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.errors, "");
    for (const char* record :
         {"  live       objectCreated ", "  live       objectDeleted ", "  live       attributeChanged ",
          "  filtered   objectCreated ", "  filtered   attributeChanged ", "  replaying  replayComplete",
          "  latecomer  replayGap", "  stopping   objectDeleted ", "  stopping   notificationComplete",
          "  stopping   heartbeatNotification", "  live       discardedOld", "  up         attributeChanged ",
          "  up         objectDeleted ", "  interfaces attributeChanged ", "  interfaces discardedOld"})
    {
        EXPECT_THAT(outcome.lines, Contains(StartsWith(record)));
    }
    EXPECT_THAT(outcome.lines,
                Contains("  parts      objectDeleted ManagedElement=demo,interfaces=1,interface=eth2,ipv4=*,address=*"))
        << "derived from the deletion of the interface";
    EXPECT_THAT(outcome.lines, Not(Contains(HasSubstr("WRONG"))));
    EXPECT_EQ(outcome.lines.back(), "Every subscriber received exactly what it should.");
}

TEST(DemoCommand, FailsWithOneLineIfItsModelsAreNotThere)
{
    const TemporaryDirectory empty;
    const Outcome outcome = runElement({"demo", "--yang", empty.path()});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("ietf-interfaces"));
    EXPECT_EQ(outcome.errors.find('\n'), outcome.errors.size() - 1);
}

TEST(DemoCommand, FailsIfNobodyCanSeeIt)
{
    ElementProcess process({"demo"}, ElementProcess::Errors::ToFile, STDOUT_FILENO);
    EXPECT_EQ(process.finish(), 1);
    EXPECT_EQ(process.errors(), "orv-element: cannot write to standard output\n");
}

TEST(DemoCommand, FailsWithAComponentThatDoesNotOfferTheService)
{
    const Outcome outcome = runElement({"demo", "--component", ORV_FAULTY_COMPONENTS "/libcomponent_healthy.so"});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("no component offers NbiNotificationServiceCM"));
}

}  // namespace
}  // namespace OrvTest
