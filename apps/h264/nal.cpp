#include "h264/nal.h"

#include "common/start_code.h"

#include <cstring>

namespace kelvcpx::app::h264 {
namespace {

std::size_t bigEndian(std::span<const uint8_t> bytes)
{
    std::size_t value = 0;
    for (const uint8_t byte : bytes)
        value = value << 8 | byte;
    return value;
}

// 7.4.1: a 3 behind two zeros is not part of the payload.
std::vector<uint8_t> withoutEmulationPrevention(std::span<const uint8_t> bytes)
{
    std::vector<uint8_t> payload;
    payload.reserve(bytes.size());
    std::size_t copied = 0;
    std::size_t at = 2;
    while (at < bytes.size()) {
        const void* const three = std::memchr(bytes.data() + at, 3, bytes.size() - at);
        if (three == nullptr)
            break;
        at = static_cast<std::size_t>(static_cast<const uint8_t*>(three) - bytes.data());
        if (bytes[at - 1] == 0 && bytes[at - 2] == 0) {
            payload.insert(payload.end(), bytes.begin() + static_cast<std::ptrdiff_t>(copied),
                           bytes.begin() + static_cast<std::ptrdiff_t>(at));
            copied = at + 1;
            at += 2; // the zeros before the 3 do not count again
        }
        at++;
    }
    payload.insert(payload.end(), bytes.begin() + static_cast<std::ptrdiff_t>(copied), bytes.end());
    return payload;
}

} // namespace

Payload::Payload(std::span<const uint8_t> unit)
{
    if (unit.empty())
        return;
    header_ = {unit[0] >> 5 & 3, static_cast<NalType>(unit[0] & 31)};
    std::vector<uint8_t> bytes = withoutEmulationPrevention(unit.subspan(1));
    while (!bytes.empty() && bytes.back() == 0) // trailing_zero_8bits, cabac_zero_words
        bytes.pop_back();
    size_ = bytes.size();
    if (!bytes.empty()) {
        int stop = 0;
        while ((bytes.back() >> stop & 1) == 0)
            stop++;
        stopBit_ = 8 * size_ - 1 - static_cast<std::size_t>(stop);
    }
    words_.assign(bytes);
}

void forEachNalUnit(std::span<const uint8_t> packet, std::optional<int> lengthBytes,
                    const std::function<void(std::span<const uint8_t>)>& visit)
{
    if (lengthBytes) {
        const auto prefix = static_cast<std::size_t>(*lengthBytes);
        while (packet.size() > prefix) {
            const std::size_t length = std::min(bigEndian(packet.first(prefix)), packet.size() - prefix);
            if (length > 0)
                visit(packet.subspan(prefix, length));
            packet = packet.subspan(prefix + length);
        }
        return;
    }
    forEachUnit(packet,
                [&](std::size_t first, std::size_t end) { visit(packet.subspan(first, end - first)); });
}

// 14496-15 5.2.4.1.1.
std::optional<AvcConfiguration> readAvcConfiguration(std::span<const uint8_t> record)
{
    if (record.size() < 7 || record[0] != 1)
        return std::nullopt;
    AvcConfiguration configuration{(record[4] & 3) + 1, {}};
    std::size_t at = 5;
    for (const int countMask : {31, 255}) {
        if (at >= record.size())
            break;
        for (int count = record[at++] & countMask; count > 0 && at + 2 <= record.size(); count--) {
            const std::size_t length = bigEndian(record.subspan(at, 2));
            at += 2;
            if (at + length > record.size())
                return configuration;
            configuration.parameterSets.push_back(record.subspan(at, length));
            at += length;
        }
    }
    return configuration;
}

} // namespace kelvcpx::app::h264
