#include "common/console.h"

#include <fmt/format.h>
#include <unistd.h>

#include <string>

namespace kelvcpx::app {

namespace {

constexpr std::chrono::milliseconds progressInterval{200};

// Nothing sensible can be done if the terminal is gone.
void show(const std::string& text)
{
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
}

} // namespace

Console::Console() : terminal_(::isatty(STDERR_FILENO) == 1), lastProgress_(Clock::now()) {}

Console::~Console()
{
    eraseProgress();
}

void Console::message(std::string_view text)
{
    eraseProgress();
    show(fmt::format("kelvcpx: {}\n", text));
}

bool Console::progressIsDue() const
{
    return terminal_ && Clock::now() - lastProgress_ >= progressInterval;
}

void Console::progress(std::string_view text)
{
    eraseProgress();
    show(std::string(text));
    progressShown_ = true;
    lastProgress_ = Clock::now();
}

void Console::eraseProgress()
{
    if (progressShown_)
        show("\r\x1b[K");
    progressShown_ = false;
}

} // namespace kelvcpx::app
