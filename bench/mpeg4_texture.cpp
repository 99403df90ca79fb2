// MPEG-4 Part 2 texture: quantisation, coefficients from and to the stream. The variant is the number of
// levels of a block, items are blocks.

#include "coefficients.h"

#include <kelvcpx/mpeg4.h>

namespace {

using namespace kelvcpx::bench;

// A record of the quantisation of 8-bit samples, and blocks to work on.
template <class Spec>
struct Quantiser : FreshBlocks<64> {
    template <class GetSize, class Init>
    Quantiser(GetSize getSize, Init init, bool hasMatrix, double deviation) : FreshBlocks(deviation)
    {
        int32_t size = 0;
        getSize(&size);
        bytes.resize(static_cast<std::size_t>(size));
        initialise(init, hasMatrix);
    }

    template <class Init>
    Status initialise(Init init, bool hasMatrix)
    {
        std::array<uint8_t, 64> weights;
        weights.fill(20);
        return init(hasMatrix ? weights.data() : nullptr, reinterpret_cast<Spec*>(bytes.data()), 8);
    }

    const Spec* spec() const { return reinterpret_cast<const Spec*>(bytes.data()); }

    std::vector<unsigned char> bytes;
    uint32_t count = 0;
};

// What is done with a record of one kind: quantise(operation, block, quantiser).
template <class Spec, auto getSize, auto init, auto operation, class Quantise>
void addQuantiser(double deviation, Quantise quantise)
{
    add<getSize>(
        "", [] { return int32_t{0}; }, [](auto get, int32_t& size) { return get(&size); });
    for (const bool hasMatrix : {false, true}) {
        const std::string method = hasMatrix ? "matrix" : "scale";
        const auto make = [=] { return Quantiser<Spec>(getSize, init, hasMatrix, deviation); };
        add<init>(method, make,
                  [=](auto start, auto& quantiser) { return quantiser.initialise(start, hasMatrix); });
        add<operation>(method, make,
                       [=](auto op, auto& quantiser) { return quantise(op, quantiser.next(), quantiser); });
    }
}

void addQuantisation()
{
    addQuantiser<QuantInvSpec, keliQuantInvIntraGetSize_MPEG4, keliQuantInvIntraInit_MPEG4,
                 keliQuantInvIntra_MPEG4_16s_C1I>(
        20, [](auto dequantise, int16_t* block, auto& q) { return dequantise(block, 63, q.spec(), 6, 0); });
    addQuantiser<QuantInvSpec, keliQuantInvInterGetSize_MPEG4, keliQuantInvInterInit_MPEG4,
                 keliQuantInvInter_MPEG4_16s_C1I>(
        20, [](auto dequantise, int16_t* block, auto& q) { return dequantise(block, 63, q.spec(), 6); });
    addQuantiser<QuantSpec, keliQuantIntraGetSize_MPEG4, keliQuantIntraInit_MPEG4,
                 keliQuantIntra_MPEG4_16s_C1I>(400, [](auto quantise, int16_t* block, auto& q) {
        return quantise(block, q.spec(), 6, &q.count, 0);
    });
    addQuantiser<QuantSpec, keliQuantInterGetSize_MPEG4, keliQuantInterInit_MPEG4,
                 keliQuantInter_MPEG4_16s_C1I>(
        400, [](auto quantise, int16_t* block, auto& q) { return quantise(block, q.spec(), 6, &q.count); });
}

// All levels with the codes of others, in zigzag scan.
constexpr auto intraWriter(int32_t reversible)
{
    return [=](const int16_t* block, uint8_t** byte, int32_t* offset, int32_t levels) {
        return keliEncodeCoeffsIntra_MPEG4_16s1u(block, byte, offset, levels, reversible, 0, 0);
    };
}

constexpr auto interWriter(int32_t reversible)
{
    return [=](const int16_t* block, uint8_t** byte, int32_t* offset, int32_t levels) {
        return keliEncodeCoeffsInter_MPEG4_16s1u(block, byte, offset, levels, reversible, 0);
    };
}

void addBackward(int levels)
{
    const std::string variant = std::to_string(levels);
    add<keliDecodeCoeffsIntraRVLCBack_MPEG4_1u16s>(
        variant, streamOf(levels, intraWriter(1)), [](auto decode, ByteStream& stream) {
            return stream.read([&](auto... place) { return decode(place..., 0); }, true);
        });
    add<keliDecodeCoeffsInterRVLCBack_MPEG4_1u16s>(
        variant, streamOf(levels, interWriter(1)),
        [](auto decode, ByteStream& stream) { return stream.read(decode, true); });
}

struct Reconstruction {
    static constexpr int items = ByteStream::items;
    ByteStream stream;
    Quantiser<QuantInvSpec> quantiser;
};

void addReconstruction(int levels)
{
    for (const bool hasMatrix : {false, true})
        add<keliReconstructCoeffsInter_MPEG4_1u16s>(
            std::to_string(levels) + (hasMatrix ? "/matrix" : "/scale"),
            [=] {
                return Reconstruction{
                    streamOf(levels, interWriter(0))(),
                    {keliQuantInvInterGetSize_MPEG4, keliQuantInvInterInit_MPEG4, hasMatrix, 1}};
            },
            [](auto reconstruct, Reconstruction& r) {
                return r.stream.read(
                    [&](auto... place) { return reconstruct(place..., 0, 0, r.quantiser.spec(), 6); });
            });
}

void addCodes()
{
    for (const int levels : {3, 20}) {
        for (const int32_t reversible : {0, 1}) {
            const std::string variant = std::to_string(levels) + (reversible != 0 ? "/reversible" : "");
            addDecoder<keliDecodeCoeffsIntra_MPEG4_1u16s>(variant, levels, intraWriter(reversible),
                                                          reversible, 0, 0);
            addDecoder<keliDecodeCoeffsInter_MPEG4_1u16s>(variant, levels, interWriter(reversible),
                                                          reversible, 0);
            addEncoder<keliEncodeCoeffsIntra_MPEG4_16s1u>(variant, levels, reversible, 0, 0);
            addEncoder<keliEncodeCoeffsInter_MPEG4_16s1u>(variant, levels, reversible, 0);
        }
        addBackward(levels);
        addReconstruction(levels);
    }
    addDc<keliEncodeDCIntra_MPEG4_16s1u, keliDecodeDCIntra_MPEG4_1u16s>(0);
}

[[maybe_unused]] const bool registered = (addQuantisation(), addCodes(), true);

} // namespace
