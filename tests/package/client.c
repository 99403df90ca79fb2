/* A client of the installed library in C11: reads the version and copies a region through aligned memory. */
#include <kelvcpx.h>

#include <stdio.h>
#include <string.h>

enum { width = 16, height = 8, step = 24 };

int main(void)
{
    const LibraryVersion* version = kelvcGetLibVersion();
    const RoiSize size = {width, height};
    uint8_t source[step * height];
    uint8_t* copy = kelsMalloc_8u(width * height);
    int wrong = 0;

    if (copy == NULL)
        return 1;
    for (int i = 0; i < step * height; i++)
        source[i] = (uint8_t)(i * 7);
    const Status status = keliCopy_8u_C1R(source, step, copy, width, size);
    for (int y = 0; y < height; y++)
        wrong += memcmp(copy + width * y, source + step * y, width) != 0;
    kelsFree(copy);

    printf("kelvcpx %s: status %d, %d wrong rows\n", version->versionText, (int)status, wrong);
    return status == StatusOk && wrong == 0 && version->versionMajor == 5 ? 0 : 1;
}
