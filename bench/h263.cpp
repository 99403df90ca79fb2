// H.261 and H.263: coefficients from the stream and to the stream, quantisation. The variant is the number of
// levels of a block, items are blocks.

#include "coefficients.h"

#include <kelvcpx/h261.h>
#include <kelvcpx/h263.h>

namespace {

using namespace kelvcpx::bench;

// Writes levels with an operation whose last arguments are these.
template <class Operation, class... Rest>
auto writer(Operation operation, Rest... rest)
{
    return [=](const int16_t* block, uint8_t** byte, int32_t* offset, int32_t levels) {
        return operation(block, byte, offset, levels, rest...);
    };
}

// The DC in front of the others.
constexpr auto writeIntraH263 = [](const int16_t* block, uint8_t** byte, int32_t* offset, int32_t levels) {
    keliEncodeDCIntra_H263_16s1u(block[0], byte, offset);
    return keliEncodeCoeffsIntra_H263_16s1u(block, byte, offset, levels - 1, 0, 0, 0);
};

void addH261(int levels)
{
    const std::string variant = std::to_string(levels);
    const auto intra = writer(keliEncodeCoeffsIntra_H261_16s1u, 0);
    const auto inter = writer(keliEncodeCoeffsInter_H261_16s1u, 0);
    addDecoder<keliDecodeCoeffsIntra_H261_1u16s>(variant, levels, intra, 0);
    addDecoder<keliDecodeCoeffsInter_H261_1u16s>(variant, levels, inter, 0);
    addDecoder<keliReconstructCoeffsIntra_H261_1u16s>(variant, levels, intra, 7);
    addDecoder<keliReconstructCoeffsInter_H261_1u16s>(variant, levels, inter, 7);
    addEncoder<keliEncodeCoeffsIntra_H261_16s1u>(variant, levels, 0);
    addEncoder<keliEncodeCoeffsInter_H261_16s1u>(variant, levels, 0);
}

void addH263(int levels)
{
    const std::string variant = std::to_string(levels);
    const auto intra = writer(keliEncodeCoeffsIntra_H263_16s1u, 1, 0, 0);
    const auto inter = writer(keliEncodeCoeffsInter_H263_16s1u, 0, 0);
    addDecoder<keliDecodeCoeffsIntra_H263_1u16s>(variant, levels, intra, 1, 0, 0);
    addDecoder<keliDecodeCoeffsInter_H263_1u16s>(variant, levels, inter, 0, 0);
    addDecoder<keliReconstructCoeffsIntra_H263_1u16s>(variant, levels, writeIntraH263, 1, 7, 0, 0, 0);
    addDecoder<keliReconstructCoeffsInter_H263_1u16s>(variant, levels, inter, 7, 0);
    addEncoder<keliEncodeCoeffsIntra_H263_16s1u>(variant, levels, 1, 0, 0);
    addEncoder<keliEncodeCoeffsInter_H263_16s1u>(variant, levels, 0, 0);
}

struct Levels : FreshBlocks<64> {
    Levels() : FreshBlocks(levelBlocks(20, count)) {}
};

struct Coefficients : FreshBlocks<64> {
    Coefficients() : FreshBlocks(400) {}
    int32_t count = 0;
};

void addQuantisation()
{
    add<Levels, keliQuantInvIntra_H263_16s_C1I>(
        "", [](auto dequantise, Levels& l) { return dequantise(l.next(), 63, 5, 0, 0); });
    add<Levels, keliQuantInvInter_H263_16s_C1I>(
        "", [](auto dequantise, Levels& l) { return dequantise(l.next(), 63, 5, 0); });
    add<Coefficients, keliQuantIntra_H263_16s_C1I>(
        "", [](auto quantise, Coefficients& c) { return quantise(c.next(), 5, &c.count, 0, 0); });
    add<Coefficients, keliQuantInter_H263_16s_C1I>(
        "", [](auto quantise, Coefficients& c) { return quantise(c.next(), 5, &c.count, 0); });
}

[[maybe_unused]] const bool registered = [] {
    for (const int levels : {3, 20}) {
        addH261(levels);
        addH263(levels);
    }
    addDc<keliEncodeDCIntra_H263_16s1u, keliDecodeDCIntra_H263_1u16s>();
    addQuantisation();
    return true;
}();

} // namespace
