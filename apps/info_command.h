// `kelvcpx info`: what a file contains.
#pragma once

#include <string>

namespace kelvcpx::app {

// Prints on standard output and returns the exit code. Throws InputError, UnsupportedStream or OutputError.
int runInfo(const std::string& input);

} // namespace kelvcpx::app
