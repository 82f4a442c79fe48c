#pragma once

#include <stdexcept>
#include <string>

namespace OrvElement
{

// What the element tells its operator when model, data or an edit is refused: one line of text that names the file or
// the data path and the cause.
// Threads: as any value.
class ElementError : public std::runtime_error
{
public:
    // Line breaks in the text become blanks, so that a message stays one line whatever it quotes.
    explicit ElementError(const std::string& text) : std::runtime_error(oneLine(text)) {}

private:
    static std::string oneLine(std::string text)
    {
        for (char& c : text)
        {
            if (c == '\n' || c == '\r')
            {
                c = ' ';
            }
        }
        return text;
    }
};

}  // namespace OrvElement
