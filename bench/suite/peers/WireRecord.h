#pragma once

#include <cstddef>
#include <memory>

#include "OrvOamSpiNbiNotificationService_1.h"

namespace OrvBench
{

// A record as bytes, for peers that carry nothing else: numbers as this machine has them, strings with their
// terminators. Values may be of any code but 13, a struct.

// Bytes that encode will write. std::runtime_error for a struct.
size_t encodedSize(const OrvOamSpiNbiNotificationValue_1& record);
void encode(const OrvOamSpiNbiNotificationValue_1& record, char* to);

// A record made of bytes that encode has written: one block of memory, in which everything stands.
class DecodedRecord
{
public:
    // The bytes need not be aligned, and are not looked at afterwards.
    DecodedRecord(const void* bytes, size_t size);

    const OrvOamSpiNbiNotificationValue_1& operator*() const { return *_record; }

private:
    std::unique_ptr<char[]> _block;
    OrvOamSpiNbiNotificationValue_1* _record;
};

}  // namespace OrvBench
