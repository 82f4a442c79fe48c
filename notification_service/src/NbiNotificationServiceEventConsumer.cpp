#include "NbiNotificationServiceEventConsumer.h"

#include <string>

#include "MeIdTranslator.h"
#include "ModelRepositoryWrapper.h"
#include "OrvException.h"
#include "OrvThreadLock.h"
#include "ServiceLog.h"

namespace OrvNbiNotificationService
{

typedef Orv::OrvThreadLock<Poco::FastMutex> ConsumerLock;

namespace
{

const std::string everyDn = ".*$";

// The same numbers on both sides, but only these.
int32_t toNbiNotificationType(int32_t notificationType)
{
    switch (notificationType)
    {
        case objectCreated:
        case objectDeleted:
        case attributeChanged:
        case overflowNotification:
            return notificationType;
        default:
            throw Orv::OrvException("Invalid Nbi Notification Type");
    }
}

}  // namespace

NbiNotificationServiceEventConsumer::NbiNotificationServiceEventConsumer()
    : _service(nullptr), _modelRepository(nullptr), _portal(nullptr), _started(false), _sequenceNumber(1)
{
}

NbiNotificationServiceEventConsumer::~NbiNotificationServiceEventConsumer() = default;

OrvReturnT NbiNotificationServiceEventConsumer::init(OrvMgmtSpiInterfacePortal_1* portal)
{
    NOTIF_TRACE(" >> ");
    _portal = portal;
    NOTIF_TRACE(" << ");
    return OrvOk;
}

OrvReturnT NbiNotificationServiceEventConsumer::start(OrvStateChangeReason)
{
    NOTIF_TRACE(" >> ");
    ConsumerLock lock(_mutex);
    if (_started)
    {
        return OrvOk;
    }
    const ZelMgmtSpiInterface_1 service = {"NbiNotificationServiceCM", "OrvOamSpiNbiNotificationService", "1"};
    // A success without a table is a failure, too: the first event would meet a null pointer.
    void* found = nullptr;
    if (_portal->getInterface(service, &found) != OrvOk || found == nullptr)
    {
        NOTIF_ERROR("Could not lookup Notification Service");
        return OrvFailure;
    }
    _service = static_cast<OrvOamSpiNbiNotificationService*>(found);

    const ZelMgmtSpiInterface_1 repository = {"OrvOamSpiModelRepositoryService", "OrvOamSpiModelRepository", "2"};
    found = nullptr;
    if (_portal->getInterface(repository, &found) != OrvOk || found == nullptr)
    {
        NOTIF_ERROR("Could not lookup Model Repository service");
        return OrvFailure;
    }
    _modelRepository = static_cast<OrvOamSpiModelRepository_2*>(found);

    _eventConsumer.start(everyDn, &NbiNotificationServiceEventConsumer::notify, *this);
    _started = true;
    NOTIF_TRACE(" << ");
    return OrvOk;
}

OrvReturnT NbiNotificationServiceEventConsumer::stop(OrvStateChangeReason)
{
    NOTIF_TRACE(" >> ");
    ConsumerLock lock(_mutex);
    if (_started)
    {
        _eventConsumer.stop();
        _started = false;
    }
    else
    {
        NOTIF_WARNING("Event Consumer received stop, but is already stopped.");
    }
    NOTIF_TRACE(" << ");
    return OrvOk;
}

void NbiNotificationServiceEventConsumer::notify(const ZelOamSpiCmEvent_Notification_1T& event)
{
    NOTIF_TRACE(" >> ");
    ConsumerLock lock(_mutex);
    if (!_started)
    {
        return;
    }
    try
    {
        for (ZelOamSpiCmEvent_TxOperation_1T** operation = event.txOperations; *operation != nullptr; ++operation)
        {
            translate(event, **operation);
        }
    }
    catch (...)
    {
        NOTIF_ERROR("Caught unhandled exception");
    }
    NOTIF_TRACE(" << ");
}

void NbiNotificationServiceEventConsumer::translate(const ZelOamSpiCmEvent_Notification_1T& event,
                                                    const ZelOamSpiCmEvent_TxOperation_1T& operation)
{
    std::string externalDn = Orv::MeIdTranslator::instance().toExternalDn(std::string(operation.dn));
    if (externalDn.empty())
    {
        NOTIF_ERROR("Incorrect Event received. The DN is null.");
        return;
    }
    NOTIF_TRACE("Received event with notification: eventTime: %llu, dn: %s, txHandle: %lu, notificationType: %d",
                static_cast<unsigned long long>(event.eventTime), externalDn.c_str(),
                static_cast<unsigned long>(event.txHandle), operation.notificationType);
    if (operation.notificationType == attributeChanged)
    {
        pushAttributeChanges(event, operation, externalDn);
    }
    else
    {
        push(event, operation, externalDn, operation.attributes);
    }
}

// One notification for each notifiable attribute. Its list is the tail of the event's own array, with the attribute in
// front.
void NbiNotificationServiceEventConsumer::pushAttributeChanges(const ZelOamSpiCmEvent_Notification_1T& event,
                                                               const ZelOamSpiCmEvent_TxOperation_1T& operation,
                                                               std::string& externalDn)
{
    if (operation.attributes[0] == nullptr)
    {
        NOTIF_ERROR(
            "Incorrect Event received from event source %d. Event type is AVC (%d) but the attribute list is NULL. "
            "Ignoring this AVC.",
            event.sourceIndicator, attributeChanged);
        return;
    }
    for (size_t i = 0; operation.attributes[i] != nullptr; ++i)
    {
        if (isAttrNotifiable(externalDn.c_str(), operation.attributes[i]->name))
        {
            push(event, operation, externalDn, &operation.attributes[i]);
        }
    }
}

void NbiNotificationServiceEventConsumer::push(const ZelOamSpiCmEvent_Notification_1T& event,
                                               const ZelOamSpiCmEvent_TxOperation_1T& operation,
                                               std::string& externalDn,
                                               ZelMoNamedAttributeValueContainer_3** attributes)
{
    OrvOamSpiNbiNotificationValue_1 notification;
    notification.eventTime = static_cast<int64_t>(event.eventTime / 1000);
    notification.dn = &externalDn[0];
    notification.txHandle = event.txHandle;
    // Before the type is looked at: a rejected type uses up a number.
    notification.sequenceNumber = static_cast<uint32_t>(_sequenceNumber++);
    notification.notificationType = toNbiNotificationType(operation.notificationType);
    notification.attributes = attributes;
    _service->pushNotification(notification);
}

bool NbiNotificationServiceEventConsumer::isAttrNotifiable(const char* dn, const char* attributeName) const
{
    NOTIF_TRACE("txOperation.dn = %s", dn);
    const Orv::ModRepWrap::Moc moc = Orv::ModRepWrap::Entry().getMocFromDn(dn);
    if (Orv::ModRepWrap::isHandleNull(moc.getHandle()))
    {
        NOTIF_ERROR("moc of mo %s is does not exist in the model", dn);
        return false;
    }
    for (Orv::ModRepWrap::AttributeIterator attribute = moc.attributesBegin(); attribute != moc.attributesEnd();
         ++attribute)
    {
        const Orv::ModRepWrap::AttrDescriptor descriptor = *attribute;
        // An attribute without a name is none that the model knows.
        if (attributeName == nullptr || descriptor.getName() != attributeName)
        {
            continue;
        }
        const bool notifiable = descriptor.isNotifiable();
        if (notifiable)
        {
            NOTIF_TRACE("attribute \"%s\" of moc \"%s\" is notifiable", attributeName, moc.getName().c_str());
        }
        else
        {
            NOTIF_TRACE("attribute \"%s\" of moc \"%s\" is NOT notifiable", attributeName, moc.getName().c_str());
        }
        return notifiable;
    }
    NOTIF_ERROR("Attribute \"%s\" does not exist in the model for moc \"%s\"", attributeName, moc.getName().c_str());
    return false;
}

}  // namespace OrvNbiNotificationService
