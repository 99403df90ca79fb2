#include "common/damage_log.h"

#include <fmt/format.h>

namespace kelvcpx::app {

void DamageLog::damaged(const std::string& message)
{
    if (count_++ < shownAtMost)
        console_.message(fmt::format("damage: {}", message));
}

void DamageLog::summarise()
{
    if (count_ > shownAtMost)
        console_.message(fmt::format("damage: {} times in all, {} not shown", count_, count_ - shownAtMost));
}

} // namespace kelvcpx::app
