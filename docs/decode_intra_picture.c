/*
 * Decodes the first picture of an MPEG-2 elementary stream, an intra picture, and writes it as Y4M:
 *
 *     cc decode_intra_picture.c -o decode_intra_picture $(pkg-config --cflags --libs kelvcpx)
 *     ./decode_intra_picture picture.m2v picture.y4m
 *
 * Headers and files are in mpeg2_intra_stream.h, which refuses what takes more than the common case.
 */
#include "mpeg2_intra_stream.h"

#include <kelvcpx.h>

static int32_t *lumaSizes, *chromaSizes, *coefficients, scan[64];
static int16_t matrix[64];

static void makeTables(void)
{
    refuse(keliHuffmanTableInitAlloc_32s(LIST(lumaSizeCodes, 0), &lumaSizes) ||
               keliHuffmanTableInitAlloc_32s(LIST(chromaSizeCodes, 0), &chromaSizes) ||
               keliHuffmanRunLevelTableInitAlloc_32s(LIST(coefficientCodes, 1), &coefficients),
           "no memory");
    for (int i = 0; i < 64; i++) { /* the inverse DCT takes its block transposed */
        scan[i] = zigzag[i] % 8 * 8 + zigzag[i] / 8;
        matrix[i] = intraMatrix[i % 8 * 8 + i / 8];
    }
}

/* ISO/IEC 13818-2 6.2.6: four blocks of luma, Cb, Cr. */
static void decodeMacroblock(Cursor* cursor, int column, int row, int scale, int16_t predictors[3])
{
    for (int block = 0; block < 6; block++) {
        const int plane = block < 4 ? 0 : block - 3, size = plane == 0 ? 16 : 8;
        const int x = column * size + (plane == 0 ? block % 2 * 8 : 0);
        const int y = row * size + (plane == 0 ? block / 2 * 8 : 0), step = picture.columns * size;
        int16_t levels[64];
        int32_t last;
        refuse(keliReconstructDCTBlockIntra_MPEG2_32s(
                   &cursor->word, &cursor->offset, plane == 0 ? lumaSizes : chromaSizes, coefficients, scan,
                   scale, matrix, &predictors[plane], 3 - picture.dcPrecision, levels, &last),
               "a block is damaged");
        keliDCT8x8Inv_AANTransposed_16s8u_C1R(levels, picture.planes[plane] + step * y + x, step, last);
    }
}

/* 6.2.4 and 6.2.5: a slice here is a whole row of macroblocks. */
static void decodeSlice(Cursor cursor, int row)
{
    const int16_t middle = (int16_t)(128 << picture.dcPrecision);
    int16_t predictors[3] = {middle, middle, middle};
    int scale = readScale(&cursor);
    while (get(&cursor, 1)) /* intra_slice_flag and extra_bit_slice, each with eight bits of no interest */
        skip(&cursor, 8);
    for (int column = 0; column < picture.columns; column++) {
        if (startsMacroblock(&cursor))
            scale = readScale(&cursor);
        decodeMacroblock(&cursor, column, row, scale, predictors);
    }
}

int main(int argc, char** argv)
{
    refuse(argc != 3, "usage: decode_intra_picture INPUT OUTPUT");
    readStream(argv[1]);
    makeTables();
    Cursor slice;
    for (int row; (row = nextSlice(&slice)) >= 0;)
        decodeSlice(slice, row);
    writePicture(argv[2]);
    keliHuffmanTableFree_32s(lumaSizes);
    keliHuffmanTableFree_32s(chromaSizes);
    keliHuffmanTableFree_32s(coefficients);
    return 0;
}
