// Video packets and macroblocks (ISO/IEC 14496-2 6.2.5 to 6.2.8).
#pragma once

#include "mpeg4/motion.h"
#include "mpeg4/texture.h"
#include "mpeg4/vop.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kelvcpx::app::mpeg4 {

class VopDecoder
{
public:
    using Report = std::function<void(const std::string&)>;

    VopDecoder(const VopContext& context, const PaddedBytes& bytes, Report report);

    // Decodes the VOP whose header the reader has just read. Reports damage, and conceals what is missing.
    void decode(CodeReader& reader);

private:
    bool findPacket(CodeReader& reader, std::size_t from);
    bool isResyncMarker(std::size_t position, std::size_t end) const;
    bool isPacketEnd(const CodeReader& reader) const;

    // Macroblocks whose motion and texture follow one another.
    void decodePacket(CodeReader& reader);
    void decodeMacroblock(CodeReader& reader, int address);
    void readForward(CodeReader& reader, Macroblock& macroblock);
    void readBidirectional(CodeReader& reader, Macroblock& macroblock);
    void readFieldModes(CodeReader& reader, Macroblock& macroblock, int32_t directions) const;
    bool isSkippedWithReference(int address) const;

    // Their parts, and in which order they come.
    Macroblock start(int address);
    void setQuant(Macroblock& macroblock) const;
    bool readCoded(CodeReader& reader, Macroblock& macroblock);
    void readType(CodeReader& reader, Macroblock& macroblock);
    void readMotion(CodeReader& reader, Macroblock& macroblock);
    void readPattern(CodeReader& reader, Macroblock& macroblock) const;
    void readQuant(CodeReader& reader, Macroblock& macroblock);
    void reconstruct(CodeReader& reader, const Macroblock& macroblock);

    // Macroblocks in partitions.
    void decodePartitions(CodeReader& reader);
    std::vector<Macroblock> readFirstPartition(CodeReader& reader);
    void readSecondPartition(CodeReader& reader, Macroblock& macroblock);
    void readDcDifferences(CodeReader& reader, Macroblock& macroblock) const;
    void decodeTextures(CodeReader& reader, const std::vector<Macroblock>& macroblocks);
    void decodeFromBothEnds(CodeReader& reader, const std::vector<Macroblock>& macroblocks,
                            std::size_t forward);
    std::size_t endOfCodes(const CodeReader& reader) const;
    std::size_t readBackward(const CodeReader& reader, const std::vector<Macroblock>& macroblocks,
                             std::vector<TextureDecoder::Levels>& levels) const;
    void concealTexture(const Macroblock& macroblock);
    void setDecoded(const Macroblock& macroblock, bool decoded)
    {
        decoded_[static_cast<std::size_t>(macroblock.address)] = decoded;
    }

    void concealMissing();

    const VopContext& context_;
    const PaddedBytes& bytes_;
    Report report_;
    MotionReader motion_;
    TextureDecoder texture_;
    std::vector<bool> decoded_; // by address

    // The video packet.
    uint16_t packet_ = 0;
    int first_ = 0; // address of its first macroblock
    int quant_ = 0;
    std::optional<int> codedQuant_; // of the coded macroblock before
};

} // namespace kelvcpx::app::mpeg4
