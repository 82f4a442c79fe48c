#include "WireRecord.h"

#include <cstring>
#include <new>
#include <stdexcept>

namespace OrvBench
{

namespace
{

// The bytes: a Head, then for each attribute an AttributeHead, the name and the values, then the DN. A value is eight
// bytes, or a string.
struct Head
{
    int64_t eventTime;
    uint32_t txHandle;
    uint32_t sequenceNumber;
    int32_t notificationType;
    uint32_t attributes;
    uint32_t values;  // of all attributes together
};

struct AttributeHead
{
    ZelOamSpiMoAttributeType_3 type;
    uint32_t noOfValues;
};

bool isText(ZelOamSpiMoAttributeType_3 type)
{
    return type == ZelMoAttributeString_3 || type == ZelMoAttributeReference_3;
}

uint32_t countAttributes(const OrvOamSpiNbiNotificationValue_1& record)
{
    uint32_t count = 0;
    while (record.attributes != nullptr && record.attributes[count] != nullptr)
    {
        ++count;
    }
    return count;
}

class Writer
{
public:
    explicit Writer(char* to) : _next(to) {}

    template <typename Plain>
    void put(const Plain& plain)
    {
        memcpy(_next, &plain, sizeof(plain));
        _next += sizeof(plain);
    }

    void putText(const char* text) { _next = stpcpy(_next, text) + 1; }

private:
    char* _next;
};

class Reader
{
public:
    explicit Reader(char* from) : _next(from) {}

    template <typename Plain>
    Plain get()
    {
        Plain plain;
        memcpy(&plain, _next, sizeof(plain));
        _next += sizeof(plain);
        return plain;
    }

    char* getText()
    {
        char* const text = _next;
        _next += strlen(text) + 1;
        return text;
    }

private:
    char* _next;
};

}  // namespace

size_t encodedSize(const OrvOamSpiNbiNotificationValue_1& record)
{
    const uint32_t count = countAttributes(record);
    size_t size = sizeof(Head) + count * sizeof(AttributeHead) + strlen(record.dn) + 1;
    for (uint32_t i = 0; i < count; ++i)
    {
        const ZelMoNamedAttributeValueContainer_3& attribute = *record.attributes[i];
        if (attribute.type == ZelMoAttributeStruct_3)
        {
            throw std::runtime_error("a struct cannot be sent as bytes");
        }
        size += strlen(attribute.name) + 1;
        for (uint32_t value = 0; value < attribute.noOfValues; ++value)
        {
            size += isText(attribute.type) ? strlen(attribute.values[value].str) + 1 : sizeof(ZelMoAttributeValue_3);
        }
    }
    return size;
}

void encode(const OrvOamSpiNbiNotificationValue_1& record, char* to)
{
    Head head = {record.eventTime,        record.txHandle,         record.sequenceNumber,
                 record.notificationType, countAttributes(record), 0};
    for (uint32_t i = 0; i < head.attributes; ++i)
    {
        head.values += record.attributes[i]->noOfValues;
    }
    Writer writer(to);
    writer.put(head);
    for (uint32_t i = 0; i < head.attributes; ++i)
    {
        const ZelMoNamedAttributeValueContainer_3& attribute = *record.attributes[i];
        writer.put(AttributeHead{attribute.type, attribute.noOfValues});
        writer.putText(attribute.name);
        for (uint32_t value = 0; value < attribute.noOfValues; ++value)
        {
            if (isText(attribute.type))
            {
                writer.putText(attribute.values[value].str);
            }
            else
            {
                writer.put(attribute.values[value]);
            }
        }
    }
    writer.putText(record.dn);
}

DecodedRecord::DecodedRecord(const void* bytes, size_t size) : _record(nullptr)
{
    typedef ZelMoNamedAttributeValueContainer_3 Attribute;
    Head head;
    memcpy(&head, bytes, sizeof(head));
    const size_t records = sizeof(*_record) + head.attributes * sizeof(Attribute) +
                           head.values * sizeof(ZelMoAttributeValue_3) + (head.attributes + 1) * sizeof(Attribute*);
    // Not std::make_unique, which would set all of it to zero first.
    _block.reset(new char[records + size]);
    memcpy(_block.get() + records, bytes, size);

    _record = new (_block.get()) OrvOamSpiNbiNotificationValue_1;
    auto* const attributes = reinterpret_cast<Attribute*>(_record + 1);
    auto* values = reinterpret_cast<ZelMoAttributeValue_3*>(attributes + head.attributes);
    auto** const pointers = reinterpret_cast<Attribute**>(values + head.values);

    Reader reader(_block.get() + records + sizeof(head));
    for (uint32_t i = 0; i < head.attributes; ++i)
    {
        const auto attributeHead = reader.get<AttributeHead>();
        const char* const name = reader.getText();
        pointers[i] = new (&attributes[i]) Attribute{name, attributeHead.type, attributeHead.noOfValues, values};
        for (uint32_t value = 0; value < attributeHead.noOfValues; ++value, ++values)
        {
            if (isText(attributeHead.type))
            {
                values->str = reader.getText();
            }
            else
            {
                *values = reader.get<ZelMoAttributeValue_3>();
            }
        }
    }
    pointers[head.attributes] = nullptr;
    *_record = {head.eventTime, reader.getText(), head.txHandle, head.sequenceNumber, head.notificationType, pointers};
}

}  // namespace OrvBench
