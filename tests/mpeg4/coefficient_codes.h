// How coefficients are coded, as ISO/IEC 14496-2 7.4.1 describes it.
#pragma once

#include "common/bit_writer.h"
#include "support/bits.h"
#include "tables/mpeg4_tables.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kelvcpx::test {

enum class Kind { intra, inter };

inline void PrintTo(Kind kind, std::ostream* out)
{
    *out << (kind == Kind::intra ? "intra" : "inter");
}

struct Event {
    int last;
    int run;
    int level;
};

inline std::span<const mpeg4::EventCode> ordinaryCodes(Kind kind)
{
    return kind == Kind::intra ? std::span<const mpeg4::EventCode>(mpeg4::intraCodes) : mpeg4::interCodes;
}

// The code that the standard's table has for an event, with its sign.
inline std::optional<std::string> tableCode(Kind kind, Event event)
{
    for (const mpeg4::EventCode& code : ordinaryCodes(kind))
        if (code.last == event.last && code.run == event.run && code.level == std::abs(event.level))
            return std::string(code.bits) + (event.level < 0 ? '1' : '0');
    return std::nullopt;
}

inline std::optional<std::string> reversibleTableCode(Kind kind, Event event)
{
    for (const mpeg4::ReversibleCode& code : mpeg4::reversibleCodes) {
        const bool matches = kind == Kind::intra
                                 ? code.intraLast == event.last && code.intraRun == event.run &&
                                       code.intraLevel == std::abs(event.level)
                                 : code.interLast == event.last && code.interRun == event.run &&
                                       code.interLevel == std::abs(event.level);
        if (matches)
            return std::string(code.bits) + (event.level < 0 ? '1' : '0');
    }
    return std::nullopt;
}

// Tables B-19 to B-22.
inline int lmax(Kind kind, int last, int run)
{
    int largest = 0;
    for (const mpeg4::EventCode& code : ordinaryCodes(kind))
        if (code.last == last && code.run == run)
            largest = std::max(largest, int{code.level});
    return largest;
}

inline int rmax(Kind kind, int last, int level)
{
    int largest = -1;
    for (const mpeg4::EventCode& code : ordinaryCodes(kind))
        if (code.last == last && code.level == level)
            largest = std::max(largest, int{code.run});
    return largest;
}

const std::string escape = "0000011";

inline std::string fixedLengthCode(Event event)
{
    return escape + "11" + binary(event.last, 1) + binary(event.run, 6) + "1" + binary(event.level, 12) + "1";
}

// All codings of an event, in the order in which the standard wants them tried.
inline std::vector<std::string> codings(Kind kind, Event event)
{
    const auto& [last, run, level] = event;
    const int sign = level < 0 ? -1 : 1;
    const int raised = lmax(kind, last, run);
    const int skipped = rmax(kind, last, std::abs(level)) + 1;
    std::vector<std::string> result;
    if (const auto code = tableCode(kind, event))
        result.push_back(*code);
    if (raised > 0 && std::abs(level) > raised)
        if (const auto code = tableCode(kind, {last, run, level - sign * raised}))
            result.push_back(escape + "0" + *code);
    if (skipped > 0)
        if (const auto code = tableCode(kind, {last, run - skipped, level}))
            result.push_back(escape + "10" + *code);
    result.push_back(fixedLengthCode(event));
    return result;
}

inline std::string reversibleCoding(Kind kind, Event event)
{
    if (const auto code = reversibleTableCode(kind, event))
        return *code;
    return "00001" + binary(event.last, 1) + binary(event.run, 6) + "1" + binary(std::abs(event.level), 11) +
           "10000" + (event.level < 0 ? "1" : "0");
}

inline std::string dcCoding(int difference, bool chroma)
{
    int size = 0;
    while (std::abs(difference) >= 1 << size)
        size++;
    const auto& sizes = chroma ? mpeg4::dcSizeChrominance : mpeg4::dcSizeLuminance;
    const int bits = difference < 0 ? difference + (1 << size) - 1 : difference;
    return std::string(sizes[static_cast<std::size_t>(size)]) + binary(bits, size) + (size > 8 ? "1" : "");
}

// How the coefficients of a block are coded and where they go.
struct Mode {
    Kind kind;
    bool reversible;
    bool separateDc; // of intra blocks
    int scan;

    int before() const { return separateDc ? 0 : -1; } // the position in front of the first level
    std::vector<std::string> codings(const Event& event) const
    {
        return reversible ? std::vector{reversibleCoding(kind, event)} : test::codings(kind, event);
    }
};

inline void PrintTo(const Mode& mode, std::ostream* out)
{
    PrintTo(mode.kind, out);
    *out << (mode.reversible ? " reversible" : "") << (mode.separateDc ? " separate DC" : "") << " scan "
         << mode.scan;
}

// A stream that begins and ends anywhere in a byte, with no more bytes around it than an operation may read.
class CodeStream
{
public:
    // The bits lie behind `offset` other ones.
    CodeStream(int offset, std::string_view bits, int filler = 0)
        : offset_(offset), length_(static_cast<int>(bits.size()))
    {
        app::BitWriter writer;
        writer.put(filler, 8 * front);
        writer.put(filler, offset);
        writer.put(bits);
        while (writer.bytes().size() <
               (static_cast<std::size_t>(8 * front + offset) + bits.size() + 7) / 8 + 4)
            writer.put(filler, 8);
        bytes_ = writer.bytes();
    }

    const uint8_t* begin() const { return bytes_.data() + front; }
    int offset() const { return offset_; }
    const uint8_t* end() const { return begin() + (offset_ + length_) / 8; }
    int endOffset() const { return (offset_ + length_) % 8; }

private:
    static constexpr int front = 4;

    std::vector<uint8_t> bytes_;
    int offset_;
    int length_;
};

} // namespace kelvcpx::test
