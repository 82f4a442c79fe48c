#include "MoUtils.h"

#include <cstring>
#include <new>

#include "OrvException.h"

namespace Orv
{

namespace
{

// Every record starts at a multiple of eight in the block because the records stand first and their sizes are
// multiples of eight; the strings stand behind them.
static_assert(sizeof(ZelMoNamedAttributeValueContainer_3) % 8 == 0, "records stand side by side");
static_assert(sizeof(ZelMoAttributeValueContainer_3) % 8 == 0, "records stand side by side");
static_assert(sizeof(ZelMoStructMember_3) % 8 == 0, "records stand side by side");
static_assert(sizeof(ZelMoAttributeValue_3) % 8 == 0, "records stand side by side");
static_assert(alignof(ZelMoStructMember_3) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__, "operator new aligns the block");

enum class Kind
{
    Plain,
    Text,
    Struct
};

Kind kindOf(ZelOamSpiMoAttributeType_3 type, const char* attribute)
{
    switch (type)
    {
        case ZelMoAttributeInt8_3:
        case ZelMoAttributeInt16_3:
        case ZelMoAttributeInt32_3:
        case ZelMoAttributeInt64_3:
        case ZelMoAttributeUint8_3:
        case ZelMoAttributeUint16_3:
        case ZelMoAttributeUint32_3:
        case ZelMoAttributeUint64_3:
        case ZelMoAttributeBoolean_3:
        case ZelMoAttributeEnumeration_3:
        case ZelMoAttributeDouble_3:
            return Kind::Plain;
        case ZelMoAttributeString_3:
        case ZelMoAttributeReference_3:
            return Kind::Text;
        case ZelMoAttributeStruct_3:
            return Kind::Struct;
        default:
            throw OrvException("Attribute %s: values of type code %d cannot be copied", attribute, type);
    }
}

const char* textOf(ZelOamSpiMoAttributeType_3 type, const ZelMoAttributeValue_3& value)
{
    return type == ZelMoAttributeString_3 ? value.str : value.ref;
}

// The first walk: checks the source, and adds up the bytes that its copy needs.
class Survey
{
public:
    explicit Survey(const ZelMoNamedAttributeValueContainer_3& source) : _attribute(source.name)
    {
        _records = sizeof(source);
        addText(source.name, "name");
        addValues(source.type, source.noOfValues, source.values, 0);
    }

    size_t records() const { return _records; }
    size_t total() const
    {
        size_t sum = 0;
        grow(sum, _records);
        grow(sum, _texts);
        return sum;
    }

private:
    void grow(size_t& sum, size_t bytes) const
    {
        if (__builtin_add_overflow(sum, bytes, &sum))
        {
            throw OrvException("Attribute %s is too large for a copy", _attribute);
        }
    }

    void addText(const char* text, const char* what)
    {
        if (text == nullptr)
        {
            throw OrvException("Attribute %s: null instead of a %s", _attribute, what);
        }
        grow(_texts, strlen(text) + 1);
    }

    void addValues(ZelOamSpiMoAttributeType_3 type, uint32_t count, const ZelMoAttributeValue_3* values, int depth)
    {
        const Kind kind = kindOf(type, _attribute);
        if (kind == Kind::Struct && depth == MoUtils::MAX_STRUCT_DEPTH)
        {
            throw OrvException("Attribute %s: structs are nested deeper than %d", _attribute,
                               static_cast<int>(MoUtils::MAX_STRUCT_DEPTH));
        }
        if (count == 0)
        {
            return;
        }
        if (values == nullptr)
        {
            throw OrvException("Attribute %s: null instead of %u values", _attribute, count);
        }
        grow(_records, sizeof(*values) * static_cast<size_t>(count));
        for (uint32_t i = 0; kind != Kind::Plain && i < count; ++i)
        {
            if (kind == Kind::Text)
            {
                addText(textOf(type, values[i]), "string");
            }
            else
            {
                addMembers(values[i].structMembers, depth + 1);
            }
        }
    }

    void addMembers(const ZelMoStructMember_3* member, int depth)
    {
        for (; member != nullptr; member = member->next)
        {
            if (_members == MoUtils::MAX_STRUCT_MEMBERS)
            {
                throw OrvException("Attribute %s has more than %d struct members", _attribute,
                                   static_cast<int>(MoUtils::MAX_STRUCT_MEMBERS));
            }
            ++_members;
            addText(member->memberName, "struct member's name");
            if (member->memberValue == nullptr)
            {
                throw OrvException("Attribute %s: null instead of the value of struct member %s", _attribute,
                                   member->memberName);
            }
            grow(_records, sizeof(*member) + sizeof(*member->memberValue));
            addValues(member->memberValue->type, member->memberValue->noOfValues, member->memberValue->values, depth);
        }
    }

    const char* const _attribute;
    size_t _records = 0;
    size_t _texts = 0;
    int _members = 0;
};

// The second walk: fills a block that the survey has measured.
class Writer
{
public:
    Writer(void* block, size_t records)
        : _nextRecord(static_cast<char*>(block)), _nextText(static_cast<char*>(block) + records)
    {
    }

    ZelMoNamedAttributeValueContainer_3* write(const ZelMoNamedAttributeValueContainer_3& source)
    {
        auto* const copy = new (take<ZelMoNamedAttributeValueContainer_3>(1)) ZelMoNamedAttributeValueContainer_3;
        copy->name = writeText(source.name);
        copy->type = source.type;
        copy->noOfValues = source.noOfValues;
        copy->values = writeValues(source.type, source.noOfValues, source.values);
        return copy;
    }

private:
    template <typename Record>
    void* take(size_t count)
    {
        char* const place = _nextRecord;
        _nextRecord += sizeof(Record) * count;
        return place;
    }

    char* writeText(const char* text)
    {
        char* const copy = _nextText;
        _nextText = stpcpy(copy, text) + 1;
        return copy;
    }

    ZelMoAttributeValue_3* writeValues(ZelOamSpiMoAttributeType_3 type, uint32_t count,
                                       const ZelMoAttributeValue_3* values)
    {
        if (count == 0)
        {
            return nullptr;
        }
        auto* const copies = static_cast<ZelMoAttributeValue_3*>(take<ZelMoAttributeValue_3>(count));
        memcpy(copies, values, sizeof(*values) * count);
        for (uint32_t i = 0; i < count; ++i)
        {
            if (type == ZelMoAttributeString_3)
            {
                copies[i].str = writeText(values[i].str);
            }
            else if (type == ZelMoAttributeReference_3)
            {
                copies[i].ref = writeText(values[i].ref);
            }
            else if (type == ZelMoAttributeStruct_3)
            {
                copies[i].structMembers = writeMembers(values[i].structMembers);
            }
        }
        return copies;
    }

    ZelMoStructMember_3* writeMembers(const ZelMoStructMember_3* member)
    {
        ZelMoStructMember_3* head = nullptr;
        ZelMoStructMember_3** link = &head;
        for (; member != nullptr; member = member->next)
        {
            auto* const copy = new (take<ZelMoStructMember_3>(1)) ZelMoStructMember_3;
            auto* const value = new (take<ZelMoAttributeValueContainer_3>(1)) ZelMoAttributeValueContainer_3;
            copy->memberName = writeText(member->memberName);
            copy->memberValue = value;
            copy->next = nullptr;
            value->type = member->memberValue->type;
            value->noOfValues = member->memberValue->noOfValues;
            value->values = writeValues(value->type, value->noOfValues, member->memberValue->values);
            *link = copy;
            link = &copy->next;
        }
        return head;
    }

    char* _nextRecord;
    char* _nextText;
};

}  // namespace

ZelMoNamedAttributeValueContainer_3* MoUtils::copyAttributeValueContainer(
    const ZelMoNamedAttributeValueContainer_3* source)
{
    if (source == nullptr)
    {
        throw OrvException("Null instead of an attribute");
    }
    const Survey survey(*source);
    Writer writer(::operator new(survey.total()), survey.records());
    return writer.write(*source);
}

void MoUtils::deleteAttributeValueContainer(ZelMoNamedAttributeValueContainer_3* container) noexcept
{
    ::operator delete(container);
}

}  // namespace Orv
