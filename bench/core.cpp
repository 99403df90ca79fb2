// Services: memory, copies of rows and planes, the version.

#include "operation.h"

#include <kelvcpx/core.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace {

using namespace kelvcpx::bench;

constexpr int32_t length = 4096;

template <class T>
struct Rows {
    alignas(64) std::array<T, length> src{};
    alignas(64) std::array<T, length> dst{};
};

struct Nothing {
};

void addServices()
{
    add<Nothing, kelsMalloc_8u, kelsMalloc_8s>("4096", [](auto allocate, Nothing&) {
        auto* block = allocate(length);
        kelsFree(block);
        return block != nullptr ? StatusOk : StatusOutOfMemory;
    });
    add<Nothing, kelsFree, keliFree>("4096", [](auto release, Nothing&) {
        release(kelsMalloc_8u(length));
        return StatusOk;
    });
    add<Nothing, kelvcGetLibVersion>(
        "", [](auto version, Nothing&) { return version() != nullptr ? StatusOk : StatusNullPointer; });
    for (const int32_t count : {64, length}) {
        const std::string variant = std::to_string(count);
        add<Rows<int16_t>, kelsZero_16s>(
            variant, [=](auto zero, Rows<int16_t>& rows) { return zero(rows.dst.data(), count); });
        add<Rows<int16_t>, kelsCopy_16s>(variant, [=](auto copy, Rows<int16_t>& rows) {
            return copy(rows.src.data(), rows.dst.data(), count);
        });
        add<Rows<uint8_t>, kelsCopy_8u>(variant, [=](auto copy, Rows<uint8_t>& rows) {
            return copy(rows.src.data(), rows.dst.data(), count);
        });
    }
    add<Rows<uint8_t>, keliCopy_8u_C1R>("64x32", [](auto copy, Rows<uint8_t>& rows) {
        return copy(rows.src.data(), 128, rows.dst.data(), 64, {64, 32});
    });
}

[[maybe_unused]] const bool registered = (addServices(), true);

} // namespace
