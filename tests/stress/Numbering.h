#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "OrvOamSpiNbiNotificationService_1.h"

namespace OrvStress
{

// The producers number their records from 1, without a hole, whatever becomes of them. A record carries its number, so
// that a subscriber's records can be judged by numbers alone: nothing grows with what has been pushed.
const unsigned int PRODUCERS = 5;
typedef std::array<uint32_t, PRODUCERS> Numbers;  // one number for each producer

const char ATTRIBUTE[] = "mark";
const char OBJECT_CLASS[] = "Stamp";  // of the last component of every DN

// Microseconds since the Unix epoch.
int64_t systemTime();

// What a record says of itself.
struct Mark
{
    unsigned int producer;
    uint32_t number;
    int64_t stamp;   // its event time; no two records of the process have the same one
    uint32_t turn;   // drawn from one counter before the push, so a push that ended before another began is lower
    uint32_t clock;  // Ledger::clock() before the push
};

// 1 to 3, by turns.
int32_t typeOf(uint32_t number);
std::string dnOf(const Mark& mark);

// Reads a DN back: producer, number and stamp. False if it is none of dnOf's.
bool parseDn(const char* dn, Mark& mark);

// Reads all of a record. False if it is not what the producer of such a record has pushed.
bool parse(const OrvOamSpiNbiNotificationValue_1& record, Mark& mark);
// The same for what a subtree filter makes of a delete, which has no attributes. Its mark says that the clock was just
// being changed, from which nothing follows.
bool parseDerived(const OrvOamSpiNbiNotificationValue_1& record, Mark& mark);

// A record that says so of itself. Not to be moved.
class MarkedRecord
{
public:
    explicit MarkedRecord(const Mark& mark);
    OrvOamSpiNbiNotificationValue_1& operator*() { return _record; }

    MarkedRecord(const MarkedRecord&) = delete;
    MarkedRecord& operator=(const MarkedRecord&) = delete;

private:
    std::string _dn;
    ZelMoAttributeValue_3 _value;
    ZelMoNamedAttributeValueContainer_3 _attribute;
    ZelMoNamedAttributeValueContainer_3* _attributes[2];
    OrvOamSpiNbiNotificationValue_1 _record;
};
// The value of its attribute.
uint64_t valueOf(const Mark& mark);

// Some of the producers and some of the types: what a subscriber wants.
struct Selection
{
    unsigned int producers;  // bit p stands for producer p
    unsigned int types;      // bit t stands for type t

    static Selection everything();
    bool wants(unsigned int producer) const { return (producers >> producer & 1) != 0; }
    bool wantsType(int32_t type) const { return (types >> type & 1) != 0; }
    // How many numbers of the open interval have a type that is wanted.
    uint32_t count(uint32_t after, uint32_t before) const;
};

}  // namespace OrvStress
