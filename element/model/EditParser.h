#pragma once

#include <string>

#include "DataTree.h"

namespace OrvElement
{

// Parse data without validating them: configuration only, every node known to the model. Both throw ElementError.
// Threads: any.

// Startup data: no node may carry an operation.
DataTree parseStartup(const ly_ctx* context, const std::string& text, EditFormat format);

// An edit: nodes may carry operations; the tree may hold leaves without value (see leafWithoutValue).
DataTree parseEdit(const ly_ctx* context, const std::string& text, EditFormat format);

}  // namespace OrvElement
