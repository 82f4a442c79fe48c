#include "LibyangErrors.h"

#include <libyang/libyang.h>

namespace OrvElement
{
namespace
{

std::string withoutFullStop(const char* text)
{
    std::string result(text);
    if (!result.empty() && result.back() == '.')
    {
        result.pop_back();
    }
    return result;
}

}  // namespace

void quietLibyang()
{
    ly_log_level(LY_LLERR);
    ly_log_options(LY_LOSTORE);
}

std::string takeLibyangError(const ly_ctx* context)
{
    std::string text = "libyang gives no reason";
    if (const ly_err_item* item = ly_err_first(context))
    {
        text = withoutFullStop(item->msg ? item->msg : "");
        if (item->path && *item->path)
        {
            text += " (" + withoutFullStop(item->path) + ")";
        }
    }
    // The constness of the context does not extend to the messages of this thread.
    ly_err_clean(const_cast<ly_ctx*>(context), nullptr);
    return text;
}

}  // namespace OrvElement
