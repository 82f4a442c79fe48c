#include "Portal.h"

namespace Orv
{

namespace
{

const ZelMgmtSpiInterface_1 EVENT_ROUTER_ID = {"OrvOamSpiEventService", "OrvOamSpiEventRouter", "1"};
const ZelMgmtSpiInterface_1 MODEL_REPOSITORY_ID = {"OrvOamSpiModelRepositoryService", "OrvOamSpiModelRepository", "2"};

}  // namespace

ZelMgmtSpiInterface_1 Portal::COMP_ID = {"OrvCommonPortal", "OrvMgmtSpiInterfacePortal", "1"};

Portal* Portal::instance()
{
    static Portal theInstance;
    return &theInstance;
}

OrvOamSpiEventRouter_1* Portal::getEventRouter()
{
    return lookup(EVENT_ROUTER_ID, _eventRouter);
}

OrvOamSpiModelRepository_2* Portal::getModelRepository()
{
    return lookup(MODEL_REPOSITORY_ID, _modelRepository);
}

void Portal::setGetInterface(GetInterface getInterface)
{
    // Not valid while it changes: a lookup on another thread then asks instead of taking a cached pointer.
    _valid.store(false, std::memory_order_release);
    _getInterface.store(getInterface, std::memory_order_release);
    _eventRouter.store(nullptr, std::memory_order_release);
    _modelRepository.store(nullptr, std::memory_order_release);
    _valid.store(getInterface != nullptr, std::memory_order_release);
}

}  // namespace Orv
