#pragma once

#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace OrvTest
{

// Zeroed memory for plain records, each piece a block of its own, so that the address sanitizer sees whoever reads past
// one or after the end of it.
// Threads:   one.
// Ownership: all that it gives is lent until its end; addresses stay.
class Blocks
{
public:
    Blocks() = default;

    template <typename T>
    T* make(size_t count = 1)
    {
        std::shared_ptr<T> block(new T[count](), std::default_delete<T[]>());
        _blocks.push_back(block);
        return block.get();
    }

    char* copy(const std::string& text)
    {
        char* const block = make<char>(text.size() + 1);
        std::memcpy(block, text.data(), text.size());
        return block;
    }

    Blocks(const Blocks&) = delete;
    Blocks& operator=(const Blocks&) = delete;

private:
    std::vector<std::shared_ptr<void>> _blocks;
};

}  // namespace OrvTest
