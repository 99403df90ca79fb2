#include "apps/support/process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace kelvcpx::test {

namespace {

class Pipe
{
public:
    Pipe()
    {
        if (::pipe2(ends_.data(), O_CLOEXEC) != 0)
            throw std::system_error(errno, std::generic_category(), "pipe");
    }
    ~Pipe()
    {
        closeEnd(0);
        closeEnd(1);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int readEnd() const { return ends_[0]; }
    int writeEnd() const { return ends_[1]; }
    void closeWriteEnd() { closeEnd(1); }

private:
    void closeEnd(std::size_t end)
    {
        if (ends_[end] >= 0)
            ::close(std::exchange(ends_[end], -1));
    }

    std::array<int, 2> ends_{-1, -1};
};

pid_t spawn(const std::vector<std::string>& command, const Pipe& out, const Pipe& err)
{
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& word : command)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, out.writeEnd(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err.writeEnd(), STDERR_FILENO);
    pid_t pid = 0;
    const int error = ::posix_spawnp(&pid, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::system_error(error, std::generic_category(), command.at(0));
    return pid;
}

// Reads what is there; stops watching at the end.
void drain(pollfd& source, std::string& text)
{
    if ((source.revents & (POLLIN | POLLHUP)) == 0)
        return;
    std::array<char, 65536> buffer;
    const ssize_t count = ::read(source.fd, buffer.data(), buffer.size());
    if (count > 0)
        text.append(buffer.data(), static_cast<std::size_t>(count));
    else
        source.fd = -1;
}

} // namespace

ProcessResult run(const std::vector<std::string>& command)
{
    Pipe out;
    Pipe err;
    const pid_t pid = spawn(command, out, err);
    out.closeWriteEnd();
    err.closeWriteEnd();

    ProcessResult result;
    std::array<pollfd, 2> sources{pollfd{out.readEnd(), POLLIN, 0}, pollfd{err.readEnd(), POLLIN, 0}};
    while (sources[0].fd >= 0 || sources[1].fd >= 0) {
        ::poll(sources.data(), sources.size(), -1);
        drain(sources[0], result.out);
        drain(sources[1], result.err);
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

std::string runOrThrow(const std::vector<std::string>& command)
{
    ProcessResult result = run(command);
    if (result.exitCode == 0)
        return std::move(result.out);
    std::string line;
    for (const std::string& word : command)
        line += word + ' ';
    throw std::runtime_error(line + "failed: " + result.err);
}

std::vector<std::string> words(const std::string& text)
{
    std::istringstream in(text);
    std::vector<std::string> result;
    for (std::string word; in >> word;)
        result.push_back(word);
    return result;
}

} // namespace kelvcpx::test
