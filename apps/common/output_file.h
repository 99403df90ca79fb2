// A file, or standard output, whose every write error is seen.
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kelvcpx::app {

class OutputError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// The reader of a pipe wants no more. Nothing to complain about, but no reason to go on either.
class OutputClosed : public OutputError
{
public:
    using OutputError::OutputError;
};

// Throws UsageError if the output, which may be empty, is the very file that is read. "-" is standard input
// and standard output.
void refuseToOverwrite(const std::string& input, const std::string& output);

// Throws UsageError if two outputs, which may be empty, are one file.
void refuseToMix(const std::string& first, const std::string& second);

class OutputFile
{
public:
    static constexpr std::string_view standardOutput = "-";

    explicit OutputFile(std::string path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Unbuffered: hand over a picture or a line at a time.
    void write(std::span<const uint8_t> bytes);
    void write(std::string_view text);

    // Reports what the system kept back until now. Without it, the destructor closes the file silently.
    void close();

private:
    [[noreturn]] void fail(int error) const;

    std::string path_;
    int descriptor_;
};

} // namespace kelvcpx::app
