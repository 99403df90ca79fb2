// Damaged H.264 streams with what the random streams lack: CABAC, macroblock pairs, deep samples, 4:2:2.
#include "apps/support/clip.h"
#include "fuzz/damage.h"

#include "h264/decoder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace kelvcpx::test {
namespace {

TEST(DamagedH264Video, IsDecodedAsFarAsPossible)
{
    const std::string kinds[] = {
        "-pix_fmt yuv420p -x264-params bframes=3:ref=4",
        "-pix_fmt yuv420p -x264-params tff=1:bframes=3:direct=temporal:slices=2",
        "-pix_fmt yuv420p -x264-params cabac=0:bff=1:bframes=2:constrained-intra=1",
        "-pix_fmt yuv422p10le -x264-params tff=1:bframes=1:cqm=jvt",
        "-pix_fmt yuv420p10le -x264-params cabac=0:bframes=1:weightp=2",
        "-pix_fmt yuv420p -x264-params qp=0:tff=1",
    };
    std::vector<std::vector<uint8_t>> streams;
    for (const std::string& kind : kinds) {
        std::ifstream in(makeClip("damaged.264", "-f lavfi -i testsrc2=size=96x80:rate=25 -frames:v 8 "
                                                 "-c:v libx264 -threads 1 " +
                                                     kind + " -f h264"),
                         std::ios::binary);
        streams.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    DamageSearch search([&](int64_t number, Random& random, auto& listener, auto& sink) {
        const auto& stream = streams[static_cast<std::size_t>(number) % streams.size()];
        const auto decoder = app::h264::makeDecoder({}, listener);
        decodeInPackets(*decoder, damagedCopy(stream, 0, random), random, sink);
    });
    constexpr int copies = 300;
    search.run(0, copies);
    const DamageSearch::Outcome& outcome = search.outcome();
    EXPECT_EQ(outcome.failures, 0);
    EXPECT_LT(outcome.unsupported, copies / 10);
    EXPECT_GT(outcome.reports, 0);
    EXPECT_GT(outcome.pictures, 5 * copies);
}

} // namespace
} // namespace kelvcpx::test
