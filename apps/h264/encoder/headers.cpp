#include "h264/encoder/headers.h"

#include "h264/encoder/bits.h"

#include <array>

namespace kelvcpx::app::h264::encoder {
namespace {

struct Level {
    int idc;
    int64_t macroblocksPerSecond; // MaxMBPS
    int frameSize;                // MaxFS, macroblocks
};

constexpr Level levels[] = {
    {10, 1485, 99},        {11, 3000, 396},        {12, 6000, 396},      {13, 11880, 396},
    {20, 11880, 396},      {21, 19800, 792},       {22, 20250, 1620},    {30, 40500, 1620},
    {31, 108000, 3600},    {32, 216000, 5120},     {40, 245760, 8192},   {42, 522240, 8704},
    {50, 589824, 22080},   {51, 983040, 36864},    {52, 2073600, 36864}, {60, 4177920, 139264},
    {61, 8355840, 139264}, {62, 16711680, 139264},
};

constexpr int64_t usualFrameRate = 30; // if it is not known

void putFlag(BitWriter& bits, bool flag)
{
    bits.put(flag ? 1 : 0, 1);
}

void putUnsigned(BitWriter& bits, int value)
{
    putUe(bits, static_cast<uint32_t>(value));
}

// E.1.1: the shape of samples, the rate of frames, and that they come in order.
void putVui(BitWriter& bits, const SequenceParameterSet& set)
{
    constexpr int extendedAspect = 255;
    const bool hasAspect = set.sampleAspect.numerator > 0 && set.sampleAspect.numerator < 65536 &&
                           set.sampleAspect.denominator < 65536;
    putFlag(bits, hasAspect);
    if (hasAspect) {
        bits.put(extendedAspect, 8);
        bits.put(set.sampleAspect.numerator, 16);
        bits.put(set.sampleAspect.denominator, 16);
    }
    putFlag(bits, false); // overscan_info_present_flag
    putFlag(bits, false); // video_signal_type_present_flag
    putFlag(bits, false); // chroma_loc_info_present_flag
    const bool hasRate = set.frameRate.numerator > 0;
    putFlag(bits, hasRate);
    if (hasRate) { // the clock ticks twice a frame
        bits.put(set.frameRate.denominator, 32);
        bits.put(2 * set.frameRate.numerator, 32);
        putFlag(bits, true); // fixed_frame_rate_flag
    }
    putFlag(bits, false); // nal_hrd_parameters_present_flag
    putFlag(bits, false); // vcl_hrd_parameters_present_flag
    putFlag(bits, false); // pic_struct_present_flag
    putFlag(bits, true);  // bitstream_restriction_flag
    putFlag(bits, true);  // motion_vectors_over_pic_boundaries_flag
    putUe(bits, 0);       // max_bytes_per_pic_denom: no limit
    putUe(bits, 0);       // max_bits_per_mb_denom
    putUe(bits, 11);      // log2_max_mv_length_horizontal
    putUe(bits, 11);      // log2_max_mv_length_vertical
    putUnsigned(bits, set.numReorderFrames.value_or(0));
    putUnsigned(bits, set.maxDecFrameBuffering.value_or(set.maxNumRefFrames));
}

} // namespace

int levelFor(int widthInMbs, int heightInMbs, Rational frameRate)
{
    const int64_t frameSize = int64_t{widthInMbs} * heightInMbs;
    const bool known = frameRate.numerator > 0;
    const int64_t rate =
        known ? frameSize * frameRate.numerator / frameRate.denominator : frameSize * usualFrameRate;
    for (const Level& level : levels) {
        const int64_t longest = std::max(widthInMbs, heightInMbs);
        if (frameSize <= level.frameSize && longest * longest <= 8 * int64_t{level.frameSize} &&
            rate <= level.macroblocksPerSecond)
            return level.idc;
    }
    return levels[std::size(levels) - 1].idc;
}

void putSequenceParameterSet(BitWriter& bits, const SequenceParameterSet& set)
{
    bits.put(set.profileIdc, 8);
    bits.put(set.constraintFlags, 8);
    bits.put(set.levelIdc, 8);
    putUnsigned(bits, set.id);
    if (set.isHighProfile()) {
        putUnsigned(bits, set.chromaFormatIdc);
        putUnsigned(bits, set.bitDepthLuma - 8);
        putUnsigned(bits, set.bitDepthChroma - 8);
        putFlag(bits, false); // qpprime_y_zero_transform_bypass_flag
        putFlag(bits, false); // seq_scaling_matrix_present_flag
    }
    putUnsigned(bits, set.log2MaxFrameNum - 4);
    putUnsigned(bits, set.pocType); // 2: output in coding order
    putUnsigned(bits, set.maxNumRefFrames);
    putFlag(bits, false); // gaps_in_frame_num_value_allowed_flag
    putUnsigned(bits, set.widthInMbs - 1);
    putUnsigned(bits, set.heightInMapUnits - 1);
    putFlag(bits, true); // frame_mbs_only_flag
    putFlag(bits, set.direct8x8Inference);
    const bool cropped = (set.cropLeft | set.cropRight | set.cropTop | set.cropBottom) != 0;
    putFlag(bits, cropped);
    if (cropped) // in chroma samples
        for (const int crop : {set.cropLeft, set.cropRight, set.cropTop, set.cropBottom})
            putUnsigned(bits, crop / 2);
    putFlag(bits, true); // vui_parameters_present_flag
    putVui(bits, set);
}

void putPictureParameterSet(BitWriter& bits, const PictureParameterSet& set)
{
    putUnsigned(bits, set.id);
    putUnsigned(bits, set.sequenceId);
    putFlag(bits, set.cabac);
    putFlag(bits, false); // bottom_field_pic_order_in_frame_present_flag
    putUe(bits, 0);       // num_slice_groups_minus1
    for (const int count : set.defaultRefCount)
        putUnsigned(bits, count - 1);
    putFlag(bits, false); // weighted_pred_flag
    bits.put(0, 2);       // weighted_bipred_idc
    putSe(bits, set.initialQp - 26);
    putSe(bits, 0); // pic_init_qs_minus26
    putSe(bits, set.chromaQpOffset[0]);
    putFlag(bits, false); // deblocking_filter_control_present_flag
    putFlag(bits, false); // constrained_intra_pred_flag
    putFlag(bits, false); // redundant_pic_cnt_present_flag
    if (!set.transform8x8)
        return;
    putFlag(bits, true);  // transform_8x8_mode_flag
    putFlag(bits, false); // pic_scaling_matrix_present_flag
    putSe(bits, set.chromaQpOffset[1]);
}

void putSliceHeader(BitWriter& bits, const SliceHeader& header, const SequenceParameterSet& sequence,
                    const PictureParameterSet& picture)
{
    constexpr int allSlicesAlike = 5; // the types of all slices of the picture
    putUnsigned(bits, header.firstMb);
    putUnsigned(bits, static_cast<int>(header.type) + allSlicesAlike);
    putUnsigned(bits, header.pictureParameterSet);
    bits.put(header.frameNum, sequence.log2MaxFrameNum);
    if (header.idr)
        putUnsigned(bits, header.idrPicId);
    if (!header.isIntra()) {
        putFlag(bits, false); // num_ref_idx_active_override_flag
        putFlag(bits, false); // ref_pic_list_modification_flag_l0
    }
    if (header.idr) {
        putFlag(bits, header.noOutputOfPriorPictures);
        putFlag(bits, header.longTermReference);
    } else {
        putFlag(bits, false); // adaptive_ref_pic_marking_mode_flag
    }
    putSe(bits, header.qp - picture.initialQp);
}

std::vector<uint8_t> nalUnit(NalHeader header, BitWriter payload)
{
    payload.put(1, 1); // rbsp_stop_one_bit
    const std::vector<uint8_t> bytes = payload.bytes();
    std::vector<uint8_t> unit{0, 0, 0, 1,
                              static_cast<uint8_t>(header.refIdc << 5 | static_cast<int>(header.type))};
    unit.reserve(bytes.size() + bytes.size() / 64 + 16);
    int zeros = 0;
    for (const uint8_t byte : bytes) {
        if (zeros == 2 && byte <= 3) {
            unit.push_back(3); // emulation_prevention_three_byte
            zeros = 0;
        }
        unit.push_back(byte);
        zeros = byte == 0 ? zeros + 1 : 0;
    }
    return unit;
}

} // namespace kelvcpx::app::h264::encoder
