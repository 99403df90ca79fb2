// NAL units (ITU-T H.264 7.3.1, Annex B, and the length-prefixed form of ISO/IEC 14496-15).
#pragma once

#include "common/bit_reader.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace kelvcpx::app::h264 {

enum class NalType : uint8_t {
    slice = 1,
    partitionA = 2,
    partitionB = 3,
    partitionC = 4,
    idrSlice = 5,
    supplementalInformation = 6,
    sequenceParameterSet = 7,
    pictureParameterSet = 8,
    accessUnitDelimiter = 9,
    endOfSequence = 10,
    endOfStream = 11,
};

struct NalHeader {
    int refIdc;
    NalType type;
};

// The payload of a NAL unit without its emulation prevention bytes, ready to be read.
class Payload
{
public:
    // `unit` starts with the NAL unit header.
    explicit Payload(std::span<const uint8_t> unit);

    const NalHeader& header() const { return header_; }
    BitReader reader() const { return {words_, 0, size_}; }

    // Position of the rbsp_stop_one_bit, behind which nothing is read, in bits.
    std::size_t stopBit() const { return stopBit_; }

private:
    NalHeader header_{};
    WordStream words_;
    std::size_t size_ = 0;
    std::size_t stopBit_ = 0;
};

// Splits a packet into its NAL units: at start codes, or by lengths of `lengthBytes` bytes.
void forEachNalUnit(std::span<const uint8_t> packet, std::optional<int> lengthBytes,
                    const std::function<void(std::span<const uint8_t>)>& visit);

// What an AVCDecoderConfigurationRecord says: its parameter sets as NAL units, and the size of the lengths in
// front of the units of the packets. Nothing if the bytes are no such record.
struct AvcConfiguration {
    int lengthBytes;
    std::vector<std::span<const uint8_t>> parameterSets;
};
std::optional<AvcConfiguration> readAvcConfiguration(std::span<const uint8_t> record);

} // namespace kelvcpx::app::h264
