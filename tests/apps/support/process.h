// Runs other programs.
#pragma once

#include <string>
#include <vector>

namespace kelvcpx::test {

struct ProcessResult {
    int exitCode = -1; // 128 + number if a signal ended it, as a shell has it
    std::string out;
    std::string err;
};

// Runs a program found by the PATH, without standard input, to its end. Throws if it cannot be started.
ProcessResult run(const std::vector<std::string>& command);

// Runs a program that the test cannot do without: throws, with its standard error, if it fails. Returns what
// it wrote to standard output.
std::string runOrThrow(const std::vector<std::string>& command);

// The words of a text, separated by spaces.
std::vector<std::string> words(const std::string& text);

} // namespace kelvcpx::test
