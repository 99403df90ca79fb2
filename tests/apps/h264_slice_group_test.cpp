// Slice groups, arbitrary slice order and redundant slices, which no independent decoder at hand knows: the
// same pictures come out of streams with them and without.
#include "apps/h264_random_headers.h"
#include "apps/h264_random_slice_groups.h"
#include "apps/h264_random_stream.h"
#include "apps/h264_random_syntax.h"
#include "apps/support/close_pictures.h"
#include "apps/support/frames.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <vector>

namespace kelvcpx::test {
namespace {

using namespace app::h264;

void expectSamePictures(const std::vector<uint8_t>& bytes, const std::vector<uint8_t>& expectedBytes,
                        std::size_t count)
{
    const DecodedStream stream = decodeInProcess("h264", bytes);
    const DecodedStream expected = decodeInProcess("h264", expectedBytes);
    EXPECT_EQ(stream.damage, std::vector<std::string>());
    EXPECT_EQ(expected.damage, std::vector<std::string>());
    EXPECT_EQ(expected.frames.size(), count);
    expectSamePictures(stream.frames, expected.frames);
}

// Pictures of samples without prediction and of skipped macroblocks between them, which are the same whatever
// slice they are in. The deblocking filter is at work where the two meet.
class PlainStream
{
public:
    PlainStream(const SequenceParameterSet& sequence, const PictureParameterSet& set, bool fields,
                uint32_t seed)
        : sequence_(sequence), set_(set), fields_(fields), random_(seed), disorder_(seed)
    {}

    std::vector<uint8_t> write(int frames)
    {
        append(nalUnit(3, 7, sequenceParameterSet(sequence_)));
        append(nalUnit(3, 8, pictureParameterSet(set_, sequence_)));
        for (int i = 0; i < frames; i++) {
            SliceHeader header;
            header.nalRefIdc = 1;
            header.qp = 45;
            header.idr = i == 0;
            header.frameNum = i;
            header.fieldPicture = fields_;
            header.pocLsb = 2 * i;
            for (int field = 0; field < (fields_ ? 2 : 1); field++) {
                header.bottomField = field == 1;
                writePicture(header);
                header.idr = false;
            }
        }
        return std::move(bytes_);
    }

private:
    void append(const std::vector<uint8_t>& unit) { bytes_.insert(bytes_.end(), unit.begin(), unit.end()); }

    void writePicture(SliceHeader header)
    {
        header.type = header.idr ? SliceType::i : SliceType::p;
        header.refCount = {1, 0};
        header.sliceGroupChangeCycle = drawSliceGroupChangeCycle(set_, sequence_, disorder_);
        const int rows = sequence_.heightInMbs() / (fields_ ? 2 : 1);
        std::vector<uint32_t> contents(static_cast<std::size_t>(sequence_.widthInMbs * rows));
        for (uint32_t& content : contents)
            content = header.idr || random_.oneIn(3) ? random_.uniform<uint32_t>(1) : 0;
        std::vector<std::vector<uint8_t>> slices;
        for (const std::vector<int>& group : macroblocksOfGroups(set_, sequence_, header))
            for (const std::vector<int>& slice : cutIntoSlices(group, disorder_))
                slices.push_back(writeSlice(header, slice, contents));
        shuffle(slices, disorder_);
        for (const std::vector<uint8_t>& slice : slices)
            append(slice);
    }

    std::vector<uint8_t> writeSlice(SliceHeader header, const std::vector<int>& slice,
                                    const std::vector<uint32_t>& contents)
    {
        header.firstMb = slice.front();
        BitWriter bits;
        putSliceHeader(bits, header, sequence_, set_, false);
        uint32_t skipped = 0;
        for (const int address : slice) {
            const uint32_t content = contents[static_cast<std::size_t>(address)];
            if (content == 0) {
                skipped++;
                continue;
            }
            if (header.type == SliceType::p)
                putUe(bits, std::exchange(skipped, 0));
            putUe(bits, header.type == SliceType::p ? 30 : 25); // I_PCM
            bits.align();
            Random samples(content);
            for (int i = 0; i < 384; i++)
                bits.put(samples.uniform(0, 255), 8);
        }
        if (skipped > 0)
            putUe(bits, skipped);
        return nalUnit(header.nalRefIdc, header.idr ? 5 : 1, bits);
    }

    const SequenceParameterSet& sequence_;
    const PictureParameterSet& set_;
    bool fields_;
    Random random_;   // the pictures
    Random disorder_; // how they are cut
    std::vector<uint8_t> bytes_;
};

} // namespace

struct PlainKind {
    bool frameMbsOnly;
    bool fields;
};

class H264SliceGroups : public testing::TestWithParam<PlainKind>
{
};

TEST_P(H264SliceGroups, PlaceTheirMacroblocks)
{
    constexpr int frames = 6;
    constexpr int perType = 8;
    for (int i = 0; i < sliceGroupMapTypes * perType; i++) {
        SCOPED_TRACE("map type " + std::to_string(i % sliceGroupMapTypes) + ", seed " + std::to_string(i));
        const auto seed = static_cast<uint32_t>(i);
        Random random(seed);
        SequenceParameterSet sequence;
        sequence.profileIdc = 88;
        sequence.levelIdc = 30;
        sequence.maxNumRefFrames = 1;
        sequence.widthInMbs = random.uniform(1, 9);
        sequence.heightInMapUnits = random.uniform(1, 8);
        sequence.frameMbsOnly = GetParam().frameMbsOnly;
        sequence.direct8x8Inference = true;
        PictureParameterSet set;
        const auto plain = PlainStream(sequence, set, GetParam().fields, seed).write(frames);
        drawSliceGroups(set, sequence, i % sliceGroupMapTypes, random);
        const auto grouped = PlainStream(sequence, set, GetParam().fields, seed).write(frames);
        expectSamePictures(grouped, plain, frames);
    }
}

INSTANTIATE_TEST_SUITE_P(Pictures, H264SliceGroups,
                         testing::Values(PlainKind{true, false}, PlainKind{false, false},
                                         PlainKind{false, true}));

// What is in the slices depends on all that a slice may look at; the groups are drawn by lot, and so is the
// order of the slices. Behind them come slices that must not be looked at.
TEST(H264Slices, ComeInAnyOrder)
{
    for (const PictureStructures structures : {PictureStructures::frames, PictureStructures::mixed}) {
        for (uint32_t seed = 1; seed <= 8; seed++) {
            SCOPED_TRACE("seed " + std::to_string(seed));
            RandomH264Options options{.seed = seed,
                                      .structures = structures,
                                      .macroblockPairs = seed % 2 == 0,
                                      .types = "IPBBPBiBBPPIPBB",
                                      .extendedProfile = true,
                                      .sliceGroups = seed > 2};
            const RandomH264Stream ordered = makeRandomH264Stream(options);
            options.arbitrarySliceOrder = true;
            options.redundantSlices = true;
            const RandomH264Stream shuffled = makeRandomH264Stream(options);
            expectSamePictures(shuffled.bytes, ordered.bytes, ordered.frameCount);
        }
    }
}

} // namespace kelvcpx::test
