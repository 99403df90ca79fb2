// What the application throws and what the command returns to the shell. UnsupportedStream is in decoder.h.
#pragma once

#include <stdexcept>

namespace kelvcpx::app {

// The input cannot be opened, or is no video.
class InputError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// Options that contradict each other.
class UsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

enum ExitCode : int {
    exitOk = 0,      // everything that was asked for was decoded, and nothing of it was damaged
    exitFailure = 1, // damage was concealed, nothing could be decoded, or an output could not be written
    exitUsage = 2,   // the command line is wrong
};

} // namespace kelvcpx::app
