#include "mpeg2/headers.h"

#include "common/decoder.h"
#include "mpeg2/scan.h"

#include <fmt/format.h>

#include <algorithm>

namespace kelvcpx::app::mpeg2 {
namespace {

// 13818-2 6.3.11.
constexpr std::array<int16_t, 64> defaultIntraMatrix = {
    8,  16, 19, 22, 26, 27, 29, 34, 16, 16, 22, 24, 27, 29, 34, 37, 19, 22, 26, 27, 29, 34,
    34, 38, 22, 22, 26, 27, 29, 34, 37, 40, 22, 26, 27, 29, 32, 35, 40, 48, 26, 27, 29, 32,
    35, 40, 48, 58, 26, 27, 29, 34, 38, 46, 56, 69, 27, 29, 35, 38, 46, 56, 69, 83};
constexpr int16_t defaultNonIntraWeight = 16;

// Height by width of a sample in 1/10000, by pel_aspect_ratio (11172-2 2.4.3.2).
constexpr int sampleHeights[] = {0,    10000, 6735,  7031,  7615,  8055,  8437, 8935,
                                 9157, 9815,  10255, 10695, 10950, 11575, 12015};

enum class ExtensionId {
    sequence = 1,
    quantMatrix = 3,
    sequenceScalable = 5,
    pictureCoding = 8,
    pictureSpatialScalable = 9,
    pictureTemporalScalable = 10,
};

Matrix readMatrix(BitReader& reader)
{
    Matrix matrix;
    for (const int32_t index : transposedScan(Scan::zigzag)) {
        const int weight = reader.readInt(8);
        if (weight == 0)
            throw DamagedUnit("a quantiser matrix has a zero");
        matrix[static_cast<std::size_t>(index)] = static_cast<int16_t>(weight);
    }
    return matrix;
}

// More than any level has, but little enough to be had.
void checkSize(const Sequence& sequence)
{
    constexpr int mostSamples = 8192 * 4352;
    if (sequence.width == 0 || sequence.height == 0)
        throw DamagedUnit("the picture size is zero");
    if (sequence.width * sequence.height > mostSamples)
        throw DamagedUnit(fmt::format("pictures of {}x{} are too large", sequence.width, sequence.height));
}

void readSequenceExtension(BitReader& reader, Sequence& sequence)
{
    // Extending a header again would multiply its frame rate again.
    if (sequence.width == 0 || sequence.mpeg2)
        throw DamagedUnit("a sequence extension without a sequence header");
    Sequence extended = sequence;
    extended.mpeg2 = true;
    extended.profileAndLevel = reader.readInt(8);
    extended.progressive = reader.readFlag();
    const int chroma = reader.readInt(2);
    extended.width = sequence.width | reader.readInt(2) << 12;
    extended.height = sequence.height | reader.readInt(2) << 12;
    checkSize(extended);
    extended.bitRate = (sequence.bitRate / 400 | static_cast<int64_t>(reader.read(12)) << 18) * 400;
    reader.expectMarker();
    reader.skip(8); // vbv_buffer_size_extension
    extended.lowDelay = reader.readFlag();
    extended.frameRate.numerator *= reader.readInt(2) + 1;
    extended.frameRate.denominator *= reader.readInt(5) + 1;
    if (chroma == 0)
        throw DamagedUnit("the chroma format is reserved");
    if (chroma == 3)
        throw UnsupportedStream("the stream is 4:4:4, which is not supported: 4:2:0 and 4:2:2 are");
    extended.chroma = chroma == 1 ? ChromaFormat::yuv420 : ChromaFormat::yuv422;
    sequence = extended;
}

void readQuantMatrixExtension(BitReader& reader, QuantMatrices& matrices)
{
    QuantMatrices loaded = matrices;
    if (reader.readFlag())
        loaded.intra.fill(readMatrix(reader));
    if (reader.readFlag())
        loaded.nonIntra.fill(readMatrix(reader));
    if (reader.readFlag())
        loaded.intra[1] = readMatrix(reader);
    if (reader.readFlag())
        loaded.nonIntra[1] = readMatrix(reader);
    matrices = loaded;
}

void readPictureCodingExtension(BitReader& reader, Picture& picture)
{
    Picture coded = picture;
    for (auto& direction : coded.fCode)
        for (int& code : direction)
            code = reader.readInt(4);
    coded.extended = true;
    coded.fullSampleVectors = {};
    coded.intraDcPrecision = reader.readInt(2);
    const int structure = reader.readInt(2);
    coded.topFieldFirst = reader.readFlag();
    coded.framePredFrameDct = reader.readFlag();
    coded.concealmentVectors = reader.readFlag();
    coded.nonLinearScale = reader.readFlag();
    coded.intraVlcFormat = reader.readFlag();
    coded.alternateScan = reader.readFlag();
    reader.skip(2); // repeat_first_field, chroma_420_type
    coded.progressiveFrame = reader.readFlag();
    if (structure == 0)
        throw DamagedUnit("the picture structure is reserved");
    coded.structure = static_cast<PictureStructure>(structure);
    picture = coded;
}

} // namespace

QuantMatrices::QuantMatrices()
{
    for (Matrix& matrix : intra)
        for (std::size_t i = 0; i < 64; i++)
            matrix[transposed(i)] = defaultIntraMatrix[i];
    for (Matrix& matrix : nonIntra)
        matrix.fill(defaultNonIntraWeight);
}

Rational Sequence::sampleAspect() const
{
    if (!mpeg2 && aspectCode < static_cast<int>(std::size(sampleHeights)))
        return {aspectCode == 0 ? 0 : 10000, std::max(1, sampleHeights[aspectCode])};
    if (mpeg2 && aspectCode == 1)
        return {1, 1};
    if (mpeg2 && aspectCode >= 2 && aspectCode <= 4) {
        const Rational display = displayAspects[static_cast<std::size_t>(aspectCode) - 2];
        return {display.numerator * height, display.denominator * width};
    }
    return {0, 1};
}

void readSequenceHeader(BitReader& reader, Sequence& sequence)
{
    Sequence header;
    header.width = reader.readInt(12);
    header.height = reader.readInt(12);
    header.aspectCode = reader.readInt(4);
    const std::size_t rate = reader.read(4);
    if (rate < frameRates.size())
        header.frameRate = frameRates[rate];
    const int64_t bitRate = reader.readInt(18);
    header.variableBitRate = bitRate == 0x3FFFF; // of MPEG-1
    header.bitRate = bitRate * 400;
    reader.expectMarker();
    reader.skip(11); // vbv_buffer_size, constrained_parameters_flag
    if (reader.readFlag())
        header.matrices.intra.fill(readMatrix(reader));
    if (reader.readFlag())
        header.matrices.nonIntra.fill(readMatrix(reader));
    checkSize(header);
    if (reader.pastEnd())
        throw DamagedUnit("the sequence header is cut off");
    sequence = header;
}

void readGroupHeader(BitReader& reader, Group& group)
{
    reader.skip(25); // time_code
    group.closed = reader.readFlag();
}

void readPictureHeader(BitReader& reader, Picture& picture)
{
    Picture header;
    header.temporalReference = reader.readInt(10);
    const int type = reader.readInt(3);
    if (type == 4)
        throw UnsupportedStream("the stream has D pictures, which are not supported");
    if (type < 1 || type > 4)
        throw DamagedUnit("the picture type is reserved");
    header.type = static_cast<PictureType>(type);
    reader.skip(16); // vbv_delay
    for (std::size_t s = 0; s < static_cast<std::size_t>(type) - 1; s++) {
        header.fullSampleVectors[s] = reader.readFlag();
        header.fCode[s].fill(reader.readInt(3));
    }
    picture = header;
}

void readExtension(BitReader& reader, Sequence& sequence, Picture& picture)
{
    switch (static_cast<ExtensionId>(reader.readInt(4))) {
    case ExtensionId::sequence:
        readSequenceExtension(reader, sequence);
        break;
    case ExtensionId::quantMatrix:
        readQuantMatrixExtension(reader, sequence.matrices);
        break;
    case ExtensionId::pictureCoding:
        readPictureCodingExtension(reader, picture);
        break;
    case ExtensionId::sequenceScalable:
    case ExtensionId::pictureSpatialScalable:
    case ExtensionId::pictureTemporalScalable:
        throw UnsupportedStream("the stream is scalable, which is not supported");
    default: // display, copyright and the like do not change the decoded samples
        break;
    }
}

} // namespace kelvcpx::app::mpeg2
