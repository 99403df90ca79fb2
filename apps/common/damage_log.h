// Tells the user about damage, without flooding the terminal.
#pragma once

#include "common/console.h"
#include "common/decoder.h"

#include <cstdint>
#include <string>

namespace kelvcpx::app {

class DamageLog : public DamageListener
{
public:
    explicit DamageLog(Console& console) : console_(console) {}

    void damaged(const std::string& message) override;

    int64_t count() const { return count_; }

    // After the end: how many there were, if not all have been shown.
    void summarise();

private:
    static constexpr int64_t shownAtMost = 20;

    Console& console_;
    int64_t count_ = 0;
};

} // namespace kelvcpx::app
