// Messages for the person at the terminal, on standard error.
#pragma once

#include <chrono>
#include <string_view>

namespace kelvcpx::app {

class Console
{
public:
    Console();
    ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    // Whether somebody watches: only then is there a progress line.
    bool isTerminal() const { return terminal_; }

    // A line of its own, after "kelvcpx: ".
    void message(std::string_view text);

    // Whether the progress line is worth renewing: somebody watches, and the last one is a while ago.
    bool progressIsDue() const;
    void progress(std::string_view text);

private:
    using Clock = std::chrono::steady_clock;

    void eraseProgress();

    bool terminal_;
    bool progressShown_ = false;
    Clock::time_point lastProgress_;
};

} // namespace kelvcpx::app
