#include "h263/picture_decoder.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace kelvcpx::app::h263 {
namespace {

constexpr int32_t startCodeLength = 17; // GBSC, SSC: 16 zeros and a one
constexpr std::size_t startCodeZeros = 16;
constexpr int endOfSequence = 31;

// SWI apart, MBA has as many bits as the last address needs (table K.2).
int32_t addressBits(std::size_t count)
{
    struct Row {
        std::size_t count;
        int32_t bits;
    };
    constexpr Row rows[] = {{48, 6}, {99, 7}, {396, 9}, {1584, 11}, {6336, 13}};
    const Row* const row =
        std::find_if(std::begin(rows), std::end(rows), [=](const Row& r) { return count <= r.count; });
    return row != std::end(rows) ? row->bits : 14;
}

} // namespace

PictureDecoder::PictureDecoder(PictureContext& context, Reconstruction& reconstruction,
                               const PaddedBytes& bytes, const Report& report)
    : context_(context), reconstruction_(reconstruction), parser_(context), bytes_(bytes), report_(report)
{}

void PictureDecoder::decode(CodeReader reader)
{
    try {
        if (context_.header.sliceStructured) { // SQUANT and GFID are those of the picture
            readSliceAddress(reader);
            reader.expectMarker(); // SEPB3
        }
        decodeSegment(reader);
    } catch (const DamagedUnit& damage) {
        report_(damage.what());
    }
    for (;;) {
        const std::size_t start = findZeros(bytes_, reader.position(), reader.end(), startCodeZeros);
        if (start == reader.end())
            break;
        reader.moveTo(start);
        reader.skip(startCodeLength);
        try {
            if (context_.header.sliceStructured) {
                readSliceHeader(reader);
            } else {
                const int number = reader.readInt(5);
                if (number == 0 || number == endOfSequence)
                    continue;
                readGobHeader(reader, number);
            }
            decodeSegment(reader);
        } catch (const DamagedUnit& damage) {
            report_(damage.what());
        }
    }
    finish();
}

// The first macroblock of a GOB without a header follows the last one of the GOB before.
void PictureDecoder::decodeSegment(CodeReader& reader)
{
    const bool immediately = !context_.header.advancedPrediction;
    while (address_ < context_.count() && !endsSegment(reader)) {
        const std::size_t address = address_;
        parser_.parse(reader, address);
        address_++;
        if (immediately) {
            reconstruction_.reconstruct(address);
            context_.blocks.clear();
        }
    }
}

// True in front of a start code, which zero stuffing may precede, or the end.
bool PictureDecoder::endsSegment(const CodeReader& reader) const
{
    if (reader.peek(16) != 0)
        return reader.position() >= reader.end();
    const std::size_t next = findZeros(bytes_, reader.position(), reader.end(), startCodeZeros);
    return next == reader.end() || next < reader.position() + 16;
}

// 5.2.
void PictureDecoder::readGobHeader(CodeReader& reader, int number)
{
    const PictureHeader& header = context_.header;
    if (header.continuousPresence)
        reader.skip(2); // GSBI
    reader.skip(2);     // GFID
    const int quant = reader.readInt(5);
    const auto address =
        static_cast<std::size_t>(number * header.gobRows()) * static_cast<std::size_t>(context_.wide());
    if (quant == 0 || address >= context_.count())
        throw DamagedUnit("a GOB header is invalid");
    address_ = address;
    parser_.startSegment(quant);
}

// K.2, behind SSC.
void PictureDecoder::readSliceHeader(CodeReader& reader)
{
    readSliceAddress(reader);
    const int quant = reader.readInt(5);
    reader.expectMarker(); // SEPB3
    reader.skip(2);        // GFID
    if (quant == 0)
        throw DamagedUnit("a quantiser is 0");
    parser_.startSegment(quant);
}

void PictureDecoder::readSliceAddress(CodeReader& reader)
{
    const PictureHeader& header = context_.header;
    reader.expectMarker(); // SEPB1
    if (header.continuousPresence)
        reader.skip(4); // SSBI
    const int32_t bits = addressBits(context_.count());
    const auto address = reader.read(bits);
    if (bits > (header.continuousPresence ? 9 : 11))
        reader.expectMarker(); // SEPB2
    if (address >= context_.count())
        throw DamagedUnit("a slice lies outside of the picture");
    address_ = address;
}

void PictureDecoder::finish()
{
    if (context_.header.advancedPrediction)
        for (std::size_t address = 0; address < context_.count(); address++)
            if (context_.macroblocks[address].present)
                reconstruction_.reconstruct(address);
    const auto missing = std::count_if(context_.macroblocks.begin(), context_.macroblocks.end(),
                                       [](const Macroblock& macroblock) { return !macroblock.present; });
    if (missing == 0)
        return;
    report_(fmt::format("{} of {} macroblocks are missing and were concealed", missing, context_.count()));
    for (std::size_t address = 0; address < context_.count(); address++)
        if (!context_.macroblocks[address].present)
            reconstruction_.conceal(address);
}

} // namespace kelvcpx::app::h263
