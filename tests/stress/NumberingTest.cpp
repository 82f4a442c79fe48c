#include "Numbering.h"

#include <gtest/gtest.h>

namespace OrvStress
{
namespace
{

const Mark MARK = {3, 7, 1700000000000000, 5, 2};

TEST(MarkedRecord, SaysOfItselfWhatItWasMadeOf)
{
    MarkedRecord record(MARK);
    Mark mark = Mark();
    ASSERT_TRUE(parse(*record, mark));
    EXPECT_EQ(3u, mark.producer);
    EXPECT_EQ(7u, mark.number);
    EXPECT_EQ(1700000000000000, mark.stamp);
    EXPECT_EQ(5u, mark.turn);
    EXPECT_EQ(2u, mark.clock);
}

TEST(MarkedRecord, IsNotTakenForOneWhenAnyPartIsAnother)
{
    const auto parses = [](void (*change)(OrvOamSpiNbiNotificationValue_1&))
    {
        MarkedRecord record(MARK);
        change(*record);
        Mark mark = Mark();
        return parse(*record, mark);
    };
    typedef OrvOamSpiNbiNotificationValue_1 Record;
    EXPECT_TRUE(parses([](Record&) {}));
    EXPECT_FALSE(parses([](Record& record) { record.eventTime += 1; }));
    EXPECT_FALSE(parses([](Record& record) { record.notificationType = objectCreated; }));
    EXPECT_FALSE(parses([](Record& record) { record.dn = nullptr; }));
    EXPECT_FALSE(parses([](Record& record) { record.dn[0] = 'p'; }));
    EXPECT_FALSE(parses([](Record& record) { record.dn[sizeof("Producer=") - 1] = '5'; })) << "no such producer";
    EXPECT_FALSE(parses([](Record& record) { record.attributes = nullptr; }));
    EXPECT_FALSE(parses([](Record& record) { record.attributes[0] = nullptr; }));
    EXPECT_FALSE(parses([](Record& record) { record.attributes[0]->name = "other"; }));
    EXPECT_FALSE(parses([](Record& record) { record.attributes[0]->type = 7; }));
    EXPECT_FALSE(parses([](Record& record) { record.attributes[0]->noOfValues = 2; }));
    EXPECT_FALSE(parses([](Record& record) { record.attributes[0]->values[0].u64 += uint64_t(1) << 32; }));
}

TEST(Selection, CountsTheWantedNumbersOfAnOpenInterval)
{
    for (unsigned int types = 2; types < 16; types += 2)
    {
        const Selection selection = {1, types};
        for (uint32_t after = 0; after < 8; ++after)
        {
            for (uint32_t before = after + 1; before < 16; ++before)
            {
                uint32_t expected = 0;
                for (uint32_t number = after + 1; number < before; ++number)
                {
                    expected += selection.wantsType(typeOf(number)) ? 1 : 0;
                }
                EXPECT_EQ(expected, selection.count(after, before)) << types << " " << after << " " << before;
            }
        }
    }
}

}  // namespace
}  // namespace OrvStress
