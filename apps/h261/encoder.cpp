#include "h261/encoder.h"

#include "common/code_writer.h"
#include "common/predictive_encoder.h"
#include "h261/code_tables.h"
#include "h261/decoder.h"
#include "h261/gob_decoder.h"

#include <kelvcpx/block.h>
#include <kelvcpx/h261.h>
#include <kelvcpx/h261_filter.h>
#include <kelvcpx/metrics.h>

#include <array>

namespace kelvcpx::app::h261 {
namespace {

constexpr int reach = 30; // of vectors, in half samples

// In whole samples.
struct Vector {
    int x = 0;
    int y = 0;

    bool operator==(const Vector&) const = default;
};

void check(const VideoFormat& format)
{
    const bool cif = format.width == 352 && format.height == 288;
    const bool qcif = format.width == 176 && format.height == 144;
    if (!cif && !qcif)
        throw UnsupportedStream("H.261 pictures have 352x288 or 176x144 samples");
}

class Encoder : public PredictiveEncoder
{
public:
    Encoder(const VideoFormat& format, const EncoderSettings& settings)
        : PredictiveEncoder(format, settings, makeDecoder)
    {}

private:
    std::vector<uint8_t> encodePicture(bool intra) override;
    void encodeGob(int gob, bool intraPicture);
    void encodeMacroblock(int number, Place place, bool intraPicture);
    bool encodeInter(int number, Place place);
    void encodeIntra(int number, Place place);
    Vector search(Place place, int& sad) const;
    bool choosePrediction(Place place, Vector vector);
    PredictedMacroblock predict(Place place, Vector vector, bool filtered) const;
    int32_t sadOf(Place place, const PredictedMacroblock& predicted) const;
    void writeHeader(int number, int32_t type);
    void writeVector(Vector vector);

    CodeWriter writer_;
    int next_ = 0;       // macroblock behind the last one written of the GOB
    Vector vector_;      // of that macroblock
    bool moved_ = false; // whether it has one
    MacroblockLevels levels_;
    PredictedMacroblock predicted_;
};

// 4.2.1.
std::vector<uint8_t> Encoder::encodePicture(bool intra)
{
    const bool cif = format().width == 352;
    writer_.put(0x10, 20); // PSC
    writer_.put(static_cast<uint32_t>(temporalReference() & 31), 5);
    writer_.put(0b000, 3);
    writer_.put(cif ? 1 : 0, 1);
    writer_.put(0b110, 3); // no still image, spare, PEI
    for (int gob = 1; gob <= (cif ? 12 : 5); gob += cif ? 1 : 2)
        encodeGob(gob, intra);
    return writer_.take();
}

void Encoder::encodeGob(int gob, bool intraPicture)
{
    writer_.put(1, 16); // GBSC
    writer_.put(static_cast<uint32_t>(gob), 4);
    writer_.put(static_cast<uint32_t>(qp()), 5);
    writer_.put(0, 1); // GEI
    next_ = 0;
    moved_ = false;
    for (int number = 0; number < macroblocksInGob; number++)
        encodeMacroblock(number, placeOf(gob, number), intraPicture);
}

void Encoder::encodeMacroblock(int number, Place place, bool intraPicture)
{
    if (intraPicture || !encodeInter(number, place))
        encodeIntra(number, place);
}

// False if the macroblock had better be intra.
bool Encoder::encodeInter(int number, Place place)
{
    int sad;
    const Vector vector = search(place, sad);
    if (intraIsBetter(place.column, place.row, sad))
        return false;
    const bool filtered = choosePrediction(place, vector);
    quantiseInter(place.column, place.row, predicted_, levels_);
    const auto pattern = static_cast<int32_t>(codedBlockPattern(levels_.counts));
    const bool moved = vector != Vector{} || filtered;
    if (!moved && pattern == 0)
        return true; // not transmitted
    writeHeader(number,
                (moved ? typeMotion : 0) | (filtered ? typeFilter : 0) | (pattern != 0 ? typePattern : 0));
    if (moved)
        writeVector(vector);
    moved_ = moved;
    if (pattern != 0)
        writer_.put(codeRows.pattern, pattern);
    for (std::size_t i = 0; i < 6; i++)
        if (levels_.counts[i] > 0)
            writer_.putBlock([&](uint8_t** at, int32_t* offset) {
                return keliEncodeCoeffsInter_H261_16s1u(levels_.blocks[i].data(), at, offset,
                                                        levels_.counts[i], 0);
            });
    return true;
}

void Encoder::encodeIntra(int number, Place place)
{
    quantiseIntra(place.column, place.row, levels_);
    writeHeader(number, typeIntra);
    moved_ = false;
    for (std::size_t i = 0; i < 6; i++)
        writer_.putBlock([&](uint8_t** at, int32_t* offset) {
            return keliEncodeCoeffsIntra_H261_16s1u(levels_.blocks[i].data(), at, offset, levels_.counts[i],
                                                    0);
        });
}

// The whole-sample vector next to the best half-sample one.
Vector Encoder::search(Place place, int& sad) const
{
    const MotionVector predicted = {2 * vector_.x, 2 * vector_.y};
    const MotionVector found =
        searchVector(place.column, place.row, reach, std::array{predicted}, predicted, sad);
    Vector best;
    sad = sadOf(place, predict(place, best, false));
    for (const int x : {found.x >> 1, (found.x + 1) >> 1})
        for (const int y : {found.y >> 1, (found.y + 1) >> 1}) {
            const int candidate = sadOf(place, predict(place, {x, y}, false));
            if (candidate + qp() < sad) { // a vector has to be worth its bits
                sad = candidate;
                best = {x, y};
            }
        }
    return best;
}

// Predicts with the loop filter where that is clearly nearer to the source; true if so.
bool Encoder::choosePrediction(Place place, Vector vector)
{
    predicted_ = predict(place, vector, false);
    const PredictedMacroblock filtered = predict(place, vector, true);
    if (sadOf(place, filtered) + 4 * qp() >= sadOf(place, predicted_))
        return false;
    predicted_ = filtered;
    return true;
}

PredictedMacroblock Encoder::predict(Place place, Vector vector, bool filtered) const
{
    PredictedMacroblock result;
    for (std::size_t i = 0; i < 3; i++) {
        const int size = i == 0 ? 16 : 8;
        const int scale = i == 0 ? 1 : 2;
        const PaddedFrame::Plane& plane = reference().plane(i);
        const uint8_t* const from =
            plane.at(size * place.column + vector.x / scale, size * place.row + vector.y / scale);
        uint8_t* const to = i == 0 ? result.luma.data() : result.chroma[i - 1].data();
        for (int down = 0; down < size; down += 8)
            for (int right = 0; right < size; right += 8)
                (filtered ? keliFilter8x8_H261_8u_C1R
                          : keliCopy8x8_8u_C1R)(from + std::ptrdiff_t{plane.step} * down + right, plane.step,
                                                to + size * down + right, size);
    }
    return result;
}

int32_t Encoder::sadOf(Place place, const PredictedMacroblock& predicted) const
{
    const PaddedFrame::Plane& plane = source().plane(0);
    int32_t sad = 0;
    keliSAD16x16_8u32s(plane.at(16 * place.column, 16 * place.row), plane.step, predicted.luma.data(), 16,
                       &sad, 0);
    return sad;
}

// MBA and MTYPE (4.2.3.1, 4.2.3.2).
void Encoder::writeHeader(int number, int32_t type)
{
    const bool follows = number == next_ && number % 11 != 0;
    if (!follows || !moved_)
        vector_ = {};
    writer_.put(codeRows.address, number - next_ + 1);
    writer_.put(codeRows.type, type);
    next_ = number + 1;
}

// A code stands for two differences that are 32 apart.
void Encoder::writeVector(Vector vector)
{
    writer_.put(codeRows.mvd, ((vector.x - vector_.x + 16) & 31) - 16);
    writer_.put(codeRows.mvd, ((vector.y - vector_.y + 16) & 31) - 16);
    vector_ = vector;
}

} // namespace

std::unique_ptr<VideoEncoder> makeEncoder(const VideoFormat& format, const EncoderSettings& settings)
{
    check(format);
    return std::make_unique<Encoder>(format, settings);
}

} // namespace kelvcpx::app::h261
