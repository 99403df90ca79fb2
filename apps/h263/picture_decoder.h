// GOBs and slices of a picture (ITU-T H.263 5.2, Annex K).
#pragma once

#include "common/code_reader.h"
#include "common/decoder.h"
#include "h263/macroblock_parser.h"
#include "h263/reconstruction.h"

#include <cstddef>
#include <functional>
#include <string>

namespace kelvcpx::app::h263 {

class PictureDecoder
{
public:
    using Report = std::function<void(const std::string&)>;

    PictureDecoder(PictureContext& context, Reconstruction& reconstruction, const PaddedBytes& bytes,
                   const Report& report);

    // Decodes what follows the picture header. What is damaged or missing is concealed and reported.
    void decode(CodeReader reader);

private:
    void decodeSegment(CodeReader& reader);
    void readGobHeader(CodeReader& reader, int number);
    void readSliceHeader(CodeReader& reader);
    void readSliceAddress(CodeReader& reader);
    bool endsSegment(const CodeReader& reader) const;
    void finish();

    PictureContext& context_;
    Reconstruction& reconstruction_;
    MacroblockParser parser_;
    const PaddedBytes& bytes_;
    const Report& report_;
    std::size_t address_ = 0; // of the next macroblock
};

} // namespace kelvcpx::app::h263
