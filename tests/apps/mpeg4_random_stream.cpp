#include "apps/mpeg4_random_stream.h"

#include "apps/mpeg4_random_macroblock.h"

#include "mpeg4/code_tables.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

namespace kelvcpx::test {

using namespace app::mpeg4;

namespace {

constexpr int timeResolution = 6; // so that streams take seconds

// Table 6-21: the running quantiser from which on the DC is coded as AC.
constexpr int intraDcThresholds[] = {32, 13, 15, 17, 19, 21, 23, 0};

class StreamWriter
{
public:
    explicit StreamWriter(const RandomMpeg4Options& options);

    RandomMpeg4Stream write();

private:
    void startCode(int value);
    void writeObjectHeaders();
    void writeLayer();
    void writeQuantisation();
    void writeMatrix(Matrix& matrix);
    void writeComplexity();
    void writeGroup(int time);
    void writeVop(std::size_t index);
    void writeVopHeader(const Vop& vop);
    void writeTime(const Vop& vop);
    void writeTrajectory(const Vop& vop);
    void writeMacroblocks(Mpeg4VopPlan& plan);
    void writePacketHeader(const Vop& vop, int macroblock, int quant);
    void writeStuffing();
    int drawQuant();
    bool draw(int oneIn) { return random_.oneIn(oneIn); }

    // Display times in ticks: those of B-VOPs lie before that of the reference in front of them.
    int displayTime(std::size_t index) const;

    const RandomMpeg4Options options_;
    Random random_;
    app::CodeWriter out_;
    RandomMpeg4Stream stream_;
    VideoObjectLayer layer_;
    std::size_t thresholdCode_ = 0; // intra_dc_vlc_thr
    int seconds_ = 0;               // the time base of the newest reference, and of the one before
    int olderSeconds_ = 0;
    VopType reference_ = VopType::intra;
    std::vector<bool> codedInReference_;
};

StreamWriter::StreamWriter(const RandomMpeg4Options& options) : options_(options), random_(options.seed)
{
    layer_.version = 2;
    layer_.timeIncrementResolution = timeResolution;
    layer_.width = options.width;
    layer_.height = options.height;
    layer_.interlaced = options.interlaced;
    layer_.quarterSample = options.quarterSample;
    layer_.globalMotion = options.types.find('S') != std::string::npos;
    layer_.warpingPoints = options.warpingPoints;
    layer_.warpingAccuracy = random_.uniform(options.warpingPoints < 2 ? 1 : 0, 3);
    layer_.weightedQuantisation = options.weighted;
    layer_.hasResyncMarkers = options.packets;
    layer_.dataPartitioned = options.partitioned;
    layer_.reversibleCodes = options.reversible;
}

RandomMpeg4Stream StreamWriter::write()
{
    writeObjectHeaders();
    std::vector<std::pair<int, char>> shown;
    for (std::size_t i = 0; i < options_.types.size(); i++) {
        if (options_.types[i] == 'I' && draw(2))
            writeGroup(displayTime(i));
        writeVop(i);
        shown.emplace_back(displayTime(i), options_.types[i]);
    }
    std::sort(shown.begin(), shown.end());
    for (const auto& [time, type] : shown)
        stream_.types += type;
    stream_.bytes = out_.take();
    return std::move(stream_);
}

int StreamWriter::displayTime(std::size_t index) const
{
    const std::string& types = options_.types;
    const auto place = static_cast<int>(index);
    if (types[index] == 'B')
        return place - 1;
    int time = place;
    for (std::size_t i = index + 1; i < types.size() && types[i] == 'B'; i++)
        time++;
    return time;
}

// The unit before must be filled.
void StreamWriter::startCode(int value)
{
    out_.put(0, 16);
    out_.put(1, 8);
    out_.put(static_cast<uint32_t>(value), 8);
}

// A zero, and ones up to the end of the byte.
void StreamWriter::writeStuffing()
{
    out_.put(0, 1);
    while (out_.bitCount() % 8 != 0)
        out_.put(1, 1);
}

void StreamWriter::writeObjectHeaders()
{
    startCode(visualObjectSequenceStart);
    out_.put(0xF5, 8);
    startCode(visualObjectStart);
    out_.put(1, 1);
    out_.put(2, 4); // visual_object_verid
    out_.put(1, 3);
    out_.put(1, 4); // video
    out_.put(0, 1);
    writeStuffing();
    startCode(0x00); // video object
    startCode(firstVideoObjectLayerStart);
    writeLayer();
    writeStuffing();
}

void StreamWriter::writeLayer()
{
    out_.put(0, 1);          // random_accessible_vol
    out_.put(17, 8);         // Advanced Simple
    out_.put(0b10010001, 8); // is_object_layer_identifier, version 2, priority 1
    out_.put(1, 4);          // square samples
    out_.put(0b10100, 5);    // vol_control_parameters: 4:2:0, not low_delay, no vbv_parameters
    out_.put(0b001, 3);      // rectangular, marker
    out_.put(timeResolution, 16);
    out_.put(1, 1);
    const bool isFixed = draw(2);
    out_.put(isFixed, 1);
    if (isFixed)
        out_.put(1, layer_.timeIncrementBits());
    out_.put(1, 1);
    out_.put(static_cast<uint32_t>(layer_.width), 13);
    out_.put(1, 1);
    out_.put(static_cast<uint32_t>(layer_.height), 13);
    out_.put(1, 1);
    out_.put(layer_.interlaced, 1);
    out_.put(1, 1); // obmc_disable
    out_.put(layer_.globalMotion ? 2 : 0, 2);
    if (layer_.globalMotion) {
        out_.put(static_cast<uint32_t>(layer_.warpingPoints), 6);
        out_.put(static_cast<uint32_t>(layer_.warpingAccuracy), 2);
        out_.put(0, 1); // sprite_brightness_change
    }
    writeQuantisation();
    out_.put(layer_.quarterSample, 1);
    writeComplexity();
    out_.put(!layer_.hasResyncMarkers, 1);
    out_.put(layer_.dataPartitioned, 1);
    if (layer_.dataPartitioned)
        out_.put(layer_.reversibleCodes, 1);
    out_.put(0b000, 3); // newpred_enable, reduced_resolution_vop_enable, scalability
}

void StreamWriter::writeQuantisation()
{
    out_.put(0, 1); // 8 bits
    out_.put(layer_.weightedQuantisation, 1);
    if (!layer_.weightedQuantisation)
        return;
    layer_.intraMatrix = defaultIntraMatrix;
    layer_.interMatrix = defaultInterMatrix;
    for (Matrix* const matrix : {&layer_.intraMatrix, &layer_.interMatrix}) {
        const bool loads = draw(2);
        out_.put(loads, 1);
        if (loads)
            writeMatrix(*matrix);
    }
}

// A zero after some weights stands for all others being like the last.
void StreamWriter::writeMatrix(Matrix& matrix)
{
    const auto count = random_.uniform<std::size_t>(1, 64);
    uint8_t weight = 8;
    for (std::size_t p = 0; p < matrix.size(); p++) {
        if (p < count) {
            weight = random_.uniform<uint8_t>(8, 40);
            out_.put(weight, 8);
        } else if (p == count) {
            out_.put(0, 8);
        }
        matrix[app::zigzagScan[p]] = weight;
    }
    stream_.tools["matrix of its own"]++;
}

// Which numbers VOP headers carry. The draws are apart from those of the rest, which stays the same.
void StreamWriter::writeComplexity()
{
    out_.put(!options_.complexity, 1);
    if (!options_.complexity)
        return;
    Random random(options_.seed);
    const auto choose = [&](std::initializer_list<int*> groups, int width = 8) {
        for (int* const bits : groups) {
            const bool chosen = random.oneIn(2);
            out_.put(chosen, 1);
            *bits += chosen ? width : 0;
        }
    };
    int* const all = &layer_.complexity.all;
    int* const notIntra = &layer_.complexity.notIntra;
    out_.put(0b01, 2); // estimation_method
    out_.put(1, 1);    // nothing of shapes
    out_.put(0, 1);    // blocks
    choose({all, notIntra, notIntra, all});
    out_.put(0b10, 2); // marker, coefficients
    choose({all, all, all});
    choose({all}, 4);
    out_.put(0, 1); // motion
    choose({notIntra, notIntra, &layer_.complexity.bidirectional, notIntra, notIntra, notIntra});
    out_.put(0b10, 2); // marker, what the second version added
    choose({all, notIntra});
}

void StreamWriter::writeGroup(int time)
{
    startCode(groupOfVopStart);
    seconds_ = time / timeResolution;
    out_.put(0, 5);
    out_.put(static_cast<uint32_t>(seconds_ / 60), 6);
    out_.put(1, 1);
    out_.put(static_cast<uint32_t>(seconds_ % 60), 6);
    out_.put(0b10, 2);
    writeStuffing();
}

int StreamWriter::drawQuant()
{
    return options_.exact ? random_.uniform(1, 4) : random_.uniform(11, 20);
}

void StreamWriter::writeVop(std::size_t index)
{
    Vop vop;
    vop.type = static_cast<VopType>(std::string("IPBS").find(options_.types[index]));
    const bool isBidirectional = vop.type == VopType::bidirectional;
    const int time = displayTime(index);
    vop.seconds = time / timeResolution - (isBidirectional ? olderSeconds_ : seconds_);
    vop.increment = time % timeResolution;
    if (!isBidirectional)
        olderSeconds_ = std::exchange(seconds_, time / timeResolution);
    vop.rounding = random_.uniform(0, 1);
    thresholdCode_ = random_.uniform<std::size_t>(0, 7);
    if (!options_.dcAsAc)
        thresholdCode_ = 0;
    vop.intraDcThreshold = intraDcThresholds[thresholdCode_];
    vop.topFieldFirst = draw(2);
    vop.alternateVerticalScan = draw(2);
    for (std::size_t i = 0; i < static_cast<std::size_t>(layer_.warpingPoints); i++) {
        const int most = draw(4) ? 120 : 9;
        vop.warping.du[i] = random_.uniform(-most, most);
        vop.warping.dv[i] = random_.uniform(-most, most);
    }
    vop.quant = drawQuant();
    for (int& fcode : vop.fcode)
        fcode = random_.uniform(1, draw(4) ? 4 : 2);
    startCode(vopStart);
    writeVopHeader(vop);

    Mpeg4VopPlan plan{
        options_, layer_, static_cast<int>(index), vop, reference_ == VopType::predicted, codedInReference_};
    writeMacroblocks(plan);
    writeStuffing();
    if (!isBidirectional)
        reference_ = vop.type;
}

void StreamWriter::writeTime(const Vop& vop)
{
    for (int i = 0; i < vop.seconds; i++)
        out_.put(1, 1);
    out_.put(0b01, 2);
    out_.put(static_cast<uint32_t>(vop.increment), layer_.timeIncrementBits());
    out_.put(1, 1);
}

void StreamWriter::writeTrajectory(const Vop& vop)
{
    const auto writeDisplacement = [&](int32_t value) {
        int length = 0;
        while (std::abs(value) >= 1 << length)
            length++;
        out_.put(codeRows.displacementLength, length);
        out_.put(static_cast<uint32_t>(value < 0 ? value + (1 << length) - 1 : value), length);
        out_.put(1, 1);
    };
    for (std::size_t i = 0; i < static_cast<std::size_t>(layer_.warpingPoints); i++) {
        writeDisplacement(vop.warping.du[i]);
        writeDisplacement(vop.warping.dv[i]);
    }
}

void StreamWriter::writeVopHeader(const Vop& vop)
{
    out_.put(static_cast<uint32_t>(vop.type), 2);
    writeTime(vop);
    out_.put(1, 1); // vop_coded
    if (vop.type == VopType::predicted || vop.type == VopType::sprite)
        out_.put(static_cast<uint32_t>(vop.rounding), 1);
    const ComplexityBits& complexity = layer_.complexity;
    for (int i = complexity.all + (vop.type != VopType::intra ? complexity.notIntra : 0) +
                 (vop.type == VopType::bidirectional ? complexity.bidirectional : 0);
         i > 0; i--)
        out_.put(1, 1);
    out_.put(static_cast<uint32_t>(thresholdCode_), 3);
    if (layer_.interlaced) {
        out_.put(vop.topFieldFirst, 1);
        out_.put(vop.alternateVerticalScan, 1);
    }
    if (vop.type == VopType::sprite)
        writeTrajectory(vop);
    out_.put(static_cast<uint32_t>(vop.quant), 5);
    if (vop.type != VopType::intra)
        out_.put(static_cast<uint32_t>(vop.fcode[0]), 3);
    if (vop.type == VopType::bidirectional)
        out_.put(static_cast<uint32_t>(vop.fcode[1]), 3);
}

void StreamWriter::writeMacroblocks(Mpeg4VopPlan& plan)
{
    Mpeg4MacroblockWriter writer(plan, random_, stream_);
    std::vector<bool> coded;
    const int count = layer_.macroblockCount();
    int quant = plan.vop.quant;
    for (int first = 0; first < count;) {
        const int size = layer_.hasResyncMarkers ? std::min(count - first, random_.uniform(2, count)) : count;
        if (first > 0) {
            quant = drawQuant();
            writeStuffing();
            writePacketHeader(plan.vop, first, quant);
        }
        const auto macroblocks = writer.draw(first, size, quant);
        writer.write(out_, macroblocks);
        for (const MacroblockPlan& macroblock : macroblocks)
            coded.push_back(macroblock.coded);
        first += size;
    }
    if (plan.vop.type != VopType::bidirectional)
        codedInReference_ = coded;
}

void StreamWriter::writePacketHeader(const Vop& vop, int macroblock, int quant)
{
    out_.put(0, vop.resyncZeros());
    out_.put(1, 1);
    out_.put(static_cast<uint32_t>(macroblock), layer_.macroblockNumberBits());
    out_.put(static_cast<uint32_t>(quant), 5);
    const bool extended = draw(2);
    out_.put(extended, 1);
    stream_.tools[extended ? "header extension" : "video packet"]++;
    if (!extended)
        return;
    writeTime(vop);
    out_.put(static_cast<uint32_t>(vop.type), 2);
    out_.put(static_cast<uint32_t>(thresholdCode_), 3);
    if (vop.type == VopType::sprite)
        writeTrajectory(vop);
    if (vop.type != VopType::intra)
        out_.put(static_cast<uint32_t>(vop.fcode[0]), 3);
    if (vop.type == VopType::bidirectional)
        out_.put(static_cast<uint32_t>(vop.fcode[1]), 3);
}

} // namespace

RandomMpeg4Stream makeRandomMpeg4Stream(const RandomMpeg4Options& options)
{
    return StreamWriter(options).write();
}

} // namespace kelvcpx::test
