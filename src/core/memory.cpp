#include <kelvcpx/core.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

constexpr int32_t blockAlignment = 32;
constexpr auto bookkeeping = static_cast<int32_t>(blockAlignment + sizeof(void*));

// The word before an aligned block holds the address that malloc returned.
void* allocateAligned(int32_t len)
{
    if (len < 1 || len > std::numeric_limits<int32_t>::max() - bookkeeping)
        return nullptr;
    void* const raw = std::malloc(static_cast<std::size_t>(len + bookkeeping));
    if (raw == nullptr)
        return nullptr;
    const uintptr_t end = KEL_INT_PTR(raw) + blockAlignment - 1 + sizeof(void*);
    const uintptr_t padding = end / blockAlignment * blockAlignment - KEL_INT_PTR(raw);
    unsigned char* const block = static_cast<unsigned char*>(raw) + padding;
    std::memcpy(block - sizeof(void*), &raw, sizeof(void*));
    return block;
}

} // namespace

uint8_t* kelsMalloc_8u(int32_t len) noexcept
{
    return static_cast<uint8_t*>(allocateAligned(len));
}

int8_t* kelsMalloc_8s(int32_t len) noexcept
{
    return static_cast<int8_t*>(allocateAligned(len));
}

void kelsFree(void* pBlock) noexcept
{
    if (pBlock == nullptr)
        return;
    void* raw;
    std::memcpy(&raw, static_cast<unsigned char*>(pBlock) - sizeof(void*), sizeof(void*));
    std::free(raw);
}

void keliFree(void* pBlock) noexcept
{
    kelsFree(pBlock);
}
