#include "common/output_file.h"

#include "common/errors.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

namespace kelvcpx::app {

namespace {

namespace fs = std::filesystem;

std::string nameOf(const std::string& path)
{
    return path == OutputFile::standardOutput ? "standard output" : path;
}

} // namespace

void refuseToOverwrite(const std::string& input, const std::string& output)
{
    // A terminal may be both, and what is not there yet is not the input.
    std::error_code notThere;
    if (output == OutputFile::standardOutput || !fs::is_regular_file(output, notThere))
        return;
    if (fs::equivalent(input == "-" ? "/dev/stdin" : input, output, notThere))
        throw UsageError(fmt::format("{} is the input: it will not be overwritten", output));
}

void refuseToMix(const std::string& first, const std::string& second)
{
    std::error_code error;
    if (first.empty() || second.empty() || fs::is_character_file(first, error)) // /dev/null takes everything
        return;
    const auto canonical = [&](const std::string& path) {
        return fs::weakly_canonical(fs::absolute(path, error), error);
    };
    if (canonical(first) == canonical(second))
        throw UsageError(fmt::format("two outputs cannot both go to {}", nameOf(first)));
}

OutputFile::OutputFile(std::string path) : path_(std::move(path))
{
    if (path_ == standardOutput)
        descriptor_ = ::dup(STDOUT_FILENO);
    else
        descriptor_ = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (descriptor_ < 0)
        fail(errno);
}

OutputFile::~OutputFile()
{
    if (descriptor_ >= 0)
        ::close(descriptor_);
}

void OutputFile::write(std::span<const uint8_t> bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
        if (written >= 0)
            bytes = bytes.subspan(static_cast<std::size_t>(written));
        else if (errno != EINTR)
            fail(errno);
    }
}

void OutputFile::write(std::string_view text)
{
    write({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
}

void OutputFile::close()
{
    if (::close(std::exchange(descriptor_, -1)) != 0)
        fail(errno);
}

void OutputFile::fail(int error) const
{
    const std::string message = fmt::format("cannot write {}: {}", nameOf(path_), std::strerror(error));
    if (error == EPIPE)
        throw OutputClosed(message);
    throw OutputError(message);
}

} // namespace kelvcpx::app
