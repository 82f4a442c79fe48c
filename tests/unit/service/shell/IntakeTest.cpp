#include "IntakeTest.h"

#include "MeIdTranslator.h"

namespace OrvTest
{

std::vector<Pushed> IntakeTest::pushed;
std::function<void()> IntakeTest::whenPushed;
OrvReturnT IntakeTest::pushAnswer;

IntakeTest::IntakeTest() : _service(), _offered{&_service.id, nullptr}, _record()
{
    pushed.clear();
    whenPushed = nullptr;
    pushAnswer = OrvOk;
    _service.id = {"NbiNotificationServiceCM", "OrvOamSpiNbiNotificationService", "1"};
    _service.pushNotification = recordPush;
    _record.interfaceArray = _offered;
    framework.registerComponent(&_record);
    consumer().init(static_cast<OrvMgmtSpiInterfacePortal_1*>(framework.accessor()->getPortal("1")));
    framework.model().addClass("Port", {{"a", true}, {"b", false}, {"c", true}});
    framework.model().addClass("Bare", {});
    framework.plan().clearCalls();
}

IntakeTest::~IntakeTest()
{
    Orv::MeIdTranslator::instance().setTranslation(nullptr);
    consumer().stop(ZelStateChangeDeactivate);
    framework.unregisterComponent(&_record);
}

std::string IntakeTest::translation(const std::string& internalDn)
{
    return internalDn.rfind("Hidden", 0) == 0 ? "" : "External=1," + internalDn;
}

OrvReturnT IntakeTest::recordPush(OrvOamSpiNbiNotificationValue_1T& record)
{
    Pushed call = {record.eventTime,  record.dn, record.txHandle, record.sequenceNumber, record.notificationType,
                   record.attributes, {}};
    for (ZelMoNamedAttributeValueContainer_3** attribute = record.attributes; *attribute != nullptr; ++attribute)
    {
        call.names.push_back((*attribute)->name);
    }
    pushed.push_back(call);
    if (whenPushed)
    {
        whenPushed();
    }
    return pushAnswer;
}

}  // namespace OrvTest
