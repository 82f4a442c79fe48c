// Must not compile: one wrong format, chosen on the compiler's command line.
#include "Log.h"
#include "OrvException.h"

void wrong()
{
#if defined(WRONG_LOG)
    ORV_LOG(Orv::Trace::Common, 3, "%s", 1);
#elif defined(WRONG_TRACE)
    ORV_TRACE(Orv::Trace::Common, "%d", "text");
#elif defined(WRONG_EXCEPTION)
    throw Orv::OrvException("%d %s", 1);
#endif
}
