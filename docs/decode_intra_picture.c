/*
 * Decodes the first picture of an MPEG-2 elementary stream, an intra picture, and writes it as Y4M:
 *
 *     cc decode_intra_picture.c -o decode_intra_picture $(pkg-config --cflags --libs kelvcpx)
 *     ./decode_intra_picture picture.m2v picture.y4m
 *
 * Clauses are those of ISO/IEC 13818-2. To stay short it refuses what takes more than the common case: see
 * refuse().
 */
#include "mpeg2_intra_tables.h"

#include <kelvcpx.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { maxSide = 2800, maxBytes = 1 << 26, lastSliceCode = 0xAF };

/* A place in the stream as the library has it: see core.h, the word cursor. */
typedef struct Cursor {
    const uint32_t* word;
    int32_t offset;
} Cursor;

static uint32_t words[maxBytes / 4 + 16]; /* zero words at the end stop a damaged block */
static uint8_t planes[3][maxSide * maxSide];
static int32_t *lumaSizes, *chromaSizes, *coefficients;
static int32_t scan[64];
static int16_t matrix[64];
static int width, height, columns, dcPrecision, hasExtension, hasPicture;

static void refuse(int condition, const char* what)
{
    if (condition) {
        fprintf(stderr, "decode_intra_picture: %s\n", what);
        exit(1);
    }
}

static void skip(Cursor* cursor, int count)
{
    const int behind = 31 - cursor->offset + count; /* the first bit of the word */
    cursor->word += behind / 32;
    cursor->offset = 31 - behind % 32;
}

/* The next bits, up to 16. */
static int get(Cursor* cursor, int count)
{
    int value = 0;
    for (; count > 0; count--) {
        value = value << 1 | (int)(*cursor->word >> cursor->offset & 1);
        skip(cursor, 1);
    }
    return value;
}

/* Makes a code list of the library (mpeg2.h), all codes of one length after those of another. */
static const int32_t* makeList(const Code* codes, size_t count, int isRunLevel)
{
    static int32_t list[1024] = {0, 2, 9, 8};
    int32_t* next = list + 4;
    for (size_t length = 1; length <= 17; length++) {
        int32_t* number = next++;
        *number = 0;
        for (const Code* code = codes; code < codes + count; code++) {
            const int isSigned = strchr(code->bits, 's') != NULL;
            const int32_t bits = (int32_t)strtol(code->bits, NULL, 2);
            for (int sign = 0; strlen(code->bits) == length && sign <= isSigned; sign++, ++*number) {
                *next++ = isSigned ? bits << 1 | sign : bits;
                *next++ = code->value;
                if (isRunLevel)
                    *next++ = sign ? -code->level : code->level;
            }
        }
    }
    *next = -1;
    return list;
}

static void makeTables(void)
{
    const size_t sizes = sizeof lumaSizeCodes / sizeof *lumaSizeCodes;
    const size_t levels = sizeof coefficientCodes / sizeof *coefficientCodes;
    refuse(keliHuffmanTableInitAlloc_32s(makeList(lumaSizeCodes, sizes, 0), &lumaSizes) ||
               keliHuffmanTableInitAlloc_32s(makeList(chromaSizeCodes, sizes, 0), &chromaSizes) ||
               keliHuffmanRunLevelTableInitAlloc_32s(makeList(coefficientCodes, levels, 1), &coefficients),
           "no memory");
    for (int i = 0; i < 64; i++) { /* the inverse DCT takes its block transposed */
        scan[i] = zigzag[i] % 8 * 8 + zigzag[i] / 8;
        matrix[i] = intraMatrix[i % 8 * 8 + i / 8];
    }
}

/* 6.2.2.1 */
static void parseSequenceHeader(Cursor cursor)
{
    width = get(&cursor, 12);
    height = get(&cursor, 12);
    refuse(width < 1 || height < 1 || width > maxSide || height > maxSide,
           "pictures of this size are not supported");
    skip(&cursor, 4 + 4 + 18 + 1 + 10 + 1);
    refuse(get(&cursor, 1), "quantiser matrices in the stream are not supported");
    columns = (width + 15) / 16;
}

/* 6.2.2.3 and 6.2.3.1 */
static void parseExtension(Cursor cursor)
{
    const int identifier = get(&cursor, 4);
    refuse(identifier == 3, "quantiser matrices in the stream are not supported");
    if (identifier == 1) {
        skip(&cursor, 8);
        refuse(!get(&cursor, 1), "interlaced sequences are not supported");
        refuse(get(&cursor, 2) != 1, "chroma formats other than 4:2:0 are not supported");
        refuse(get(&cursor, 4) != 0, "pictures of this size are not supported");
    } else if (identifier == 8) {
        skip(&cursor, 16);
        dcPrecision = get(&cursor, 2);
        refuse(get(&cursor, 2) != 3, "field pictures are not supported");
        skip(&cursor, 1);
        refuse(!get(&cursor, 1), "macroblocks coded by fields are not supported");
        refuse(get(&cursor, 1), "concealment vectors are not supported");
        refuse(get(&cursor, 1), "quantiser scales that are not linear are not supported");
        refuse(get(&cursor, 1), "coefficients by table B.15 are not supported");
        refuse(get(&cursor, 1), "the alternate scan is not supported");
        hasExtension = 1;
    }
}

/* 6.2.6: four blocks of luma, Cb, Cr. */
static void decodeMacroblock(Cursor* cursor, int column, int row, int scale, int16_t predictors[3])
{
    for (int block = 0; block < 6; block++) {
        const int plane = block < 4 ? 0 : block - 3;
        const int step = plane == 0 ? columns * 16 : columns * 8;
        const int x = plane == 0 ? column * 16 + block % 2 * 8 : column * 8;
        const int y = plane == 0 ? row * 16 + block / 2 * 8 : row * 8;
        int16_t levels[64];
        int32_t last;
        refuse(keliReconstructDCTBlockIntra_MPEG2_32s(
                   &cursor->word, &cursor->offset, plane == 0 ? lumaSizes : chromaSizes, coefficients, scan,
                   scale, matrix, &predictors[plane], 3 - dcPrecision, levels, &last),
               "a block is damaged");
        keliDCT8x8Inv_AANTransposed_16s8u_C1R(levels, planes[plane] + step * y + x, step, last);
    }
}

/* 6.2.4 and 6.2.5: a slice here is a whole row of macroblocks. */
static void decodeSlice(Cursor cursor, int row)
{
    int16_t predictors[3];
    int scale = 2 * get(&cursor, 5);
    for (int i = 0; i < 3; i++)
        predictors[i] = (int16_t)(128 << dcPrecision);
    refuse(row * 16 >= height || scale == 0, "a slice is damaged");
    for (; get(&cursor, 1);) /* intra_slice_flag and extra_bit_slice, each with eight bits of no interest */
        skip(&cursor, 8);
    for (int column = 0; column < columns; column++) {
        refuse(!get(&cursor, 1), "a slice is damaged, or not a whole row, which is not supported"); /* macroblock_address_increment
                                                                                                       1 */
        if (!get(&cursor, 1)) { /* macroblock_type, table B.2 */
            refuse(!get(&cursor, 1), "a macroblock is damaged");
            scale = 2 * get(&cursor, 5);
        }
        decodeMacroblock(&cursor, column, row, scale, predictors);
    }
}

static void decode(size_t bytes)
{
    uint32_t code = 0xFFFFFF;
    for (size_t i = 0; i < bytes; i++) {
        code = code << 8 | (words[i / 4] >> (24 - 8 * (i % 4)) & 0xFF);
        if (code >> 8 != 1)
            continue;
        const Cursor cursor = {words + (i + 1) / 4, 31 - 8 * (int)((i + 1) % 4)};
        if ((code & 0xFF) == 0xB3) {
            parseSequenceHeader(cursor);
        } else if ((code & 0xFF) == 0xB5) {
            parseExtension(cursor);
        } else if ((code & 0xFF) == 0x00) {
            if (hasPicture)
                return;
            Cursor header = cursor;
            skip(&header, 10);
            refuse(get(&header, 3) != 1, "the first picture is no intra picture, which is not supported");
            hasPicture = 1;
        } else if ((code & 0xFF) <= lastSliceCode) {
            refuse(!hasPicture || !hasExtension || columns == 0, "this is no MPEG-2 stream");
            decodeSlice(cursor, (int)(code & 0xFF) - 1);
        }
    }
    refuse(!hasPicture, "there is no picture");
}

static void writePicture(FILE* file)
{
    fprintf(file, "YUV4MPEG2 W%d H%d F25:1 Ip C420mpeg2\nFRAME\n", width, height);
    for (int plane = 0; plane < 3; plane++) {
        const int shift = plane > 0;
        const size_t samples = (size_t)(width + shift) >> shift;
        for (int y = 0; y < (height + shift) >> shift; y++)
            refuse(fwrite(planes[plane] + (columns * 16 >> shift) * y, 1, samples, file) != samples,
                   "cannot write");
    }
}

int main(int argc, char** argv)
{
    refuse(argc != 3, "usage: decode_intra_picture INPUT OUTPUT");
    FILE* input = fopen(argv[1], "rb");
    refuse(input == NULL, "cannot open the input");
    size_t bytes = 0;
    for (int byte; (byte = getc(input)) != EOF && bytes < maxBytes; bytes++)
        words[bytes / 4] |= (uint32_t)byte << (24 - 8 * (bytes % 4));
    fclose(input);

    makeTables();
    decode(bytes);
    FILE* output = fopen(argv[2], "wb");
    refuse(output == NULL, "cannot open the output");
    writePicture(output);
    refuse(fclose(output) != 0, "cannot write");
    keliHuffmanTableFree_32s(lumaSizes);
    keliHuffmanTableFree_32s(chromaSizes);
    keliHuffmanTableFree_32s(coefficients);
    return 0;
}
