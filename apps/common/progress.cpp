#include "common/progress.h"

#include <fmt/format.h>

namespace kelvcpx::app {

std::string Progress::summary() const
{
    const std::chrono::duration<double> elapsed = Clock::now() - start_;
    return fmt::format("{} picture{} in {:.2f} s, {:.1f} a second", pictures_, pictures_ == 1 ? "" : "s",
                       elapsed.count(), static_cast<double>(pictures_) / elapsed.count());
}

} // namespace kelvcpx::app
