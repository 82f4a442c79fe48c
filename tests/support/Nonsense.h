#pragma once

#include "ZelOamSpiMoAttributeValue_3.h"
#include "ZelTypes.h"

namespace OrvTest
{

// What a call of a fake can be told to answer instead of a code: OrvOk, with an answer that makes no sense.
enum Nonsense
{
    saysNothing = 0x40000001,  // the answer is not written
    saysNull,                  // null for a pointer, a text or an array; false for a flag
    saysStrange                // a handle that was never given, a text that nobody knows, a type code outside the table
};

inline void setNull(void** answer)
{
    *answer = nullptr;
}
inline void setNull(const char** answer)
{
    *answer = nullptr;
}
template <typename Number>
void setNull(Number* answer)
{
    *answer = Number();
}
inline void setNull(ZelMoAttributeValueResult_3* answer)
{
    static ZelMoAttributeValueContainer_3 values = {ZelMoAttributeInt32_3, 3, nullptr};
    answer->value = &values;
}

inline void setStrange(bool* answer)
{
    *answer = true;
}
// A pointer that leads nowhere could not be told from a good one.
inline void setStrange(void** answer)
{
    *answer = nullptr;
}
inline void setStrange(const char** answer)
{
    *answer = "?";
}
template <typename Handle>
void setStrange(Handle* answer)
{
    *answer = static_cast<Handle>(0x7E57007E57007E57);
}
inline void setStrange(ZelMoAttributeValueResult_3* answer)
{
    static ZelMoAttributeValue_3 value = {};
    static ZelMoAttributeValueContainer_3 values = {99, 1, &value};
    answer->value = &values;
}

// The answer of a call for which something is planned: the code, or OrvOk with the nonsense in *answer.
template <typename Answer>
ZelReturnT answerPlanned(int planned, Answer* answer)
{
    switch (planned)
    {
        case saysNull:
            setNull(answer);
            return OrvOk;
        case saysStrange:
            setStrange(answer);
            return OrvOk;
        default:
            return planned == saysNothing ? static_cast<ZelReturnT>(OrvOk) : planned;
    }
}

}  // namespace OrvTest
