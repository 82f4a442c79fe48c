// What libyang has to say when it refuses something. It keeps its messages with the context, per thread.
#pragma once

#include <string>

struct ly_ctx;

namespace OrvElement
{

// libyang prints to standard error by itself unless told otherwise. Its setting is one per process.
void quietLibyang();

// The first message since the last call, which is the cause when later ones follow from it, with libyang's path; the
// thread's messages are then forgotten. Never empty.
std::string takeLibyangError(const ly_ctx* context);

}  // namespace OrvElement
