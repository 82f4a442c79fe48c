#include "DnTranslation.h"

#include <cstddef>

namespace OrvElement
{
namespace
{

std::string exchangeRoot(const std::string& dn, const std::string& from, const std::string& to)
{
    const std::string root = std::string(ROOT_CLASS) + "=" + from;
    const bool isRoot = dn.compare(0, root.size(), root) == 0 && (dn.size() == root.size() || dn[root.size()] == ',');
    return isRoot ? std::string(ROOT_CLASS) + "=" + to + dn.substr(root.size()) : std::string();
}

void appendEncoded(std::string& out, unsigned char byte)
{
    static const char digits[] = "0123456789ABCDEF";
    out += '%';
    out += digits[byte >> 4];
    out += digits[byte & 0x0F];
}

// U+0080 to U+009F: in UTF-8 the byte C2 and one of 80 to 9F.
bool startsC1Control(const std::string& text, std::size_t at)
{
    if (static_cast<unsigned char>(text[at]) != 0xC2 || at + 1 >= text.size())
    {
        return false;
    }
    const unsigned char second = static_cast<unsigned char>(text[at + 1]);
    return second >= 0x80 && second <= 0x9F;
}

}  // namespace

std::string internalToExternal(const std::string& dn, const std::string& elementName)
{
    return exchangeRoot(dn, ROOT_KEY, elementName);
}

std::string externalToInternal(const std::string& dn, const std::string& elementName)
{
    return exchangeRoot(dn, elementName, ROOT_KEY);
}

std::string encodeKey(const std::string& key, bool alsoSemicolon)
{
    std::string out;
    out.reserve(key.size());
    for (std::size_t i = 0; i < key.size(); ++i)
    {
        const unsigned char byte = static_cast<unsigned char>(key[i]);
        if (startsC1Control(key, i))
        {
            appendEncoded(out, byte);
            ++i;
            appendEncoded(out, static_cast<unsigned char>(key[i]));
        }
        else if (byte < 0x20 || byte == 0x7F || byte == '%' || byte == ',' || byte == '=' ||
                 (alsoSemicolon && byte == ';'))
        {
            appendEncoded(out, byte);
        }
        else
        {
            out += key[i];
        }
    }
    return out;
}

}  // namespace OrvElement
