#include "core/arguments.h"
#include "core/huffman_lookup.h"

#include <kelvcpx/mpeg2.h>

using namespace kelvcpx;

Status keliDecodeHuffmanOne_1u32s(const uint32_t** ppBitStream, int32_t* pBitOffset, int32_t* pDecodedValue,
                                  const int32_t* pTable) noexcept
{
    if (anyNull(ppBitStream, pBitOffset, pTable, pDecodedValue) || anyNull(*ppBitStream))
        return StatusNullPointer;

    WordReader reader(*ppBitStream, *pBitOffset);
    const int32_t leaf = huffman::lookUp(reader, pTable);
    huffman::consumeInvalid(reader, leaf);
    *pDecodedValue = huffman::value(leaf);
    reader.store(ppBitStream, pBitOffset);
    return huffman::isInvalid(leaf) ? StatusBadHuffmanCode : StatusOk;
}

Status keliDecodeHuffmanPair_1u16s(const uint32_t** ppBitStream, int32_t* pBitOffset, const int32_t* pTable,
                                   uint8_t* pFirst, int16_t* pSecond) noexcept
{
    if (anyNull(ppBitStream, pBitOffset, pTable, pFirst, pSecond) || anyNull(*ppBitStream))
        return StatusNullPointer;

    WordReader reader(*ppBitStream, *pBitOffset);
    const int32_t leaf = huffman::lookUp(reader, pTable);
    if (huffman::isInvalid(leaf))
        return StatusBadHuffmanCode;
    *pFirst = static_cast<uint8_t>(huffman::first(leaf));
    *pSecond = static_cast<int16_t>(huffman::second(leaf));
    reader.store(ppBitStream, pBitOffset);
    return StatusOk;
}
