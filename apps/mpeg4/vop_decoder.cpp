#include "mpeg4/vop_decoder.h"

#include "h263/code_tables.h"
#include "mpeg4/code_tables.h"
#include "mpeg4/inter_prediction.h"

#include <kelvcpx/block.h>

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace kelvcpx::app::mpeg4 {
namespace {

// What ends the first partition of I-VOPs and of others (6.3.5.3): no code begins so.
struct Marker {
    uint32_t bits;
    int32_t length;
};
constexpr Marker dcMarker = {0x6B001, 19};
constexpr Marker motionMarker = {0x1F001, 17};

} // namespace

VopDecoder::VopDecoder(const VopContext& context, const PaddedBytes& bytes, Report report)
    : context_(context), bytes_(bytes), report_(std::move(report)), motion_(context), texture_(context),
      decoded_(static_cast<std::size_t>(context.count()))
{}

void VopDecoder::decode(CodeReader& reader)
{
    for (MacroblockMotion& motion : context_.target->motion)
        motion.packet = 0;
    packet_ = 1;
    first_ = 0;
    quant_ = context_.vop.quant;
    std::size_t next;
    do {
        next = reader.position();
        codedQuant_.reset();
        motion_.resetRow();
        try {
            if (context_.layer.dataPartitioned && !context_.isBidirectional())
                decodePartitions(reader);
            else
                decodePacket(reader);
            next = reader.position();
        } catch (const DamagedUnit& damage) {
            report_(damage.what());
        }
    } while (findPacket(reader, next));
    concealMissing();
}

// The next video packet, at or behind a position.
bool VopDecoder::findPacket(CodeReader& reader, std::size_t from)
{
    if (!context_.layer.hasResyncMarkers)
        return false;
    for (std::size_t at = (from + 7) / 8 * 8; at < reader.end(); at += 8) {
        if (!isResyncMarker(at, reader.end()))
            continue;
        try {
            reader.moveTo(at + static_cast<std::size_t>(context_.vop.resyncZeros()) + 1);
            const PacketHeader header = readPacketHeader(reader, context_.layer, context_.vop);
            if (header.macroblockNumber >= context_.count())
                throw DamagedUnit("a video packet lies outside of the picture");
            packet_++;
            first_ = header.macroblockNumber;
            quant_ = header.quant;
            return true;
        } catch (const DamagedUnit& damage) {
            report_(damage.what());
        }
    }
    return false;
}

// So many zeros and a one. Positions are multiples of 8.
bool VopDecoder::isResyncMarker(std::size_t position, std::size_t end) const
{
    const uint8_t* const byte = bytes_.data() + position / 8;
    if (byte[0] != 0 || byte[1] != 0 || position + 24 > end)
        return false;
    return byte[2] >> (23 - context_.vop.resyncZeros()) == 1;
}

// A zero and ones up to the end of the byte, and behind it a resync marker or nothing (5.2.4, 5.2.5).
bool VopDecoder::isPacketEnd(const CodeReader& reader) const
{
    const std::size_t position = reader.position();
    const auto unused = static_cast<int32_t>(8 - position % 8);
    if (position >= reader.end())
        return true;
    if (reader.peek(unused) != (1u << (unused - 1)) - 1)
        return false;
    const std::size_t next = position + static_cast<std::size_t>(unused);
    if (context_.layer.hasResyncMarkers && isResyncMarker(next, reader.end()))
        return true;
    const uint8_t* const bytes = bytes_.data();
    return std::all_of(bytes + next / 8, bytes + std::max(next, reader.end()) / 8,
                       [](uint8_t byte) { return byte == 0; });
}

void VopDecoder::decodePacket(CodeReader& reader)
{
    for (int address = first_; address < context_.count(); address++) {
        // Macroblocks that are skipped with their reference take no bits.
        if (address > first_ && isPacketEnd(reader) && !isSkippedWithReference(address))
            return;
        decodeMacroblock(reader, address);
        if (reader.pastEnd())
            throw DamagedUnit("a VOP is cut off");
        decoded_[static_cast<std::size_t>(address)] = true;
    }
}

Macroblock VopDecoder::start(int address)
{
    Macroblock macroblock;
    macroblock.address = address;
    macroblock.column = address % context_.wide();
    macroblock.row = address / context_.wide();
    setQuant(macroblock);
    MacroblockMotion& motion = context_.target->motion[static_cast<std::size_t>(address)];
    motion = {};
    motion.packet = packet_;
    motion.coded = true;
    if (macroblock.column == 0)
        motion_.resetRow();
    return macroblock;
}

// The running quantiser becomes the macroblock's.
void VopDecoder::setQuant(Macroblock& macroblock) const
{
    macroblock.quant = quant_;
    context_.target->quants[static_cast<std::size_t>(macroblock.address)] = static_cast<uint8_t>(quant_);
}

void VopDecoder::decodeMacroblock(CodeReader& reader, int address)
{
    Macroblock macroblock = start(address);
    if (context_.isBidirectional())
        readBidirectional(reader, macroblock);
    else
        readForward(reader, macroblock);
    reconstruct(reader, macroblock);
}

// Of I-, P- and S-VOPs.
void VopDecoder::readForward(CodeReader& reader, Macroblock& macroblock)
{
    if (!readCoded(reader, macroblock))
        return;
    readType(reader, macroblock);
    if (macroblock.intra)
        macroblock.predictsAc = reader.readFlag();
    readPattern(reader, macroblock);
    readQuant(reader, macroblock);
    if (context_.layer.interlaced)
        readFieldModes(reader, macroblock,
                       macroblock.intra || macroblock.kind != MotionKind::whole ? 0 : typeForward);
    readMotion(reader, macroblock);
}

// False if that is all. Macroblocks that are not there are passed over: MCBPC may be stuffing.
bool VopDecoder::readCoded(CodeReader& reader, Macroblock& macroblock)
{
    const bool isIntraVop = context_.vop.type == VopType::intra;
    const PrefixTable& table = isIntraVop ? h263::codeTables().mcbpcIntra : h263::codeTables().mcbpcInter;
    int32_t mcbpc;
    do {
        if (reader.pastEnd())
            throw DamagedUnit("a VOP is cut off");
        if (!isIntraVop && reader.readFlag()) {
            macroblock.coded = false;
            context_.target->motion[static_cast<std::size_t>(macroblock.address)].coded = false;
            macroblock.motion[0].used = true;
            if (context_.vop.type == VopType::sprite)
                motion_.setGlobal(macroblock);
            return false;
        }
        mcbpc = reader.decode(table);
    } while (mcbpc == h263::macroblockStuffing);
    if (mcbpc >> 2 > static_cast<int32_t>(MacroblockType::intraQuant))
        throw DamagedUnit("a macroblock type is not of this standard");
    macroblock.type = static_cast<MacroblockType>(mcbpc >> 2);
    macroblock.intra = isIntra(macroblock.type);
    macroblock.pattern = static_cast<uint32_t>(mcbpc & 3);
    return true;
}

// What follows from the type, and mcsel.
void VopDecoder::readType(CodeReader& reader, Macroblock& macroblock)
{
    MacroblockMotion& motion = context_.target->motion[static_cast<std::size_t>(macroblock.address)];
    motion.intra = macroblock.intra;
    const bool mayWarp =
        macroblock.type == MacroblockType::inter || macroblock.type == MacroblockType::interQuant;
    if (macroblock.type == MacroblockType::fourVectors)
        macroblock.kind = MotionKind::blocks;
    else if (context_.vop.type == VopType::sprite && mayWarp && reader.readFlag())
        motion_.setGlobal(macroblock);
}

void VopDecoder::readMotion(CodeReader& reader, Macroblock& macroblock)
{
    if (!macroblock.intra && macroblock.kind != MotionKind::global)
        motion_.readForward(reader, macroblock);
}

// CBPY behind the two bits of MCBPC.
void VopDecoder::readPattern(CodeReader& reader, Macroblock& macroblock) const
{
    const auto luma = static_cast<uint32_t>(reader.decode(h263::codeTables().cbpy));
    macroblock.pattern |= (macroblock.intra ? luma : ~luma & 15) << 2;
}

void VopDecoder::readQuant(CodeReader& reader, Macroblock& macroblock)
{
    constexpr int changes[] = {-1, -2, 1, 2};
    if (changesQuant(macroblock.type))
        quant_ = std::clamp(quant_ + changes[reader.read(2)], 1, 31);
    setQuant(macroblock);
    // The running quantiser is that of the coded macroblock before (6.3.5, intra_dc_vlc_thr).
    macroblock.separateDc = macroblock.intra && codedQuant_.value_or(quant_) < context_.vop.intraDcThreshold;
    codedQuant_ = quant_;
}

// interlaced_information(); the directions are those that may be predicted by fields.
void VopDecoder::readFieldModes(CodeReader& reader, Macroblock& macroblock, int32_t directions) const
{
    if (macroblock.intra || macroblock.pattern != 0)
        macroblock.fieldDct = reader.readFlag();
    if (directions == 0 || !reader.readFlag())
        return;
    macroblock.kind = MotionKind::fields;
    for (std::size_t i = 0; i < 2; i++)
        if ((directions >> i & 1) != 0)
            for (uint8_t& field : macroblock.motion[i].fields)
                field = static_cast<uint8_t>(reader.read(1));
}

// A macroblock of a B-VOP has no bits where that of the P-VOP behind it was not coded.
bool VopDecoder::isSkippedWithReference(int address) const
{
    return context_.isBidirectional() && context_.future->type == VopType::predicted &&
           !context_.future->motion[static_cast<std::size_t>(address)].coded;
}

void VopDecoder::readBidirectional(CodeReader& reader, Macroblock& macroblock)
{
    if (isSkippedWithReference(macroblock.address)) {
        macroblock.motion[0].used = true;
        return;
    }
    const int32_t modb = reader.decode(codeTables().modb);
    if ((modb & modbHasType) == 0) {
        setDirect(context_, macroblock, {});
        return;
    }
    const int32_t type = reader.decode(codeTables().bidirectionalType);
    if ((modb & modbHasPattern) != 0)
        macroblock.pattern = reader.read(6);
    if (type != typeDirect && macroblock.pattern != 0 && reader.readFlag()) { // dbquant
        quant_ = std::clamp(quant_ + (reader.readFlag() ? 2 : -2), 1, 31);
        setQuant(macroblock);
    }
    if (context_.layer.interlaced)
        readFieldModes(reader, macroblock, type);
    motion_.readBidirectional(reader, macroblock, type);
}

void VopDecoder::reconstruct(CodeReader& reader, const Macroblock& macroblock)
{
    if (!macroblock.intra)
        predict(context_, macroblock);
    if (macroblock.intra || macroblock.pattern != 0)
        texture_.decode(reader, macroblock);
}

// data_partitioned_i_vop() and data_partitioned_p_vop().
void VopDecoder::decodePartitions(CodeReader& reader)
{
    std::vector<Macroblock> macroblocks = readFirstPartition(reader);
    for (Macroblock& macroblock : macroblocks)
        if (macroblock.coded)
            readSecondPartition(reader, macroblock);
    if (reader.pastEnd())
        throw DamagedUnit("a video packet is cut off");
    decodeTextures(reader, macroblocks);
}

std::vector<Macroblock> VopDecoder::readFirstPartition(CodeReader& reader)
{
    const bool isIntraVop = context_.vop.type == VopType::intra;
    const Marker& marker = isIntraVop ? dcMarker : motionMarker;
    std::vector<Macroblock> macroblocks;
    while (reader.peek(marker.length) != marker.bits) {
        const int address = first_ + static_cast<int>(macroblocks.size());
        if (address >= context_.count() || reader.pastEnd())
            throw DamagedUnit("the first partition of a video packet has no end");
        Macroblock macroblock = start(address);
        if (readCoded(reader, macroblock)) {
            readType(reader, macroblock);
            if (isIntraVop) {
                readQuant(reader, macroblock);
                readDcDifferences(reader, macroblock);
            } else {
                readMotion(reader, macroblock);
            }
        }
        macroblocks.push_back(macroblock);
    }
    reader.skip(marker.length);
    return macroblocks;
}

void VopDecoder::readSecondPartition(CodeReader& reader, Macroblock& macroblock)
{
    if (macroblock.intra)
        macroblock.predictsAc = reader.readFlag();
    readPattern(reader, macroblock);
    if (context_.vop.type != VopType::intra) {
        readQuant(reader, macroblock);
        readDcDifferences(reader, macroblock);
    }
}

void VopDecoder::readDcDifferences(CodeReader& reader, Macroblock& macroblock) const
{
    if (!macroblock.separateDc)
        return;
    for (std::size_t i = 0; i < 6; i++)
        if (keliDecodeDCIntra_MPEG4_1u16s(reader.byte(), reader.offset(), &macroblock.dcDifferences[i],
                                          i >= 4) != StatusOk)
            throw DamagedUnit("a DC coefficient has an invalid code");
}

void VopDecoder::decodeTextures(CodeReader& reader, const std::vector<Macroblock>& macroblocks)
{
    const std::size_t textures = reader.position();
    std::size_t done = 0;
    try {
        for (; done < macroblocks.size(); done++) {
            reconstruct(reader, macroblocks[done]);
            if (reader.pastEnd())
                throw DamagedUnit("a video packet is cut off");
            setDecoded(macroblocks[done], true);
        }
    } catch (const DamagedUnit&) {
        if (context_.layer.reversibleCodes) {
            reader.moveTo(textures);
            decodeFromBothEnds(reader, macroblocks, done);
        } else {
            for (std::size_t i = done; i < macroblocks.size(); i++)
                concealTexture(macroblocks[i]);
        }
        throw;
    }
}

// Decodes the macroblocks in front of an error, and from the end of the packet those behind it. Macroblocks
// that can be decoded from either end, but not all of them, are those where the error went unnoticed
// (annex E.1.4). `forward` is how many can be decoded from the start, where the reader is.
void VopDecoder::decodeFromBothEnds(CodeReader& reader, const std::vector<Macroblock>& macroblocks,
                                    std::size_t forward)
{
    std::vector<TextureDecoder::Levels> levels(macroblocks.size());
    const std::size_t backward = readBackward(reader, macroblocks, levels);
    const auto [first, last] = std::minmax(forward, backward);
    for (std::size_t i = 0; i < first; i++)
        reconstruct(reader, macroblocks[i]);
    for (std::size_t i = first; i < last; i++)
        concealTexture(macroblocks[i]);
    for (std::size_t i = last; i < macroblocks.size(); i++) {
        if (!macroblocks[i].intra)
            predict(context_, macroblocks[i]);
        texture_.reconstruct(macroblocks[i], levels[i]);
        setDecoded(macroblocks[i], true);
    }
}

// Where the last code of the packet ends: before the stuffing of a zero and ones.
std::size_t VopDecoder::endOfCodes(const CodeReader& reader) const
{
    const std::size_t first = reader.position();
    std::size_t end = (first + 7) / 8 * 8;
    while (end < reader.end() && !isResyncMarker(end, reader.end()))
        end += 8;
    while (end >= first + 8 && bytes_.data()[end / 8 - 1] == 0)
        end -= 8;
    while (end > first && (bytes_.data()[(end - 1) / 8] >> (7 - (end - 1) % 8) & 1) == 1)
        end--;
    return end > first ? end - 1 : first;
}

// Reads the levels of macroblocks from the end of the packet towards its start, where the reader is. Returns
// the first that can be read.
std::size_t VopDecoder::readBackward(const CodeReader& reader, const std::vector<Macroblock>& macroblocks,
                                     std::vector<TextureDecoder::Levels>& levels) const
{
    const std::size_t first = reader.position();
    const std::size_t end = endOfCodes(reader);

    // A copy with a code in front that ends the block before.
    constexpr std::size_t lead = 8;
    constexpr uint32_t endingCode = 0b10110;
    std::vector<uint8_t> copy(lead);
    copy.insert(copy.end(), bytes_.data() + first / 8, bytes_.data() + end / 8 + 1);
    const std::size_t unused = 8 - first % 8;
    const uint32_t start = endingCode << unused | (copy[lead] & ((1u << unused) - 1));
    copy[lead - 1] = static_cast<uint8_t>(start >> 8);
    copy[lead] = static_cast<uint8_t>(start);
    PaddedBytes bytes;
    bytes.assign(copy);
    CodeReader backward(bytes, 0, 8 * copy.size());
    backward.moveTo(8 * lead + end - first / 8 * 8);

    std::size_t behind = macroblocks.size();
    try {
        for (; behind > 0; behind--)
            texture_.readBackward(backward, macroblocks[behind - 1], levels[behind - 1]);
    } catch (const DamagedUnit&) {
        // What has been read is all there is.
    }
    return behind;
}

// Makes do with what the other partitions say.
void VopDecoder::concealTexture(const Macroblock& macroblock)
{
    setDecoded(macroblock, !macroblock.intra || macroblock.separateDc);
    if (!macroblock.intra)
        predict(context_, macroblock);
    else if (macroblock.separateDc)
        texture_.reconstructDc(macroblock);
}

// Replaces the macroblocks that no packet brought by those at their place in the forward reference.
void VopDecoder::concealMissing()
{
    const auto missing = std::count(decoded_.begin(), decoded_.end(), false);
    if (missing == 0)
        return;
    report_(fmt::format("{} of {} macroblocks are missing and were concealed", missing, decoded_.size()));
    for (int address = 0; address < context_.count(); address++) {
        if (decoded_[static_cast<std::size_t>(address)])
            continue;
        Macroblock macroblock = start(address);
        macroblock.motion[0].used = true;
        if (context_.past != nullptr)
            predict(context_, macroblock);
    }
}

} // namespace kelvcpx::app::mpeg4
