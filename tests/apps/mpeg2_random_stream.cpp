#include "apps/mpeg2_random_stream.h"

#include "apps/mpeg2_random_block.h"
#include "apps/mpeg2_random_motion.h"
#include "apps/mpeg2_random_picture.h"

#include <algorithm>
#include <cstddef>

namespace kelvcpx::test {

using namespace app::mpeg2;

namespace {

constexpr int unusedFCode = 15; // of MPEG-2

// f_code, mostly one that small pictures have use for.
int randomFCode(Random& random, bool mpeg1)
{
    return random.uniform(1, random.oneIn(4) ? (mpeg1 ? 7 : 9) : 4);
}

class StreamWriter
{
public:
    explicit StreamWriter(const RandomStreamOptions& options);

    RandomStream write();

private:
    void writeSequence();
    void writeSequenceExtension();
    void writeDisplayExtension();
    void writeCopyrightExtension();
    void writeMatrix(const Matrix& matrix);
    void writeGroup(bool closed);
    void writeUserData();

    void writeFrame(std::size_t index);
    void writePicture(PicturePlan& plan);
    void drawHeader(PicturePlan& plan);
    void drawFCodes(PicturePlan& plan);
    void writePictureHeader(const Picture& picture);
    void writeVectorHeader(const Picture& picture, std::size_t direction);
    void writeCodingExtension(const Picture& picture);
    void drawMatrices();
    Matrix randomMatrix(bool intra);

    bool isLeading(std::size_t index) const;
    int temporalReference(std::size_t index) const;
    std::string displayTypes() const;

    const RandomStreamOptions options_;
    Draft draft_;
    Sequence sequence_;
    std::string types_; // of the frames in coding order, as they came out
};

StreamWriter::StreamWriter(const RandomStreamOptions& options) : options_(options), draft_(options.seed)
{
    sequence_.mpeg2 = !options.mpeg1;
    sequence_.width = options.width;
    sequence_.height = options.height;
    sequence_.chroma = options.chroma;
    sequence_.progressive = options.mpeg1 || options.progressive;
    sequence_.lowDelay = options.lowDelay;
}

RandomStream StreamWriter::write()
{
    for (std::size_t i = 0; i < options_.types.size(); i++) {
        if (options_.types[i] == 'I') {
            if (i == 0 || draft_.random.oneIn(2))
                writeSequence();
            writeGroup(i == 0 || options_.closedGroups);
        }
        writeFrame(i);
    }
    draft_.startCode(sequenceEnd);
    return {draft_.bits.bytes(), displayTypes(), draft_.tools, draft_.codes};
}

// sequence_header(), 6.2.2.1.
void StreamWriter::writeSequence()
{
    BitWriter& bits = draft_.bits;
    sequence_.matrices = {};
    const bool intra = draft_.random.oneIn(2);
    const bool nonIntra = draft_.random.oneIn(2);
    if (intra)
        sequence_.matrices.intra.fill(randomMatrix(true));
    if (nonIntra)
        sequence_.matrices.nonIntra.fill(randomMatrix(false));

    draft_.startCode(sequenceHeaderStart);
    bits.put(options_.width, 12);
    bits.put(options_.height, 12);
    bits.put(1, 4);                                 // square samples
    bits.put(3, 4);                                 // 25 frames a second
    bits.put(sequence_.mpeg2 ? 5000 : 0x3FFFF, 18); // bit rate, variable in MPEG-1
    bits.put(1, 1);
    bits.put(112, 10); // vbv_buffer_size
    bits.put(0, 1);    // constrained_parameters_flag
    bits.put(intra, 1);
    if (intra)
        writeMatrix(sequence_.matrices.intra[0]);
    bits.put(nonIntra, 1);
    if (nonIntra)
        writeMatrix(sequence_.matrices.nonIntra[0]);
    if (sequence_.mpeg2) {
        writeSequenceExtension();
        if (draft_.random.oneIn(2))
            writeDisplayExtension();
    }
    writeUserData();
}

// 6.2.2.3.
void StreamWriter::writeSequenceExtension()
{
    BitWriter& bits = draft_.bits;
    const bool chroma420 = sequence_.chroma == app::ChromaFormat::yuv420;
    draft_.startCode(extensionStart);
    bits.put(1, 4);
    bits.put(chroma420 ? 0x44 : 0x82, 8); // Main or 4:2:2 profile at High level
    bits.put(sequence_.progressive, 1);
    bits.put(chroma420 ? 1 : 2, 2);
    bits.put(options_.width >> 12, 2);
    bits.put(options_.height >> 12, 2);
    bits.put(0, 12); // bit rate
    bits.put(1, 1);
    bits.put(0, 8); // vbv buffer size
    bits.put(sequence_.lowDelay, 1);
    bits.put(0, 7); // frame rate
}

// 6.2.2.4. It does not change the decoded pictures.
void StreamWriter::writeDisplayExtension()
{
    BitWriter& bits = draft_.bits;
    draft_.startCode(extensionStart);
    bits.put(2, 4);
    bits.put(5, 3); // unspecified video format
    bits.put(0, 1); // no colour description
    bits.put(options_.width, 14);
    bits.put(1, 1);
    bits.put(options_.height, 14);
}

// 6.2.3.6. It does not change anything at all.
void StreamWriter::writeCopyrightExtension()
{
    BitWriter& bits = draft_.bits;
    draft_.startCode(extensionStart);
    bits.put(4, 4);
    bits.put(draft_.random.uniform(0, (1 << 17) - 1), 17); // flags, the registrar, reserved bits
    for (const int length : {20, 22, 22}) {
        bits.put(1, 1);
        bits.put(draft_.random.uniform(0, (1 << length) - 1), length);
    }
}

void StreamWriter::writeMatrix(const Matrix& matrix)
{
    for (const int32_t index : transposedScan(Scan::zigzag))
        draft_.bits.put(matrix[static_cast<std::size_t>(index)], 8);
}

// Weights of an intra matrix start with 8 (6.3.11). None are below 8, which would make MPEG-1 coefficients
// zero whose level is not.
Matrix StreamWriter::randomMatrix(bool intra)
{
    Matrix matrix;
    for (int16_t& weight : matrix)
        weight = draft_.random.uniform<int16_t>(8, 64);
    if (intra)
        matrix[0] = 8;
    return matrix;
}

void StreamWriter::writeGroup(bool closed)
{
    BitWriter& bits = draft_.bits;
    draft_.startCode(groupStart);
    bits.put(1 << 12, 25); // time code zero
    bits.put(closed, 1);
    bits.put(0, 1);
    writeUserData();
}

void StreamWriter::writeUserData()
{
    if (!draft_.random.oneIn(3))
        return;
    draft_.startCode(userDataStart);
    for (int i = 0; i < 10; i++)
        draft_.bits.put(draft_.random.uniform(1, 255), 8);
}

// True if the frame is shown before the first one of its group.
bool StreamWriter::isLeading(std::size_t index) const
{
    while (options_.types[index] == 'B')
        index--;
    return options_.types[index] == 'I';
}

// The number of frames of the group that are shown before.
int StreamWriter::temporalReference(std::size_t index) const
{
    const std::string& types = options_.types;
    const std::size_t group = types.rfind('I', index);
    const auto inGroup = static_cast<int>(index - group);
    if (types[index] == 'B')
        return inGroup - 1; // all before it but the reference frame that it was coded ahead of
    const std::size_t next = std::min(types.find_first_not_of('B', index + 1), types.size());
    return inGroup + static_cast<int>(next - index - 1);
}

std::string StreamWriter::displayTypes() const
{
    std::string result;
    std::string pending;
    for (const char type : types_) {
        result += type == 'B' ? std::string(1, type) : pending;
        if (type != 'B')
            pending = type;
    }
    return result + pending;
}

// A frame, or its two fields. The second field of an I frame may be a P field, which then refers to nothing
// but the first (7.6.3.5).
void StreamWriter::writeFrame(std::size_t index)
{
    const char type = options_.types[index];
    const bool asFields = options_.structures == PictureStructures::fields ||
                          (options_.structures == PictureStructures::mixed && draft_.random.oneIn(2));
    PicturePlan plan;
    plan.exact = options_.exact;
    plan.header.temporalReference = temporalReference(index);
    plan.header.type = type == 'I'   ? PictureType::intra
                       : type == 'P' ? PictureType::predicted
                                     : PictureType::bidirectional;
    const bool inFirstGroup = options_.types.rfind('I', index) == 0;
    plan.forward = !(type == 'B' && isLeading(index) && (inFirstGroup || options_.closedGroups));
    // Only if no B picture lies between the picture and its reference (7.6.3.6).
    const bool beforeB = index + 1 < options_.types.size() && options_.types[index + 1] == 'B';
    plan.dualPrime = type == 'P' && !beforeB;
    types_ += type;
    if (!asFields) {
        plan.header.structure = PictureStructure::frame;
        writePicture(plan);
        return;
    }
    const int first = options_.topFieldFirst ? 0 : 1;
    constexpr PictureStructure ofParity[] = {PictureStructure::topField, PictureStructure::bottomField};
    plan.header.structure = ofParity[first];
    writePicture(plan);
    if (type == 'I' && draft_.random.oneIn(2)) {
        draft_.tools["P second field of I frame"]++;
        types_.back() = 'P';
        plan.header.type = PictureType::predicted;
        plan.onlyField = first;
    }
    plan.header.structure = ofParity[1 - first];
    writePicture(plan);
}

void StreamWriter::writePicture(PicturePlan& plan)
{
    drawHeader(plan);
    writePictureHeader(plan.header);
    if (sequence_.mpeg2) {
        writeCodingExtension(plan.header);
        if (draft_.random.oneIn(3))
            drawMatrices();
        if (draft_.random.oneIn(4))
            writeCopyrightExtension();
        writeUserData();
    }
    plan.sequence = sequence_;
    PictureWriter(draft_, plan).writeSlices();
}

void StreamWriter::drawHeader(PicturePlan& plan)
{
    Random& random = draft_.random;
    Picture& header = plan.header;
    drawFCodes(plan);
    if (!sequence_.mpeg2)
        return;
    header.intraDcPrecision = random.uniform(0, 3);
    header.topFieldFirst = plan.isFrame() && !sequence_.progressive && options_.topFieldFirst;
    header.framePredFrameDct = plan.isFrame() && (sequence_.progressive || random.oneIn(4));
    header.progressiveFrame = header.framePredFrameDct && (sequence_.progressive || random.oneIn(2));
    header.nonLinearScale = random.oneIn(2);
    header.intraVlcFormat = random.oneIn(2);
    header.alternateScan = random.oneIn(2);
    draft_.tools["intra_dc_precision " + std::to_string(header.intraDcPrecision)]++;
    draft_.tools[header.nonLinearScale ? "non-linear scale" : "linear scale"]++;
    draft_.tools[header.intraVlcFormat ? "intra table one" : "intra table zero"]++;
    draft_.tools[header.alternateScan ? "alternate scan" : "zigzag scan"]++;
}

void StreamWriter::drawFCodes(PicturePlan& plan)
{
    Random& random = draft_.random;
    Picture& header = plan.header;
    header.concealmentVectors = sequence_.mpeg2 && random.oneIn(3);
    const std::size_t used = header.type == PictureType::bidirectional ? 2
                             : header.type == PictureType::predicted   ? 1
                             : header.concealmentVectors               ? 1
                                                                       : 0;
    for (std::size_t s = 0; s < 2; s++) {
        if (s >= used) {
            header.fCode[s].fill(unusedFCode);
        } else if (!sequence_.mpeg2) {
            header.fCode[s].fill(randomFCode(random, true));
            header.fullSampleVectors[s] = random.oneIn(3);
            draft_.tools[header.fullSampleVectors[s] ? "full-sample vectors" : "half-sample vectors"]++;
        } else {
            header.fCode[s] = {randomFCode(random, false), randomFCode(random, false)};
        }
    }
}

// picture_header(), 6.2.3.
void StreamWriter::writePictureHeader(const Picture& picture)
{
    BitWriter& bits = draft_.bits;
    draft_.startCode(pictureStart);
    bits.put(picture.temporalReference, 10);
    bits.put(static_cast<int>(picture.type), 3);
    bits.put(0xFFFF, 16); // vbv_delay
    if (picture.type != PictureType::intra)
        writeVectorHeader(picture, 0);
    if (picture.type == PictureType::bidirectional)
        writeVectorHeader(picture, 1);
    while (draft_.random.oneIn(4)) {
        draft_.tools["extra information in a picture"]++;
        bits.put(1, 1);
        bits.put(draft_.random.uniform(0, 255), 8);
    }
    bits.put(0, 1);
}

// full_pel_forward_vector and forward_f_code, or the backward ones, which MPEG-2 does not use.
void StreamWriter::writeVectorHeader(const Picture& picture, std::size_t direction)
{
    draft_.bits.put(picture.fullSampleVectors[direction], 1);
    draft_.bits.put(sequence_.mpeg2 ? 7 : picture.fCode[direction][0], 3);
}

// picture_coding_extension(), 6.2.3.1.
void StreamWriter::writeCodingExtension(const Picture& picture)
{
    BitWriter& bits = draft_.bits;
    draft_.startCode(extensionStart);
    bits.put(8, 4);
    for (const auto& direction : picture.fCode)
        for (const int code : direction)
            bits.put(code, 4);
    bits.put(picture.intraDcPrecision, 2);
    bits.put(static_cast<int>(picture.structure), 2);
    bits.put(picture.topFieldFirst, 1);
    bits.put(picture.framePredFrameDct, 1);
    bits.put(picture.concealmentVectors, 1);
    bits.put(picture.nonLinearScale, 1);
    bits.put(picture.intraVlcFormat, 1);
    bits.put(picture.alternateScan, 1);
    bits.put(0, 1); // repeat_first_field
    bits.put(picture.progressiveFrame && sequence_.chroma == app::ChromaFormat::yuv420, 1);
    bits.put(picture.progressiveFrame, 1);
    const bool composite = draft_.random.oneIn(4);
    bits.put(composite, 1);
    if (composite)
        bits.put(draft_.random.uniform(0, (1 << 20) - 1), 20);
}

// quant_matrix_extension(), 6.2.3.2: matrices for this picture and those after it.
void StreamWriter::drawMatrices()
{
    BitWriter& bits = draft_.bits;
    draft_.startCode(extensionStart);
    bits.put(3, 4);
    for (std::size_t chroma = 0; chroma < 2; chroma++)
        for (auto* const matrices : {&sequence_.matrices.intra, &sequence_.matrices.nonIntra}) {
            const bool allowed = chroma == 0 || sequence_.chroma != app::ChromaFormat::yuv420;
            const bool load = allowed && draft_.random.oneIn(2);
            bits.put(load, 1);
            if (!load)
                continue;
            draft_.tools[chroma == 0 ? "matrix for all blocks" : "matrix for chroma"]++;
            (*matrices)[1] = randomMatrix(matrices == &sequence_.matrices.intra);
            if (chroma == 0)
                (*matrices)[0] = (*matrices)[1];
            writeMatrix((*matrices)[1]);
        }
}

} // namespace

RandomStream makeRandomStream(const RandomStreamOptions& options)
{
    return StreamWriter(options).write();
}

} // namespace kelvcpx::test
