#include "apps/support/encoded_stream.h"

#include "apps/support/clip.h"
#include "apps/support/frames.h"

#include <vector>

namespace kelvcpx::test {

const std::string referenceArguments = "-threads 1 -idct faani ";

void PrintTo(const EncodedStream& stream, std::ostream* out)
{
    *out << stream.file << ": " << stream.arguments;
}

std::string nameOf(const testing::TestParamInfo<EncodedStream>& info)
{
    return info.param.name;
}

std::string testSource(const std::string& graph, const std::string& size, const std::string& options)
{
    return "-f lavfi -i " + graph + "=size=" + size + ":rate=25 " + options + " ";
}

void expectDecodesAsReference(const std::filesystem::path& file, const std::string& types, Bounds bounds)
{
    const DecodedStream ours = decodeInProcess(file);
    EXPECT_EQ(ours.damage, std::vector<std::string>());
    expectClose(ours.frames, decodeWithFfmpeg(file, referenceArguments), types, bounds);
}

} // namespace kelvcpx::test
