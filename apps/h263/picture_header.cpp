#include "h263/picture_header.h"

#include "common/decoder.h"

#include <array>
#include <string>

namespace kelvcpx::app::h263 {
namespace {

constexpr uint32_t customFormat = 6;
constexpr uint32_t extendedType = 7;

[[noreturn]] void refuse(const char* mode)
{
    throw UnsupportedStream(std::string("H.263 with ") + mode + " is not supported");
}

void setStandardFormat(PictureHeader& header, uint32_t code)
{
    struct Size {
        int width;
        int height;
    };
    constexpr std::array<Size, 6> sizes = {{{}, {128, 96}, {176, 144}, {352, 288}, {704, 576}, {1408, 1152}}};
    if (code == 0 || code >= sizes.size())
        throw DamagedUnit("a source format is reserved");
    header.width = sizes[code].width;
    header.height = sizes[code].height;
    header.sampleAspect = {12, 11};
}

// CPFMT and EPAR (5.1.5, 5.1.6).
void readCustomFormat(CodeReader& reader, PictureHeader& header)
{
    constexpr std::array<Rational, 6> aspects = {{{0, 1}, {1, 1}, {12, 11}, {10, 11}, {16, 11}, {40, 33}}};
    constexpr uint32_t extendedAspect = 15;
    const uint32_t aspect = reader.read(4);
    header.width = 4 * (reader.readInt(9) + 1);
    reader.expectMarker();
    header.height = 4 * reader.readInt(9);
    if (header.height == 0 || header.height > 1152)
        throw DamagedUnit("a picture height is forbidden");
    header.sampleAspect = aspect < aspects.size() ? aspects[aspect] : aspects[0];
    if (aspect == extendedAspect) {
        const auto width = static_cast<int64_t>(reader.read(8));
        const auto height = static_cast<int64_t>(reader.read(8));
        header.sampleAspect = width > 0 && height > 0 ? Rational{width, height} : aspects[0];
    }
}

// OPPTYPE (5.1.4.2).
uint32_t readOptionalType(CodeReader& reader, PictureHeader& header)
{
    const uint32_t format = reader.read(3);
    header.customClock = reader.readFlag();
    header.unrestrictedVectors = reader.readFlag();
    if (reader.readFlag())
        refuse("syntax-based arithmetic coding");
    header.advancedPrediction = reader.readFlag();
    header.advancedIntra = reader.readFlag();
    header.deblocking = reader.readFlag();
    header.sliceStructured = reader.readFlag();
    if (reader.readFlag())
        refuse("reference picture selection");
    if (reader.readFlag())
        refuse("independent segment decoding");
    if (reader.readFlag())
        refuse("alternative inter codes");
    header.modifiedQuantisation = reader.readFlag();
    if (reader.read(4) != 0b1000)
        throw DamagedUnit("an extended picture type is invalid");
    return format;
}

// MPPTYPE (5.1.4.3).
void readMandatoryType(CodeReader& reader, PictureHeader& header)
{
    switch (reader.read(3)) {
    case 0:
        header.type = PictureType::intra;
        break;
    case 1:
        header.type = PictureType::predicted;
        break;
    case 2:
        refuse("improved PB-frames");
    case 3:
    case 4:
    case 5:
        refuse("scalability");
    default:
        throw DamagedUnit("a picture type is reserved");
    }
    if (reader.readFlag())
        refuse("reference picture resampling");
    if (reader.readFlag())
        refuse("reduced-resolution update");
    header.rounding = reader.readInt(1);
    if (reader.read(3) != 1)
        throw DamagedUnit("a picture type is invalid");
}

void readContinuousPresence(CodeReader& reader, PictureHeader& header)
{
    header.continuousPresence = reader.readFlag();
    if (header.continuousPresence)
        reader.skip(2); // PSBI
}

// PLUSPTYPE and what depends on it.
void readPlusType(CodeReader& reader, PictureHeader& header)
{
    header.plusType = true;
    header.pbFrames = false;
    const uint32_t update = reader.read(3);
    if (update > 1 || (update == 0 && header.width == 0))
        throw DamagedUnit("the optional part of a picture type is missing");
    uint32_t format = 0;
    if (update == 1)
        format = readOptionalType(reader, header);
    readMandatoryType(reader, header);
    readContinuousPresence(reader, header);
    if (update == 1 && format == customFormat)
        readCustomFormat(reader, header);
    else if (update == 1)
        setStandardFormat(header, format);
    if (update == 1 && header.customClock)
        reader.skip(8); // CPCFC
    if (header.customClock)
        header.temporalReference |= reader.readInt(2) << 8;
    if (update == 1 && header.unrestrictedVectors) {
        header.unlimitedVectors = !reader.readFlag(); // UUI: 1 or 01
        if (header.unlimitedVectors)
            reader.expectMarker();
    }
    if (update == 1 && header.sliceStructured) {
        if (reader.readFlag())
            refuse("rectangular slices");
        reader.skip(1); // arbitrary slice order, which is taken as it comes
    }
    header.quant = reader.readInt(5);
}

// PTYPE of the first version (5.1.3), whose format is known.
void readBaselineType(CodeReader& reader, PictureHeader& header, uint32_t format)
{
    const PictureHeader before = header;
    header = {};
    header.temporalReference = before.temporalReference;
    setStandardFormat(header, format);
    header.type = reader.readFlag() ? PictureType::predicted : PictureType::intra;
    header.unrestrictedVectors = reader.readFlag();
    if (reader.readFlag())
        refuse("syntax-based arithmetic coding");
    header.advancedPrediction = reader.readFlag();
    header.pbFrames = reader.readFlag();
    if (header.pbFrames && header.type == PictureType::intra)
        throw DamagedUnit("a PB-frame is intra");
    header.quant = reader.readInt(5);
    readContinuousPresence(reader, header);
    if (header.pbFrames) {
        header.bPictureTime = reader.readInt(3);
        header.bQuant = reader.readInt(2);
    }
}

} // namespace

void readPictureHeader(CodeReader& reader, PictureHeader& header)
{
    PictureHeader read = header;
    read.temporalReference = reader.readInt(8);
    if (reader.read(2) != 0b10)
        throw DamagedUnit("a picture type is invalid");
    reader.skip(3); // split screen, document camera, freeze release
    const uint32_t format = reader.read(3);
    if (format == extendedType)
        readPlusType(reader, read);
    else
        readBaselineType(reader, read, format);
    if (read.quant == 0)
        throw DamagedUnit("a quantiser is 0");
    while (reader.readFlag()) // PEI, PSUPP
        reader.skip(8);
    if (reader.pastEnd())
        throw DamagedUnit("a picture header is cut off");
    header = read;
}

} // namespace kelvcpx::app::h263
