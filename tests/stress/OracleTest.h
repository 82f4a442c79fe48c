// The stage for the tests of the oracle.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "Oracle.h"

namespace OrvStress
{

const unsigned int LIMIT = 4;
const int64_t HOUR = 3600 * 1000000LL;  // longer than any test is held up

// An oracle with a ledger that the test keeps: records are pushed without a service, and given to it as the test wants.
class OracleTest : public testing::Test
{
protected:
    OracleTest() : ledger(complaints), oracle(ledger, complaints, LIMIT) { ledger.endRestart(0); }

    Mark push(unsigned int producer)
    {
        const Mark mark = ledger.begin(producer);
        ledger.end(mark, OrvOk);
        return mark;
    }

    void subscribe(const Wish& wish = Wish(), int64_t covered = 1)
    {
        oracle.open("a subscriber", wish, covered);
        oracle.subscribed(covered);
    }

    void give(const Mark& mark, OrvReturnT answer = OrvOk)
    {
        MarkedRecord record(mark);
        oracle.received(*record);
        oracle.answered(answer);
    }

    // As a subtree filter that reaches down to the records makes it of a live delete.
    void giveDerived(const Mark& mark)
    {
        MarkedRecord record(mark);
        (*record).attributes = nullptr;
        oracle.received(*record);
        oracle.answered(OrvOk);
    }

    void giveControl(int32_t type, int64_t time, OrvReturnT answer = OrvOk, const Mark* deletion = nullptr)
    {
        OrvOamSpiNbiNotificationValue_1 record = OrvOamSpiNbiNotificationValue_1();
        std::string dn = deletion != nullptr ? dnOf(*deletion) : "";
        record.dn = deletion != nullptr ? &dn[0] : nullptr;
        record.eventTime = time;
        record.notificationType = type;
        oracle.received(record);
        oracle.answered(answer);
    }

    void changeClock(int64_t newTime, bool told)
    {
        ledger.beginClockChange(newTime);
        if (told)
        {
            ledger.discarded();
        }
        ledger.endClockChange();
    }

    // A replay from here on.
    static Wish replayFrom(const Checkpoint& from)
    {
        Wish wish;
        wish.startTime = from.time;
        wish.fromCheckpoint = true;
        wish.from = from;
        return wish;
    }

    Complaints complaints;
    Ledger ledger;
    Oracle oracle;
};

}  // namespace OrvStress
