#pragma once

#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include "ShellTest.h"

namespace OrvTest
{

// What one call of pushNotification brought.
struct Pushed
{
    int64_t eventTime;
    std::string dn;
    uint32_t txHandle;
    uint32_t sequenceNumber;
    int32_t type;
    ZelMoNamedAttributeValueContainer_3** attributes;  // the pointer itself
    std::vector<std::string> names;
};

// The event consumer alone, with a service behind the portal that keeps what is pushed. The model knows a class Port
// with the attributes a, b and c, of which a and c are notifiable, and a class Bare without attributes.
class IntakeTest : public ShellTest
{
protected:
    IntakeTest();
    ~IntakeTest() override;

    OrvReturnT startConsumer() { return consumer().start(ZelStateChangeActivate); }

    // A translation: DNs that begin with "Hidden" have no external form, the others are put below "External=1".
    static std::string translation(const std::string& internalDn);

    // One field of everything that was pushed.
    template <typename Member>
    static auto collect(Member member)
    {
        std::vector<std::decay_t<decltype(Pushed().*member)>> values;
        for (const Pushed& call : pushed)
        {
            values.push_back(call.*member);
        }
        return values;
    }

    static OrvReturnT recordPush(OrvOamSpiNbiNotificationValue_1T& record);

    // Written by the pushing thread. The service's functions carry no context, hence static.
    static std::vector<Pushed> pushed;
    static std::function<void()> whenPushed;
    static OrvReturnT pushAnswer;

private:
    OrvOamSpiNbiNotificationService _service;
    ZelMgmtSpiInterface_1* _offered[2];
    ZelMgmtSpiComponent _record;
};

}  // namespace OrvTest
