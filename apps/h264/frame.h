// Picture memory: a frame with its margins, its fields, and what later pictures need to know of it.
#pragma once

#include "common/picture.h"
#include "h264/parameter_sets.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

namespace kelvcpx::app::h264 {

// A frame or one of its fields. The values are flags, so that a frame is both fields.
enum class Structure : uint8_t { none = 0, top = 1, bottom = 2, frame = 3 };

constexpr bool includes(Structure whole, Structure part)
{
    return (static_cast<unsigned>(whole) & static_cast<unsigned>(part)) == static_cast<unsigned>(part);
}

constexpr Structure operator|(Structure a, Structure b)
{
    return static_cast<Structure>(static_cast<unsigned>(a) | static_cast<unsigned>(b));
}

constexpr Structure without(Structure whole, Structure part)
{
    return static_cast<Structure>(static_cast<unsigned>(whole) & ~static_cast<unsigned>(part));
}

constexpr Structure opposite(Structure field)
{
    return field == Structure::top ? Structure::bottom : Structure::top;
}

// Quarter samples of luma.
struct Vector {
    int16_t x = 0;
    int16_t y = 0;

    bool operator==(const Vector&) const = default;
};

// The planes of a frame, or of one field of it. Positions count its own rows.
struct Surface {
    struct Plane {
        uint8_t* samples = nullptr;
        int32_t step = 0; // bytes
        int width = 0;    // samples
        int height = 0;

        // Samples of more than 8 bits are uint16_t.
        template <class Sample = uint8_t>
        Sample* at(int x, int y) const
        {
            return reinterpret_cast<Sample*>(samples + static_cast<std::ptrdiff_t>(y) * step) + x;
        }
        template <class Sample>
        int32_t stepOf() const
        {
            return step / static_cast<int32_t>(sizeof(Sample));
        }
    };
    std::array<Plane, 3> planes;
    int planeCount = 3;

    Surface of(Structure structure) const;
};

// Names a reference picture for as long as anything refers to it: a frame's number and the structure.
using PictureId = int32_t;
constexpr PictureId noPicture = -1;

constexpr PictureId pictureId(int32_t frameNumber, Structure structure)
{
    return frameNumber * 4 + static_cast<int32_t>(structure);
}

constexpr int32_t frameNumberOf(PictureId id)
{
    return id >> 2;
}

// The motion of a coded picture (frame or field): vectors by 4x4 block in raster order, references by 8x8
// block. Direct prediction of later pictures and the deblocking filter look at it. Field macroblocks of a
// pair keep their rows together.
struct MotionField {
    int widthInMbs = 0;
    std::vector<uint8_t> fieldPairs; // by pair of macroblocks; empty if the picture has none
    std::array<std::vector<Vector>, 2> vectors;
    std::array<std::vector<int8_t>, 2> refIdx;        // -1: the list is not used
    std::array<std::vector<PictureId>, 2> references; // which pictures the indices mean

    void resize(int width, int height);
    std::size_t block4x4(int x4, int y4) const { return static_cast<std::size_t>(y4 * 4 * widthInMbs + x4); }
    std::size_t block8x8(int x8, int y8) const { return static_cast<std::size_t>(y8 * 2 * widthInMbs + x8); }
    bool isFieldPair(int mbX, int pairY) const
    {
        return !fieldPairs.empty() && fieldPairs[static_cast<std::size_t>(pairY * widthInMbs + mbX)] != 0;
    }
};

// What two sequence parameter sets must share for their frames to be exchangeable.
struct FrameShape {
    int widthInMbs;
    int heightInMbs;
    int chromaFormatIdc;
    int bitDepth;
    std::array<int, 4> crop; // left, right, top, bottom

    explicit FrameShape(const SequenceParameterSet& set);
    bool operator==(const FrameShape&) const = default;
};

class Frame
{
public:
    explicit Frame(const FrameShape& shape);

    // Makes the frame ready for another picture. The samples stay.
    void restart(int32_t newNumber, const VideoFormat& newFormat);

    const FrameShape& shape() const { return shape_; }
    const Surface& surface() const { return surface_; }

    // Replicates the border samples of the frame, or of one field, into the margins.
    void expand(Structure structure);
    void fillGrey();
    void copySamples(const Frame& other);
    void repeatField(Structure present); // gives the missing field the rows of the present one

    PictureView view() const; // the part that is displayed

    int32_t number = 0; // unique among the frames of a stream

    // Coding. A frame that was coded as two fields has a motion field for each, by parity.
    bool codedAsFields = false;
    Structure decoded = Structure::none;
    std::array<MotionField, 2> motion;
    const MotionField& motionOf(Structure structure) const
    {
        return motion[codedAsFields && structure == Structure::bottom ? 1 : 0];
    }

    // Marking as reference (8.2.5), by field.
    Structure shortTerm = Structure::none;
    Structure longTerm = Structure::none;
    bool isReference() const { return (shortTerm | longTerm) != Structure::none; }
    int frameNum = 0;
    int longTermFrameIdx = 0;
    bool nonExisting = false; // stands for a gap in frame_num

    // Order of output.
    std::array<int, 2> fieldPoc{}; // top, bottom
    bool hasPoc = true;            // not in a gap in frame_num with picture order count type 0
    int poc(Structure structure) const;
    int poc() const { return poc(decoded); }
    bool isComplete = false; // both fields, or all that there will be of them
    bool awaitsOutput = false;

private:
    int shiftX(std::size_t plane) const { return plane == 0 ? 0 : 1; }
    int shiftY(std::size_t plane) const { return plane == 0 || shape_.chromaFormatIdc == 2 ? 0 : 1; }
    int sampleBytes() const { return shape_.bitDepth > 8 ? 2 : 1; }

    FrameShape shape_;
    VideoFormat format_;
    std::vector<uint8_t> samples_;
    Surface surface_; // of samples_
};

using FramePointer = std::shared_ptr<Frame>;

} // namespace kelvcpx::app::h264
