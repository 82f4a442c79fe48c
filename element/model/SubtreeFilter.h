#pragma once

#include <string>
#include <vector>

#include "ElementError.h"
#include "SubtreeArena.h"
#include "YangModel.h"

namespace OrvElement
{

// A text that is no subtree filter of the model: the text, the path of what is wrong in it, and the reason.
// Threads: as any value.
class SubtreeError : public ElementError
{
public:
    using ElementError::ElementError;
};

// A subtree filter as the notification service takes it: trees of the model's classes and attributes, made from texts.
// Threads:   one while it is built; the service reads the trees from any afterwards.
// Ownership: the trees live as long as this object, whatever becomes of the model. The service does not copy them: it
//            must be kept until the subscription has been removed.
// Failure:   the constructor throws SubtreeError.
class SubtreeFilter
{
public:
    // Each text is a path, which begins with "/", XML, which begins with "<", or "@" and the name of a file with XML.
    // An object passes the filter if it passes one of the trees of one of the texts. There must be a text.
    SubtreeFilter(const YangModel& model, const std::vector<std::string>& texts);

    // With a null pointer at the end; at least one.
    OrvOamSpiNbiNotificationSubTree_1** trees() const { return _trees; }

    SubtreeFilter(const SubtreeFilter&) = delete;
    SubtreeFilter& operator=(const SubtreeFilter&) = delete;

private:
    SubtreeArena _arena;
    OrvOamSpiNbiNotificationSubTree_1** _trees = nullptr;
};

}  // namespace OrvElement
