// The H.261 and H.263 decoders against an independent one, on streams of an independent encoder.
#include "apps/support/clip.h"
#include "apps/support/encoded_stream.h"

#include <gtest/gtest.h>

#include <string>

namespace kelvcpx::test {

class VideophoneVideo : public testing::TestWithParam<EncodedStream>
{
};

TEST_P(VideophoneVideo, DecodesAsTheReferenceDoes)
{
    const EncodedStream& stream = GetParam();
    // H.261 has no picture types: every twelfth picture is intra.
    const std::string group = "IPPPPPPPPPPP";
    expectDecodesAsReference(makeClip(stream.file, stream.arguments), group + group,
                             stream.bounds.value_or(Bounds{50, 42}));
}

namespace {

std::string source(const std::string& graph, const std::string& size = "352x288")
{
    return testSource(graph, size, "-frames:v 24 -g 12 -threads 1");
}

const std::string h261 = "-c:v h261 ";
const std::string h263 = "-c:v h263 ";
const std::string h263p = "-c:v h263p ";
const std::string noise = "-vf noise=alls=60:allf=t ";

const EncodedStream streams[] = {
    {"H261", "a.h261", source("testsrc2") + h261 + "-q:v 4"},
    {"H261Qcif", "a.h261", source("testsrc2", "176x144") + h261 + "-q:v 2"},
    {"H261LoopFilter", "a.mkv", source("mandelbrot") + h261 + "-flags +loop -q:v 6"},
    {"H261LoopFilterCoarse", "a.h261", source("testsrc2") + h261 + "-flags +loop -q:v 15"},
    {"H261Noise", "a.h261", source("testsrc2") + noise + h261 + "-q:v 1"},
    {"Baseline", "a.h263", source("testsrc2") + h263 + "-q:v 4"},
    {"SubQcif", "a.h263", source("mandelbrot", "128x96") + h263 + "-q:v 3"},
    {"Qcif", "a.3gp", source("testsrc2", "176x144") + h263 + "-q:v 31"},
    {"FourCif", "a.h263", source("mandelbrot", "704x576") + h263 + "-q:v 3"},
    {"BaselineNoise", "a.h263", source("testsrc2") + noise + h263 + "-q:v 1"},
    {"GobHeaders", "a.h263", source("testsrc2") + h263 + "-ps 300 -q:v 5"},
    {"ModifiedQuantisation", "a.h263", source("testsrc2") + h263p + "-q:v 1"},
    {"AdvancedIntra", "a.h263", source("testsrc2") + h263p + "-flags +aic -q:v 5"},
    {"Deblocking", "a.h263", source("testsrc2") + h263p + "-flags +loop -q:v 9"},
    {"FourVectors", "a.mkv", source("testsrc2") + h263p + "-flags +mv4 -q:v 5"},
    {"UnrestrictedVectors", "a.h263", source("mandelbrot") + h263p + "-umv 1 -q:v 5"},
    {"Overlapped", "a.h263", source("mandelbrot") + h263p + "-obmc 1 -q:v 5"},
    // The reference decoder takes some vectors of the neighbour on the right for others than its encoder
    // does.
    {"OverlappedFourVectors", "a.h263", source("testsrc2") + h263 + "-obmc 1 -flags +mv4 -q:v 5",
     Bounds{50, 38}},
    {"Slices", "a.h263", source("testsrc2") + h263p + "-structured_slices 1 -ps 300 -q:v 5"},
    {"Everything", "a.h263",
     source("mandelbrot") + h263p + "-flags +aic+loop+mv4 -umv 1 -obmc 1 -structured_slices 1 -ps 500 -q:v 5",
     Bounds{50, 38}},
    {"CustomSize", "a.h263", source("testsrc2", "324x244") + h263p + "-flags +aic+loop+mv4 -q:v 3"},
    {"CustomSizeNoise", "a.h263",
     source("testsrc2", "720x480") + noise + h263p + "-flags +aic+loop+mv4 -umv 1 -q:v 2"},
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Ffmpeg, VideophoneVideo, testing::ValuesIn(streams), nameOf);

} // namespace kelvcpx::test
