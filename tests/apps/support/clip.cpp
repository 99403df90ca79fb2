#include "apps/support/clip.h"

#include "apps/support/process.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <functional>
#include <iterator>

namespace kelvcpx::test {

namespace fs = std::filesystem;

fs::path testFile(const std::string& name)
{
    fs::path path = fs::path(KELVCPX_TEST_FILES) / name;
    fs::create_directories(path.parent_path());
    return path;
}

std::string contents(const fs::path& file)
{
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::vector<uint8_t> bytesOf(const fs::path& file)
{
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

fs::path storeStream(const std::string& name, std::span<const uint8_t> bytes)
{
    fs::path file = testFile("streams/" + name);
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return file;
}

fs::path makeClip(const std::string& name, const std::string& arguments)
{
    const std::size_t key = std::hash<std::string>()(arguments);
    fs::path clip = testFile("clips/" + std::to_string(key) + "/" + name);
    if (fs::exists(clip))
        return clip;
    // Tests run at the same time: each makes its own, and the last one stays. The name keeps its ending,
    // which tells ffmpeg the container.
    const fs::path partial = clip.parent_path() / (std::to_string(::getpid()) + "-" + name);
    std::vector<std::string> command = words("ffmpeg -nostdin -v error -y " + arguments);
    command.push_back(partial.string());
    runOrThrow(command);
    fs::rename(partial, clip);
    return clip;
}

std::vector<Frame> decodeWithFfmpeg(const fs::path& clip, const std::string& inputArguments)
{
    std::vector<std::string> command = words("ffmpeg -nostdin -v error " + inputArguments + " -i");
    command.push_back(clip.string());
    for (const std::string& word : words("-map 0:v:0 -fps_mode passthrough -strict -1 -f yuv4mpegpipe -"))
        command.push_back(word);
    return parseY4m(runOrThrow(command));
}

std::string pictureTypes(const fs::path& clip)
{
    std::vector<std::string> command =
        words("ffprobe -v error -select_streams v:0 -show_entries frame=pict_type -of csv=p=0");
    command.push_back(clip.string());
    std::string types = runOrThrow(command);
    std::erase_if(types, [](unsigned char letter) { return std::isalpha(letter) == 0; });
    return types;
}

} // namespace kelvcpx::test
