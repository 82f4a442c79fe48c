// The framework's router brings CM events with nothing or nonsense where something should stand.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "World.h"

namespace OrvTest
{
namespace
{

typedef ZelMoNamedAttributeValueContainer_3 Container;

struct EventCase
{
    std::string name;
    ZelOamSpiCmEvent_TxOperation_1 operation;  // between the creation of E=1 and that of E=3
    bool isStored;
    bool restIsStored;
    unsigned int lostBlocks;  // of the message of a record that cannot be copied
};

bool has(const std::vector<std::string>& names, const std::string& name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

void expectOutcome(const EventCase& event)
{
    const RunReport report = runInChild(
        [&](Facts& facts)
        {
            FaultLayer::watch();
            World world;
            world.framework.model().addClass("E", {{"x", true}, {"y", true}});
            world.serve();
            Container* none[] = {nullptr};
            ZelOamSpiCmEvent_TxOperation_1 first = {"E=1", objectCreated, none};
            ZelOamSpiCmEvent_TxOperation_1 operation = event.operation;
            ZelOamSpiCmEvent_TxOperation_1 last = {"E=3", objectCreated, none};
            ZelOamSpiCmEvent_TxOperation_1* operations[] = {&first, &operation, &last, nullptr};
            ZelOamSpiCmEvent_Notification_1 notification = {1, 1000000, 0, operations};
            FakeEventRouter& router = world.framework.router();
            facts.answer =
                router.call(router.subscriptionsOf(CM_EVENT_TYPE).at(0).consumer, 1, CM_EVENT_TYPE, &notification);
            world.examine(facts);
            const std::vector<std::string> stored = world.stored();
            facts.effect =
                has(stored, "E=1") && has(stored, "E=2") == event.isStored && has(stored, "E=3") == event.restIsStored;
            world.leave(facts);
        });
    const Facts& facts = report.facts;
    EXPECT_EQ(report.ending, Ending::finished) << event.name << ": " << facts.trouble << report.errors;
    EXPECT_EQ(facts.answer, OrvOk) << event.name;
    EXPECT_TRUE(facts.effect) << event.name;
    EXPECT_TRUE(facts.served && facts.entriesWork && facts.stopped) << event.name;
    EXPECT_LE(facts.blocks, event.lostBlocks) << event.name;
    EXPECT_EQ(facts.held + facts.foreignBlocks + facts.unjoined, 0u) << event.name;
}

TEST(EventFault, CostsItsOwnRecordOrTheRestOfTheEvent)
{
    const char x[] = "x";
    const char unknown[] = "unknown";
    ZelMoAttributeValue_3 number = {};
    number.i32 = 1;
    ZelMoAttributeValue_3 noText = {};
    Container good = {x, ZelMoAttributeInt32_3, 1, &number};
    Container nameless = {nullptr, ZelMoAttributeInt32_3, 1, &number};
    Container stranger = {unknown, ZelMoAttributeInt32_3, 1, &number};
    Container noValues = {x, ZelMoAttributeInt32_3, 3, nullptr};
    Container noString = {x, ZelMoAttributeString_3, 1, &noText};
    Container noMembers = {x, ZelMoAttributeStruct_3, 1, &noText};
    Container unknownType = {x, 99, 1, &number};
    Container* none[] = {nullptr};
    Container* withGood[] = {&good, nullptr};
    Container* withNameless[] = {&nameless, nullptr};
    Container* withNamelessFirst[] = {&nameless, &good, nullptr};
    Container* withStranger[] = {&stranger, nullptr};
    Container* withNoValues[] = {&noValues, nullptr};
    Container* withNoString[] = {&noString, nullptr};
    Container* withNoMembers[] = {&noMembers, nullptr};
    Container* withUnknownType[] = {&unknownType, nullptr};
    const EventCase cases[] = {
        {"all well", {"E=2", attributeChanged, withGood}, true, true, 0},
        {"no DN", {nullptr, objectCreated, none}, false, false, 0},
        {"an empty DN", {"", objectCreated, none}, false, true, 0},
        {"no array of attributes", {"E=2", objectDeleted, nullptr}, true, true, 0},
        {"a change without attributes", {"E=2", attributeChanged, none}, false, true, 0},
        {"a change of an attribute without a name", {"E=2", attributeChanged, withNameless}, false, true, 0},
        {"a second attribute with one", {"E=2", attributeChanged, withNamelessFirst}, true, true, 0},
        {"a change of an attribute that the model lacks", {"E=2", attributeChanged, withStranger}, false, true, 0},
        {"an attribute without a name", {"E=2", objectCreated, withNameless}, false, true, 2},
        {"no values where three are counted", {"E=2", objectCreated, withNoValues}, false, true, 2},
        {"no string", {"E=2", objectCreated, withNoString}, false, true, 2},
        {"a struct without members", {"E=2", objectCreated, withNoMembers}, true, true, 0},
        {"an unknown type code of a value", {"E=2", objectCreated, withUnknownType}, false, true, 2},
        {"an unknown type of change", {"E=2", 99, none}, false, false, 0}};
    for (const EventCase& event : cases)
    {
        expectOutcome(event);
    }
}

}  // namespace
}  // namespace OrvTest
