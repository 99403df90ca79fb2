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

void refuseToOverwrite(const std::string& input, const std::string& output)
{
    std::error_code notThere; // which is fine: then it is not the input
    if (!output.empty() && std::filesystem::equivalent(input, output, notThere))
        throw UsageError(fmt::format("{} is the input: it will not be overwritten", output));
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
    const std::string name = path_ == standardOutput ? "standard output" : path_;
    const std::string message = fmt::format("cannot write {}: {}", name, std::strerror(error));
    if (error == EPIPE)
        throw OutputClosed(message);
    throw OutputError(message);
}

} // namespace kelvcpx::app
