#include "FakeManagedObjects.h"

#include <cstring>
#include <deque>

#include "Nonsense.h"

namespace OrvTest
{

namespace
{

// The nth transaction, counted from 1, is this plus n.
const unsigned long FIRST_TRANSACTION = 0x5000000000UL;
// A class's handle is its place from 1, times this; an attribute's is its class's plus its place from 1.
const uint64_t CLASS_STEP = 0x300000000ULL;
const uint64_t PROPERTIES_OF_ATTRIBUTE = 0x8000000000000000ULL;
const unsigned char UNUSED_BYTES = 0xA5;

std::string classOfDn(const std::string& dn)
{
    const size_t component = dn.rfind(',') == std::string::npos ? 0 : dn.rfind(',') + 1;
    return dn.substr(component, dn.find('=', component) - component);
}

std::string textOf(const char* text)
{
    return text == nullptr ? "(null)" : text;
}

}  // namespace

ModelValue numberValue(int64_t number)
{
    ModelValue value;
    value.number = number;
    return value;
}

ModelValue realValue(double real)
{
    ModelValue value;
    value.real = real;
    return value;
}

ModelValue textValue(const std::string& text)
{
    ModelValue value;
    value.text = text;
    return value;
}

ModelValue nullTextValue()
{
    ModelValue value;
    value.nullText = true;
    return value;
}

ModelValue structValue(const std::vector<MemberOfStruct>& members)
{
    ModelValue value;
    value.members = members;
    return value;
}

ModelValue nullStructValue()
{
    return structValue({});
}

// What one read gave. Each piece has an allocation of its own, so that a use after its end is seen.
struct FakeManagedObjects::Result
{
    ZelMoAttributeValueContainer_3* container(ZelOamSpiMoAttributeType_3 type, const std::vector<ModelValue>& given)
    {
        _values.emplace_back(new ZelMoAttributeValue_3[given.size()]);
        ZelMoAttributeValue_3* const values = _values.back().get();
        for (size_t i = 0; i < given.size(); ++i)
        {
            values[i] = value(type, given[i]);
        }
        _containers.push_back(std::make_unique<ZelMoAttributeValueContainer_3>());
        *_containers.back() = {type, static_cast<uint32_t>(given.size()), values};
        return _containers.back().get();
    }

private:
    const char* text(const ModelValue& given)
    {
        if (given.nullText)
        {
            return nullptr;
        }
        return kept(given.text);
    }

    char* kept(const std::string& given)
    {
        _texts.emplace_back(new char[given.size() + 1]);
        std::memcpy(_texts.back().get(), given.c_str(), given.size() + 1);
        return _texts.back().get();
    }

    ZelMoStructMember_3* list(const std::vector<MemberOfStruct>& given)
    {
        ZelMoStructMember_3* head = nullptr;
        for (auto member = given.rbegin(); member != given.rend(); ++member)
        {
            std::unique_ptr<ZelMoStructMember_3> added = std::make_unique<ZelMoStructMember_3>();
            added->memberName = member->nullName ? nullptr : kept(member->name);
            added->memberValue = member->nullValue ? nullptr : container(member->type, member->values);
            added->next = head;
            head = added.get();
            _members.push_back(std::move(added));
        }
        return head;
    }

    ZelMoAttributeValue_3 value(ZelOamSpiMoAttributeType_3 type, const ModelValue& given)
    {
        ZelMoAttributeValue_3 value;
        std::memset(&value, UNUSED_BYTES, sizeof(value));
        switch (type)
        {
            case ZelMoAttributeInt8_3:
            case ZelMoAttributeUint8_3:
            case ZelMoAttributeBoolean_3:
                value.u8 = static_cast<uint8_t>(given.number);
                break;
            case ZelMoAttributeInt16_3:
            case ZelMoAttributeUint16_3:
                value.u16 = static_cast<uint16_t>(given.number);
                break;
            case ZelMoAttributeInt32_3:
            case ZelMoAttributeUint32_3:
                value.u32 = static_cast<uint32_t>(given.number);
                break;
            case ZelMoAttributeString_3:
            case ZelMoAttributeReference_3:
                value.str = text(given);
                break;
            case ZelMoAttributeStruct_3:
                value.structMembers = list(given.members);
                break;
            case ZelMoAttributeDouble_3:
                value.f64 = given.real;
                break;
            default:
                value.i64 = given.number;
                break;
        }
        return value;
    }

    std::deque<std::unique_ptr<ZelMoAttributeValue_3[]>> _values;
    std::deque<std::unique_ptr<ZelMoAttributeValueContainer_3>> _containers;
    std::deque<std::unique_ptr<ZelMoStructMember_3>> _members;
    std::deque<std::unique_ptr<char[]>> _texts;
};

void FakeManagedObjects::setAttribute(const std::string& dn, const std::string& name, ZelOamSpiMoAttributeType_3 type,
                                      const std::vector<ModelValue>& values)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _objects[dn][name] = {type, values};
}

void FakeManagedObjects::setInt32(const std::string& dn, const std::string& name, int32_t value)
{
    setAttribute(dn, name, ZelMoAttributeInt32_3, {numberValue(value)});
}

void FakeManagedObjects::setString(const std::string& dn, const std::string& name, const std::string& value)
{
    setAttribute(dn, name, ZelMoAttributeString_3, {textValue(value)});
}

void FakeManagedObjects::setStruct(const std::string& dn, const std::string& name,
                                   const std::vector<MemberOfStruct>& members)
{
    setAttribute(dn, name, ZelMoAttributeStruct_3, {structValue(members)});
}

void FakeManagedObjects::setNoValue(const std::string& dn, const std::string& name)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _objects[dn][name] = {0, {}, true};
}

void FakeManagedObjects::setNullValues(const std::string& dn, const std::string& name, ZelOamSpiMoAttributeType_3 type,
                                       uint32_t count)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _objects[dn][name] = {type, {}, false, count};
}

void FakeManagedObjects::setStatus(int32_t status)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _status = status;
}

void FakeManagedObjects::removeAttribute(const std::string& dn, const std::string& name)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _objects[dn].erase(name);
}

void FakeManagedObjects::removeObject(const std::string& dn)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _objects.erase(dn);
}

void FakeManagedObjects::addKeyClass(const std::string& name,
                                     const std::vector<std::pair<std::string, bool>>& attributes)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _classes.push_back(std::make_unique<Class>(Class{name, attributes}));
}

void FakeManagedObjects::walkPastTheEnd()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _walksPastTheEnd = true;
}

void FakeManagedObjects::answerNullNames()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _answersNullNames = true;
}

void FakeManagedObjects::leaveFlagsUnwritten()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _writesFlags = false;
}

void FakeManagedObjects::leaveNamesUnwritten()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _writesNames = false;
}

unsigned int FakeManagedObjects::opened() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _opened;
}

unsigned int FakeManagedObjects::closed() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _closed;
}

std::vector<unsigned long> FakeManagedObjects::openHandles() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    std::vector<unsigned long> handles;
    for (const auto& transaction : _open)
    {
        handles.push_back(transaction.first);
    }
    return handles;
}

unsigned int FakeManagedObjects::misuses() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _misuses;
}

std::vector<std::string> FakeManagedObjects::calls() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _calls;
}

void FakeManagedObjects::clearCalls()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _calls.clear();
}

ZelReturnT FakeManagedObjects::openTransaction(unsigned int mode, unsigned int timeout, unsigned long* transaction)
{
    note("openTransaction(" + std::to_string(mode) + ", " + std::to_string(timeout) + ")");
    const int planned = _plan.enter("openTransaction");
    if (planned != 0)
    {
        return answerPlanned(planned, transaction);
    }
    const std::lock_guard<std::mutex> lock(_mutex);
    *transaction = FIRST_TRANSACTION + ++_opened;
    _open[*transaction];
    return OrvOk;
}

ZelReturnT FakeManagedObjects::closeTransaction(unsigned long transaction)
{
    note("closeTransaction(" + transactionName(transaction) + ")");
    const int planned = _plan.enter("closeTransaction");
    if (planned != 0)
    {
        return planned;
    }
    const std::lock_guard<std::mutex> lock(_mutex);
    if (_open.erase(transaction) == 0)
    {
        return misuse();
    }
    ++_closed;
    return OrvOk;
}

ZelReturnT FakeManagedObjects::getMoAttribute(unsigned long transaction, const char* dn, const char* attributeName,
                                              ZelMoAttributeValueResult_3* result)
{
    note("getMoAttribute(" + transactionName(transaction) + ", " + textOf(dn) + ", " + textOf(attributeName) + ")");
    const int planned = _plan.enter("getMoAttribute");
    if (planned != 0)
    {
        return answerPlanned(planned, result);
    }
    const std::lock_guard<std::mutex> lock(_mutex);
    const auto open = _open.find(transaction);
    if (open == _open.end() || dn == nullptr || attributeName == nullptr)
    {
        return misuse();
    }
    const auto object = _objects.find(dn);
    if (object == _objects.end() || object->second.count(attributeName) == 0)
    {
        return OrvNotFound;
    }
    const Data& data = object->second.at(attributeName);
    const std::shared_ptr<Result> given = std::make_shared<Result>();
    open->second.push_back(given);
    result->status = _status;
    result->value = data.noValue ? nullptr : given->container(data.type, data.values);
    if (data.nullValues != 0)
    {
        result->value->noOfValues = data.nullValues;
        result->value->values = nullptr;
    }
    return OrvOk;
}

ZelReturnT FakeManagedObjects::getMocFromDn(const char* dn, unsigned int selector, uint64_t* moc)
{
    note("getMocFromDn(" + textOf(dn) + ", " + std::to_string(selector) + ")");
    const int planned = _plan.enter("repository3.getMocFromDn");
    if (planned != 0)
    {
        return answerPlanned(planned, moc);
    }
    const std::lock_guard<std::mutex> lock(_mutex);
    const std::string name = classOfDn(dn);
    for (size_t i = 0; i < _classes.size(); ++i)
    {
        if (_classes[i]->name == name)
        {
            *moc = (i + 1) * CLASS_STEP;
            return OrvOk;
        }
    }
    return OrvNotFound;
}

ZelReturnT FakeManagedObjects::getFirstAttribute(uint64_t moc, uint64_t* attribute)
{
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        const Class* const found = classAt(moc);
        _calls.push_back("getFirstAttribute(" + (found == nullptr ? std::string("?") : found->name) + ")");
    }
    const int planned = _plan.enter("repository3.getFirstAttribute");
    if (planned != 0)
    {
        return answerPlanned(planned, attribute);
    }
    const std::lock_guard<std::mutex> lock(_mutex);
    const Class* const found = classAt(moc);
    if (found == nullptr)
    {
        return misuse();
    }
    if (found->attributes.empty())
    {
        return OrvNotFound;
    }
    *attribute = moc + 1;
    return OrvOk;
}

ZelReturnT FakeManagedObjects::getNextAttribute(uint64_t attribute, uint64_t* next)
{
    note("getNextAttribute(" + attributeName(attribute) + ")");
    const int planned = _plan.enter("repository3.getNextAttribute");
    if (planned != 0)
    {
        return answerPlanned(planned, next);
    }
    const std::lock_guard<std::mutex> lock(_mutex);
    if (attributeAt(attribute) == nullptr)
    {
        return misuse();
    }
    if (attributeAt(attribute + 1) == nullptr && !_walksPastTheEnd)
    {
        return OrvNotFound;
    }
    *next = attribute + 1;
    return OrvOk;
}

ZelReturnT FakeManagedObjects::getAttributeFlag(uint64_t attribute, unsigned int selector, bool* flag)
{
    note("getAttributeFlag(" + attributeName(attribute) + ", " + std::to_string(selector) + ")");
    const int planned = _plan.enter("repository3.getAttributeFlag");
    if (planned != 0)
    {
        return answerPlanned(planned, flag);
    }
    const std::lock_guard<std::mutex> lock(_mutex);
    const std::pair<std::string, bool>* const found = attributeAt(attribute);
    if (found == nullptr)
    {
        return _walksPastTheEnd && attributeAt(attribute - 1) != nullptr ? static_cast<ZelReturnT>(OrvNotFound)
                                                                         : misuse();
    }
    if (_writesFlags)
    {
        *flag = found->second;
    }
    return OrvOk;
}

ZelReturnT FakeManagedObjects::getGeneralProperties(uint64_t attribute, uint64_t* properties)
{
    note("getGeneralProperties(" + attributeName(attribute) + ")");
    const int planned = _plan.enter("repository3.getGeneralProperties");
    if (planned != 0)
    {
        return answerPlanned(planned, properties);
    }
    const std::lock_guard<std::mutex> lock(_mutex);
    if (attributeAt(attribute) == nullptr)
    {
        return misuse();
    }
    *properties = attribute ^ PROPERTIES_OF_ATTRIBUTE;
    return OrvOk;
}

ZelReturnT FakeManagedObjects::getPropertyText(uint64_t properties, unsigned int selector, const char** text)
{
    const uint64_t attribute = properties ^ PROPERTIES_OF_ATTRIBUTE;
    note("getPropertyText(" + attributeName(attribute) + ", " + std::to_string(selector) + ")");
    const int planned = _plan.enter("repository3.getPropertyText");
    if (planned != 0)
    {
        return answerPlanned(planned, text);
    }
    const std::lock_guard<std::mutex> lock(_mutex);
    const std::pair<std::string, bool>* const found = attributeAt(attribute);
    if (found == nullptr)
    {
        return misuse();
    }
    if (_writesNames)
    {
        *text = _answersNullNames ? nullptr : found->first.c_str();
    }
    return OrvOk;
}

void FakeManagedObjects::note(const std::string& call)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _calls.push_back(call);
}

// With _mutex held.
ZelReturnT FakeManagedObjects::misuse()
{
    ++_misuses;
    return OrvFailure;
}

std::string FakeManagedObjects::transactionName(unsigned long transaction) const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    const bool given = transaction > FIRST_TRANSACTION && transaction <= FIRST_TRANSACTION + _opened;
    return given ? "T" + std::to_string(transaction - FIRST_TRANSACTION) : "?";
}

std::string FakeManagedObjects::attributeName(uint64_t attribute) const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    const std::pair<std::string, bool>* const found = attributeAt(attribute);
    return found == nullptr ? "?" : _classes[attribute / CLASS_STEP - 1]->name + "." + found->first;
}

// With _mutex held.
const FakeManagedObjects::Class* FakeManagedObjects::classAt(uint64_t moc) const
{
    const uint64_t place = moc / CLASS_STEP;
    return moc % CLASS_STEP != 0 || place == 0 || place > _classes.size() ? nullptr : _classes[place - 1].get();
}

// With _mutex held.
const std::pair<std::string, bool>* FakeManagedObjects::attributeAt(uint64_t attribute) const
{
    const uint64_t place = attribute % CLASS_STEP;
    const Class* const found = classAt(attribute - place);
    return found == nullptr || place == 0 || place > found->attributes.size() ? nullptr : &found->attributes[place - 1];
}

}  // namespace OrvTest
