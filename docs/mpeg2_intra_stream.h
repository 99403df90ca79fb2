/*
 * The stream, as decode_intra_picture.c needs it: bits, headers and slices of MPEG-2, the code lists that the
 * library makes its tables of, and a file for the picture. Clauses are those of ISO/IEC 13818-2.
 */
#ifndef MPEG2_INTRA_STREAM_H
#define MPEG2_INTRA_STREAM_H

#include "mpeg2_intra_tables.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { maxSide = 2800, maxBytes = 1 << 26, lastSliceCode = 0xAF };

/* A place in the stream as the library has it: see core.h, the word cursor. */
typedef struct Cursor {
    const uint32_t* word;
    int32_t offset;
} Cursor;

static struct Picture {
    int width;
    int height;
    int columns; /* macroblocks in a row */
    int dcPrecision;
    int hasHeader;
    int hasExtension;
    uint8_t planes[3][maxSide * maxSide]; /* rows of whole macroblocks, without padding */
} picture;

static uint32_t words[maxBytes / 4 + 16]; /* zero words at the end stop a damaged block */
static size_t byteCount;

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

static void readStream(const char* path)
{
    FILE* file = fopen(path, "rb");
    refuse(file == NULL, "cannot open the input");
    for (int byte; (byte = getc(file)) != EOF && byteCount < maxBytes; byteCount++)
        words[byteCount / 4] |= (uint32_t)byte << (24 - 8 * (byteCount % 4));
    fclose(file);
}

/* 6.2.2.1 */
static void parseSequenceHeader(Cursor cursor)
{
    picture.width = get(&cursor, 12);
    picture.height = get(&cursor, 12);
    refuse(picture.width < 1 || picture.height < 1 || picture.width > maxSide || picture.height > maxSide,
           "pictures of this size are not supported");
    skip(&cursor, 4 + 4 + 18 + 1 + 10 + 1);
    refuse(get(&cursor, 1), "quantiser matrices in the stream are not supported");
    picture.columns = (picture.width + 15) / 16;
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
        picture.dcPrecision = get(&cursor, 2);
        refuse(get(&cursor, 2) != 3, "field pictures are not supported");
        skip(&cursor, 1);
        refuse(!get(&cursor, 1), "macroblocks coded by fields are not supported");
        refuse(get(&cursor, 1), "concealment vectors are not supported");
        refuse(get(&cursor, 1), "quantiser scales that are not linear are not supported");
        refuse(get(&cursor, 1), "coefficients by table B.15 are not supported");
        refuse(get(&cursor, 1), "the alternate scan is not supported");
        picture.hasExtension = 1;
    }
}

/* 6.2.3 */
static void parsePictureHeader(Cursor cursor)
{
    skip(&cursor, 10);
    refuse(get(&cursor, 3) != 1, "the first picture is no intra picture, which is not supported");
    picture.hasHeader = 1;
}

/* Reads headers up to the next slice of the picture. Returns its row of macroblocks, or -1 at the end. */
static int nextSlice(Cursor* slice)
{
    static size_t position;
    static uint32_t code = 0xFFFFFF;
    while (position < byteCount) {
        code = code << 8 | (words[position / 4] >> (24 - 8 * (position % 4)) & 0xFF);
        position++;
        if (code >> 8 != 1)
            continue;
        const Cursor cursor = {words + position / 4, 31 - 8 * (int)(position % 4)};
        const int value = (int)(code & 0xFF);
        if (value == 0xB3) {
            parseSequenceHeader(cursor);
        } else if (value == 0xB5) {
            parseExtension(cursor);
        } else if (value == 0x00) {
            if (picture.hasHeader)
                break;
            parsePictureHeader(cursor);
        } else if (value <= lastSliceCode) {
            refuse(!picture.hasHeader || !picture.hasExtension || picture.columns == 0,
                   "this is no MPEG-2 stream");
            refuse((value - 1) * 16 >= picture.height, "a slice is damaged");
            *slice = cursor;
            return value - 1;
        }
    }
    refuse(!picture.hasHeader, "there is no picture");
    return -1;
}

/* quantiser_scale_code, of the linear scale. */
static int readScale(Cursor* cursor)
{
    const int code = get(cursor, 5);
    refuse(code == 0, "a quantiser scale is damaged");
    return 2 * code;
}

/* 6.2.5: macroblock_address_increment and macroblock_type (table B.2). Returns whether a scale follows. */
static int startsMacroblock(Cursor* cursor)
{
    refuse(!get(cursor, 1), "a slice is damaged, or not a whole row, which is not supported");
    const int keepsScale = get(cursor, 1);
    refuse(!keepsScale && !get(cursor, 1), "a macroblock is damaged");
    return !keepsScale;
}

/* Makes a code list of the library (mpeg2.h), all codes of one length after those of another.
 * The list is valid until the next call. */
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

#define LIST(codes, isRunLevel) makeList(codes, sizeof(codes) / sizeof *(codes), isRunLevel)

/* As Y4M. */
static void writePicture(const char* path)
{
    FILE* file = fopen(path, "wb");
    refuse(file == NULL, "cannot open the output");
    fprintf(file, "YUV4MPEG2 W%d H%d F25:1 Ip C420mpeg2\nFRAME\n", picture.width, picture.height);
    for (int plane = 0; plane < 3; plane++) {
        const int shift = plane > 0;
        const size_t samples = (size_t)(picture.width + shift) >> shift;
        const int step = picture.columns * 16 >> shift;
        for (int y = 0; y < (picture.height + shift) >> shift; y++)
            refuse(fwrite(picture.planes[plane] + step * y, 1, samples, file) != samples, "cannot write");
    }
    refuse(fclose(file) != 0, "cannot write");
}

#endif
