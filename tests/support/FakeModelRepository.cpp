#include "FakeModelRepository.h"

#include "Nonsense.h"

namespace OrvTest
{

namespace
{

std::string classOfDn(const std::string& dn)
{
    const size_t component = dn.rfind(',') == std::string::npos ? 0 : dn.rfind(',') + 1;
    return dn.substr(component, dn.find('=', component) - component);
}

}  // namespace

void FakeModelRepository::addClass(const std::string& name, const std::vector<std::pair<std::string, bool>>& attributes)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _classes.push_back({name, attributes});
}

ZelReturnT FakeModelRepository::getMocFromDn(const char* dn, OrvOamSpiMocHandleT* moc)
{
    const int planned = _plan.enter("getMocFromDn");
    if (planned != 0)
    {
        return answerPlanned(planned, moc);
    }
    const std::lock_guard<std::mutex> lock(_mutex);
    const std::string name = classOfDn(dn);
    for (size_t i = 0; i < _classes.size(); ++i)
    {
        if (_classes[i].name == name)
        {
            *moc = i + 1;
            return OrvOk;
        }
    }
    return OrvNotFound;
}

ZelReturnT FakeModelRepository::getMocName(OrvOamSpiMocHandleT moc, const char** name)
{
    const int planned = _plan.enter("getMocName");
    if (planned != 0)
    {
        return answerPlanned(planned, name);
    }
    const std::lock_guard<std::mutex> lock(_mutex);
    if (moc == 0 || moc > _classes.size())
    {
        return OrvFailure;
    }
    *name = _classes[moc - 1].name.c_str();
    return OrvOk;
}

ZelReturnT FakeModelRepository::getFirstAttribute(OrvOamSpiMocHandleT moc, OrvOamSpiAttributeHandleT* attribute)
{
    const int planned = _plan.enter("getFirstAttribute");
    if (planned != 0)
    {
        return answerPlanned(planned, attribute);
    }
    const std::lock_guard<std::mutex> lock(_mutex);
    if (moc == 0 || moc > _classes.size())
    {
        return OrvFailure;
    }
    if (_classes[moc - 1].attributes.empty())
    {
        return OrvNotFound;
    }
    *attribute = moc * ATTRIBUTES_PER_CLASS;
    return OrvOk;
}

ZelReturnT FakeModelRepository::getNextAttribute(OrvOamSpiAttributeHandleT attribute, OrvOamSpiAttributeHandleT* next)
{
    const int planned = _plan.enter("getNextAttribute");
    if (planned != 0)
    {
        return answerPlanned(planned, next);
    }
    const std::lock_guard<std::mutex> lock(_mutex);
    const std::pair<std::string, bool>* found = nullptr;
    const ZelReturnT result = attributeAt(attribute + 1, &found);
    if (result == OrvOk)
    {
        *next = attribute + 1;
    }
    return result;
}

ZelReturnT FakeModelRepository::getAttributeName(OrvOamSpiAttributeHandleT attribute, const char** name)
{
    const int planned = _plan.enter("getAttributeName");
    if (planned != 0)
    {
        return answerPlanned(planned, name);
    }
    const std::lock_guard<std::mutex> lock(_mutex);
    const std::pair<std::string, bool>* found = nullptr;
    const ZelReturnT result = attributeAt(attribute, &found);
    if (result == OrvOk)
    {
        *name = found->first.c_str();
    }
    return result;
}

ZelReturnT FakeModelRepository::getAttributeNotifiable(OrvOamSpiAttributeHandleT attribute, bool* notifiable)
{
    const int planned = _plan.enter("getAttributeNotifiable");
    if (planned != 0)
    {
        return answerPlanned(planned, notifiable);
    }
    const std::lock_guard<std::mutex> lock(_mutex);
    const std::pair<std::string, bool>* found = nullptr;
    const ZelReturnT result = attributeAt(attribute, &found);
    if (result == OrvOk)
    {
        *notifiable = found->second;
    }
    return result;
}

ZelReturnT FakeModelRepository::attributeAt(OrvOamSpiAttributeHandleT handle,
                                            const std::pair<std::string, bool>** attribute) const
{
    const uint64_t moc = handle / ATTRIBUTES_PER_CLASS;
    const uint64_t place = handle % ATTRIBUTES_PER_CLASS;
    if (moc == 0 || moc > _classes.size())
    {
        return OrvFailure;
    }
    if (place >= _classes[moc - 1].attributes.size())
    {
        return OrvNotFound;
    }
    *attribute = &_classes[moc - 1].attributes[place];
    return OrvOk;
}

}  // namespace OrvTest
