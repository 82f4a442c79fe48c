#include "DnTranslation.h"

#include <algorithm>
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

// -1 for no digit.
int digitValue(char digit)
{
    if (digit >= '0' && digit <= '9')
    {
        return digit - '0';
    }
    return digit >= 'A' && digit <= 'F' ? digit - 'A' + 10 : -1;
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

std::vector<DnComponent> splitDn(const std::string& dn)
{
    std::vector<DnComponent> components;
    for (std::size_t begin = 0; begin <= dn.size();)
    {
        const std::size_t end = std::min(dn.find(',', begin), dn.size());
        const std::size_t equals = dn.find('=', begin);
        if (equals >= end)
        {
            return {};
        }
        components.push_back({dn.substr(begin, equals - begin), dn.substr(equals + 1, end - equals - 1)});
        begin = end + 1;
    }
    return components;
}

bool isRootComponent(const DnComponent& component, const std::string& elementName)
{
    return component.className == ROOT_CLASS && (component.key == ROOT_KEY || component.key == elementName);
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

std::string decodeKey(const std::string& text)
{
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        const bool encoded = text[i] == '%' && i + 2 < text.size();
        const int high = encoded ? digitValue(text[i + 1]) : -1;
        const int low = encoded ? digitValue(text[i + 2]) : -1;
        if (high < 0 || low < 0)
        {
            out += text[i];
            continue;
        }
        out += static_cast<char>(high << 4 | low);
        i += 2;
    }
    return out;
}

}  // namespace OrvElement
