#pragma once

#include <string>

namespace OrvElement
{

// One line on standard error that says what is being done, replaced by the next and removed at the end. Nothing at all
// if standard error is no terminal.
// Threads: one at a time.
class Progress
{
public:
    Progress();
    ~Progress();  // removes the line

    void show(const std::string& text);
    void clear();

    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

private:
    const bool _onTerminal;
    bool _shown = false;
};

}  // namespace OrvElement
