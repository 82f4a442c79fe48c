#pragma once

#include <atomic>
#include <string>

namespace Orv
{

// Turns DNs from the framework's internal form into the external form.
// Threads: toExternalDn from any; setTranslation by the host, before a component is started.
class MeIdTranslator
{
public:
    typedef std::string (*Translation)(const std::string& internalDn);

    static MeIdTranslator& instance();

    // The external form, or an empty string if the DN has none. What the translation throws passes.
    std::string toExternalDn(const std::string& internalDn) const;

    // Null for the identity, which is the default.
    void setTranslation(Translation translation);

    MeIdTranslator(const MeIdTranslator&) = delete;
    MeIdTranslator& operator=(const MeIdTranslator&) = delete;

private:
    MeIdTranslator() = default;
    ~MeIdTranslator() = default;

    std::atomic<Translation> _translation{nullptr};
};

}  // namespace Orv
